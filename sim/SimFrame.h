#pragma once

#include <QByteArray>

#include <cstdint>

// Synthetic camera frames: 8-bit grey, row after row, no header. A frame shows the water seen
// through the lens (a smooth background, darker towards the corners, with sensor noise) and a
// crowd of particles drifting from frame to frame. With the light on, the background is brighter
// and the particles shine; without it only a few faint ones stand out of a dark frame.
class SimFrame {
public:
    // Live frames as the processing unit sends them (2056 rows x 2464 columns).
    static constexpr int kLiveRows = 2056;
    static constexpr int kLiveColumns = 2464;
    static constexpr int kLiveBytes = kLiveRows * kLiveColumns; // 5,065,984
    // Raw frames as stored on the card: the sensor's full 2067 x 2480 area, with 11 dark rows at
    // the top and 16 dark columns at the right.
    static constexpr int kRawRows = 2067;
    static constexpr int kRawColumns = 2480;
    static constexpr int kRawBytes = kRawRows * kRawColumns; // 5,126,160
    static constexpr int kRawTopMargin = 11;
    static constexpr int kRawRightMargin = 16;

    // `index` picks the moment (particles move between consecutive indices), `seed` the scene.
    static QByteArray live(std::uint32_t index, bool light, bool lightCorrection, std::uint32_t seed = 1);
    static QByteArray raw(std::uint32_t index, bool light, std::uint32_t seed = 1);

    // Number of particles drawn into a frame (for checks and for the demo card's data lines).
    static int particleCount(std::uint32_t index, bool light, std::uint32_t seed);

private:
    static void render(unsigned char* pixels, int rows, int columns, int stride, std::uint32_t index,
                       bool light, bool lightCorrection, std::uint32_t seed);
};

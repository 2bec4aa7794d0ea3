#include "SimFrame.h"
#include "SimHash.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

// A small generator for per-pixel noise: fast and the same on every platform.
struct Noise {
    std::uint32_t s;
    std::uint32_t next() {
        s ^= s << 13;
        s ^= s >> 17;
        s ^= s << 5;
        return s;
    }
};

} // namespace

int SimFrame::particleCount(std::uint32_t index, bool light, std::uint32_t seed) {
    const std::uint32_t h = sim_hash32(seed * 0x9e3779b9U + index / 8);
    return light ? int(120 + h % 80) : int(6 + h % 6);
}

void SimFrame::render(unsigned char* pixels, int rows, int columns, int stride, std::uint32_t index,
                      bool light, bool lightCorrection, std::uint32_t seed) {
    const int base = light ? 58 : 6;
    const int amplitude = light ? (lightCorrection ? 6 : 30) : 3;
    const double cy = rows / 2.0;
    const double cx = columns / 2.0;
    const double r2max = cy * cy + cx * cx;
    // The background costs one multiply per pixel: the vignetting is separable in rows/columns.
    std::vector<int> colShade(static_cast<size_t>(columns));
    for (int x = 0; x < columns; ++x) {
        colShade[size_t(x)] = int(amplitude * (x - cx) * (x - cx) / r2max * 2.0);
    }
    Noise noise{sim_hash32(seed ^ (index * 2654435761U)) | 1U};
    for (int y = 0; y < rows; ++y) {
        const int rowShade = int(amplitude * (y - cy) * (y - cy) / r2max * 2.0);
        unsigned char* line = pixels + size_t(y) * size_t(stride);
        for (int x = 0; x < columns; x += 4) {
            const std::uint32_t n = noise.next();
            for (int k = 0; k < 4 && x + k < columns; ++k) {
                const int v =
                    base + amplitude - rowShade - colShade[size_t(x + k)] + int((n >> (8 * k)) & 3U);
                line[x + k] = static_cast<unsigned char>(std::clamp(v, 0, 255));
            }
        }
    }
    // Particles: each has a home position, a size and a drift; they sink slowly and sway.
    const int count = particleCount(index, light, seed);
    const std::uint32_t scene = sim_hash32(seed + 0x51ed270bU + index / 8);
    for (int i = 0; i < count; ++i) {
        const std::uint32_t a = sim_hash32(scene + std::uint32_t(i) * 0x632be5abU);
        const std::uint32_t b = sim_hash32(a);
        const int radius = 1 + int(a % 97 == 0 ? 14 + b % 12 : (a >> 8) % 6);
        const double sway = std::sin((index + (b % 31)) * 0.35) * 6.0;
        const int py = int((b >> 4) % std::uint32_t(rows) + index * (1 + b % 3)) % rows;
        const int px = int(double((a >> 12) % std::uint32_t(columns)) + sway + columns) % columns;
        const int peak = light ? 160 + int(b % 90) : 28 + int(b % 20);
        for (int dy = -radius; dy <= radius; ++dy) {
            const int y = py + dy;
            if (y < 0 || y >= rows) {
                continue;
            }
            unsigned char* line = pixels + size_t(y) * size_t(stride);
            for (int dx = -radius; dx <= radius; ++dx) {
                const int x = px + dx;
                const int d2 = dx * dx + dy * dy;
                if (x < 0 || x >= columns || d2 > radius * radius) {
                    continue;
                }
                const int v = peak - (peak / 3) * d2 / std::max(1, radius * radius);
                line[x] = static_cast<unsigned char>(std::max<int>(line[x], std::clamp(v, 0, 255)));
            }
        }
    }
}

QByteArray SimFrame::live(std::uint32_t index, bool light, bool lightCorrection, std::uint32_t seed) {
    QByteArray frame(kLiveBytes, Qt::Uninitialized);
    render(reinterpret_cast<unsigned char*>(frame.data()), kLiveRows, kLiveColumns, kLiveColumns, index,
           light, lightCorrection, seed);
    return frame;
}

QByteArray SimFrame::raw(std::uint32_t index, bool light, std::uint32_t seed) {
    // The margins are the sensor's covered pixels: black level plus a little noise.
    QByteArray frame(kRawBytes, Qt::Uninitialized);
    auto* p = reinterpret_cast<unsigned char*>(frame.data());
    Noise noise{sim_hash32(seed * 7U + index) | 1U};
    for (int y = 0; y < kRawRows; ++y) {
        for (int x = 0; x < kRawColumns; ++x) {
            if (y < kRawTopMargin || x >= kRawColumns - kRawRightMargin) {
                p[size_t(y) * kRawColumns + size_t(x)] = static_cast<unsigned char>(2 + (noise.next() & 1U));
            }
        }
    }
    render(p + size_t(kRawTopMargin) * kRawColumns, kRawRows - kRawTopMargin, kRawColumns - kRawRightMargin,
           kRawColumns, index, light, false, seed);
    return frame;
}

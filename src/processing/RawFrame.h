#pragma once

#include <QByteArray>

#include <cstddef>

// The instrument's full frames: 8-bit grey pixels row after row, no header. The processing unit
// stores 2067 rows of 2480 columns; the useful image is rows 11 to 2066 and columns 0 to 2463,
// which is also what a live frame of 2056 x 2464 holds.
namespace RawFrame {

inline constexpr int kStoredRows = 2067;
inline constexpr int kStoredColumns = 2480;
inline constexpr std::size_t kStoredBytes = std::size_t(kStoredRows) * kStoredColumns; // 5,126,160
inline constexpr int kRows = 2056;
inline constexpr int kColumns = 2464;
inline constexpr std::size_t kBytes = std::size_t(kRows) * kColumns; // 5,065,984
inline constexpr int kFirstKeptRow = kStoredRows - kRows;            // 11

// Whether `size` is the size of a stored frame (or, with `acceptCropped`, of an already cropped
// one).
bool isFrameSize(std::size_t size, bool acceptCropped);

// The kept 2056 x 2464 image of a frame of either size, encoded as PNG with the Huffman-only
// strategy (fast, and a frame has little to gain from string matching). Empty when the size is
// neither.
QByteArray toPng(const char* data, std::size_t size);

} // namespace RawFrame

#include "RawFrame.h"

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <vector>

namespace RawFrame {

bool isFrameSize(std::size_t size, bool acceptCropped) {
    return size == kStoredBytes || (acceptCropped && size == kBytes);
}

QByteArray toPng(const char* data, std::size_t size) {
    cv::Mat kept;
    // The encoder only reads the pixels, so the caller's bytes are wrapped, not copied.
    auto* pixels = const_cast<char*>(data);
    if (size == kStoredBytes) {
        const cv::Mat stored(kStoredRows, kStoredColumns, CV_8UC1, pixels);
        kept = stored(cv::Rect(0, kFirstKeptRow, kColumns, kRows));
    } else if (size == kBytes) {
        kept = cv::Mat(kRows, kColumns, CV_8UC1, pixels);
    } else {
        return {};
    }
    std::vector<uchar> png;
    const std::vector<int> params{cv::IMWRITE_PNG_STRATEGY, cv::IMWRITE_PNG_STRATEGY_HUFFMAN_ONLY};
    if (!cv::imencode(".png", kept, png, params)) {
        return {};
    }
    return QByteArray(reinterpret_cast<const char*>(png.data()), static_cast<int>(png.size()));
}

} // namespace RawFrame

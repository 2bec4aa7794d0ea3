#include "Vignette.h"

#include <QStringList>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace Vignette {

cv::Mat decode(const QByteArray& bytes) {
    if (bytes.size() < 4) {
        return {};
    }
    const auto* b = reinterpret_cast<const unsigned char*>(bytes.constData());
    const int width = b[0] | (b[1] << 8);
    const int height = b[2] | (b[3] << 8);
    if (width == 0 || height == 0 || bytes.size() != 4 + static_cast<qint64>(width) * height) {
        return {};
    }
    return cv::Mat(height, width, CV_8UC1, const_cast<unsigned char*>(b + 4)).clone();
}

bool parseName(const QString& path, int* image, int* object) {
    // The last part of the path, without the file system's help: thousands of names are read per
    // sample.
    const QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    if (!name.endsWith(QLatin1String(".vig"))) {
        return false;
    }
    const QStringList parts = name.chopped(4).split(QLatin1Char('_'));
    if (parts.size() < 3) {
        return false;
    }
    bool okImage = false;
    bool okObject = false;
    *image = parts[parts.size() - 2].toInt(&okImage);
    *object = parts.back().toInt(&okObject);
    return okImage && okObject && *image >= 0 && *object >= 0;
}

Measures measure(const cv::Mat& image, int threshold) {
    // One pass gathers the object's pixel count, grey sums and second moments; OpenCV then
    // outlines the blobs for the perimeter. Thousands of vignettes are measured per sample:
    // one pass costs less than a mask, a mean, moments and contours each reading every pixel.
    Measures m;
    cv::Mat mask(image.size(), CV_8UC1);
    double sum = 0;
    double squares = 0;
    double sx = 0;
    double sy = 0;
    double sxx = 0;
    double syy = 0;
    double sxy = 0;
    for (int y = 0; y < image.rows; ++y) {
        const uchar* row = image.ptr<uchar>(y);
        uchar* out = mask.ptr<uchar>(y);
        std::int64_t rowCount = 0;
        std::int64_t rowSum = 0;
        std::int64_t rowSquares = 0;
        std::int64_t rowX = 0;
        std::int64_t rowXX = 0;
        for (int x = 0; x < image.cols; ++x) {
            const int v = row[x];
            const bool inside = v > threshold;
            out[x] = inside ? 255 : 0;
            if (inside) {
                ++rowCount;
                rowSum += v;
                rowSquares += v * v;
                rowX += x;
                rowXX += static_cast<std::int64_t>(x) * x;
            }
        }
        m.areaPixels += static_cast<int>(rowCount);
        sum += static_cast<double>(rowSum);
        squares += static_cast<double>(rowSquares);
        sx += static_cast<double>(rowX);
        sxx += static_cast<double>(rowXX);
        sy += static_cast<double>(rowCount) * y;
        syy += static_cast<double>(rowCount) * y * y;
        sxy += static_cast<double>(rowX) * y;
    }
    if (m.areaPixels == 0) {
        return m;
    }
    const double n = m.areaPixels;
    m.meanGrey = sum / n;
    m.stdGrey = std::sqrt(std::max(0.0, squares / n - m.meanGrey * m.meanGrey));
    // Central second moments per pixel, as cv::moments gives them (mu20 / m00, ...).
    const double cx = sx / n;
    const double cy = sy / n;
    const double a = sxx / n - cx * cx;
    const double c = syy / n - cy * cy;
    const double b = sxy / n - cx * cy;
    const double root = std::sqrt(4 * b * b + (a - c) * (a - c));
    m.majorAxis = std::sqrt(std::max(0.0, 8 * (a + c + root)));
    m.minorAxis = std::sqrt(std::max(0.0, 8 * (a + c - root)));
    std::vector<std::vector<cv::Point>> contours;
    // Straight runs of the outline kept as their two ends: the same length, fewer points.
    cv::findContours(mask, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
    double largest = -1;
    for (const auto& contour : contours) {
        const double area = cv::contourArea(contour);
        if (area > largest) {
            largest = area;
            m.perimeter = cv::arcLength(contour, true);
        }
    }
    return m;
}

} // namespace Vignette

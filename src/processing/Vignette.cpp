#include "Vignette.h"

#include <QFileInfo>

#include <opencv2/imgproc.hpp>

#include <cmath>

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
    const QString name = QFileInfo(path).fileName();
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
    Measures m;
    cv::Mat mask;
    cv::threshold(image, mask, threshold, 255, cv::THRESH_BINARY);
    m.areaPixels = cv::countNonZero(mask);
    if (m.areaPixels == 0) {
        return m;
    }
    cv::Scalar mean;
    cv::Scalar stddev;
    cv::meanStdDev(image, mean, stddev, mask);
    m.meanGrey = mean[0];
    m.stdGrey = stddev[0];
    const cv::Moments mo = cv::moments(mask, true);
    const double a = mo.mu20 / mo.m00;
    const double c = mo.mu02 / mo.m00;
    const double b = mo.mu11 / mo.m00;
    const double root = std::sqrt(4 * b * b + (a - c) * (a - c));
    m.majorAxis = std::sqrt(std::max(0.0, 8 * (a + c + root)));
    m.minorAxis = std::sqrt(std::max(0.0, 8 * (a + c - root)));
    std::vector<std::vector<cv::Point>> contours;
    cv::findContours(mask, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
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

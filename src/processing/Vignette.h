#pragma once

#include <QByteArray>
#include <QString>

#include <opencv2/core.hpp>

// A vignette file is the instrument's cut-out of one object: a 4-byte header holding the width
// then the height as little-endian 16-bit numbers, then width x height 8-bit grey pixels, row
// after row. Anything else (too short, a zero side, a size that disagrees with the header) does
// not parse.
namespace Vignette {

// The image, or an empty matrix when the bytes are not a vignette.
cv::Mat decode(const QByteArray& bytes);

// The image index and object number of a vignette file named "<seq>_<image>_<object>.vig"
// (folders in front are ignored); false for any other name.
bool parseName(const QString& path, int* image, int* object);

// Measurements of the object: the pixels above `threshold` (those at or below it are
// background).
struct Measures {
    int areaPixels = 0;
    double meanGrey = 0;
    double stdGrey = 0;
    double majorAxis = 0; // pixels: axes of the ellipse with the object's second moments
    double minorAxis = 0;
    double perimeter = 0; // pixels: outline of the largest blob
};
Measures measure(const cv::Mat& image, int threshold);

} // namespace Vignette

#pragma once

#include "project/SequenceHandler.h"

#include <QString>

#include <vector>

// Proposes the first and last image of a sample. A time series takes the whole sequence. A
// pressure profile loses the part spent near the surface, recognised by the object counts of
// the images taken without flash: ambient light makes them count many objects near the surface
// and few at depth. The deep counts (below 80 decibar) give a threshold of their mean plus five
// standard deviations; scanning the smoothed counts from the deep end, the first one above it
// marks the surface.
class RangeDetector {
public:
    static constexpr double kDepthLimit = 80.0;
    static constexpr double kSigmaFactor = 5.0;
    static constexpr int kWindow = 10;

    struct Result {
        // Whether first/last hold a proposal; false when a box stopped the detection.
        bool ok = false;
        int first = 0;
        int last = 0;
        // The box to show: a stop when !ok, the "Limit not reached" notice when ok.
        QString title;
        QString text;
        // What the decision rested on (for the chart and the command line).
        double threshold = 0.0;
        int deepCount = 0;
        int shallowCount = 0;
    };

    // `sampleType` is "P", "T" or empty (neither button set).
    static Result Detect(const std::vector<SequenceHandler::stDataRaw>& rows, const QString& sampleType);

    // The centred moving average of the detection (window 10, shortened at both ends).
    static std::vector<double> Smooth(const std::vector<double>& values);
};

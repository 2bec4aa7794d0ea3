#include "RangeDetector.h"

#include <algorithm>
#include <cmath>

std::vector<double> RangeDetector::Smooth(const std::vector<double>& c) {
    const int n = static_cast<int>(c.size());
    if (n < kWindow) {
        return c;
    }
    // Prefix sums keep the whole pass linear.
    std::vector<double> prefix(static_cast<size_t>(n) + 1, 0.0);
    for (int i = 0; i < n; ++i) {
        prefix[static_cast<size_t>(i) + 1] = prefix[static_cast<size_t>(i)] + c[static_cast<size_t>(i)];
    }
    std::vector<double> d(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        const int l = std::min(i, kWindow / 2);
        const int r = std::min(n - 1 - i, kWindow / 2 - 1);
        const double sum = prefix[static_cast<size_t>(i + r + 1)] - prefix[static_cast<size_t>(i - l)];
        d[static_cast<size_t>(i)] = sum / (l + r + 1);
    }
    return d;
}

RangeDetector::Result RangeDetector::Detect(const std::vector<SequenceHandler::stDataRaw>& rows,
                                            const QString& sampleType) {
    Result r;
    const auto stop = [&r](const char* title, const char* text) {
        r.ok = false;
        r.title = QString::fromUtf8(title);
        r.text = QString::fromUtf8(text);
        return r;
    };
    if (sampleType != QLatin1String("P") && sampleType != QLatin1String("T")) {
        return stop("Sample Type Required",
                    "Sample Type (Pressure / Time) is required in order to autodetect");
    }
    const int n = static_cast<int>(rows.size());
    if (n == 0) {
        return stop("Empty sequence", "Empty sequence");
    }
    if (sampleType == QLatin1String("T")) {
        r.ok = true;
        r.first = 0;
        r.last = n - 1;
        return r;
    }
    const double pFirst = rows.front().pressure;
    const double pLast = rows.back().pressure;
    if (pFirst == pLast) {
        return stop("No direction", "Unable de detect direction");
    }

    std::vector<double> counts;
    std::vector<int> index;
    counts.reserve(rows.size());
    index.reserve(rows.size());
    double deepSum = 0.0;
    for (int i = 0; i < n; ++i) {
        const SequenceHandler::stDataRaw& row = rows[static_cast<size_t>(i)];
        if (row.kind != 'O' || row.flag != '0' || std::isnan(row.pressure)) {
            continue;
        }
        counts.push_back(row.count1);
        index.push_back(i);
        if (row.pressure > kDepthLimit) {
            ++r.deepCount;
            deepSum += row.count1;
        } else {
            ++r.shallowCount;
        }
    }
    if (r.deepCount == 0) {
        return stop("No deep data", "no data under 80m");
    }
    if (r.shallowCount == 0) {
        return stop("Only deep", "Only data deeper dans 80m");
    }
    const double mean = deepSum / r.deepCount;
    double variance = 0.0;
    for (size_t k = 0; k < counts.size(); ++k) {
        if (rows[static_cast<size_t>(index[k])].pressure > kDepthLimit) {
            variance += (counts[k] - mean) * (counts[k] - mean);
        }
    }
    variance /= r.deepCount;
    r.threshold = mean + kSigmaFactor * std::sqrt(variance);

    const bool down = pFirst < pLast;
    if (down) {
        std::reverse(counts.begin(), counts.end());
        std::reverse(index.begin(), index.end());
    }
    const std::vector<double> smooth = Smooth(counts);
    r.ok = true;
    for (size_t k = 0; k < smooth.size(); ++k) {
        if (smooth[k] > r.threshold) {
            const int limit = k == 0 ? index[0] : index[k - 1];
            r.first = down ? limit : 0;
            r.last = down ? n - 1 : limit;
            return r;
        }
    }
    r.first = 0;
    r.last = n - 1;
    r.title = QStringLiteral("Limit not reached");
    r.text = QStringLiteral(
        "The range detection algorithms failed to compute first and last image.\nAll images are "
        "selected.\nPlease adjust manually the first and last images if necessary.");
    return r;
}

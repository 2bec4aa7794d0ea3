#include "SpectrumSettings.h"

#include <QFileInfo>
#include <QSettings>

#include <cmath>

namespace {

bool positive(double v) {
    return std::isfinite(v) && v > 0;
}

// "0.0508-0.128,0.128-0.512": ranges in millimetres.
bool parse_ranges(const QString& text, QVector<QPair<double, double>>* ranges) {
    QVector<QPair<double, double>> parsed;
    for (const QString& item : text.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QStringList ends = item.trimmed().split(QLatin1Char('-'));
        bool okLow = false;
        bool okHigh = false;
        const double low = ends.value(0).toDouble(&okLow);
        const double high = ends.value(1).toDouble(&okHigh);
        if (ends.size() != 2 || !okLow || !okHigh || !(low >= 0) || !(high > low)) {
            return false;
        }
        parsed.append({low, high});
    }
    if (parsed.isEmpty()) {
        return false;
    }
    *ranges = parsed;
    return true;
}

QString number(double v) {
    return QString::number(v, 'g', 6);
}

} // namespace

SpectrumSettings SpectrumSettings::load(const QString& projectPath, QString* error) {
    SpectrumSettings s;
    const QString path = projectPath + QStringLiteral("/config/") + fileName();
    if (!QFileInfo::exists(path)) {
        return s;
    }
    QSettings ini(path, QSettings::IniFormat);
    QStringList refused;
    const auto read = [&](const char* key, double* into, bool (*valid)(double)) {
        if (!ini.contains(QLatin1String(key))) {
            return;
        }
        bool ok = false;
        const double v = ini.value(QLatin1String(key)).toString().toDouble(&ok);
        if (ok && valid(v)) {
            *into = v;
        } else {
            refused << QLatin1String(key);
        }
    };
    read("classes/smallest_esd_mm", &s.smallestEsdMm, positive);
    read("classes/largest_esd_mm", &s.largestEsdMm, positive);
    read("bins/depth_m", &s.binMetres, positive);
    if (s.largestEsdMm <= s.smallestEsdMm) {
        refused << QStringLiteral("classes/largest_esd_mm");
        s.smallestEsdMm = SpectrumSettings().smallestEsdMm;
        s.largestEsdMm = SpectrumSettings().largestEsdMm;
    }
    if (ini.contains(QStringLiteral("reduced/ranges_mm"))) {
        // A list value comes back split at its commas.
        const QVariant v = ini.value(QStringLiteral("reduced/ranges_mm"));
        const QString text =
            v.type() == QVariant::StringList ? v.toStringList().join(QLatin1Char(',')) : v.toString();
        if (!parse_ranges(text, &s.reducedRanges)) {
            refused << QStringLiteral("reduced/ranges_mm");
        }
    }
    if (error != nullptr && !refused.isEmpty()) {
        *error = QStringLiteral("%1: invalid %2, the default is used")
                     .arg(path, refused.join(QStringLiteral(", ")));
    }
    return s;
}

std::vector<double> SpectrumSettings::classEdgesMm() const {
    // Rounding must not drop an edge that the settings name exactly (0.0508 mm is 2^(17/3) um to
    // four digits): an edge within 0.1 % of a limit counts as inside it.
    const double first = std::ceil(3.0 * std::log2(smallestEsdMm * 1000.0 / 1.001));
    const double last = std::floor(3.0 * std::log2(largestEsdMm * 1000.0 * 1.001));
    std::vector<double> edges;
    for (double k = first; k <= last; k += 1.0) {
        edges.push_back(std::exp2(k / 3.0) / 1000.0);
    }
    return edges;
}

QString SpectrumSettings::classLabel(const std::vector<double>& edges, int index) {
    // Three significant digits name the edges as they are usually quoted (0.0508, 0.064, 0.0806).
    const auto edge = [](double v) { return QString::number(v, 'g', 3); };
    const auto i = static_cast<std::size_t>(index);
    if (i + 1 < edges.size()) {
        return edge(edges[i]) + QLatin1Char('-') + edge(edges[i + 1]);
    }
    return QLatin1Char('>') + edge(edges.back());
}

QStringList SpectrumSettings::describe() const {
    const std::vector<double> edges = classEdgesMm();
    QStringList edgeTexts;
    for (double e : edges) {
        edgeTexts << number(e);
    }
    QStringList ranges;
    for (const auto& [low, high] : reducedRanges) {
        ranges << number(low) + QLatin1Char('-') + number(high);
    }
    return {QStringLiteral("Size classes: equivalent spherical diameter (ESD), edges 2^(k/3) micrometres, "
                           "from %1 mm to %2 mm, then an open class")
                .arg(number(smallestEsdMm), number(largestEsdMm)),
            QStringLiteral("Class edges [mm]: %1").arg(edgeTexts.join(QLatin1Char(' '))),
            QStringLiteral("Depth bins: %1 m; depth from pressure, 1 dbar = 1 m").arg(number(binMetres)),
            QStringLiteral("Grouped size ranges [mm]: %1").arg(ranges.join(QLatin1Char(' ')))};
}

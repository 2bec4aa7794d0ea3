#include "ParticleSpectrum.h"

#include <QList>

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>

namespace {

// One image line of "particules.csv": "time,pressure,second,F:payload".
struct ImageLine {
    QDateTime time;
    double pressure = NAN;
    char flag = '0';
    QByteArray payload;
};

bool parse_line(const QByteArray& line, ImageLine* out) {
    const int c1 = line.indexOf(',');
    const int c2 = c1 < 0 ? -1 : line.indexOf(',', c1 + 1);
    const int c3 = c2 < 0 ? -1 : line.indexOf(',', c2 + 1);
    if (c3 < 0 || c3 + 1 >= line.size()) {
        return false;
    }
    out->time = ParticleSpectrum::parseImageTime(line.left(c1));
    bool ok = false;
    const double p = line.mid(c1 + 1, c2 - c1 - 1).toDouble(&ok);
    out->pressure = ok ? p : NAN;
    out->flag = line.at(c3 + 1);
    out->payload = c3 + 3 <= line.size() ? line.mid(c3 + 3) : QByteArray();
    return true;
}

// Whether the payload holds object measurements (the other kinds start with 'O' or 'E').
bool has_objects(const QByteArray& payload) {
    return !payload.isEmpty() && payload.at(0) != 'O' && payload.at(0) != 'E';
}

} // namespace

QDateTime ParticleSpectrum::parseImageTime(const QByteArray& text) {
    if (text.size() < 15) {
        return {};
    }
    QDateTime t =
        QDateTime::fromString(QString::fromLatin1(text.left(15)), QStringLiteral("yyyyMMdd-HHmmss"));
    if (t.isValid() && text.size() >= 19 && text.at(15) == '-') {
        bool ok = false;
        const int ms = text.mid(16, 3).toInt(&ok);
        if (ok) {
            t = t.addMSecs(ms);
        }
    }
    return t;
}

int ParticleSpectrum::classOf(double esdMm) const {
    // Edges are powers of two computed in floating point: a size meant to be on an edge may come
    // out a hair below it.
    const double nudged = esdMm * (1.0 + 1e-9);
    const auto it = std::upper_bound(edges.begin(), edges.end(), nudged);
    return static_cast<int>(it - edges.begin()) - 1;
}

bool ParticleSpectrum::compute(const QByteArray& particulesCsv, const SpectrumSample& sample,
                               const SpectrumSettings& settings, ParticleSpectrum* out, QString* error) {
    ParticleSpectrum s;
    s.timeSeries = sample.timeSeries;
    s.edges = settings.classEdgesMm();
    const auto fail = [error](const QString& why) {
        if (error != nullptr) {
            *error = why;
        }
        return false;
    };
    if (s.edges.empty()) {
        return fail(QStringLiteral("No size class between %1 and %2 mm")
                        .arg(settings.smallestEsdMm)
                        .arg(settings.largestEsdMm));
    }
    if (s.timeSeries && !(sample.integrationSeconds > 0)) {
        return fail(QStringLiteral("A time sample needs an integration time above 0 s"));
    }
    const QList<QByteArray> lines = particulesCsv.split('\n');
    if (lines.size() < 2 || !lines[0].startsWith("HW_CONF") || !lines[1].startsWith("ACQ_CONF")) {
        return fail(QStringLiteral("particules.csv does not start with its HW_CONF and ACQ_CONF lines"));
    }
    const int classes = s.classCount();
    std::map<long long, SpectrumBin> bins; // by bin or window index, in order
    QDateTime origin;
    int lineNo = 2;
    for (auto it = lines.begin() + 2; it != lines.end(); ++it, ++lineNo) {
        const QByteArray line = it->trimmed();
        if (line.isEmpty()) {
            continue;
        }
        ImageLine image;
        if (!parse_line(line, &image)) {
            return fail(QStringLiteral("particules.csv line %1 is not an image line").arg(lineNo + 1));
        }
        ++s.imagesRead;
        if (!s.firstImage.isValid()) {
            s.firstImage = image.time;
        }
        if (image.flag == '0') {
            continue; // a BLACK image: no flash, no objects
        }
        long long index = 0;
        if (s.timeSeries) {
            if (!image.time.isValid()) {
                continue;
            }
            if (!origin.isValid()) {
                origin = image.time;
            }
            index = static_cast<long long>(std::floor(static_cast<double>(origin.msecsTo(image.time)) /
                                                      1000.0 / sample.integrationSeconds));
        } else {
            if (!std::isfinite(image.pressure)) {
                continue;
            }
            index = static_cast<long long>(std::floor(image.pressure / settings.binMetres));
        }
        SpectrumBin& bin = bins[index];
        if (bin.objects.empty()) {
            bin.objects.assign(static_cast<std::size_t>(classes), 0.0);
            bin.start = s.timeSeries ? origin.addMSecs(static_cast<qint64>(
                                           static_cast<double>(index) * sample.integrationSeconds * 1000.0))
                                     : image.time;
        }
        ++bin.images;
        if (!has_objects(image.payload)) {
            continue;
        }
        for (const QByteArray& group : image.payload.split(';')) {
            const QList<QByteArray> values = group.split(',');
            if (values.size() < 2) {
                continue;
            }
            bool okArea = false;
            bool okCount = false;
            const double area = values[0].trimmed().toDouble(&okArea);
            const double count = values[1].trimmed().toDouble(&okCount);
            if (!okArea || !okCount || !(area > 0) || !(count > 0)) {
                continue;
            }
            const double areaMm2 = sample.aa * std::pow(area, sample.exp);
            const double esd = 2.0 * std::sqrt(areaMm2 / std::numbers::pi);
            const int c = s.classOf(esd);
            if (c < 0) {
                continue;
            }
            bin.objects[static_cast<std::size_t>(c)] += count;
            bin.biovolumePpm += count * std::numbers::pi / 6.0 * esd * esd * esd;
        }
    }
    // Bins between the first and the last are all listed, the empty ones too.
    if (!bins.empty()) {
        const long long first = bins.begin()->first;
        const long long last = bins.rbegin()->first;
        for (long long i = first; i <= last; ++i) {
            SpectrumBin bin = bins.count(i) ? bins[i] : SpectrumBin();
            if (bin.objects.empty()) {
                bin.objects.assign(static_cast<std::size_t>(classes), 0.0);
                if (s.timeSeries) {
                    bin.start = origin.addMSecs(
                        static_cast<qint64>(static_cast<double>(i) * sample.integrationSeconds * 1000.0));
                }
            }
            bin.depth =
                s.timeSeries ? sample.constantDepth : (static_cast<double>(i) + 0.5) * settings.binMetres;
            bin.volumeL = bin.images * sample.volimageL;
            bin.abundance.assign(static_cast<std::size_t>(classes), 0.0);
            if (bin.volumeL > 0) {
                for (int c = 0; c < classes; ++c) {
                    bin.abundance[static_cast<std::size_t>(c)] =
                        bin.objects[static_cast<std::size_t>(c)] / bin.volumeL;
                }
                bin.biovolumePpm /= bin.volumeL;
            } else {
                bin.biovolumePpm = 0;
            }
            s.bins.push_back(std::move(bin));
        }
    }
    *out = std::move(s);
    return true;
}

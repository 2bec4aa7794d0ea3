#include "ParticleSpectrum.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <numbers>

namespace {

// One image line of "particules.csv": "time,pressure,second,F:payload", read in place.
struct ImageLine {
    const char* time = nullptr; // the time stamp's text (up to the first comma)
    int timeLength = 0;
    double pressure = NAN;
    char flag = '0';
    const char* payload = nullptr;
    const char* end = nullptr;
};

// A number at `p` (before `end`); NaN when there is none. `next` gets where reading stopped.
double number_at(const char* p, const char* end, const char** next) {
    // strtod needs a terminated text: a field is short, copy it.
    char buffer[64];
    const std::size_t n = std::min<std::size_t>(static_cast<std::size_t>(end - p), sizeof buffer - 1);
    std::memcpy(buffer, p, n);
    buffer[n] = '\0';
    char* stop = nullptr;
    const double v = std::strtod(buffer, &stop);
    *next = p + (stop - buffer);
    return stop == buffer ? NAN : v;
}

bool parse_line(const char* begin, const char* end, ImageLine* out) {
    const char* commas[3];
    const char* p = begin;
    for (int i = 0; i < 3; ++i) {
        p = static_cast<const char*>(std::memchr(p, ',', static_cast<std::size_t>(end - p)));
        if (p == nullptr) {
            return false;
        }
        commas[i] = p++;
    }
    if (commas[2] + 1 >= end) {
        return false;
    }
    out->time = begin;
    out->timeLength = static_cast<int>(commas[0] - begin);
    const char* stop = nullptr;
    out->pressure = commas[1] > commas[0] + 1 ? number_at(commas[0] + 1, commas[1], &stop) : NAN;
    out->flag = commas[2][1];
    out->payload = std::min(commas[2] + 3, end);
    out->end = end;
    return true;
}

// Whether the payload holds object measurements (the other kinds start with 'O' or 'E').
bool has_objects(const ImageLine& line) {
    return line.payload < line.end && *line.payload != 'O' && *line.payload != 'E';
}

int digits(const char* p, int n) {
    int v = 0;
    for (int i = 0; i < n; ++i) {
        if (p[i] < '0' || p[i] > '9') {
            return -1;
        }
        v = v * 10 + (p[i] - '0');
    }
    return v;
}

} // namespace

bool ParticleSpectrum::parseImageDateAndTime(const QByteArray& text, QDate* date, QTime* time) {
    // "yyyyMMdd-HHmmss[-zzz]", read digit by digit: thousands of lines are read per sample.
    const char* t = text.constData();
    if (text.size() < 15 || t[8] != '-') {
        return false;
    }
    *date = QDate(digits(t, 4), digits(t + 4, 2), digits(t + 6, 2));
    int ms = 0;
    if (text.size() >= 19 && t[15] == '-') {
        ms = std::max(0, digits(t + 16, 3));
    }
    *time = QTime(digits(t + 9, 2), digits(t + 11, 2), digits(t + 13, 2), ms);
    return date->isValid() && time->isValid();
}

QDateTime ParticleSpectrum::parseImageTime(const QByteArray& text) {
    QDate date;
    QTime time;
    return parseImageDateAndTime(text, &date, &time) ? QDateTime(date, time) : QDateTime();
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
    const char* const data = particulesCsv.constData();
    const char* const dataEnd = data + particulesCsv.size();
    const auto next_line = [dataEnd](const char* p) {
        const char* e = static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(dataEnd - p)));
        return e == nullptr ? dataEnd : e;
    };
    const char* p = data;
    const char* e = next_line(p);
    const bool hw = particulesCsv.startsWith("HW_CONF");
    p = e < dataEnd ? e + 1 : dataEnd;
    if (!hw || !QByteArray::fromRawData(p, static_cast<int>(dataEnd - p)).startsWith("ACQ_CONF")) {
        return fail(QStringLiteral("particules.csv does not start with its HW_CONF and ACQ_CONF lines"));
    }
    p = next_line(p);
    p = p < dataEnd ? p + 1 : dataEnd;
    const int classes = s.classCount();
    std::map<long long, SpectrumBin> bins; // by bin or window index, in order
    QDateTime origin;
    int lineNo = 2;
    for (; p < dataEnd; p = e < dataEnd ? e + 1 : dataEnd, ++lineNo) {
        e = next_line(p);
        const char* lineEnd = e;
        while (lineEnd > p && (lineEnd[-1] == '\r' || lineEnd[-1] == ' ')) {
            --lineEnd;
        }
        if (lineEnd == p) {
            continue;
        }
        ImageLine image;
        if (!parse_line(p, lineEnd, &image)) {
            return fail(QStringLiteral("particules.csv line %1 is not an image line").arg(lineNo + 1));
        }
        ++s.imagesRead;
        const auto time = [&image] {
            return ParticleSpectrum::parseImageTime(QByteArray::fromRawData(image.time, image.timeLength));
        };
        if (s.imagesRead == 1) {
            s.firstImage = time();
        }
        if (image.flag == '0') {
            continue; // a BLACK image: no flash, no objects
        }
        long long index = 0;
        QDateTime when;
        if (s.timeSeries) {
            when = time();
            if (!when.isValid()) {
                continue;
            }
            if (!origin.isValid()) {
                origin = when;
            }
            index = static_cast<long long>(
                std::floor(static_cast<double>(origin.msecsTo(when)) / 1000.0 / sample.integrationSeconds));
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
                                     : time();
        }
        ++bin.images;
        if (!has_objects(image)) {
            continue;
        }
        // Groups "area,count,..." separated by ';'.
        for (const char* g = image.payload; g < image.end;) {
            const char* groupEnd =
                static_cast<const char*>(std::memchr(g, ';', static_cast<std::size_t>(image.end - g)));
            if (groupEnd == nullptr) {
                groupEnd = image.end;
            }
            const char* stop = nullptr;
            const double area = number_at(g, groupEnd, &stop);
            double count = NAN;
            if (stop < groupEnd && *stop == ',') {
                count = number_at(stop + 1, groupEnd, &stop);
            }
            g = groupEnd + 1;
            if (!(area > 0) || !(count > 0)) {
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

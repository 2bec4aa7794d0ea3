#include "SampleImageArchive.h"

#include "KelvoVersion.h"
#include "MappedZipReader.h"
#include "OdvExport.h"
#include "ParallelZipWriter.h"
#include "Vignette.h"
#include "project/Project.h"
#include "project/SampleForm.h"
#include "project/SequenceHandler.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <opencv2/imgcodecs.hpp>

#include <QThread>

#include <cstdio>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <thread>
#include <vector>

namespace {

struct Column {
    const char* name;
    bool number;
};

const Column kColumns[] = {
    {"img_file_name", false},   {"img_rank", true},
    {"object_id", false},       {"object_lat", true},
    {"object_lon", true},       {"object_date", false},
    {"object_time", false},     {"object_depth_min", true},
    {"object_depth_max", true}, {"object_area", true},
    {"object_esd", true},       {"object_mean", true},
    {"object_stddev", true},    {"object_major", true},
    {"object_minor", true},     {"object_perimeter", true},
    {"sample_id", false},       {"sample_cruise", false},
    {"sample_station", false},  {"acq_id", false},
    {"acq_pixel_size", true},   {"acq_aa", true},
    {"acq_exp", true},          {"acq_volimage", true},
    {"process_soft", false},    {"process_soft_version", false},
    {"process_date", false},
};

QString config_value(const SequenceHandler::ConfigFields& fields, const char* name) {
    for (const auto& f : fields) {
        if (f.first == QLatin1String(name)) {
            return QString::fromUtf8(f.second).trimmed();
        }
    }
    return QString();
}

QString number(double v) {
    return std::isfinite(v) ? QString::number(v, 'g', 6) : QString();
}

// A field of the table: no TAB or line end may split a row.
QString cell(const QString& text) {
    QString t = text;
    t.replace(QLatin1Char('\t'), QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' '));
    return t.remove(QLatin1Char('\r'));
}

// One vignette of the sample, prepared on a pool thread.
struct Prepared {
    const MappedZipReader::Entry* entry = nullptr;
    int image = 0;
    QByteArray png; // empty when the entry is not a vignette
    quint32 crc = 0;
    Vignette::Measures measures;
    cv::Mat picture; // kept to be measured when it was decoded before the threshold was known
    std::atomic<bool> done{false};
};

void prepare(const MappedZipReader& zip, Prepared& p, const std::atomic<int>& threshold) {
    QByteArray bytes;
    const cv::Mat picture = zip.read(*p.entry, bytes) ? Vignette::decode(bytes) : cv::Mat();
    if (!picture.empty()) {
        if (const int level = threshold.load(std::memory_order_acquire); level >= 0) {
            p.measures = Vignette::measure(picture, level);
        } else {
            p.picture = picture;
        }
        std::vector<uchar> png;
        cv::imencode(".png", picture, png);
        p.png = QByteArray(reinterpret_cast<const char*>(png.data()), static_cast<int>(png.size()));
        p.crc = ParallelZipWriter::crc32Of(p.png);
    }
    p.done.store(true, std::memory_order_release);
    p.done.notify_one();
}

// "yyyyMMdd-HHmmss..." as the table's date and time fields, or empty fields. Checked with dates
// and times alone: a local date-time would read the time zone for every row.
std::pair<QString, QString> date_and_time(const QByteArray& text) {
    QDate date;
    QTime time;
    if (!ParticleSpectrum::parseImageDateAndTime(text, &date, &time)) {
        return {};
    }
    return {QString::fromLatin1(text.constData(), 8), QString::fromLatin1(text.constData() + 9, 6)};
}

} // namespace

namespace SampleImageArchive {

QStringList columns() {
    QStringList names;
    for (const Column& c : kColumns) {
        names << QLatin1String(c.name);
    }
    return names;
}

QStringList types() {
    QStringList t;
    for (const Column& c : kColumns) {
        t << (c.number ? QStringLiteral("[f]") : QStringLiteral("[t]"));
    }
    return t;
}

QString build(const Project& project, const QString& sample, QStringList* warnings) {
    const RAMCsv& header = project.SampleHeader();
    const int row = SampleForm::FindRow(project, sample);
    if (row < 0) {
        return QStringLiteral("Sample %1 not found").arg(sample);
    }
    const auto field = [&](const char* name) { return header.Get(row, QLatin1String(name)).trimmed(); };
    const QString seq = field("filename");
    bool okFirst = false;
    bool okLast = false;
    const int first = field("firstimage").toInt(&okFirst);
    const int last = field("endimg").toInt(&okLast);
    if (!okFirst || !okLast || last < first) {
        return QStringLiteral("Sample %1 has no valid image range").arg(sample);
    }
    SequenceHandler sequence(project.Path(), seq);
    const QString dataUnreadable =
        QStringLiteral("Sample %1: unable to read the data file of sequence %2").arg(sample, seq);
    if (QFile data(sequence.DataFilePath()); QFileInfo(data).isDir() || !data.open(QIODevice::ReadOnly)) {
        return dataUnreadable;
    }
    const QString source = sequence.SequenceFolder() + QStringLiteral("/images.zip");
    if (!QFileInfo::exists(source)) {
        return QStringLiteral("Sequence %1 has no images.zip: download it or build it first").arg(seq);
    }
    MappedZipReader in;
    if (!in.open(source)) {
        return in.error();
    }
    // The range's vignettes in archive order, and the data rows of their images.
    std::vector<Prepared> items(in.entries().size());
    std::size_t count = 0;
    std::vector<int> images;
    for (const MappedZipReader::Entry& entry : in.entries()) {
        int image = 0;
        int object = 0;
        if (Vignette::parseName(entry.name, &image, &object) && image >= first && image <= last) {
            items[count].entry = &entry;
            items[count].image = image;
            images.push_back(image);
            ++count;
        }
    }
    std::sort(images.begin(), images.end());
    images.erase(std::unique(images.begin(), images.end()), images.end());

    // Decoding, measuring and PNG encoding run on every core at once, while this thread reads
    // the data rows, then writes each vignette into the archive in order as soon as it is ready.
    std::atomic<std::size_t> next{0};
    std::atomic<std::size_t> written{0}; // vignettes this thread is done with
    std::atomic<int> threshold{-1};      // the hardware threshold, once the data file is read
    const auto work = [&] {
        for (std::size_t i = next++; i < count; i = next++) {
            // Prepared images wait in memory until written: a pool far ahead of the writing
            // would hold a large sample's whole archive.
            constexpr std::size_t kAhead = 1024;
            for (std::size_t w = written.load(); i >= w + kAhead; w = written.load()) {
                written.wait(w);
            }
            prepare(in, items[i], threshold);
        }
    };
    std::vector<std::thread> pool;
    for (int t = std::max(1, QThread::idealThreadCount()); t > 0; --t) {
        pool.emplace_back(work);
    }
    const auto joinPool = [&] {
        next.store(count);
        written.store(std::numeric_limits<std::size_t>::max() / 2);
        written.notify_all();
        for (std::thread& t : pool) {
            t.join();
        }
        pool.clear();
    };
    if (!sequence.ReadDataFile(images)) {
        joinPool();
        return dataUnreadable;
    }
    bool okThreshold = false;
    const int hardwareThreshold = config_value(sequence.HwConfFields(), "Threshold").toInt(&okThreshold);
    threshold.store(okThreshold ? std::max(0, hardwareThreshold) : 0, std::memory_order_release);

    const double aa = field("aa").toDouble();
    const double exp = field("exp").toDouble();
    const double lat = OdvExport::decimalDegrees(field("latitude"));
    const double lon = OdvExport::decimalDegrees(field("longitude"));
    const QString processDate = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd"));
    // The fields that are the same on every row.
    const QString position = cell(number(lat)) + QLatin1Char('\t') + cell(number(lon)) + QLatin1Char('\t');
    const QStringList constant{sample,
                               field("cruise"),
                               field("stationid"),
                               seq,
                               field("pixelsize"),
                               field("aa"),
                               field("exp"),
                               field("volimage"),
                               QStringLiteral("KelvoApp"),
                               QString::fromLatin1(kKelvoVersionNumber),
                               processDate};
    QStringList cleanConstant;
    for (const QString& c : constant) {
        cleanConstant << cell(c);
    }
    const QString rowEnd = QLatin1Char('\t') + cleanConstant.join(QLatin1Char('\t'));

    const QString folder = project.Path() + QStringLiteral("/maridata/") + sample;
    QDir().mkpath(folder);
    const QString target = folder + QStringLiteral("/%1_Images.zip").arg(sample);
    const QString temporary = folder + QStringLiteral("/.%1_Images.zip.partial").arg(sample);
    // The images are prepared by this function's own pool: the writer's pool only deflates the table.
    ParallelZipWriter out(1);
    if (!out.open(temporary)) {
        joinPool();
        return out.error();
    }

    QString table = columns().join(QLatin1Char('\t')) + QLatin1Char('\n') + types().join(QLatin1Char('\t')) +
                    QLatin1Char('\n');
    const std::vector<SequenceHandler::stDataRaw>& rows = sequence.Rows();
    for (std::size_t i = 0; i < count; ++i) {
        Prepared& p = items[i];
        // Rather than sleep while the entry is prepared, this thread prepares the next ones.
        while (!p.done.load(std::memory_order_acquire)) {
            const std::size_t mine = next++;
            if (mine >= count) {
                p.done.wait(false, std::memory_order_acquire);
                break;
            }
            prepare(in, items[mine], threshold);
        }
        written.store(i);
        written.notify_all();
        if (p.png.isEmpty()) {
            if (warnings != nullptr) {
                *warnings
                    << QStringLiteral("%1: not a vignette (%2 bytes)").arg(p.entry->name).arg(p.entry->size);
            }
            continue;
        }
        const QString name = p.entry->name.mid(p.entry->name.lastIndexOf(QLatin1Char('/')) + 1);
        const QString base = name.chopped(4);
        const QString pngName = base + QStringLiteral(".png");
        if (!out.addStored(pngName, std::move(p.png), p.crc)) {
            break;
        }
        if (!p.picture.empty()) { // prepared before the threshold was known
            p.measures = Vignette::measure(p.picture, threshold.load());
            p.picture.release();
        }
        const Vignette::Measures& m = p.measures;
        const double esd =
            m.areaPixels > 0 ? 2.0 * std::sqrt(aa * std::pow(m.areaPixels, exp) / std::numbers::pi) : 0;
        const auto row = std::lower_bound(images.begin(), images.end(), p.image) - images.begin();
        const bool known = static_cast<std::size_t>(row) < rows.size();
        const auto [date, time] = known ? date_and_time(rows[static_cast<std::size_t>(row)].dateTime)
                                        : std::pair<QString, QString>();
        const QString depth = known ? number(rows[static_cast<std::size_t>(row)].pressure) : QString();
        table += cell(pngName) + QLatin1String("\t0\t") + cell(base) + QLatin1Char('\t') + position + date +
                 QLatin1Char('\t') + time + QLatin1Char('\t') + depth + QLatin1Char('\t') + depth +
                 QLatin1Char('\t') + QString::number(m.areaPixels) + QLatin1Char('\t') + number(esd) +
                 QLatin1Char('\t') + number(m.meanGrey) + QLatin1Char('\t') + number(m.stdGrey) +
                 QLatin1Char('\t') + number(m.majorAxis) + QLatin1Char('\t') + number(m.minorAxis) +
                 QLatin1Char('\t') + number(m.perimeter) + rowEnd + QLatin1Char('\n');
    }
    joinPool();
    if (!out.error().isEmpty()) {
        out.abandon();
        QFile::remove(temporary);
        return out.error();
    }
    out.add(QStringLiteral("objects_%1.tsv").arg(sample), table.toUtf8());
    // rename() replaces the older archive in one step: there is always one whole archive.
    if (!out.close(true) ||
        ::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(target).constData()) != 0) {
        const QString why =
            out.error().isEmpty() ? QStringLiteral("Unable to write %1").arg(target) : out.error();
        QFile::remove(temporary);
        return why;
    }
    return QString();
}

} // namespace SampleImageArchive

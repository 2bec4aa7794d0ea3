#include "SampleImageArchive.h"

#include "KelvoVersion.h"
#include "OdvExport.h"
#include "ParallelZipWriter.h"
#include "Vignette.h"
#include "project/Project.h"
#include "project/SampleForm.h"
#include "project/SequenceHandler.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <opencv2/imgcodecs.hpp>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <zlib.h>

#include <QThread>

#include <atomic>
#include <cmath>
#include <cstdio>
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

// One vignette of the archive, read, then prepared on a pool thread.
struct Prepared {
    QString name;
    QByteArray bytes; // as stored in the archive
    int method = 0;   // 0 stored, 8 deflated
    qint64 size = 0;  // the file's own size
    QByteArray png;   // empty when the bytes are not a vignette
    Vignette::Measures measures;
};

// The entry's file from its stored bytes.
QByteArray inflated(const Prepared& p) {
    if (p.method == 0) {
        return p.bytes;
    }
    if (p.method != Z_DEFLATED || p.size < 0 || p.size > (1 << 28)) {
        return {};
    }
    QByteArray out(static_cast<int>(p.size), '\0');
    z_stream z{};
    if (inflateInit2(&z, -MAX_WBITS) != Z_OK) {
        return {};
    }
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(p.bytes.constData()));
    z.avail_in = static_cast<uInt>(p.bytes.size());
    z.next_out = reinterpret_cast<Bytef*>(out.data());
    z.avail_out = static_cast<uInt>(out.size());
    const int r = inflate(&z, Z_FINISH);
    const bool whole = r == Z_STREAM_END && z.total_out == static_cast<uLong>(p.size);
    inflateEnd(&z);
    return whole ? out : QByteArray();
}

void prepare(Prepared& p, int threshold) {
    const cv::Mat picture = Vignette::decode(inflated(p));
    p.bytes = QByteArray();
    if (picture.empty()) {
        return;
    }
    p.measures = Vignette::measure(picture, threshold);
    std::vector<uchar> png;
    cv::imencode(".png", picture, png);
    p.png = QByteArray(reinterpret_cast<const char*>(png.data()), static_cast<int>(png.size()));
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
    if (!sequence.ReadDataFile()) {
        return QStringLiteral("Sample %1: unable to read the data file of sequence %2").arg(sample, seq);
    }
    const QString source = sequence.SequenceFolder() + QStringLiteral("/images.zip");
    if (!QFileInfo::exists(source)) {
        return QStringLiteral("Sequence %1 has no images.zip: download it or build it first").arg(seq);
    }
    // The archive is read through a mapping where it fits one buffer: the reader then seeks
    // from entry to entry without a system call each time.
    QFile sourceFile(source);
    QBuffer mapped;
    const uchar* map = nullptr;
    if (sourceFile.open(QIODevice::ReadOnly) && sourceFile.size() < std::numeric_limits<int>::max() &&
        (map = sourceFile.map(0, sourceFile.size())) != nullptr) {
        mapped.setData(
            QByteArray::fromRawData(reinterpret_cast<const char*>(map), static_cast<int>(sourceFile.size())));
    }
    QuaZip in(source);
    if (map != nullptr) {
        in.setIoDevice(&mapped);
    }
    if (!in.open(QuaZip::mdUnzip)) {
        return QStringLiteral("Unable to open %1 (error %2)").arg(source).arg(in.getZipError());
    }
    bool okThreshold = false;
    const int threshold = config_value(sequence.HwConfFields(), "Threshold").toInt(&okThreshold);
    const double aa = field("aa").toDouble();
    const double exp = field("exp").toDouble();
    const double lat = OdvExport::decimalDegrees(field("latitude"));
    const double lon = OdvExport::decimalDegrees(field("longitude"));
    const QString processDate = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd"));

    const QString folder = project.Path() + QStringLiteral("/maridata/") + sample;
    QDir().mkpath(folder);
    const QString target = folder + QStringLiteral("/%1_Images.zip").arg(sample);
    const QString temporary = folder + QStringLiteral("/.%1_Images.zip.partial").arg(sample);
    ParallelZipWriter out;
    if (!out.open(temporary)) {
        return out.error();
    }
    QStringList table{columns().join(QLatin1Char('\t')), types().join(QLatin1Char('\t'))};
    // The range's vignettes in archive order, read a batch at a time; decoding, measuring and
    // PNG encoding of a batch run on every core, and the results go into the archive in order.
    const int threads = std::max(1, QThread::idealThreadCount());
    constexpr std::size_t kBatch = 128;
    bool more = in.goToFirstFile();
    // The next batch, read in archive order as the entries' compressed bytes (cheap: inflating
    // is left to the pool).
    const auto read_batch = [&] {
        std::vector<Prepared> batch;
        for (; more && batch.size() < kBatch; more = in.goToNextFile()) {
            int image = 0;
            int object = 0;
            const QString name = in.getCurrentFileName();
            if (!Vignette::parseName(name, &image, &object) || image < first || image > last) {
                continue;
            }
            Prepared p;
            p.name = name;
            QuaZipFileInfo64 info;
            QuaZipFile entry(&in);
            int level = 0;
            if (in.getCurrentFileInfo(&info) && entry.open(QIODevice::ReadOnly, &p.method, &level, true)) {
                p.bytes = entry.readAll();
                p.size = static_cast<qint64>(info.uncompressedSize);
            }
            batch.push_back(std::move(p));
        }
        return batch;
    };
    // Three stages overlap: while the pool prepares one batch, this thread writes the one before
    // into the archive and reads the one after.
    struct Preparation {
        std::vector<Prepared> items;
        std::atomic<std::size_t> next{0};
        std::vector<std::thread> pool;
    };
    const int level = okThreshold ? threshold : 0;
    const auto start = [threads, level](Preparation& p) {
        const auto work = [&p, level] {
            for (std::size_t i = p.next++; i < p.items.size(); i = p.next++) {
                prepare(p.items[i], level);
            }
        };
        for (int t = 0; t < threads; ++t) {
            p.pool.emplace_back(work);
        }
    };
    const auto finish = [](Preparation& p) {
        for (std::thread& t : p.pool) {
            t.join();
        }
        p.pool.clear();
    };
    auto current = std::make_unique<Preparation>();
    current->items = read_batch();
    start(*current);
    while (!current->items.empty()) {
        auto following = std::make_unique<Preparation>();
        following->items = read_batch();
        finish(*current);
        if (!following->items.empty()) {
            start(*following);
        }
        std::vector<Prepared>& batch = current->items;
        if (!out.error().isEmpty()) {
            finish(*following);
            break;
        }
        for (Prepared& p : batch) {
            if (p.png.isEmpty()) {
                if (warnings != nullptr) {
                    *warnings << QStringLiteral("%1: not a vignette (%2 bytes)").arg(p.name).arg(p.size);
                }
                continue;
            }
            int image = 0;
            int object = 0;
            Vignette::parseName(p.name, &image, &object);
            const QString base = QFileInfo(p.name).completeBaseName();
            const QString pngName = base + QStringLiteral(".png");
            if (!out.add(pngName, std::move(p.png), ParallelZipWriter::Content::Compressed)) {
                break;
            }
            const Vignette::Measures& m = p.measures;
            const double esd =
                m.areaPixels > 0 ? 2.0 * std::sqrt(aa * std::pow(m.areaPixels, exp) / std::numbers::pi) : 0;
            const auto& rows = sequence.Rows();
            const bool known = image < static_cast<int>(rows.size());
            const QDateTime when =
                known ? ParticleSpectrum::parseImageTime(rows[static_cast<std::size_t>(image)].dateTime)
                      : QDateTime();
            const double depth = known ? rows[static_cast<std::size_t>(image)].pressure : NAN;
            const QStringList cells{pngName,
                                    QStringLiteral("0"),
                                    base,
                                    number(lat),
                                    number(lon),
                                    when.isValid() ? when.toString(QStringLiteral("yyyyMMdd")) : QString(),
                                    when.isValid() ? when.toString(QStringLiteral("hhmmss")) : QString(),
                                    number(depth),
                                    number(depth),
                                    QString::number(m.areaPixels),
                                    number(esd),
                                    number(m.meanGrey),
                                    number(m.stdGrey),
                                    number(m.majorAxis),
                                    number(m.minorAxis),
                                    number(m.perimeter),
                                    sample,
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
            QStringList clean;
            for (const QString& c : cells) {
                clean << cell(c);
            }
            table << clean.join(QLatin1Char('\t'));
        }
        current = std::move(following);
    }
    in.close();
    if (!out.error().isEmpty()) {
        out.abandon();
        QFile::remove(temporary);
        return out.error();
    }
    out.add(QStringLiteral("objects_%1.tsv").arg(sample),
            (table.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8());
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

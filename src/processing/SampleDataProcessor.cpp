#include "SampleDataProcessor.h"

#include "DurableFiles.h"
#include "project/Project.h"
#include "project/SampleForm.h"
#include "project/SampleHandler.h"
#include "project/SampleHeaderColumns.h"
#include "project/SequenceHandler.h"
#include "trace/FmtQt.h"
#include "trace/ZelTraceMgr.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipnewinfo.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <deque>
#include <future>
#include <thread>

namespace {

constexpr const char* kModule = "SampleDataProcessor";
// Lines are gathered into blocks of this size; each block is deflated on its own thread.
constexpr int kBlock = 512 * 1024;
// The deflate window: a block is primed with this much of the text before it.
constexpr int kWindow = 32 * 1024;

// Deflates a text given block after block into one raw deflate stream, several blocks at a time:
// each block starts from the last 32 KB before it as dictionary and ends on a byte boundary
// (sync flush), the last one ends the stream, so that the pieces joined in order are the stream
// of the whole text. The archive's deflate is what a sample costs; the reading of the sequence
// and the writing of the lines run beside it instead of before it.
class BlockDeflater {
public:
    BlockDeflater()
        : m_limit(std::max(2u, std::thread::hardware_concurrency()) * 2) {}

    // Queues `block` (and the window before it, which it must not change afterwards).
    bool add(QByteArray block, bool last) {
        m_size += block.size();
        m_crc =
            crc32(m_crc, reinterpret_cast<const Bytef*>(block.constData()), static_cast<uInt>(block.size()));
        QByteArray dictionary = m_tail;
        m_tail = block.size() >= kWindow ? block.right(kWindow) : (m_tail + block).right(kWindow);
        m_jobs.push_back(std::async(std::launch::async, [block = std::move(block), dictionary, last] {
            return deflateBlock(block, dictionary, last);
        }));
        while (static_cast<int>(m_jobs.size()) > m_limit) {
            if (!collectOne()) {
                return false;
            }
        }
        return true;
    }
    // Waits for every block; false when zlib failed on one.
    bool finish() {
        while (!m_jobs.empty()) {
            if (!collectOne()) {
                return false;
            }
        }
        return true;
    }
    const std::vector<QByteArray>& pieces() const { return m_pieces; }
    qint64 size() const { return m_size; }
    quint32 crc() const { return static_cast<quint32>(m_crc); }

private:
    static QByteArray deflateBlock(const QByteArray& block, const QByteArray& dictionary, bool last) {
        z_stream z{};
        if (deflateInit2(&z, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
            return QByteArray();
        }
        if (!dictionary.isEmpty()) {
            deflateSetDictionary(&z, reinterpret_cast<const Bytef*>(dictionary.constData()),
                                 static_cast<uInt>(dictionary.size()));
        }
        QByteArray out(static_cast<int>(deflateBound(&z, static_cast<uLong>(block.size()))) + 64, '\0');
        z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(block.constData()));
        z.avail_in = static_cast<uInt>(block.size());
        z.next_out = reinterpret_cast<Bytef*>(out.data());
        z.avail_out = static_cast<uInt>(out.size());
        const int rc = deflate(&z, last ? Z_FINISH : Z_SYNC_FLUSH);
        const bool ok = last ? rc == Z_STREAM_END : (rc == Z_OK && z.avail_in == 0);
        out.resize(static_cast<int>(z.total_out));
        deflateEnd(&z);
        return ok ? out : QByteArray();
    }

    bool collectOne() {
        QByteArray piece = m_jobs.front().get();
        m_jobs.pop_front();
        if (piece.isEmpty()) {
            return false;
        }
        m_pieces.push_back(std::move(piece));
        return true;
    }

    int m_limit;
    std::deque<std::future<QByteArray>> m_jobs;
    std::vector<QByteArray> m_pieces;
    QByteArray m_tail;
    qint64 m_size = 0;
    uLong m_crc = crc32(0L, Z_NULL, 0);
};

// Shortest general notation with 6 significant digits, whatever the process's locale.
void append_number(QByteArray& out, double v) {
    if (std::isnan(v)) {
        out.append("nan", 3);
        return;
    }
    char text[32];
    const auto end = fmt::format_to_n(text, sizeof(text), "{:.6g}", v).out;
    out.append(text, static_cast<int>(end - text));
}

QByteArray ini_section(const char* title, SequenceHandler::ConfigFields fields) {
    std::stable_sort(fields.begin(), fields.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    QByteArray out = QByteArray(title) + "\r\n";
    for (const auto& f : fields) {
        out += f.first.toUtf8() + '=' + f.second + "\r\n";
    }
    return out;
}

} // namespace

SampleDataProcessor::SampleDataProcessor(const Project& project)
    : m_project(project) {}

bool SampleDataProcessor::fail(const QString& text) {
    m_lastError = text;
    GetTraceMgr()->logf(kModule, ZelLevelError, "{}", text);
    return false;
}

bool SampleDataProcessor::ProcessData(const QString& sample) {
    ZelTraceMgr* log = GetTraceMgr();
    log->logf(kModule, ZelLevelInformation, "Start processing particules for sample {}", sample);
    QElapsedTimer timer;
    timer.start();
    m_lastError.clear();

    const RAMCsv& header = m_project.SampleHeader();
    const int row = SampleForm::FindRow(m_project, sample);
    // A name that is not a plain folder name never becomes a path.
    if (row < 0 || !SequenceHandler::IsSafeName(sample)) {
        return fail(QStringLiteral("SampleDataProcessor::ProcessData Sample not found : %1").arg(sample));
    }
    const QStringList cells = header.Row(row);
    const auto cell = [&](const QString& name) { return cells.value(header.Columns().indexOf(name)); };

    const QString seqName = cell(QStringLiteral("filename"));
    SequenceHandler seq(m_project.Path(), seqName);
    if (!SequenceHandler::IsSafeName(seqName) || !seq.ReadDataFile()) {
        return fail(QStringLiteral("SampleDataProcessor::ProcessData unable to load sequence file : %1")
                        .arg(seqName));
    }

    const int rows = seq.RowCount();
    bool ok = false;
    int first = cell(QStringLiteral("firstimage")).trimmed().toInt(&ok);
    if (!ok || first < 0 || first >= rows) {
        first = 0;
    }
    int last = cell(QStringLiteral("endimg")).trimmed().toInt(&ok);
    if (!ok) {
        last = 0;
    }
    if (last < 1 || last >= rows) {
        return fail(QStringLiteral("SampleDataProcessor::ProcessData Invalid first/last value %1->%2:")
                        .arg(first)
                        .arg(last));
    }
    QString constantDepth = cell(QStringLiteral("constantdepth")).trimmed().toLower();
    if (constantDepth.isEmpty()) {
        constantDepth = QStringLiteral("nan");
    }
    const bool substitute = constantDepth != QLatin1String("nan") &&
                            cell(QStringLiteral("sampletype")).trimmed() == QLatin1String("T");
    const QByteArray depthText = constantDepth.toUtf8();

    const SampleHandler files(m_project.Path());
    const QString folder = files.SampleDir(sample);
    if (!QDir().mkpath(folder)) {
        return fail(
            QStringLiteral("SampleDataProcessor::ProcessData unable to create folder %1").arg(folder));
    }
    const QString target = files.ParticleArchivePath(sample);
    const QString temporary = folder + QLatin1Char('/') + temporaryArchiveName(sample);
    QFile::remove(temporary);

    QString failure;
    {
        QuaZip zip(temporary);
        if (!zip.open(QuaZip::mdCreate)) {
            return fail(QStringLiteral("SampleDataProcessor::ProcessData unable to create archive %1 (%2)")
                            .arg(temporary)
                            .arg(zip.getZipError()));
        }
        const QDateTime now = QDateTime::currentDateTime();
        const auto writeEntry = [&](const QString& name, const std::function<bool(QuaZipFile&)>& body) {
            QuaZipFile entry(&zip);
            QuaZipNewInfo info(name);
            info.dateTime = now;
            if (!entry.open(QIODevice::WriteOnly, info, nullptr, 0, Z_DEFLATED, Z_DEFAULT_COMPRESSION)) {
                failure = QStringLiteral("unable to open %1 in %2").arg(name, temporary);
                return;
            }
            if (!body(entry)) {
                failure = QStringLiteral("unable to write %1 in %2").arg(name, temporary);
            }
            entry.close();
            if (failure.isEmpty() && entry.getZipError() != ZIP_OK) {
                failure = QStringLiteral("unable to write %1 in %2").arg(name, temporary);
            }
        };

        // "particules.csv": the lines are gathered into blocks deflated beside the formatting,
        // then the deflated stream goes into the archive as it is.
        BlockDeflater deflater;
        bool deflated = true;
        {
            QByteArray block;
            block.reserve(kBlock + 4096);
            block += seq.HwConfLine() + '\n' + seq.AcqConfLine() + '\n';
            const auto& data = seq.Rows();
            for (int i = first; i <= last && deflated; ++i) {
                const SequenceHandler::stDataRaw& r = data[static_cast<size_t>(i)];
                block += r.dateTime;
                block += ',';
                if (substitute && std::isnan(r.pressure)) {
                    block += depthText;
                } else {
                    append_number(block, r.pressure);
                }
                block += ',';
                append_number(block, r.value2);
                block += ',';
                block += r.flag;
                block += ':';
                block += r.payload;
                block += '\n';
                if (block.size() >= kBlock && i < last) {
                    deflated = deflater.add(std::move(block), false);
                    block = QByteArray();
                    block.reserve(kBlock + 4096);
                }
            }
            deflated = deflated && deflater.add(std::move(block), true) && deflater.finish();
        }
        if (!deflated) {
            failure = QStringLiteral("unable to deflate particules.csv");
        } else {
            QuaZipFile entry(&zip);
            QuaZipNewInfo info(QStringLiteral("particules.csv"));
            info.dateTime = now;
            info.uncompressedSize = static_cast<ulong>(deflater.size());
            if (!entry.open(QIODevice::WriteOnly, info, nullptr, deflater.crc(), Z_DEFLATED,
                            Z_DEFAULT_COMPRESSION, true)) {
                failure = QStringLiteral("unable to open particules.csv in %1").arg(temporary);
            } else {
                for (const QByteArray& piece : deflater.pieces()) {
                    if (entry.write(piece) != piece.size()) {
                        failure = QStringLiteral("unable to write particules.csv in %1").arg(temporary);
                        break;
                    }
                }
                entry.close();
                if (failure.isEmpty() && entry.getZipError() != ZIP_OK) {
                    failure = QStringLiteral("unable to write particules.csv in %1").arg(temporary);
                }
            }
        }

        if (failure.isEmpty()) {
            writeEntry(QStringLiteral("metadata.ini"), [&](QuaZipFile& entry) {
                QByteArray ini = ini_section("[HW_CONF]", seq.HwConfFields());
                ini += "\r\n" + ini_section("[ACQ_CONF]", seq.AcqConfFields());
                ini += "\r\n[sample_metadata]\r\n";
                static const QStringList left{QStringLiteral("volimage"), QStringLiteral("pixelsize"),
                                              QStringLiteral("aa"), QStringLiteral("exp")};
                for (const QString& column : SampleHeaderColumns::All()) {
                    if (!left.contains(column)) {
                        ini += column.toUtf8() + '=' + cell(column).toUtf8() + "\r\n";
                    }
                }
                return entry.write(ini) == ini.size();
            });
        }
        zip.close();
        if (failure.isEmpty() && zip.getZipError() != ZIP_OK) {
            failure = QStringLiteral("unable to complete %1").arg(temporary);
        }
    }
    if (failure.isEmpty()) {
        DurableFiles::sync(temporary);
        if (::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(target).constData()) != 0) {
            failure = QStringLiteral("unable to rename %1 to %2").arg(temporary, target);
        } else {
            DurableFiles::syncFolder(folder);
        }
    }
    if (!failure.isEmpty()) {
        QFile::remove(temporary);
        return fail(QStringLiteral("SampleDataProcessor::ProcessData %1").arg(failure));
    }
    log->logf(kModule, ZelLevelInformation, "Processed particules of {} in {}ms", sample, timer.elapsed());
    return true;
}

#include "SampleDataProcessor.h"

#include "project/Project.h"
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

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr const char* kModule = "SampleDataProcessor";
// Lines are gathered into blocks of this size before they go to the deflater.
constexpr int kBlock = 256 * 1024;

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

void sync_path(const QString& path, int flags) {
    const int fd = ::open(QFile::encodeName(path).constData(), flags);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
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
    const int nameColumn = header.Columns().indexOf(QStringLiteral("profileid"));
    int row = -1;
    for (int r = 0; nameColumn >= 0 && r < header.RowCount() && !sample.isEmpty(); ++r) {
        if (header.Row(r).value(nameColumn) == sample) {
            row = r;
            break;
        }
    }
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

        writeEntry(QStringLiteral("particules.csv"), [&](QuaZipFile& entry) {
            QByteArray block;
            block.reserve(kBlock + 4096);
            block += seq.HwConfLine() + '\n' + seq.AcqConfLine() + '\n';
            const auto& data = seq.Rows();
            for (int i = first; i <= last; ++i) {
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
                if (block.size() >= kBlock) {
                    if (entry.write(block) != block.size()) {
                        return false;
                    }
                    block.resize(0);
                }
            }
            return entry.write(block) == block.size();
        });

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
        sync_path(temporary, O_RDONLY);
        if (::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(target).constData()) != 0) {
            failure = QStringLiteral("unable to rename %1 to %2").arg(temporary, target);
        } else {
            sync_path(folder, O_RDONLY | O_DIRECTORY);
        }
    }
    if (!failure.isEmpty()) {
        QFile::remove(temporary);
        return fail(QStringLiteral("SampleDataProcessor::ProcessData %1").arg(failure));
    }
    log->logf(kModule, ZelLevelInformation, "Processed particules of {} in {}ms", sample, timer.elapsed());
    return true;
}

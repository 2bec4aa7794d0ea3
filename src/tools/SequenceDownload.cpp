#include "SequenceDownload.h"

#include "device/InterfaceCamera.h"
#include "link/CardPath.h"
#include "processing/DurableFiles.h"
#include "processing/ParallelZipWriter.h"
#include "processing/RawFrame.h"
#include "project/SequenceHandler.h"
#include "trace/FmtQt.h"
#include "trace/ZelTraceMgr.h"

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>

namespace {

constexpr const char* kModule = "ffiletransfert";

ZelTraceMgr* trace() {
    return GetTraceMgr();
}

std::int64_t now_ms() {
    return QDateTime::currentMSecsSinceEpoch();
}

// Writes `size` bytes into a new file and starts the disk writing them; they are made durable
// (DurableFiles::sync) only before the copy is put in place, so that the download does not wait for
// the disk file after file. False with the reason otherwise.
bool write_file(const QString& path, const char* data, std::size_t size, QString* why) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        *why = file.errorString();
        return false;
    }
    if (file.write(data, static_cast<qint64>(size)) != static_cast<qint64>(size) || !file.flush()) {
        *why = file.errorString();
        return false;
    }
#ifdef __linux__
    ::sync_file_range(file.handle(), 0, 0, SYNC_FILE_RANGE_WRITE);
#endif
    return true;
}

bool has_files(const QString& folder) {
    return !QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).isEmpty();
}

} // namespace

SequenceDownload::SequenceDownload(InterfaceCamera& camera, const QString& projectPath)
    : m_camera(camera)
    , m_projectPath(projectPath)
    , m_now([] { return QDateTime::currentDateTime(); }) {}

QString SequenceDownload::targetFolder(const QString& name, const QDateTime& now) {
    if (name == QLatin1String(SdSequenceList::kSelfCheckKey)) {
        return QStringLiteral("autocheck/%1").arg(now.toString(QStringLiteral("yyyyMMdd_hhmm")));
    }
    return QStringLiteral("raw/") + name;
}

void SequenceDownload::report() {
    m_state.elapsedMs = now_ms() - m_startMs;
    if (m_progress) {
        m_progress(m_state);
    }
}

bool SequenceDownload::fetchInto(const QString& name, const QString& cardPath, const QString& file,
                                 const char* fetchError, DownloadResult& result) {
    const std::span<const char> bytes = m_camera.dumpFile(cardPath);
    if (!m_camera.lastTransferSucceeded()) {
        result.error = QString::fromStdString(fmt::format(fmt::runtime(fetchError), name));
        trace()->post(kModule, ZelLevelError, result.error.toStdString());
        return false;
    }
    QString why;
    const std::optional<QString> local = card_path_in_folder(m_staging, file.toStdString(), &why);
    if (!local || !write_file(*local, bytes.data(), bytes.size(), &why)) {
        result.error = QStringLiteral("Sequence %1 unable to create data file").arg(name);
        trace()->logf(kModule, ZelLevelError, "{} ({})", result.error, why);
        return false;
    }
    m_written << *local;
    ++m_state.filesDone;
    m_state.bytes += static_cast<std::int64_t>(bytes.size());
    report();
    return true;
}

bool SequenceDownload::fetchImages(const QString& name, const SdSequenceEntry& entry,
                                   DownloadResult& result) {
    ParallelZipWriter zip;
    zip.setAdderPrepares(false);
    if (!zip.open(m_staging + QStringLiteral("/images.zip"))) {
        result.error = zip.error();
        trace()->logf(kModule, ZelLevelError, "Sequence {} {}", name, zip.error());
        return false;
    }
    const int listed = static_cast<int>(entry.images.size());
    int stored = 0;
    zip.setOnWritten([&](const ParallelZipWriter::Written&) {
        ++stored;
        if (stored % 10 == 0) {
            trace()->logf(kModule, ZelLevelInformation, "Processed image {}/{} ", stored, listed);
        }
    });
    bool ok = true;
    for (const QString& image : entry.images) {
        if (cancelled()) {
            result.error = QStringLiteral("Sequence %1 transfer cancelled").arg(name);
            trace()->post(kModule, ZelLevelWarning, result.error.toStdString());
            ok = false;
            break;
        }
        if (const QString why = card_path_refusal(image.toStdString()); !why.isEmpty()) {
            trace()->logf(kModule, ZelLevelError, "Sequence {} {}", name, why);
            continue;
        }
        const std::span<const char> bytes = m_camera.dumpFile(entry.dir + image);
        if (!m_camera.lastTransferSucceeded()) {
            result.error = QStringLiteral("Sequence %1 unable to retrieve file %2").arg(name, image);
            trace()->post(kModule, ZelLevelError, result.error.toStdString());
            ok = false;
            break;
        }
        ++m_state.filesDone;
        m_state.bytes += static_cast<std::int64_t>(bytes.size());
        if (image.endsWith(QLatin1String(".raw"))) {
            if (!RawFrame::isFrameSize(bytes.size(), true)) {
                trace()->logf(kModule, ZelLevelError, "Invalid file size for {}", image);
                report();
                continue;
            }
            const QString png = image.left(image.size() - 4) + QStringLiteral(".png");
            ok = zip.add(png, QByteArray(bytes.data(), static_cast<int>(bytes.size())),
                         ParallelZipWriter::Content::RawFrame);
        } else {
            ok = zip.add(image, QByteArray(bytes.data(), static_cast<int>(bytes.size())));
        }
        if (!ok) {
            result.error =
                QStringLiteral("Sequence %1 unable to write images.zip: %2").arg(name, zip.error());
            trace()->post(kModule, ZelLevelError, result.error.toStdString());
            break;
        }
        report();
    }
    // What was received is kept in a valid archive either way.
    if (!zip.close(true) && ok) {
        result.error = QStringLiteral("Sequence %1 unable to write images.zip: %2").arg(name, zip.error());
        trace()->post(kModule, ZelLevelError, result.error.toStdString());
        ok = false;
    }
    return ok;
}

DownloadResult SequenceDownload::run(const QString& name, const SdSequenceEntry& entry) {
    SdSequenceList& list = SdSequenceList::instance();
    list.setCurrentTransfer(name);
    DownloadResult result;
    m_startMs = now_ms();
    m_state = DownloadProgress();
    m_state.sequence = name;
    m_written.clear();
    m_state.filesTotal = 1 + (entry.syntheticFile.isEmpty() ? 0 : 1) + static_cast<int>(entry.images.size());

    const auto finish = [&] {
        list.setCurrentTransfer(QString());
        return result;
    };
    if (entry.dataFile.isEmpty() || !SequenceHandler::IsSafeName(name)) {
        result.error = QStringLiteral("Sequence %1 not available in seqlist").arg(name);
        trace()->post(kModule, ZelLevelError, result.error.toStdString());
        return finish();
    }
    result.target = targetFolder(name, m_now());
    const QString target = m_projectPath + QLatin1Char('/') + result.target;
    const QFileInfo targetInfo(target);
    const QString parent = targetInfo.absolutePath();
    m_staging = parent + QStringLiteral("/.") + targetInfo.fileName() + QStringLiteral(".partial");
    QDir(m_staging).removeRecursively();
    if (!QDir().mkpath(m_staging)) {
        result.error = QStringLiteral("Sequence %1 unable to create folder %2").arg(name, m_staging);
        trace()->post(kModule, ZelLevelError, result.error.toStdString());
        return finish();
    }
    report();

    if (m_prepare) {
        m_camera.prepareEthernet();
        m_camera.puSetup();
        m_camera.setEthernetDestination();
    }
    bool ok = fetchInto(name, entry.dir + entry.dataFile, entry.dataFile,
                        "Sequence {} unable to retrieve data file", result);
    if (ok && cancelled()) {
        result.error = QStringLiteral("Sequence %1 transfer cancelled").arg(name);
        trace()->post(kModule, ZelLevelWarning, result.error.toStdString());
        ok = false;
    }
    if (ok && !entry.syntheticFile.isEmpty()) {
        ok = fetchInto(name, entry.dir + entry.syntheticFile, entry.syntheticFile,
                       "Sequence {} unable to retrieve synthetic file", result);
    }
    if (ok && !entry.images.isEmpty()) {
        ok = fetchImages(name, entry, result);
    }

    const bool hadCopy = targetInfo.exists();
    for (const QString& file : std::as_const(m_written)) {
        if (ok && !DurableFiles::sync(file)) {
            result.error = QStringLiteral("Sequence %1 unable to write %2").arg(name, file);
            trace()->post(kModule, ZelLevelError, result.error.toStdString());
            ok = false;
        }
    }
    if (ok) {
        DurableFiles::syncFolder(m_staging); // the files' names, before the folder is put in place
        const QString old = parent + QStringLiteral("/.") + targetInfo.fileName() + QStringLiteral(".old");
        QDir(old).removeRecursively();
        if (hadCopy && !QDir().rename(target, old)) {
            result.error = QStringLiteral("Sequence %1 unable to replace %2").arg(name, target);
        } else if (!QDir().rename(m_staging, target)) {
            if (hadCopy) {
                QDir().rename(old, target);
            }
            result.error = QStringLiteral("Sequence %1 unable to replace %2").arg(name, target);
        }
        if (!result.error.isEmpty()) {
            trace()->post(kModule, ZelLevelError, result.error.toStdString());
            QDir(m_staging).removeRecursively();
            return finish();
        }
        DurableFiles::syncFolder(parent);
        QDir(old).removeRecursively();
        trace()->logf(kModule, ZelLevelInformation, "Sequence {} transfert done", name);
        result.complete = true;
        return finish();
    }
    // A failed download never replaces a copy; with none, what arrived shows what is missing. A
    // sequence without images has nothing that could show a missing synthetic file: it would be
    // reported "OK", so what arrived of it is dropped.
    if (!hadCopy && !entry.images.isEmpty() && has_files(m_staging) && QDir().rename(m_staging, target)) {
        DurableFiles::syncFolder(parent);
    } else {
        QDir(m_staging).removeRecursively();
        if (!hadCopy) {
            result.target.clear();
        }
    }
    return finish();
}

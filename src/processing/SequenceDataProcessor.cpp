#include "SequenceDataProcessor.h"

#include "DurableFiles.h"
#include "ParallelZipWriter.h"
#include "RawFrame.h"
#include "project/SequenceHandler.h"
#include "trace/FmtQt.h"
#include "trace/ZelTraceMgr.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace {

constexpr const char* kModule = "SequenceDataProcessor";

// Removes the files from a few threads at once: on a disk that discards freed blocks at once an
// unlink waits milliseconds for the device, and thousands of them one after the other would take
// longer than the whole archive.
void remove_files(const std::vector<QString>& paths) {
    constexpr std::size_t kThreads = 8;
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        for (std::size_t i = next++; i < paths.size(); i = next++) {
            QFile::remove(paths[i]);
        }
    };
    std::vector<std::thread> threads;
    for (std::size_t t = 1; t < std::min(kThreads, paths.size()); ++t) {
        threads.emplace_back(work);
    }
    work();
    for (std::thread& t : threads) {
        t.join();
    }
}

struct Source {
    QString path;
    QString entry;
    ParallelZipWriter::Content content;
    QDateTime modified;
};

} // namespace

SequenceDataProcessor::SequenceDataProcessor(const QString& projectPath)
    : m_projectPath(projectPath) {}

QString SequenceDataProcessor::ZipVignettes(const QString& sequence, const Progress& progress,
                                            const std::function<bool()>& cancelled) {
    ZelTraceMgr* log = GetTraceMgr();
    log->logf(kModule, ZelLevelInformation, "Start compressing vignettes of sequence {}", sequence);
    QElapsedTimer timer;
    timer.start();

    const QString folder = m_projectPath + QStringLiteral("/raw/") + sequence;
    if (!SequenceHandler::IsSafeName(sequence) || !QFileInfo(folder).isDir()) {
        log->logf(kModule, ZelLevelError, "sequencedataprocessor::ZipVignettes Sequence not found : {}",
                  sequence);
        return QStringLiteral("Sequence not found");
    }
    const QString archivePath = folder + QStringLiteral("/images.zip");
    if (QFileInfo::exists(archivePath)) {
        log->logf(kModule, ZelLevelError,
                  "sequencedataprocessor::ZipVignettes images.zip already exists for sequence : {}",
                  sequence);
        return QStringLiteral("Already zipped");
    }
    const QString temporary = folder + QLatin1Char('/') + temporaryArchiveName();
    QFile::remove(temporary);

    const QDir dir(folder);
    const QStringList subFolders =
        dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks, QDir::Name);
    if (subFolders.isEmpty()) {
        log->logf(kModule, ZelLevelError, "sequencedataprocessor::ZipVignettes no images found : {}",
                  sequence);
        return QStringLiteral("No Image");
    }

    std::vector<Source> sources;
    for (const QString& sub : subFolders) {
        const QDir subDir(dir.filePath(sub));
        const QFileInfoList files = subDir.entryInfoList(QDir::Files | QDir::NoSymLinks, QDir::Name);
        for (const QFileInfo& file : files) {
            const QString suffix = file.suffix();
            if (suffix == QLatin1String("vig")) {
                sources.push_back({file.filePath(), sub + QLatin1Char('/') + file.fileName(),
                                   ParallelZipWriter::Content::Bytes, file.lastModified()});
            } else if (suffix == QLatin1String("raw")) {
                if (static_cast<std::size_t>(file.size()) != RawFrame::kStoredBytes) {
                    log->logf(kModule, ZelLevelError, "Invalid file size for {}", file.filePath());
                    continue;
                }
                QString name = file.fileName();
                name.chop(3);
                sources.push_back({file.filePath(), sub + QLatin1Char('/') + name + QStringLiteral("png"),
                                   ParallelZipWriter::Content::RawFrame, file.lastModified()});
            }
        }
    }

    ParallelZipWriter writer;
    if (!writer.open(temporary)) {
        log->logf(kModule, ZelLevelError, "sequencedataprocessor::ZipVignettes {}", writer.error());
        return writer.error();
    }
    std::vector<QString> archived; // sources whose entry holds bytes, deleted once the archive is kept
    std::int64_t bytesRead = 0;
    int done = 0;
    writer.setOnWritten([&](const ParallelZipWriter::Written& w) {
        if (w.entryBytes > 0) {
            archived.push_back(sources[static_cast<std::size_t>(w.tag)].path);
        }
        ++done;
        if (progress) {
            progress(done, static_cast<int>(sources.size()), bytesRead);
        }
    });

    QString failure;
    for (std::size_t i = 0; i < sources.size() && failure.isEmpty(); ++i) {
        if (cancelled && cancelled()) {
            failure = QStringLiteral("Cancelled");
            break;
        }
        QFile in(sources[i].path);
        if (!in.open(QIODevice::ReadOnly)) {
            failure = QStringLiteral("Unable to read %1: %2").arg(sources[i].path, in.errorString());
            break;
        }
        QByteArray bytes = in.readAll();
        bytesRead += bytes.size();
        if (!writer.add(sources[i].entry, std::move(bytes), sources[i].content, static_cast<int>(i),
                        sources[i].modified)) {
            failure = writer.error();
        }
    }
    if (failure.isEmpty() && !writer.close(true)) {
        failure = writer.error();
    }
    if (failure.isEmpty() && !QFile::rename(temporary, archivePath)) {
        failure = QStringLiteral("Unable to rename %1 to images.zip").arg(temporary);
    }
    if (!failure.isEmpty()) {
        writer.abandon();
        QFile::remove(temporary);
        log->logf(kModule, ZelLevelError, "sequencedataprocessor::ZipVignettes {} : {}", sequence, failure);
        return failure;
    }
    DurableFiles::syncFolder(folder);
    remove_files(archived);
    log->logf(kModule, ZelLevelInformation, "Processed compressing vignettes of {} in {}ms", sequence,
              timer.elapsed());
    return QString();
}

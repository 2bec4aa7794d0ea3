#pragma once

#include "SdSequenceList.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>

class InterfaceCamera;

struct DownloadResult {
    bool complete = false; // every file received and written, the copy in place
    QString target;        // the sequence's folder, relative to the project
    QString error;         // the logged text of the failure, empty when complete
};

// Downloads one sequence of the card into the project: its data file, its synthetic file and
// its images gathered into "images.zip" (raw frames as PNG). Logs under "ffiletransfert".
//
// Nothing is lost on the way: the files go into a staging folder beside the target
// ("raw/.<sequence>.partial") which replaces the target only when the download ended complete.
// When it fails, an older copy stays untouched and the staging folder is removed; when there
// was none, what was received is moved into place so that the grid shows what is missing.
class SequenceDownload {
public:
    using ProgressCallback = std::function<void(const DownloadProgress&)>;

    SequenceDownload(InterfaceCamera& camera, const QString& projectPath);

    void setProgressCallback(ProgressCallback callback) { m_progress = std::move(callback); }
    // Checked between files: the download then stops as a failed one.
    void setCancelCheck(std::function<bool()> cancelled) { m_cancel = std::move(cancelled); }
    // The clock that names the self-check folder ("autocheck/yyyyMMdd_hhmm").
    void setClock(std::function<QDateTime()> now) { m_now = std::move(now); }
    // Whether the processing unit is powered and told where to send before the first file.
    void setPrepareInstrument(bool prepare) { m_prepare = prepare; }

    // Downloads `name` as `entry` describes it; sets the list's current transfer meanwhile.
    DownloadResult run(const QString& name, const SdSequenceEntry& entry);

    // The target folder of a sequence, relative to the project.
    static QString targetFolder(const QString& name, const QDateTime& now);

private:
    bool fetchInto(const QString& name, const QString& cardPath, const QString& file, const char* fetchError,
                   DownloadResult& result);
    bool fetchImages(const QString& name, const SdSequenceEntry& entry, DownloadResult& result);
    bool cancelled() const { return m_cancel && m_cancel(); }
    void report();

    InterfaceCamera& m_camera;
    QString m_projectPath;
    ProgressCallback m_progress;
    std::function<bool()> m_cancel;
    std::function<QDateTime()> m_now;
    bool m_prepare = true;

    QString m_staging;
    QStringList m_written; // files of the staging folder still to be made durable
    DownloadProgress m_state;
    std::int64_t m_startMs = 0;
};

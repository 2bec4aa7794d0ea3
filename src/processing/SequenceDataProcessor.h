#pragma once

#include <QString>

#include <cstdint>
#include <functional>

// Work on the downloaded sequences of a project (its "raw/<sequence>/" folders). Logs under
// "SequenceDataProcessor".
class SequenceDataProcessor {
public:
    // (files archived so far, files to archive, bytes read so far)
    using Progress = std::function<void(int done, int total, std::int64_t bytes)>;

    explicit SequenceDataProcessor(const QString& projectPath);

    // Gathers the vignettes (".vig", stored as they are) and the full frames (".raw" of exactly
    // 5,126,160 bytes, cropped and encoded as PNG) of the sequence's sub-folders into
    // "images.zip", then deletes each archived file. Returns "" on success, or "Sequence not
    // found", "Already zipped", "No Image"; another text when the archive could not be written
    // or the work was cancelled (then every source file is still in place and no "images.zip"
    // exists).
    //
    // The archive is written under a temporary name, made durable and renamed: the sources are
    // deleted only once "images.zip" is complete on disk. A temporary archive left by an
    // interrupted run is removed first.
    QString ZipVignettes(const QString& sequence, const Progress& progress = {},
                         const std::function<bool()>& cancelled = {});

    static QString temporaryArchiveName() { return QStringLiteral(".images.zip.partial"); }

private:
    QString m_projectPath;
};

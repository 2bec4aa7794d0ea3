#pragma once

// Making what was written reach the disk: a file's bytes, or a folder's names (a rename that
// publishes a file only survives a crash once its folder reached the disk).
#include <QFile>
#include <QString>

#include <fcntl.h>
#include <unistd.h>

namespace DurableFiles {

// fsync of the file or folder at `path`; false when it cannot be opened or synced.
inline bool sync(const QString& path, bool folder = false) {
    const int fd = ::open(QFile::encodeName(path).constData(), folder ? O_RDONLY | O_DIRECTORY : O_RDONLY);
    if (fd < 0) {
        return false;
    }
    const bool ok = ::fsync(fd) == 0;
    ::close(fd);
    return ok;
}

inline bool syncFolder(const QString& folder) {
    return sync(folder, true);
}

} // namespace DurableFiles

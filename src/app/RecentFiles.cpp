#include "RecentFiles.h"

#include "AppSettings.h"

#include <QDir>
#include <QFileInfo>

QStringList RecentFiles::withAdded(QStringList list, const QString& path) {
    if (path.isEmpty()) {
        return list;
    }
    list.removeAll(path);
    list.prepend(path);
    while (list.size() > kMaxRecentFiles) {
        list.removeLast();
    }
    return list;
}

QStringList RecentFiles::add(const QString& path) {
    const QStringList before = AppSettings::recentFiles();
    const QStringList after = withAdded(before, path);
    if (after != before) {
        AppSettings::setRecentFiles(after);
    }
    return after;
}

QString RecentFiles::label(const QString& path) {
    const QFileInfo info(path);
    return info.dir().dirName() + QLatin1Char('/') + info.fileName();
}

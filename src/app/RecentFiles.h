#pragma once

#include <QString>
#include <QStringList>

// The list of recently opened projects behind the "Open Recent" menu: newest first, no
// duplicates, at most 25 entries, kept in the `recentFiles` setting.
class RecentFiles {
public:
    static constexpr int kMaxRecentFiles = 25;

    // `list` with `path` moved (or put) in front and the oldest entries beyond 25 dropped; an
    // empty path leaves the list as it is.
    static QStringList withAdded(QStringList list, const QString& path);
    // Adds `path` to the stored list and returns the new list.
    static QStringList add(const QString& path);
    // Menu text of an entry: the parent folder's name, "/", the file name.
    static QString label(const QString& path);
};

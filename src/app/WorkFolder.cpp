#include "WorkFolder.h"

#include <QDir>
#include <QStandardPaths>

namespace {
QString& chosen() {
    static QString dir;
    return dir;
}
} // namespace

QString WorkFolder::path() {
    QString dir = chosen();
    if (dir.isEmpty()) {
        dir = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    }
    if (dir.isEmpty()) {
        dir = QDir::currentPath();
    }
    dir = QDir::cleanPath(QDir(dir).absolutePath());
    QDir().mkpath(dir);
    return dir;
}

void WorkFolder::setPath(const QString& dir) {
    chosen() = dir;
}

QString WorkFolder::filePath(const QString& name) {
    return path() + QLatin1Char('/') + name;
}

QString WorkFolder::subFolder(const QString& name) {
    const QString dir = filePath(name);
    QDir().mkpath(dir);
    return dir;
}

bool WorkFolder::parseArguments(const QStringList& args, QString& dir, QString& error) {
    dir.clear();
    error.clear();
    for (int i = 1; i < args.size(); ++i) {
        const QString& a = args[i];
        if (a == QLatin1String("--workdir")) {
            if (i + 1 >= args.size() || args[i + 1].isEmpty() ||
                args[i + 1].startsWith(QLatin1String("--"))) {
                error = QStringLiteral("--workdir needs a folder: --workdir DIR");
                return false;
            }
            dir = args[++i];
        } else if (a.startsWith(QLatin1String("--workdir="))) {
            dir = a.mid(10);
            if (dir.isEmpty()) {
                error = QStringLiteral("--workdir needs a folder: --workdir DIR");
                return false;
            }
        }
    }
    return true;
}

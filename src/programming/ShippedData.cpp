#include "programming/ShippedData.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QMap>
#include <QMutex>
#include <QStandardPaths>

namespace {

QMutex g_mutex;
QMap<QString, QString> g_overrides;

} // namespace

namespace ShippedData {

QString folder(const QString& name) {
    {
        QMutexLocker lock(&g_mutex);
        const auto it = g_overrides.constFind(name);
        if (it != g_overrides.constEnd()) {
            return *it;
        }
    }
    const QString beside = QCoreApplication::instance() != nullptr
                               ? QDir(QCoreApplication::applicationDirPath()).filePath(name)
                               : QDir::current().filePath(name);
    if (QFileInfo(beside).isDir()) {
        return beside;
    }
    const QString installed =
        QStandardPaths::locate(QStandardPaths::AppDataLocation, name, QStandardPaths::LocateDirectory);
    return installed.isEmpty() ? beside : installed;
}

void setFolderOverride(const QString& name, const QString& path) {
    QMutexLocker lock(&g_mutex);
    if (path.isEmpty()) {
        g_overrides.remove(name);
    } else {
        g_overrides.insert(name, path);
    }
}

} // namespace ShippedData

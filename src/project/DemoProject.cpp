#include "DemoProject.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

namespace DemoProject {

QString folderName(const QString& serial) {
    QString sn = serial.toLower();
    sn.replace(QLatin1Char('_'), QLatin1Char('-')); // an underscore would split the folder name
    return QStringLiteral("kelvo6_sn%1_2024_demo").arg(sn);
}

QString ensure(const QString& parent, const QString& serial, QString* error) {
    const QString path = QDir(parent).absoluteFilePath(folderName(serial));
    if (QFileInfo(path + QStringLiteral("/config")).isDir()) {
        return path;
    }
    // Made beside its final place and renamed, so that a half-made project is never opened.
    const QString staging = path + QStringLiteral(".partial");
    QDir(staging).removeRecursively();
    for (const char* sub : {"config", "CTDdata", "doc", "meta", "raw", "results", "maridata", "livecamera",
                            "calibration", "log"}) {
        if (!QDir().mkpath(staging + QLatin1Char('/') + QLatin1String(sub))) {
            if (error) {
                *error = QStringLiteral("Unable to create the demo project in %1").arg(parent);
            }
            return QString();
        }
    }
    {
        QSettings info(staging + QStringLiteral("/config/cruise_info.txt"), QSettings::IniFormat);
        info.setValue(QStringLiteral("acron"), QStringLiteral("demo"));
        info.setValue(QStringLiteral("year"), QStringLiteral("2024"));
        info.setValue(QStringLiteral("sn"), serial);
        info.setValue(QStringLiteral("op_name"), QStringLiteral("Demo operator"));
        info.setValue(QStringLiteral("gen_info"), QStringLiteral("Project of the demo instrument"));
        info.setValue(
            QStringLiteral("description"),
            QStringLiteral("Made by the demo mode: list the demo card and download its sequences here."));
        info.sync();
        if (info.status() != QSettings::NoError) {
            if (error) {
                *error = QStringLiteral("Unable to write the demo project's cruise_info.txt");
            }
            QDir(staging).removeRecursively();
            return QString();
        }
    }
    if (!QDir().rename(staging, path)) {
        if (error) {
            *error = QStringLiteral("Unable to create the demo project %1").arg(path);
        }
        QDir(staging).removeRecursively();
        return QString();
    }
    return path;
}

} // namespace DemoProject

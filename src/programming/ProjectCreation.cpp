#include "programming/ProjectCreation.h"

#include "programming/ShippedData.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSettings>
#include <QTemporaryDir>

namespace ProjectCreation {

const QStringList& keys() {
    static const QStringList k = {"acron",    "year",    "sn",       "op_name",  "op_email",   "cs_name",
                                  "cs_email", "do_name", "do_email", "gen_info", "description"};
    return k;
}

const QStringList& subfolders() {
    static const QStringList f = {"config",   "CTDdata",    "doc",         "meta", "raw",
                                  "maridata", "livecamera", "calibration", "log"};
    return f;
}

QString folderName(const Metadata& m) {
    QString acronym = m.value(QStringLiteral("acron")).toLower();
    acronym.replace(QRegularExpression(QStringLiteral("\\s")), QStringLiteral("_"));
    return QStringLiteral("kelvo6_sn") + m.value(QStringLiteral("sn")).toLower() + QLatin1Char('_') +
           m.value(QStringLiteral("year")).toLower() + QLatin1Char('_') + acronym;
}

Refusal checkRequired(const Metadata& m) {
    if (m.value(QStringLiteral("acron")).isEmpty() || m.value(QStringLiteral("year")).isEmpty() ||
        m.value(QStringLiteral("sn")).isEmpty()) {
        return {QStringLiteral("Fields required"), QStringLiteral("Fields Cruise, Year and SN are required")};
    }
    return {};
}

Refusal checkFolder(const QString& parent, const Metadata& m) {
    const QString title = QStringLiteral("Project creation folder");
    if (parent.isEmpty()) {
        return {title, QStringLiteral("Parent folder must be defined")};
    }
    if (!QFileInfo(parent).isDir()) {
        return {title, QStringLiteral("Parent folder must exists prior creation")};
    }
    if (QFileInfo::exists(QDir(parent).filePath(folderName(m)))) {
        return {title, QStringLiteral("Folder must NOT exists prior creation")};
    }
    return {};
}

Refusal checkDate(const QString& date) {
    const QString title = QStringLiteral("Date format error");
    static const QRegularExpression pattern(QStringLiteral("^20\\d{2}(\\d{2})?(\\d{2})?$"));
    if (!pattern.match(date).hasMatch()) {
        return {title, QStringLiteral("Invalid date format")};
    }
    if (date.size() >= 6) {
        const int month = date.mid(4, 2).toInt();
        if (month < 1 || month > 12) {
            return {title, QStringLiteral("Invalid month format in date field, must be between 1 and 12")};
        }
    }
    if (date.size() == 8 && !QDate::fromString(date, QStringLiteral("yyyyMMdd")).isValid()) {
        return {title, QStringLiteral("Invalid date in date field, must be a valid date")};
    }
    return {};
}

bool missingPeople(const Metadata& m) {
    return m.value(QStringLiteral("op_name")).isEmpty() || m.value(QStringLiteral("cs_name")).isEmpty() ||
           m.value(QStringLiteral("do_name")).isEmpty();
}

QString createFolders(const QString& parent, const Metadata& m, Refusal* refusal) {
    const QString path = QDir(parent).filePath(folderName(m));
    QDir().mkpath(path);
    bool ok = QFileInfo(path).isDir();
    for (int i = 0; ok && i < subfolders().size(); ++i) {
        ok = QDir(path).mkdir(subfolders()[i]) || QFileInfo(QDir(path).filePath(subfolders()[i])).isDir();
    }
    if (!ok) {
        if (refusal != nullptr) {
            *refusal = {QStringLiteral("Folder creation error"),
                        QStringLiteral("Unable to create folder ") + path};
        }
        return {};
    }
    const QString model =
        QDir(ShippedData::folder(QStringLiteral("modele"))).filePath(QStringLiteral("compute_vignette.txt"));
    if (QFileInfo(model).isFile()) {
        QFile::copy(model, path + QStringLiteral("/config/compute_vignette.txt"));
    }
    return path;
}

Metadata readCruiseInfo(const QString& projectPath) {
    Metadata m;
    QSettings s(projectPath + QStringLiteral("/config/cruise_info.txt"), QSettings::IniFormat);
    for (const QString& k : keys()) {
        m.insert(k, s.value(k).toString());
    }
    return m;
}

bool writeCruiseInfo(const QString& projectPath, const Metadata& m, QString* error) {
    const QString target = projectPath + QStringLiteral("/config/cruise_info.txt");
    const auto fail = [&](const QString& why) {
        if (error != nullptr) {
            *error = QStringLiteral("Unable to write %1 : %2").arg(target, why);
        }
        return false;
    };
    // The settings are written into a scratch copy, whose bytes then replace the file in one
    // rename: a crash or a full disk leaves the previous metadata whole.
    QTemporaryDir scratch;
    if (!scratch.isValid()) {
        return fail(scratch.errorString());
    }
    const QString work = scratch.filePath(QStringLiteral("cruise_info.txt"));
    if (QFileInfo::exists(target) && !QFile::copy(target, work)) {
        return fail(QStringLiteral("the current file cannot be read"));
    }
    {
        QSettings s(work, QSettings::IniFormat);
        for (const QString& k : keys()) {
            s.setValue(k, m.value(k));
        }
        s.sync();
        if (s.status() != QSettings::NoError) {
            return fail(QStringLiteral("settings error"));
        }
    }
    QFile in(work);
    if (!in.open(QIODevice::ReadOnly)) {
        return fail(in.errorString());
    }
    QSaveFile out(target);
    if (!out.open(QIODevice::WriteOnly)) {
        return fail(out.errorString());
    }
    out.write(in.readAll());
    if (!out.commit()) {
        return fail(out.errorString());
    }
    return true;
}

} // namespace ProjectCreation

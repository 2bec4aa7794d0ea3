#include "params/ParamHelp.h"

#include "trace/ZelTraceMgr.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QJsonValue>
#include <QStandardPaths>

ParamHelp ParamHelp::fromFile(const QString& path, const QString& group, const char* module) {
    ParamHelp help;
    QByteArray data;
    QFile file(path);
    if (file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        data = file.readAll();
    }
    // An unreadable file goes through the parser too: it reports the empty text like any
    // other malformed one.
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError) {
        GetTraceMgr()->logf(module, ZelLevelError, "Parsing Error at {} = {}", error.offset,
                            error.errorString());
        return help;
    }
    const QJsonValue texts = doc.object().value(group);
    if (texts.isObject()) {
        help.m_texts = texts.toObject();
    }
    return help;
}

ParamHelp ParamHelp::load(const QString& group, const char* module) {
    return fromFile(helpFilePath(), group, module);
}

QString ParamHelp::helpFilePath() {
    const QString name = QString::fromLatin1(kFileName);
    if (QCoreApplication::instance() != nullptr) {
        const QString beside = QDir(QCoreApplication::applicationDirPath()).filePath(name);
        if (QFileInfo::exists(beside)) {
            return beside;
        }
    }
    const QString installed = QStandardPaths::locate(QStandardPaths::AppDataLocation, name);
    if (!installed.isEmpty()) {
        return installed;
    }
    return name;
}

QString ParamHelp::text(const QString& name) const {
    const QJsonValue v = m_texts.value(name);
    return v.isString() ? v.toString() : QStringLiteral("?");
}

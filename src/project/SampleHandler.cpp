#include "SampleHandler.h"

#include "Project.h"

#include "trace/FmtQt.h"
#include "trace/ZelTraceMgr.h"

#include <QBuffer>
#include <QFileInfo>
#include <QRegularExpression>

#include <quazip/quazip.h>
#include <quazip/quazipfile.h>

namespace {

constexpr const char* kModule = "SampleHandler";

} // namespace

SampleHandler::SampleHandler(const QString& projectPath)
    : m_projectPath(projectPath) {}

QString SampleHandler::MaridataDir() const {
    return QStringLiteral("%1/maridata").arg(m_projectPath);
}

QString SampleHandler::SampleDir(const QString& sample) const {
    return QStringLiteral("%1/maridata/%2").arg(m_projectPath, sample);
}

QString SampleHandler::ParticleArchivePath(const QString& sample) const {
    return Project::ParticleArchivePath(m_projectPath, sample);
}

QString SampleHandler::ImageArchivePath(const QString& sample) const {
    return Project::ImageArchivePath(m_projectPath, sample);
}

bool SampleHandler::readEntry(const QString& sample, const QString& entry, const char* caller,
                              QByteArray* bytes) const {
    const QString path = ParticleArchivePath(sample);
    const auto fail = [&](const QString& text) {
        m_lastError = text;
        GetTraceMgr()->logf(kModule, ZelLevelError, "{}", text);
        return false;
    };
    const QString who = QStringLiteral("SampleHandler::") + QLatin1String(caller);
    if (!QFileInfo(path).isFile()) {
        return fail(QStringLiteral("%1 : file '%2' missing").arg(who, path));
    }
    QuaZip zip(path);
    if (!zip.open(QuaZip::mdUnzip)) {
        return fail(QStringLiteral("%1 : unable to open file '%2'").arg(who, path));
    }
    if (!zip.setCurrentFile(entry)) {
        return fail(QStringLiteral("%1 : unable to find %2 in file '%3'").arg(who, entry, path));
    }
    QuaZipFile file(&zip);
    if (!file.open(QIODevice::ReadOnly)) {
        return fail(QStringLiteral("%1 : unable to open %2 in file '%3'").arg(who, entry, path));
    }
    *bytes = file.readAll();
    file.close();
    // A damaged entry (wrong checksum, cut short) is as unreadable as one that does not open.
    if (file.getZipError() != UNZ_OK) {
        bytes->clear();
        return fail(QStringLiteral("%1 : unable to open %2 in file '%3'").arg(who, entry, path));
    }
    m_lastError.clear();
    return true;
}

QMap<QString, QString> SampleHandler::getMetaDataIni(const QString& sample) const {
    QMap<QString, QString> values;
    QByteArray bytes;
    if (!readEntry(sample, QStringLiteral("metadata.ini"), "getMetaDataIni", &bytes)) {
        return values;
    }
    static const QRegularExpression pair(QStringLiteral("(\\S+)\\s*=\\s*(.+)"));
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    while (!buffer.atEnd()) {
        // At most 255 bytes at a time: a longer line goes on as the next one.
        QByteArray line = buffer.readLine(256);
        while (line.endsWith('\n') || line.endsWith('\r')) {
            line.chop(1);
        }
        const QRegularExpressionMatch m = pair.match(QString::fromUtf8(line));
        if (m.hasMatch()) {
            values.insert(m.captured(1), m.captured(2));
        }
    }
    return values;
}

QByteArray SampleHandler::getParticuleCSVContent(const QString& sample) const {
    QByteArray bytes;
    readEntry(sample, QStringLiteral("particules.csv"), "getParticuleCSVContent", &bytes);
    return bytes;
}

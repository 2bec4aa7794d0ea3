#include "SimCard.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>

#include <algorithm>

SimCard::SimCard(QString folder)
    : m_folder(std::move(folder)) {}

QString SimCard::localPath(const QString& cardPath, QString* why) const {
    const auto refuse = [&](const QString& reason) {
        if (why) {
            *why = reason;
        }
        return QString();
    };
    if (m_folder.isEmpty()) {
        return refuse(QStringLiteral("no card folder was given (--card)"));
    }
    if (cardPath.isEmpty()) {
        return refuse(QStringLiteral("empty card path"));
    }
    if (cardPath.startsWith(QLatin1Char('/')) || cardPath.contains(QLatin1Char('\\')) ||
        cardPath.contains(QLatin1Char(':'))) {
        return refuse(QStringLiteral("card path \"%1\" is not relative to the card").arg(cardPath));
    }
    for (const QString& part : cardPath.split(QLatin1Char('/'))) {
        if (part.isEmpty() || part == QLatin1String(".") || part == QLatin1String("..")) {
            return refuse(
                QStringLiteral("card path \"%1\" has an empty, \".\" or \"..\" component").arg(cardPath));
        }
    }
    return m_folder + QLatin1Char('/') + cardPath;
}

QStringList SimCard::files() const {
    QStringList out;
    if (m_folder.isEmpty()) {
        return out;
    }
    const QDir root(m_folder);
    QDirIterator it(m_folder, QDir::Files | QDir::Hidden | QDir::NoSymLinks, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString rel = root.relativeFilePath(it.next());
        if (rel != QLatin1String(kTreeFile)) {
            out << rel;
        }
    }
    // Byte order, so that the listing does not depend on the order the file system gives.
    std::sort(out.begin(), out.end(),
              [](const QString& a, const QString& b) { return a.toUtf8() < b.toUtf8(); });
    return out;
}

bool SimCard::updateTree(QString* error) const {
    if (m_folder.isEmpty() || !QFileInfo(m_folder).isDir()) {
        if (error) {
            *error = QStringLiteral("the card folder \"%1\" does not exist").arg(m_folder);
        }
        return false;
    }
    QByteArray text;
    for (const QString& f : files()) {
        text += f.toUtf8() + '\n';
    }
    QSaveFile out(m_folder + QLatin1Char('/') + QLatin1String(kTreeFile));
    if (!out.open(QIODevice::WriteOnly) || out.write(text) != text.size() || !out.commit()) {
        if (error) {
            *error = QStringLiteral("cannot write %1: %2").arg(out.fileName(), out.errorString());
        }
        return false;
    }
    return true;
}

bool SimCard::format(QString* error) const {
    const auto fail = [&](const QString& why) {
        if (error) {
            *error = why;
        }
        return false;
    };
    const QFileInfo fi(m_folder);
    if (m_folder.isEmpty() || !fi.isDir()) {
        return fail(QStringLiteral("the card folder \"%1\" does not exist").arg(m_folder));
    }
    const QString canonical = fi.canonicalFilePath();
    if (canonical == QLatin1String("/") || canonical == QFileInfo(QDir::homePath()).canonicalFilePath()) {
        return fail(QStringLiteral("refusing to format \"%1\": it is not a card folder").arg(m_folder));
    }
    QDir dir(m_folder);
    bool ok = true;
    for (const QFileInfo& e :
         dir.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot)) {
        if (e.isDir() && !e.isSymLink()) {
            ok = QDir(e.absoluteFilePath()).removeRecursively() && ok;
        } else {
            ok = QFile::remove(e.absoluteFilePath()) && ok;
        }
    }
    return ok ? true : fail(QStringLiteral("some entries of \"%1\" could not be removed").arg(m_folder));
}

QStringList SimCard::lastSyntheticLines(QString* source) const {
    static const QRegularExpression seqRe(QStringLiteral("^([^/]+/[^/]+/([0-9]{8}-[0-9]{6}))/([^/]+)$"));
    QString lastSeq;
    QString lastDir;
    const QStringList all = files();
    for (const QString& f : all) {
        const auto m = seqRe.match(f);
        if (m.hasMatch() && m.captured(2) > lastSeq) {
            lastSeq = m.captured(2);
            lastDir = m.captured(1);
        }
    }
    if (lastSeq.isEmpty()) {
        return {};
    }
    for (const QString& f : all) {
        const auto m = seqRe.match(f);
        if (!m.hasMatch() || m.captured(1) != lastDir ||
            !m.captured(3).endsWith(QLatin1String("_synthetic.txt"))) {
            continue;
        }
        QFile in(m_folder + QLatin1Char('/') + f);
        if (!in.open(QIODevice::ReadOnly)) {
            return {};
        }
        if (source) {
            *source = f;
        }
        QStringList lines;
        // A synthetic file is a few thousand short lines; a huge one is cut rather than loaded.
        for (int n = 0; n < 1000000 && !in.atEnd(); ++n) {
            QByteArray line = in.readLine(4096);
            while (line.endsWith('\n') || line.endsWith('\r')) {
                line.chop(1);
            }
            if (!line.isEmpty()) {
                lines << QString::fromLatin1(line);
            }
        }
        return lines;
    }
    return {};
}

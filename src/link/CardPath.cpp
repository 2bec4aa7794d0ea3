#include "link/CardPath.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

namespace {

bool fail(QString* error, const QString& text) {
    if (error) {
        *error = text;
    }
    return false;
}

bool is_absolute(const QString& p) {
    // Also a drive letter: a card listing written on another system must not name one.
    return p.startsWith(QLatin1Char('/')) || p.startsWith(QLatin1Char('\\')) ||
           (p.size() >= 2 && p[1] == QLatin1Char(':') && p[0].isLetter());
}

} // namespace

QString card_path_refusal(const std::string& cardPath) {
    const QString raw = QString::fromUtf8(cardPath.data(), static_cast<int>(cardPath.size()));
    const QString quoted = QStringLiteral("\"%1\"").arg(raw);
    if (raw.trimmed().isEmpty()) {
        return QStringLiteral("Path refused, it is empty: %1").arg(quoted);
    }
    for (const QChar c : raw) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F) {
            return QStringLiteral("Path refused, it holds control characters: %1").arg(quoted);
        }
    }
    if (is_absolute(raw)) {
        return QStringLiteral("Path refused, it is absolute: %1").arg(quoted);
    }
    QString relative = raw;
    relative.replace(QLatin1Char('\\'), QLatin1Char('/'));
    for (const QString& part : relative.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        if (part == QLatin1String("..")) {
            return QStringLiteral("Path refused, it holds a \"..\" component: %1").arg(quoted);
        }
    }
    return QString();
}

std::optional<QString> card_path_in_folder(const QString& root, const std::string& cardPath, QString* error) {
    if (const QString refusal = card_path_refusal(cardPath); !refusal.isEmpty()) {
        fail(error, refusal);
        return std::nullopt;
    }
    const QString raw = QString::fromUtf8(cardPath.data(), static_cast<int>(cardPath.size()));
    const QString quoted = QStringLiteral("\"%1\"").arg(raw);
    QString relative = raw;
    relative.replace(QLatin1Char('\\'), QLatin1Char('/'));
    const QStringList parts = relative.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    const QString base = QDir::cleanPath(QDir(root).absolutePath());
    const QString target = QDir::cleanPath(base + QLatin1Char('/') + parts.join(QLatin1Char('/')));
    if (parts.isEmpty() || !target.startsWith(base + QLatin1Char('/'))) {
        fail(error, QStringLiteral("Path refused, it leaves the folder %1: %2").arg(base, quoted));
        return std::nullopt;
    }
    // A link already inside the folder may still point out of it.
    QFileInfo parent(QFileInfo(target).absolutePath());
    while (!parent.exists() && parent.absoluteFilePath().startsWith(base + QLatin1Char('/'))) {
        parent = QFileInfo(parent.absolutePath());
    }
    if (parent.exists()) {
        const QString canonicalBase = QFileInfo(base).canonicalFilePath();
        const QString canonicalParent = parent.canonicalFilePath();
        if (!canonicalBase.isEmpty() && canonicalParent != canonicalBase &&
            !canonicalParent.startsWith(canonicalBase + QLatin1Char('/'))) {
            fail(error, QStringLiteral("Path refused, it leaves the folder %1: %2").arg(base, quoted));
            return std::nullopt;
        }
    }
    return target;
}

bool write_file_atomically(const QString& path, const char* data, std::size_t size, QString* error) {
    const QFileInfo info(path);
    if (!QDir().mkpath(info.absolutePath())) {
        return fail(error, QStringLiteral("Unable to create the folder %1").arg(info.absolutePath()));
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return fail(error, QStringLiteral("Unable to write %1: %2").arg(path, file.errorString()));
    }
    std::size_t done = 0;
    while (done < size) {
        const qint64 n = file.write(data + done, static_cast<qint64>(size - done));
        if (n <= 0) {
            file.cancelWriting();
            return fail(error, QStringLiteral("Unable to write %1: %2").arg(path, file.errorString()));
        }
        done += static_cast<std::size_t>(n);
    }
    if (!file.commit()) {
        return fail(error, QStringLiteral("Unable to write %1: %2").arg(path, file.errorString()));
    }
    return true;
}

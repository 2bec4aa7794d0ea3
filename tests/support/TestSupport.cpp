#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <atomic>
#include <cstdlib>

namespace kelvotest {

QString home_dir() { return QString::fromLocal8Bit(qgetenv("HOME")); }

QString make_temp_dir(const QString& hint) {
    static std::atomic<int> counter{0};
    const QString path = QDir(home_dir()).filePath(QStringLiteral("tmp-%1-%2").arg(hint).arg(++counter));
    QDir(path).removeRecursively();
    QDir().mkpath(path);
    return path;
}

QString bin_dir() {
    const QByteArray env = qgetenv("KELVO_BIN_DIR");
    if (!env.isEmpty()) {
        return QString::fromLocal8Bit(env);
    }
    // tests live in <build>/tests, executables in <build>/bin
    return QDir(QCoreApplication::applicationDirPath() + QStringLiteral("/../bin")).absolutePath();
}

QString source_dir() {
    const QByteArray env = qgetenv("KELVO_SOURCE_DIR");
    if (!env.isEmpty()) {
        return QString::fromLocal8Bit(env);
    }
    return QStringLiteral(KELVO_SOURCE_DIR_FALLBACK);
}

QByteArray read_file(const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        return {};
    }
    return f.readAll();
}

bool write_file(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return false;
    }
    return f.write(bytes) == bytes.size();
}

bool wait_until(const std::function<bool()>& done, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (!done()) {
        if (deadline.hasExpired()) {
            return done();
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(1);
    }
    return true;
}

} // namespace kelvotest

#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>

namespace kelvotest {

QString home_dir() {
    return QString::fromLocal8Bit(qgetenv("HOME"));
}

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

ProgramRun run_program(const QString& program, const QStringList& args, const QByteArray& input,
                       const QString& workingDir, int timeoutMs) {
    QProcess p;
    if (!workingDir.isEmpty()) {
        p.setWorkingDirectory(workingDir);
    }
    p.start(program, args);
    ProgramRun r;
    if (!p.waitForStarted(10000)) {
        ADD_FAILURE() << program.toStdString() << " did not start: " << p.errorString().toStdString();
        return r;
    }
    p.write(input);
    p.closeWriteChannel();
    if (!p.waitForFinished(timeoutMs)) {
        ADD_FAILURE() << program.toStdString() << " did not finish: " << p.errorString().toStdString();
        p.kill();
        p.waitForFinished();
        return r;
    }
    r.status = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = p.readAllStandardOutput();
    r.err = p.readAllStandardError();
    return r;
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

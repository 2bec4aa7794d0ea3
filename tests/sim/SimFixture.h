#pragma once

#include "SimClient.h"
#include "sim/Kelvo6Simulator.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QProcess>

#include <csignal>
#include <memory>

// A running simulator with a client connected to its pseudo-terminal.
struct SimSession {
    explicit SimSession(SimOptions options = {})
        : sim(std::make_unique<Kelvo6Simulator>(std::move(options))) {
        QString error;
        started = sim->start(&error);
        EXPECT_TRUE(started) << error.toStdString();
        if (started) {
            EXPECT_TRUE(client.open(sim->devicePath())) << sim->devicePath().toStdString();
        }
    }

    QByteArray operator()(const QByteArray& line, int firstMs = 1000) {
        return client.exchange(line, firstMs);
    }

    std::unique_ptr<Kelvo6Simulator> sim;
    SimClient client;
    bool started = false;
};

inline QString simProgramPath() {
    return kelvotest::bin_dir() + QStringLiteral("/kelvo6-sim");
}

// The kelvo6-sim program serving on the pseudo-terminal named by its first output line, with a
// client connected to it.
struct SimProgram {
    explicit SimProgram(const QStringList& args) {
        process.start(simProgramPath(), args);
        const bool up = process.waitForStarted(5000) && process.waitForReadyRead(5000);
        const QString path = QString::fromLocal8Bit(process.readLine().trimmed());
        EXPECT_TRUE(up && path.startsWith(QStringLiteral("/dev/pts/")) && client.open(path))
            << path.toStdString();
    }

    // Sends `signal` and returns the exit code, -1 when the program did not end by itself.
    int stop(int signal = SIGTERM) {
        ::kill(pid_t(process.processId()), signal);
        const bool ended = process.waitForFinished(5000) && process.exitStatus() == QProcess::NormalExit;
        return ended ? process.exitCode() : -1;
    }

    QProcess process;
    SimClient client;
};

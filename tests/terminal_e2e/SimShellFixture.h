#pragma once

// The shell against the Kelvo6 simulator over its real pseudo-terminal (and, for the storage
// commands, file dumps over loopback UDP to 127.0.0.2).
#include "eth/UdpTestSender.h"
#include "sim/Kelvo6Simulator.h"
#include "terminal/ShellFixture.h"

#include <QString>

class SimShellFixture : public ShellFixture {
protected:
    void openPort() override {
        options.linkRateMbps = 0;
        sim = std::make_unique<Kelvo6Simulator>(options);
        QString error;
        ASSERT_TRUE(sim->start(&error)) << error.toStdString();
        ASSERT_TRUE(init_comm(sim->devicePath(), 38400));
        // About two seconds of silence before a command gives up (the default waits thirty).
        shell->context().setAnswerReads(20);
        port = kelvotest::free_udp_port();
        endpoint = " 127.0.0.2 " + std::to_string(port);
    }

    void TearDown() override {
        ShellFixture::TearDown();
        if (sim) {
            sim->stop();
        }
    }

    // How many lines the instrument received that begin with `prefix`.
    int requests(const QString& prefix) const {
        const QStringList lines = sim->receivedLines();
        return static_cast<int>(std::count_if(lines.begin(), lines.end(),
                                              [&](const QString& l) { return l.startsWith(prefix); }));
    }

    SimOptions options;
    std::unique_ptr<Kelvo6Simulator> sim;
    int port = 0;
    std::string endpoint; // " <address> <port>" for the storage commands
};

#pragma once

#include "SimClient.h"
#include "sim/Kelvo6Simulator.h"

#include <gtest/gtest.h>

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

inline SimOptions hfOptions() {
    SimOptions o;
    o.variant = QStringLiteral("HF");
    return o;
}

#pragma once

// A shell whose printed texts are recorded. By default it talks to a scripted serial port: every
// line the shell writes is recorded, and a small table (line prefix -> answer) plays the
// instrument without any real waiting. SimShellFixture puts the simulator on the line instead.
#include "app/WorkFolder.h"
#include "link/InstrumentCommand.h"
#include "link/InstrumentProtocol.h"
#include "link/ScriptedSerialPort.h"
#include "link/SerialLink.h"
#include "support/TestSupport.h"
#include "terminal/TermPrint.h"
#include "terminal/VortOShell.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

class ShellFixture : public ::testing::Test {
protected:
    void SetUp() override {
        workDir = kelvotest::make_temp_dir(QStringLiteral("work"));
        WorkFolder::setPath(workDir);
        shell = std::make_unique<VortOShell>();
        shell->context().setAnswerReads(3);
        sink = std::make_unique<ScopedTermPrintSink>([this](const std::string& t) { out.push_back(t); });
        ASSERT_NO_FATAL_FAILURE(openPort());
    }

    virtual void openPort() {
        script = std::make_shared<PortScript>();
        script->onLine = [this](const std::string& line, PortScript& s) {
            // The longest key that begins the line gives the answer: keys that begin the same line
            // begin one another, and the longer sorts after the shorter.
            const auto match = std::find_if(answers.rbegin(), answers.rend(),
                                            [&](const auto& entry) { return line.starts_with(entry.first); });
            if (match != answers.rend()) {
                s.answer(match->second);
            }
        };
        set_serial_port_factory([s = script] { return std::make_unique<ScriptedSerialPort>(s); });
        ASSERT_TRUE(init_comm(QStringLiteral("scripted"), 38400));
    }

    void TearDown() override {
        sink.reset();
        set_comm_send_hook({});
        close_comm();
        set_serial_port_factory({});
        WorkFolder::setPath(QString());
        set_instrument_variant(QString());
    }

    // The instrument accepts supervisor mode with the LP banner.
    void acceptSupervisor() { answers["$SU;"] = InstrumentAnswer::kSupervisorLP; }

    // Runs one line without echo; `out` and `script->lines` then hold only what this line did.
    bool run(const std::string& line) {
        out.clear();
        if (script) {
            script->lines.clear();
        }
        return shell->runLine(line, false);
    }

    // The last `n` texts printed (all of them when fewer).
    std::vector<std::string> tail(std::size_t n) const {
        return {out.end() - static_cast<std::ptrdiff_t>(std::min(n, out.size())), out.end()};
    }

    bool printed(const std::string& text) const {
        return std::find(out.begin(), out.end(), text) != out.end();
    }

    // What a failing command prints last: its own message, then the shell's verdict.
    static std::vector<std::string> failure(const std::string& message, const std::string& command) {
        return {message, "\n[VortOS]: Command " + command + " returned an error !"};
    }

    std::string configurator(const std::string& name) const {
        return (workDir + QStringLiteral("/configurator/")).toStdString() + name;
    }

    std::shared_ptr<PortScript> script;
    std::map<std::string, std::string> answers;
    QString workDir;
    std::unique_ptr<VortOShell> shell;
    std::vector<std::string> out;
    std::unique_ptr<ScopedTermPrintSink> sink;
};

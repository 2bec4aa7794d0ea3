// The protocol layer against the Kelvo6 simulator over its real pseudo-terminal.
#include "link/InstrumentProtocol.h"
#include "link/SerialLink.h"
#include "sim/Kelvo6Simulator.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using SimFault = std::function<void(Kelvo6Simulator&)>;

class ProtocolE2eTest : public ::testing::Test {
protected:
    void TearDown() override { disconnect(); }

    // Starts a simulator of the given variant and opens the link on its pseudo-terminal.
    void connect(const QString& variant = QStringLiteral("LP"), SimOptions options = {}) {
        options.variant = variant;
        sim = std::make_unique<Kelvo6Simulator>(options);
        QString error;
        ASSERT_TRUE(sim->start(&error)) << error.toStdString();
        set_comm_error_hook([this](const std::string& t) { linkErrors.push_back(t); });
        ASSERT_TRUE(init_comm(sim->devicePath(), 38400));
        set_instrument_variant(QString());
    }
    void disconnect() {
        close_comm();
        set_comm_error_hook({});
        if (sim) {
            sim->stop();
        }
        set_instrument_variant(QString());
    }

    int received(const QString& line) const { return static_cast<int>(sim->receivedLines().count(line)); }

    std::unique_ptr<Kelvo6Simulator> sim;
    std::vector<std::string> linkErrors;
    InstrumentProtocol protocol;
};

TEST_F(ProtocolE2eTest, SupervisorSwitch) {
    struct Case {
        const char* name;
        const char* variant;
        SimFault fault;
        int result;
        int suSent;
    };
    const SimFault none = [](Kelvo6Simulator&) {};
    const Case cases[] = {
        {"LP banner", "LP", none, SupervisorLP, 1},
        {"HF banner", "HF", none, SupervisorHF, 1},
        {"silent", "LP", [](Kelvo6Simulator& s) { s.setSilentCommands(100); }, SupervisorFailed, 11},
        {"wakes up after three resends", "LP", [](Kelvo6Simulator& s) { s.setSilentCommands(3); },
         SupervisorLP, 4},
    };
    for (const auto& c : cases) {
        connect(QString::fromLatin1(c.variant));
        c.fault(*sim);
        const bool ok = c.result != SupervisorFailed;
        EXPECT_EQ(protocol.supervisorMode(true), c.result) << c.name;
        EXPECT_EQ(instrument_variant(), ok ? QString::fromLatin1(c.variant) : QString()) << c.name;
        EXPECT_EQ(sim->mode(), ok ? SimMode::Supervisor : SimMode::User) << c.name;
        // The last resend may leave just before the switch gives up: let the simulator read it.
        kelvotest::wait_until([&] { return received(QStringLiteral("$SU;")) >= c.suSent; }, 2000);
        EXPECT_EQ(received(QStringLiteral("$SU;")), c.suSent) << c.name;
        disconnect();
    }
    EXPECT_TRUE(linkErrors.empty());
}

TEST_F(ProtocolE2eTest, BackToUserModeFromSupervisorAndFromUser) {
    connect();
    ASSERT_EQ(protocol.supervisorMode(true), SupervisorLP);
    EXPECT_EQ(protocol.supervisorMode(false), SupervisorLeft); // "== Leaving Supervisor Mode ==\n"
    EXPECT_EQ(sim->mode(), SimMode::User);
    EXPECT_EQ(protocol.supervisorMode(false), SupervisorLeft); // "$starterr:30;\n"
}

TEST_F(ProtocolE2eTest, PuPowerOnAndOff) {
    const std::pair<const char*, int> cases[] = {{"LP", SupervisorLP}, {"HF", SupervisorHF}};
    for (const auto& [variant, expected] : cases) {
        connect(QString::fromLatin1(variant));
        EXPECT_EQ(protocol.puPower(true), expected) << variant;
        EXPECT_EQ(sim->puState(), SimPuState::Ready) << variant;
        EXPECT_EQ(protocol.puPower(false), expected) << variant;
        EXPECT_EQ(sim->puState(), SimPuState::Off) << variant;
        EXPECT_EQ(sim->receivedLines(), (QStringList{"$SU;", "$POWERPUset:1;", "$PUready;", "$PU:alive;",
                                                     "$SU;", "$POWERPUset:0;", "$PUready;"}));
        disconnect();
    }
}

// With the instrument's own timings the PU takes seconds to boot: the ready wait covers it.
TEST_F(ProtocolE2eTest, RealisticPuStartIsWaitedFor) {
    SimOptions options;
    options.realistic = true;
    options.puStartupMs = 2500;
    connect(QStringLiteral("LP"), options);
    EXPECT_EQ(protocol.puPower(true), SupervisorLP);
    EXPECT_EQ(sim->puState(), SimPuState::Ready);
}

TEST_F(ProtocolE2eTest, SimpleEthernetLinkNeedsThePu) {
    connect();
    EXPECT_FALSE(protocol.puEthlink(1)); // "$PU:OFF;\n"
    ASSERT_EQ(protocol.puPower(true), SupervisorLP);
    EXPECT_TRUE(protocol.puEthlink(1));
    EXPECT_EQ(sim->ethlinkDestination().mode, 1);
}

// A synthetic-data transfer: the opening request, one line per request, then the end marker.
TEST_F(ProtocolE2eTest, DataRequestTransfer) {
    connect();
    ASSERT_EQ(protocol.puPower(true), SupervisorLP);
    sim->setSyntheticData({QStringLiteral("12.5,3,41"), QStringLiteral("13.0,2,40")});
    const ExchangeResult first = protocol.exchange(InstrumentCommand::PuDataRequest);
    EXPECT_TRUE(first.ok);
    EXPECT_EQ(first.answer, "[PU]:$datareq:OK;\n");
    std::vector<std::string> lines;
    for (int i = 0; i < 3; ++i) {
        lines.push_back(protocol.exchange(InstrumentCommand::PuDataLine).answer);
    }
    EXPECT_EQ(lines,
              (std::vector<std::string>{"[PU]:12.5,3,41\n", "[PU]:13.0,2,40\n", "[PU]:$datareq:$eof;\n"}));
}

// The simulator's answers pass the protocol's rule for every command that has one.
TEST_F(ProtocolE2eTest, EveryAnsweredCommandIsUnderstood) {
    for (const char* variant : {"LP", "HF"}) {
        connect(QString::fromLatin1(variant));
        ASSERT_EQ(protocol.stopSequence(), true);
        ASSERT_NE(protocol.puPower(true), SupervisorFailed);
        using IC = InstrumentCommand;
        struct Case {
            const char* name;
            std::function<ExchangeResult()> run;
        };
        const Case cases[] = {
            {"version", [&] { return protocol.exchange(IC::Version); }},
            {"hwinfo", [&] { return protocol.exchange(IC::PuHwinfo); }},
            {"power monitor", [&] { return protocol.exchange(IC::PowerMonitor); }},
            {"temperature", [&] { return protocol.exchange(IC::TemperatureRead); }},
            {"clock read", [&] { return protocol.exchange(IC::ClockRead); }},
            {"clock set", [&] { return protocol.exchange(IC::ClockSet, 2024, 3, 7, 9, 5, 0); }},
            {"hwconf read", [&] { return protocol.exchange(IC::HwConfRead); }},
            {"acqconf read", [&] { return protocol.exchange(IC::AcqConfRead, 0); }},
            {"acqconf erase", [&] { return protocol.exchange(IC::AcqConfErase, 9); }},
            {"timeprog init", [&] { return protocol.exchange(IC::TimeProgInit); }},
            {"timeprog add",
             [&] { return protocol.exchange(IC::TimeProgAdd, "2019,7,*,*,20,0,July_CONF,120"); }},
            {"timeprog read", [&] { return protocol.exchange(IC::TimeProgRead, 0); }},
            {"treeupdate", [&] { return protocol.exchange(IC::PuTreeUpdate); }},
            {"autocheck", [&] { return protocol.exchange(IC::Autocheck); }},
            {"makefs", [&] { return protocol.exchange(IC::PuMakefs); }},
        };
        for (const auto& c : cases) {
            const ExchangeResult r = c.run();
            EXPECT_TRUE(r.ok) << variant << " " << c.name << ": [" << r.answer << "]";
        }
        disconnect();
    }
}

} // namespace

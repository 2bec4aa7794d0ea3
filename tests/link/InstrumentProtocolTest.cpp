// The message protocol against a scripted instrument: exact lines on the wire, the wait of every
// command counted in reads (no real time involved), and every branch of the shared exchanges.
#include "ScriptedSerialPort.h"

#include "link/InstrumentProtocol.h"
#include "link/SerialLink.h"

#include <gtest/gtest.h>

#include <map>
#include <numeric>
#include <set>

namespace {

const std::string kLP = "== Kelvo6-LP == Entering Supervisor Mode ==\n";
const std::string kHF = "== Kelvo6-HF == Entering Supervisor Mode ==\n";

// A small instrument: one answer per command line, with commands that stay silent or answer
// late on request.
struct FakeInstrument {
    std::map<std::string, std::string> answers{
        {"$SU;", kLP},
        {"$USER;", "== Leaving Supervisor Mode ==\n"},
        {"$POWERPUset:1;", "$ok;\n"},
        {"$POWERPUset:0;", "$ok;\n"},
        {"$PUready;", "$PUready:OK;\n"},
        {"$PU:alive;", "[PU]:$aliveack;\n"},
        {"$PU:ethlink,1;", "[PU]:$ethlink:OK;\n"},
        {"$stop;", "$stop:ACK;\n"},
    };
    std::set<std::string> silent;
    std::map<std::string, int> silentTimes; // silent for the first N times only
    std::map<std::string, int> lateBy;      // silent reads before the answer

    void operator()(const std::string& line, PortScript& script) {
        if (silent.count(line)) {
            return;
        }
        if (auto it = silentTimes.find(line); it != silentTimes.end() && it->second > 0) {
            --it->second;
            return;
        }
        if (auto it = lateBy.find(line); it != lateBy.end()) {
            script.reads.insert(script.reads.end(), it->second, PortScript::Read{});
        }
        if (auto it = answers.find(line); it != answers.end()) {
            script.answer(it->second);
        }
    }
};

class InstrumentProtocolTest : public ::testing::Test {
protected:
    void SetUp() override {
        script = std::make_shared<PortScript>();
        set_serial_port_factory([s = script] { return std::make_unique<ScriptedSerialPort>(s); });
        ASSERT_TRUE(init_comm(QStringLiteral("/dev/scripted"), 38400));
        script->onLine = [this](const std::string& line, PortScript& s) { instrument(line, s); };
        set_instrument_variant(QString());
    }
    void TearDown() override {
        close_comm();
        set_serial_port_factory({});
        set_instrument_variant(QString());
    }
    int sleptMs() const { return std::accumulate(sleeps.begin(), sleeps.end(), 0); }

    std::shared_ptr<PortScript> script;
    FakeInstrument instrument;
    std::vector<int> sleeps;
    InstrumentProtocol protocol{
        [this](std::chrono::milliseconds d) { sleeps.push_back(static_cast<int>(d.count())); }};
};

// Each way of waiting, counted in reads and sleeps on a silent instrument, with the command lines
// whose formatting no end-to-end test sees (the others are compared on the simulator's side).
TEST_F(InstrumentProtocolTest, EveryCommandGoesOutAsOneLineAndWaitsAsItsRuleSays) {
    instrument.answers.clear();
    using IC = InstrumentCommand;
    auto& p = protocol;
    struct Case {
        std::function<ExchangeResult()> run;
        std::string wire;
        int reads;
        int sleptMs;
        const char* variant = "LP";
    };
    const Case cases[] = {
        {[&] { return p.exchange(IC::PuEthlinkToMac, "127.0.0.2", 49152, "00:11:22:33:44:55"); },
         "$PU:ethlink,2,127.0.0.2,49152,00:11:22:33:44:55;\n", 5000, 0},
        {[&] { return p.exchange(IC::PressureTime, 12.5, 2024, 1, 2, 3, 4, 5); },
         "$pt:12.50,20240102,030405;\n", 0, 0},
        {[&] { return p.exchange(IC::AcqConfSet, 4, "ACQ_TIME,1,2"); }, "$ACQCONFset:4,ACQ_TIME,1,2;\n", 10,
         0},
        {[&] { return p.exchange(IC::TimeProgRead, 12); }, "$TIMEPROGread:12;\n", 300, 0},
        {[&] { return p.exchange(IC::TimeProgAdd, "2019,7,*,*,20,0,July_CONF,120"); },
         "$TIMEPROGadd:2019,7,*,*,20,0,July_CONF,120;\n", 300, 0},
        {[&] { return p.exchange(IC::Start, "ACQ_CTD"); }, "$start:ACQ_CTD;\n", 100, 0},
        {[&] { return p.exchange(IC::Raw, "$HWCONFread;"); }, "$HWCONFread;\n", 100, 0},
        {[&] { return p.exchange(IC::PowerMonitor); }, "$POWERmonitor;\n", 5, 500},
        {[&] { return p.exchange(IC::Autocheck); }, "$autocheck;\n", 100000, 0},
        {[&] { return p.exchange(IC::PuAlive); }, "$PU:alive;\n", 10, 10 * 200},
        {[&] { return p.exchange(IC::PuDataRequest); }, "$PU:datareq;\n", 20, 0},
        {[&] { return p.exchange(IC::PuDataLine); }, "$PU:datareq;\n", 1, 0},
        {[&] { return p.exchange(IC::PuReady); }, "$PUready;\n", 200, 0, "LP"},
        {[&] { return p.exchange(IC::PuReady); }, "$PUready;\n", 20000, 0, "HF"},
        {[&] { return p.exchange(IC::PuReady); }, "$PUready;\n", 20000, 0, ""},
    };
    for (const auto& c : cases) {
        set_instrument_variant(QString::fromLatin1(c.variant));
        script->written.clear();
        script->readCount = 0;
        sleeps.clear();
        const ExchangeResult r = c.run();
        EXPECT_EQ(script->written, c.wire);
        EXPECT_TRUE(r.sent) << c.wire;
        EXPECT_FALSE(r.received) << c.wire;
        EXPECT_EQ(script->readCount, c.reads) << c.wire << " " << c.variant;
        EXPECT_EQ(sleptMs(), c.sleptMs) << c.wire;
    }
}

TEST_F(InstrumentProtocolTest, ArgumentsThatDoNotFitTheFormatSendNothing) {
    const ExchangeResult r = protocol.exchange(InstrumentCommand::ClockSet, "now");
    EXPECT_FALSE(r.sent);
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(script->written, "");
    const ExchangeResult tooLong = protocol.exchange(InstrumentCommand::HwConfSet, std::string(1100, 'x'));
    EXPECT_FALSE(tooLong.sent);
    EXPECT_EQ(script->readCount, 0); // nothing awaited for a line that never left
}

TEST_F(InstrumentProtocolTest, AnswersAreJudgedByEqualityContainmentOrPrefix) {
    using IC = InstrumentCommand;
    struct Case {
        IC command;
        const char* variant;
        std::string answer;
        bool ok;
    };
    const Case cases[] = {
        {IC::PuPowerSet, "LP", "$ok;\n", true},
        {IC::PuPowerSet, "LP", "$ok;\r\n", false},
        {IC::PuPowerSet, "LP", "$ok;\n$ok;\n", false},
        {IC::HwConfSet, "LP", "$HWCONFset:ok;\n", false},
        {IC::HwConfSet, "LP", "log\n$ok;\n", true},
        {IC::Version, "LP", " $VERSION:V3;\n", false},
        {IC::TemperatureRead, "LP", "$TSread:;\n", false},
        {IC::ClockRead, "LP", "$RTCread:2024-03-07;\n", false},
        {IC::Autocheck, "LP", "  $autocheckpassed;\r\n", true},
        {IC::PowerMonitor, "LP", "$POWERmonitor:PBU input voltage:24.05;\n", false},
        {IC::PowerMonitor, "LP", "$POWERmonitor:B0 voltage:12.10;\n", true},
        {IC::PuEthlinkTo, "LP", "[PU]:$ethlink:FAILED;\n", true},
        {IC::PuEthlink, "LP", "[PU]:$ethlink:FAILED;\n", false},
        {IC::HwConfRead, "LP", "$HWCONFset:DENIED;\n", false},
        {IC::Stop, "LP", "x", true},
        {IC::Stop, "LP", "", false},
        {IC::PuFrameDump, "LP", "", true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(answer_passes(command_info(c.command), c.answer, c.variant), c.ok)
            << command_info(c.command).name << " [" << c.answer << "]";
    }
}

struct SupervisorCase {
    const char* name;
    bool toSupervisor;
    std::vector<std::string> bursts; // answered to the first command line only
    int result;
    int linesSent; // an unmatched answer is followed by silence: nine resends
    QString variant;
};

// Answers the simulator never gives; its banners, silence and late wake-up run end to end.
TEST_F(InstrumentProtocolTest, SupervisorSwitchResults) {
    const std::vector<std::string> tenLogLines(10, "[LOG] depth 12.3 m\n");
    std::vector<std::string> threeLogsThenHF(3, "[LOG] battery ok\n");
    threeLogsThenHF.push_back(kHF);
    const SupervisorCase cases[] = {
        {"unrelated lines read past", true, threeLogsThenHF, 3, 1, "HF"},
        {"ten unrelated lines", true, tenLogLines, 0, 1, ""},
        {"banner with CR is no banner", true, {"== Kelvo6-LP == Entering Supervisor Mode ==\r\n"}, 0, 10, ""},
        {"banner in two bursts matches neither half",
         true,
         {"== Kelvo6-LP == Enter", "ing Supervisor Mode ==\n"},
         0,
         9,
         ""},
        {"supervisor banner is not user", false, {kLP}, 0, 10, ""},
    };
    for (const auto& c : cases) {
        set_instrument_variant(QString());
        script->lines.clear();
        script->reads.clear();
        bool answered = false;
        script->onLine = [&](const std::string&, PortScript& s) {
            if (!answered) {
                answered = true;
                for (const auto& b : c.bursts) {
                    s.answer(b);
                }
            }
        };
        EXPECT_EQ(protocol.supervisorMode(c.toSupervisor), c.result) << c.name;
        EXPECT_EQ(static_cast<int>(script->lines.size()), c.linesSent) << c.name;
        EXPECT_EQ(script->lines.front(), c.toSupervisor ? "$SU;" : "$USER;") << c.name;
        EXPECT_EQ(instrument_variant(), c.variant) << c.name;
    }
}

struct PowerCase {
    const char* name;
    std::function<void(FakeInstrument&)> fault;
    int result; // a SupervisorResult, 0 on failure
    std::vector<std::string> lines;
    int reads; // reads after the supervisor switch
    int sleptMs;
};

// A silent supervisor switch sends "$SU;" once and again after each of its ten silent reads.
std::vector<std::string> withSilentSwitch(std::vector<std::string> rest) {
    std::vector<std::string> lines(11, "$SU;");
    lines.insert(lines.end(), rest.begin(), rest.end());
    return lines;
}

// Switching the PU off runs the same steps but the last; the end-to-end test compares both.
TEST_F(InstrumentProtocolTest, PuPowerOnBranches) {
    const std::vector<std::string> toPower{"$SU;", "$POWERPUset:1;"};
    const std::vector<std::string> toReady{"$SU;", "$POWERPUset:1;", "$PUready;"};
    const std::vector<std::string> all{"$SU;", "$POWERPUset:1;", "$PUready;", "$PU:alive;"};
    using Fault = std::function<void(FakeInstrument&)>;
    const Fault none = [](FakeInstrument&) {};
    const auto mute = [](std::set<std::string> lines) -> Fault {
        return [=](FakeInstrument& f) { f.silent.insert(lines.begin(), lines.end()); };
    };
    const auto refuse = [](std::string line, std::string text) -> Fault {
        return [=](FakeInstrument& f) { f.answers[line] = text; };
    };
    const PowerCase cases[] = {
        {"on", none, SupervisorLP, all, 6, 0},
        {"alive after three silent polls", [](FakeInstrument& f) { f.lateBy["$PU:alive;"] = 3; },
         SupervisorLP, all, 4 + 5, 3 * 200},
        {"power refused", refuse("$POWERPUset:1;", "$POWERPUset:ERROR;\n"), 0, toPower, 2, 0},
        {"power silent", mute({"$POWERPUset:1;"}), 0, toPower, 10, 0},
        {"ready failed", refuse("$PUready;", "$PUready:FAILED;\n"), 0, toReady, 4, 0},
        {"ready silent on LP", mute({"$PUready;"}), 0, toReady, 2 + 200, 0},
        {"alive silent", mute({"$PU:alive;"}), 0, all, 4 + 10, 10 * 200},
        // The switch failed but the PU answered every step: still a failure, and the ready wait
        // is the long one since no LP banner was seen.
        {"supervisor silent", mute({"$SU;", "$PUready;"}), 0,
         withSilentSwitch({"$POWERPUset:1;", "$PUready;"}), 2 + 20000, 0},
        {"supervisor silent, PU fine", mute({"$SU;"}), 0,
         withSilentSwitch({"$POWERPUset:1;", "$PUready;", "$PU:alive;"}), 6, 0},
    };
    for (const auto& c : cases) {
        instrument = FakeInstrument{};
        c.fault(instrument);
        script->lines.clear();
        script->reads.clear();
        sleeps.clear();
        // Reads of the supervisor switch are counted apart.
        int supervisorReads = -1;
        script->onLine = [&](const std::string& line, PortScript& s) {
            if (line.starts_with("$POWERPUset:")) {
                supervisorReads = s.readCount;
            }
            instrument(line, s);
        };
        const int startReads = script->readCount;
        EXPECT_EQ(protocol.puPower(true), c.result) << c.name;
        EXPECT_EQ(script->lines, c.lines) << c.name;
        EXPECT_EQ(script->readCount - supervisorReads, c.reads) << c.name;
        EXPECT_GT(supervisorReads, startReads) << c.name;
        EXPECT_EQ(sleptMs(), c.sleptMs) << c.name;
    }
}

TEST_F(InstrumentProtocolTest, StopSequence) {
    struct Case {
        const char* name;
        int silentStops;
        const char* waiting; // already on the line before the sequence starts
        bool ok;
        std::vector<std::string> lines;
        int purges;
    };
    const Case cases[] = {
        {"answered", 0, "", true, {"$stop;;", "$stop;", "$stop;"}, 1},
        {"first silent", 1, "", false, {"$stop;;", "$stop;"}, 0},
        {"second silent", 100, "$stop:ACK;\n", false, {"$stop;;", "$stop;", "$stop;"}, 1},
    };
    for (const auto& c : cases) {
        instrument = FakeInstrument{};
        instrument.silentTimes["$stop;"] = c.silentStops;
        script->lines.clear();
        script->reads.clear();
        if (*c.waiting != '\0') {
            script->answer(c.waiting);
        }
        script->purgeCount = 0;
        sleeps.clear();
        EXPECT_EQ(protocol.stopSequence(), c.ok) << c.name;
        EXPECT_EQ(script->lines, c.lines) << c.name;
        EXPECT_EQ(script->purgeCount, c.purges) << c.name;
        EXPECT_EQ(sleeps, std::vector<int>{50}) << c.name;
    }
}

TEST_F(InstrumentProtocolTest, DataRequestReadsPastOtherAnswersUntilItsOwn) {
    script->onLine = [](const std::string&, PortScript& s) {
        s.answer("[LOG] idle\n");
        s.answer("[PU]:$datareq:OK;\n");
    };
    const ExchangeResult r = protocol.exchange(InstrumentCommand::PuDataRequest);
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.answer, "[PU]:$datareq:OK;\n");
}

} // namespace

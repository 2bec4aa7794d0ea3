// Injected faults and hostile input: each fault shows on the wire as described, and the
// simulator keeps serving afterwards.
#include "SimFixture.h"

#include <functional>
#include <vector>

const QByteArray kBanner = "== Kelvo6-LP == Entering Supervisor Mode ==\n";

namespace {

struct Step {
    QByteArray command;
    std::vector<QByteArray> bursts; // none: the command is never answered
};

} // namespace

// Bursts are read with a little more than the application's 100 ms of silence between them, so
// that each one here is an answer of its own for the host.
TEST(SimFaults, EachFaultShowsOnTheWireAndServingGoesOn) {
    const struct {
        const char* name;
        std::function<void(Kelvo6Simulator&)> inject;
        std::vector<Step> steps;
    } cases[] = {
        // A silenced command is lost, not executed: still in supervisor mode afterwards.
        {"targeted silence",
         [](Kelvo6Simulator& s) { s.setSilentCommands(1, QStringLiteral("$USER")); },
         {{"$SU;", {kBanner}}, {"$USER;", {}}, {"$POWERPUset:1;", {"$ok;\n"}}}},
        {"unrelated lines",
         [](Kelvo6Simulator& s) { s.setUnrelatedLinesBeforeAnswers(2); },
         {{"$SU;",
           {"<SU> housekeeping 1: battery nominal, leak sensor dry\n",
            "<SU> housekeeping 2: battery nominal, leak sensor dry\n", kBanner}}}},
        {"split",
         [](Kelvo6Simulator& s) { s.setSplitAnswers(true); },
         {{"$SU;", {"== Kelvo6-LP == Enteri", "ng Supervisor Mode ==\n"}}}},
        {"garbled once",
         [](Kelvo6Simulator& s) { s.setGarbleNextAnswers(1); },
         {{"$VERSION;", {"$?ER?IO?:V?.4?2,?02?.0?.3?;\n"}},
          {"$VERSION;", {"$VERSION:V3.4.2,2021.06.30;\n"}}}},
        {"truncated twice",
         [](Kelvo6Simulator& s) { s.setTruncateNextAnswers(2); },
         {{"$VERSION;", {"$VERSION:V3.4"}}, {"$stop;", {"$o"}}, {"$stop;", {"$ok;\n"}}}},
        {"self-check result",
         [](Kelvo6Simulator& s) { s.setAutocheckResult(SimAutocheck::Mezzanine49); },
         {{"$autocheck;", {"$starterr:49;\n"}}}},
        // Powering off still completes.
        {"PU that never starts",
         [](Kelvo6Simulator& s) { s.setPuStartFailure(true); },
         {{"$SU;", {kBanner}},
          {"$POWERPUset:1;", {"$ok;\n"}},
          {"$PUready;", {"$PUready:FAILED;\n"}},
          {"$PU:alive;", {}},
          {"$POWERPUset:0;", {"$ok;\n"}},
          {"$PUready;", {"$PUready:OK;\n"}}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SimSession s;
        ASSERT_TRUE(s.started);
        c.inject(*s.sim);
        for (const Step& step : c.steps) {
            ASSERT_TRUE(s.client.send(step.command + '\n'));
            for (const QByteArray& burst : step.bursts) {
                EXPECT_EQ(s.client.readBurst(1000, 110), burst) << step.command.toStdString();
            }
            EXPECT_EQ(s.client.readBurst(step.bursts.empty() ? 400 : 150), QByteArray())
                << step.command.toStdString();
        }
    }
}

TEST(SimFaults, HostileInputIsRefusedAndServingGoesOn) {
    const struct {
        const char* why;
        QByteArray bytes;
        int syntaxErrors;
    } cases[] = {
        {"garbage", QByteArray("\xff\xfe\x80garbage\x7f\n"), 1},
        {"NUL bytes", QByteArray("$S\0U;\n", 6), 1},
        {"100,000-byte command", "$" + QByteArray(100000, 'B') + ";\n", 1},
        {"two lines in one write", QByteArray("xx\nyy\n"), 2},
    };
    SimSession s;
    for (const auto& c : cases) {
        ASSERT_TRUE(s.client.send(c.bytes)) << c.why;
        QByteArray expected;
        for (int i = 0; i < c.syntaxErrors; ++i) {
            expected += "$error:SYNTAX;\n";
        }
        QByteArray got;
        while (got.size() < expected.size()) {
            const QByteArray burst = s.client.readBurst(2000);
            if (burst.isEmpty()) {
                break;
            }
            got += burst;
        }
        EXPECT_EQ(got, expected) << c.why;
        EXPECT_EQ(s("$SU;"), kBanner) << c.why;
    }
    EXPECT_TRUE(s.sim->isRunning());
}

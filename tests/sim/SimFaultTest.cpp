// Injected faults and hostile input: each fault shows on the wire as the simulator promises, and the
// simulator keeps serving afterwards.
#include "SimFixture.h"

#include <functional>
#include <vector>

const QByteArray kBanner = "== Kelvo6-LP == Entering Supervisor Mode ==\n";

// A command and the bursts of its answer (none: it is never answered).
using Step = std::pair<QByteArray, std::vector<QByteArray>>;

// Bursts are read with a little more than the application's 100 ms of silence between them, so
// that each one here is an answer of its own for the host.
TEST(SimFaults, EachFaultAndHostileInputShowOnTheWireAndServingGoesOn) {
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
        // Hostile input, no fault: refused, and serving goes on.
        {"hostile input",
         [](Kelvo6Simulator&) {},
         {{QByteArray("\xff\xfe\x80garbage\x7f"), {"$error:SYNTAX;\n"}},
          {QByteArray("$S\0U;", 5), {"$error:SYNTAX;\n"}},
          {"$" + QByteArray(100000, 'B') + ";", {"$error:SYNTAX;\n"}},
          {"xx\nyy", {"$error:SYNTAX;\n$error:SYNTAX;\n"}},
          {"$SU;", {kBanner}}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SimSession s;
        ASSERT_TRUE(s.started);
        c.inject(*s.sim);
        for (const auto& [command, bursts] : c.steps) {
            ASSERT_TRUE(s.client.send(command + '\n'));
            for (const QByteArray& burst : bursts) {
                EXPECT_EQ(s.client.readBurst(1000, 110), burst) << command.toStdString();
            }
            EXPECT_EQ(s.client.readBurst(bursts.empty() ? 400 : 150), QByteArray()) << command.toStdString();
        }
    }
}

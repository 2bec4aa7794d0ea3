// Injected faults and hostile input: each fault shows on the wire as described, and the
// simulator keeps serving afterwards.
#include "SimFixture.h"

const QByteArray kBanner = "== Kelvo6-LP == Entering Supervisor Mode ==\n";

TEST(SimFaults, SilenceSwallowsTheNextCommandsOrOnlyTheTargetedOnes) {
    SimSession s;
    s.sim->setSilentCommands(2);
    EXPECT_EQ(s("$SU;", 400), QByteArray());
    EXPECT_EQ(s("$SU;", 400), QByteArray());
    EXPECT_EQ(s("$SU;"), kBanner);
    // A silenced command is lost, not executed: still in supervisor mode afterwards.
    s.sim->setSilentCommands(1);
    EXPECT_EQ(s("$USER;", 400), QByteArray());
    s.sim->setSilentCommands(1, QStringLiteral("$PUready"));
    EXPECT_EQ(s("$POWERPUset:1;"), QByteArray("$ok;\n"));
    EXPECT_EQ(s("$PUready;", 400), QByteArray());
    EXPECT_EQ(s("$PUready;"), QByteArray("$PUready:OK;\n"));
}

TEST(SimFaults, UnrelatedLinesComeAsSeparateBurstsBeforeTheAnswer) {
    SimSession s;
    s.sim->setUnrelatedLinesBeforeAnswers(3);
    ASSERT_TRUE(s.client.send("$SU;\n"));
    // The host reads each one as an answer of its own (>100 ms apart), then the banner.
    for (int i = 0; i < 3; ++i) {
        const QByteArray line = s.client.readBurst(1000, 110);
        EXPECT_TRUE(line.startsWith("<SU> housekeeping ")) << line.toStdString();
        EXPECT_TRUE(line.endsWith("\n"));
        EXPECT_EQ(line.count('\n'), 1) << line.toStdString();
    }
    EXPECT_EQ(s.client.readBurst(1000, 110), kBanner);
    s.sim->setUnrelatedLinesBeforeAnswers(0);
    EXPECT_EQ(s("$VERSION;"), QByteArray("$VERSION:V3.4.2,2021.06.30;\n"));
}

TEST(SimFaults, SplitAnswerArrivesInTwoBursts) {
    SimSession s;
    s.sim->setSplitAnswers(true);
    ASSERT_TRUE(s.client.send("$SU;\n"));
    const QByteArray first = s.client.readBurst(1000, 110);
    const QByteArray second = s.client.readBurst(1000, 110);
    EXPECT_EQ(first, QByteArray("== Kelvo6-LP == Enteri"));
    EXPECT_EQ(second, QByteArray("ng Supervisor Mode ==\n"));
}

TEST(SimFaults, GarbledAndTruncatedAnswers) {
    SimSession s;
    s.sim->setGarbleNextAnswers(1);
    EXPECT_EQ(s("$VERSION;"), QByteArray("$?ER?IO?:V?.4?2,?02?.0?.3?;\n"));
    EXPECT_EQ(s("$VERSION;"), QByteArray("$VERSION:V3.4.2,2021.06.30;\n"));
    s.sim->setTruncateNextAnswers(2);
    EXPECT_EQ(s("$VERSION;"), QByteArray("$VERSION:V3.4"));
    EXPECT_EQ(s("$stop;"), QByteArray("$o"));
    EXPECT_EQ(s("$stop;"), QByteArray("$ok;\n"));
    // Targeted: only the alive answer is cut.
    s("$SU;");
    s("$POWERPUset:1;");
    s.sim->setTruncateNextAnswers(1, QStringLiteral("$PU:alive"));
    EXPECT_EQ(s("$PUready;"), QByteArray("$PUready:OK;\n"));
    EXPECT_EQ(s("$PU:alive;"), QByteArray("[PU]:$a"));
}

TEST(SimFaults, ProcessingUnitThatNeverStarts) {
    SimSession s;
    s.sim->setPuStartFailure(true);
    s("$SU;");
    EXPECT_EQ(s("$POWERPUset:1;"), QByteArray("$ok;\n"));
    EXPECT_EQ(s("$PUready;"), QByteArray("$PUready:FAILED;\n"));
    EXPECT_EQ(s("$PU:alive;", 400), QByteArray());
    // Powering off still completes.
    EXPECT_EQ(s("$POWERPUset:0;"), QByteArray("$ok;\n"));
    EXPECT_EQ(s("$PUready;"), QByteArray("$PUready:OK;\n"));
}

TEST(SimFaults, HostileInputIsRefusedAndServingGoesOn) {
    const struct {
        const char* why;
        QByteArray bytes;
        int syntaxErrors;
    } cases[] = {
        {"garbage", QByteArray("\xff\xfe\x80garbage\x7f\n"), 1},
        {"NUL bytes", QByteArray("$S\0U;\n", 6), 1},
        {"only NULs", QByteArray("\0\0\0\0\n", 5), 1},
        {"100,000-byte line", QByteArray(100000, 'A') + "\n", 1},
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

TEST(SimFaults, ReceivedLinesAreRecordedForInspection) {
    SimSession s;
    s.sim->clearReceived();
    s("$stop;;");
    s("$VERSION;");
    EXPECT_EQ(s.sim->receivedLines(), (QStringList{QStringLiteral("$stop;;"), QStringLiteral("$VERSION;")}));
    EXPECT_EQ(s.sim->receivedBytes(), QByteArray("$stop;;\n$VERSION;\n"));
}

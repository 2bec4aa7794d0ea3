// The kelvo6-sim program: its first output line, its options and a clean end on a signal.
#include "SimFixture.h"

TEST(SimExecutable, ServesWithItsIdentityOptionsAndEndsCleanlyOnSigterm) {
    SimProgram p({"--variant", "HF", "--serial", "K6HF-0777", "--firmware", "V9,2020.01.01"});
    EXPECT_EQ(p.client.exchange("$SU;"), QByteArray("== Kelvo6-HF == Entering Supervisor Mode ==\n"));
    EXPECT_EQ(p.client.exchange("$VERSION;"), QByteArray("$VERSION:V9,2020.01.01;\n"));
    EXPECT_TRUE(p.client.exchange("$HWCONFread;").startsWith("$HWCONFread:K6HF-0777,"));
    EXPECT_EQ(p.stop(SIGTERM), 0);
}

TEST(SimExecutable, FaultOptionsAreAppliedAndSigintEndsCleanly) {
    SimProgram p({"--silent", "1", "--silent-for", "$VERSION", "--autocheck", "79", "--busy"});
    EXPECT_EQ(p.client.exchange("$VERSION;", 400), QByteArray());
    EXPECT_EQ(p.client.exchange("$VERSION;"), QByteArray("$VERSION:V3.4.2,2021.06.30;\n"));
    EXPECT_EQ(p.client.exchange("$autocheck;"), QByteArray("$starterr:79;\n"));
    EXPECT_EQ(p.client.exchange("$SU;"), QByteArray("$SU:BUSY;\n"));
    EXPECT_EQ(p.stop(SIGINT), 0);
}

TEST(SimExecutable, HelpDocumentsEveryOptionAndTheInstrumentsOpenAnswers) {
    const QString help = QString::fromLocal8Bit(kelvotest::run_program(simProgramPath(), {"--help"}).out);
    const QStringList options =
        QStringLiteral(
            "variant serial firmware realistic pu-startup-ms state card allow-network autocheck pu-fail "
            "makefs-fail busy silent silent-for unrelated split split-pause-ms garble truncate sd-total "
            "sd-free link-rate packet-size lose-datagram duplicate-datagram stray-datagram no-header "
            "truncate-file disconnect make-card seed")
            .split(QLatin1Char(' '));
    for (const QString& option : options) {
        EXPECT_TRUE(help.contains(QStringLiteral("--") + option)) << option.toStdString();
    }
    for (const char* text : {"16-byte header (little-endian int32 packet count, file size, packet",
                             "[PU]:$framedump:OK;", "$error:SYNTAX;", "$error:UNKNOWN;", "<NAME>:DENIED;",
                             "$starterr:30;", "$SUreboot;           no answer", "[PU]:$datareq:$eof;",
                             "SD remaining MB (5)", "SD remaining MB (6)", "$PU:OFF;"}) {
        EXPECT_TRUE(help.contains(QLatin1String(text))) << text;
    }
}

TEST(SimExecutable, BadOptionValuesEndWithAClearMessage) {
    const struct {
        QStringList args;
        const char* message;
    } cases[] = {
        {{"--variant", "XX"}, "unknown variant \"XX\" (LP or HF)"},
        {{"--autocheck", "80"}, "--autocheck expects passed, 49, 59, 69 or 79, not \"80\""},
        {{"--silent", "many"}, "--silent expects a whole number from 0 to 1000000, not \"many\""},
        {{"extra"}, "unexpected argument \"extra\" (see --help)"},
        {{"--link-rate", "-5"}, "--link-rate expects Mbit/s from 0 (unpaced) to 1000000, not \"-5\""},
        {{"--packet-size", "65508"}, "--packet-size expects a whole number from 1 to 65507, not \"65508\""},
        {{"--card", "/nonexistent/kelvo-card"}, "the card folder \"/nonexistent/kelvo-card\" does not exist"},
        {{"--make-card", "/tmp/x", "--seed", "-1"},
         "--seed expects a whole number from 0 to 4294967295, not \"-1\""},
    };
    for (const auto& c : cases) {
        const kelvotest::ProgramRun run = kelvotest::run_program(simProgramPath(), c.args);
        EXPECT_GT(run.status, 0) << c.message;
        EXPECT_EQ(run.out, QByteArray()) << c.message;
        EXPECT_EQ(QString::fromLocal8Bit(run.err), QStringLiteral("kelvo6-sim: ") + c.message + '\n');
    }
}

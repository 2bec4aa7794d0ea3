// The kelvo6-sim program: its first output line, its options and a clean end on SIGTERM.
#include "SimClient.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QProcess>

#include <csignal>

namespace {

QString simProgram() {
    return kelvotest::bin_dir() + QStringLiteral("/kelvo6-sim");
}

} // namespace

TEST(SimExecutable, PrintsItsDevicePathServesAndEndsCleanlyOnSigterm) {
    QProcess p;
    p.start(simProgram(),
            {QStringLiteral("--variant"), QStringLiteral("HF"), QStringLiteral("--serial"),
             QStringLiteral("K6HF-0777"), QStringLiteral("--firmware"), QStringLiteral("V9,2020.01.01")});
    ASSERT_TRUE(p.waitForStarted(5000));
    ASSERT_TRUE(p.waitForReadyRead(5000));
    const QByteArray first = p.readLine().trimmed();
    ASSERT_TRUE(first.startsWith("/dev/pts/")) << first.toStdString();
    SimClient client;
    ASSERT_TRUE(client.open(QString::fromLocal8Bit(first)));
    EXPECT_EQ(client.exchange("$SU;"), QByteArray("== Kelvo6-HF == Entering Supervisor Mode ==\n"));
    EXPECT_EQ(client.exchange("$VERSION;"), QByteArray("$VERSION:V9,2020.01.01;\n"));
    EXPECT_TRUE(client.exchange("$HWCONFread;").startsWith("$HWCONFread:K6HF-0777,"));
    ::kill(pid_t(p.processId()), SIGTERM);
    ASSERT_TRUE(p.waitForFinished(5000));
    EXPECT_EQ(p.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(p.exitCode(), 0);
}

TEST(SimExecutable, FaultOptionsAreApplied) {
    QProcess p;
    p.start(simProgram(), {QStringLiteral("--silent"), QStringLiteral("1"), QStringLiteral("--silent-for"),
                           QStringLiteral("$VERSION"), QStringLiteral("--autocheck"), QStringLiteral("79"),
                           QStringLiteral("--busy")});
    ASSERT_TRUE(p.waitForStarted(5000));
    ASSERT_TRUE(p.waitForReadyRead(5000));
    SimClient client;
    ASSERT_TRUE(client.open(QString::fromLocal8Bit(p.readLine().trimmed())));
    EXPECT_EQ(client.exchange("$VERSION;", 400), QByteArray());
    EXPECT_EQ(client.exchange("$VERSION;"), QByteArray("$VERSION:V3.4.2,2021.06.30;\n"));
    EXPECT_EQ(client.exchange("$autocheck;"), QByteArray("$starterr:79;\n"));
    EXPECT_EQ(client.exchange("$SU;"), QByteArray("$SU:BUSY;\n"));
    ::kill(pid_t(p.processId()), SIGINT);
    ASSERT_TRUE(p.waitForFinished(5000));
    EXPECT_EQ(p.exitCode(), 0);
}

TEST(SimExecutable, HelpDocumentsEveryOptionAndTheInstrumentsOpenAnswers) {
    QProcess p;
    p.start(simProgram(), {QStringLiteral("--help")});
    ASSERT_TRUE(p.waitForFinished(5000));
    const QString help = QString::fromLocal8Bit(p.readAllStandardOutput());
    for (const char* text : {"--variant",
                             "--serial",
                             "--firmware",
                             "--realistic",
                             "--pu-startup-ms",
                             "--state",
                             "--card",
                             "--allow-network",
                             "--autocheck",
                             "--pu-fail",
                             "--makefs-fail",
                             "--busy",
                             "--silent",
                             "--silent-for",
                             "--unrelated",
                             "--split",
                             "--garble",
                             "--truncate",
                             "--sd-total",
                             "--sd-free",
                             "--link-rate",
                             "--packet-size",
                             "--lose-datagram",
                             "--duplicate-datagram",
                             "--stray-datagram",
                             "--no-header",
                             "--truncate-file",
                             "--disconnect",
                             "--make-card",
                             "--seed",
                             "16-byte header (little-endian int32 packet count, file size, packet",
                             "[PU]:$framedump:OK;",
                             "$error:SYNTAX;",
                             "$error:UNKNOWN;",
                             "<NAME>:DENIED;",
                             "$starterr:30;",
                             "$SUreboot;           no answer",
                             "[PU]:$datareq:$eof;",
                             "SD remaining MB (5)",
                             "SD remaining MB (6)",
                             "$PU:OFF;"}) {
        EXPECT_TRUE(help.contains(QLatin1String(text))) << text;
    }
}

TEST(SimExecutable, BadOptionValuesEndWithAClearMessage) {
    const struct {
        QStringList args;
        const char* message;
    } cases[] = {
        {{QStringLiteral("--variant"), QStringLiteral("XX")}, "unknown variant \"XX\" (LP or HF)"},
        {{QStringLiteral("--autocheck"), QStringLiteral("80")},
         "--autocheck expects passed, 49, 59, 69 or 79, not \"80\""},
        {{QStringLiteral("--silent"), QStringLiteral("many")},
         "--silent expects a whole number from 0 to 1000000, not \"many\""},
        {{QStringLiteral("extra")}, "unexpected argument \"extra\""},
        {{QStringLiteral("--link-rate"), QStringLiteral("-5")},
         "--link-rate expects Mbit/s from 0 (unpaced) to 1000000, not \"-5\""},
        {{QStringLiteral("--packet-size"), QStringLiteral("65508")},
         "--packet-size expects a whole number from 1 to 65507, not \"65508\""},
        {{QStringLiteral("--lose-datagram"), QStringLiteral("x")},
         "--lose-datagram expects a whole number from 0 to 1000000, not \"x\""},
        {{QStringLiteral("--card"), QStringLiteral("/nonexistent/kelvo-card")},
         "the card folder \"/nonexistent/kelvo-card\" does not exist"},
        {{QStringLiteral("--make-card"), QStringLiteral("/tmp/x"), QStringLiteral("--seed"),
          QStringLiteral("-1")},
         "--seed expects a whole number from 0 to 4294967295, not \"-1\""},
    };
    for (const auto& c : cases) {
        QProcess p;
        p.start(simProgram(), c.args);
        ASSERT_TRUE(p.waitForFinished(5000));
        EXPECT_NE(p.exitCode(), 0) << c.message;
        EXPECT_TRUE(p.readAllStandardOutput().isEmpty()) << c.message;
        EXPECT_TRUE(QString::fromLocal8Bit(p.readAllStandardError()).contains(QLatin1String(c.message)))
            << c.message;
    }
}

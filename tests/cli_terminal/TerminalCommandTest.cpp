// `kelvo terminal` run as a separate program, alone and against the in-process simulator.
#include "eth/UdpTestSender.h"
#include "sim/Kelvo6Simulator.h"
#include "support/TestSupport.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

using ProcessResult = kelvotest::ProgramRun;

ProcessResult kelvo(const QStringList& args, const QByteArray& input = QByteArray()) {
    return kelvotest::run_program(kelvotest::bin_dir() + QStringLiteral("/kelvo"),
                                  QStringList{QStringLiteral("terminal")} + args, input);
}

class CliTerminalTest : public ::testing::Test {
protected:
    void SetUp() override { workDir = kelvotest::make_temp_dir(QStringLiteral("cli")); }
    // Options shared by every run: a private working folder and a port that does not exist.
    QStringList base(const QString& port = QStringLiteral("/dev/kelvo-test-none")) const {
        return {QStringLiteral("--workdir"), workDir, QStringLiteral("--port"), port};
    }
    QString workDir;
};

TEST_F(CliTerminalTest, ExitStatusFollowsTheCommands) {
    struct Case {
        QStringList lines;
        int status;
        QByteArray out;
    };
    const Case cases[] = {
        {{QStringLiteral("help help")},
         0,
         "\n[HELP]: help command help\n\n\tDescription : Display help on available commands\n\n\tUsages :\n"
         "\n\t\thelp - Display all VortOS available commands, with a brief description\n"
         "\n\t\thelp <command> - Display detailed help on command <command>\n\n"},
        {{QStringLiteral("quit")}, 1, "\n[VortOShell]: Unknown command \"quit\" !\n"},
        // The port given cannot be opened: a line that needs the instrument fails with its reason.
        {{QStringLiteral("acqconf load 0"), QStringLiteral("   ")},
         1,
         "\n[VortOS]: Serial port /dev/kelvo-test-none is not open (No such file or directory), \"acqconf\" "
         "needs the instrument !\n"},
        {{QStringLiteral("")}, 0, ""},
    };
    for (const Case& c : cases) {
        QStringList args = base();
        for (const QString& line : c.lines) {
            args << QStringLiteral("-c") << line;
        }
        const ProcessResult r = kelvo(args);
        EXPECT_EQ(r.status, c.status) << c.lines.join(QLatin1Char('|')).toStdString();
        EXPECT_EQ(r.out, c.out) << c.lines.join(QLatin1Char('|')).toStdString();
    }
    // Into a pipe, colours are dropped and column moves played with spaces.
    const ProcessResult help = kelvo(base() << QStringLiteral("-c") << QStringLiteral("help"));
    EXPECT_FALSE(help.out.contains('\x1b')) << help.out.toStdString();
    EXPECT_TRUE(help.out.contains("\n         acqconf        Manage VORTAN acquisition configurations\n"))
        << help.out.toStdString();
}

TEST_F(CliTerminalTest, BadCommandLines) {
    const QStringList cases[] = {
        {QStringLiteral("--baud"), QStringLiteral("fast"), QStringLiteral("-c"), QStringLiteral("help")},
        {QStringLiteral("--baud=0")},
        {QStringLiteral("-c")},
        {QStringLiteral("--verbose")},
        {QStringLiteral("--udpport"), QStringLiteral("0")},
        {QStringLiteral("--udpport=65536")},
        {QStringLiteral("--localip"), QStringLiteral("300.1.1.1")},
        {QStringLiteral("--localip")},
    };
    for (const QStringList& args : cases) {
        const ProcessResult r = kelvo(args);
        EXPECT_EQ(r.status, 2) << args.join(QLatin1Char(' ')).toStdString();
        EXPECT_TRUE(r.out.isEmpty());
        EXPECT_TRUE(r.err.contains(
            "Usage: kelvo terminal [--port DEVICE] [--baud N] [--workdir DIR] [--localip ADDR] "
            "[--udpport N] [-c LINE]..."))
            << r.err.toStdString();
    }
}

TEST_F(CliTerminalTest, WorkdirHoldsTheConfiguratorFolder) {
    const ProcessResult r =
        kelvo(base() + QStringList{QStringLiteral("-c"), QStringLiteral("timetable template")});
    EXPECT_EQ(r.status, 0);
    const QString path = workDir + QStringLiteral("/configurator/Timetable_template.txt");
    EXPECT_EQ(r.out, "\n[TIMETABLE]: Timetable template file \"" + path.toLocal8Bit() + "\" created.\n");
    EXPECT_TRUE(QFile::exists(path));
    EXPECT_TRUE(r.err.contains("/dev/kelvo-test-none")); // the port that did not open is named
}

TEST_F(CliTerminalTest, StandardInputUntilExit) {
    const ProcessResult r = kelvo(base(), "help su\n\n   exit   \nquit\n");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out,
              "\n[SU]: su command help\n\n\tDescription : Put VORTAN into Super-User mode\n\n\tUsage :\n"
              "\n\t\tsu - Put VORTAN into Super-User mode\n\n");

    const ProcessResult failing = kelvo(base(), "nothing"); // end of input without a final line feed
    EXPECT_EQ(failing.status, 1);
    EXPECT_EQ(failing.out, "\n[VortOShell]: Unknown command \"nothing\" !\n");
}

TEST_F(CliTerminalTest, AgainstTheSimulator) {
    Kelvo6Simulator sim;
    QString error;
    ASSERT_TRUE(sim.start(&error)) << error.toStdString();
    const QStringList args =
        base(sim.devicePath()) + QStringList{QStringLiteral("--baud"), QStringLiteral("38400"),
                                             QStringLiteral("-c"),     QStringLiteral("su"),
                                             QStringLiteral("-c"),     QStringLiteral(" $USER; ")};
    const ProcessResult r = kelvo(args);
    EXPECT_EQ(r.status, 0) << r.err.toStdString();
    EXPECT_EQ(r.out, "[Raw]== Leaving Supervisor Mode ==\n");
    EXPECT_EQ(sim.mode(), SimMode::User);
    EXPECT_TRUE(sim.receivedLines().contains(QStringLiteral("$USER;")));

    // A raw line counts as success once written, whatever the answer.
    const ProcessResult raw =
        kelvo(base(sim.devicePath()) + QStringList{QStringLiteral("-c"), QStringLiteral("$nonsense;")});
    EXPECT_EQ(raw.status, 0);
    EXPECT_EQ(raw.out, "[Raw]$error:UNKNOWN;\n");
}

TEST_F(CliTerminalTest, GetfileWithHostAddressAndPortOptions) {
    const QString cardDir = kelvotest::make_temp_dir(QStringLiteral("card"));
    const QString cardPath = QStringLiteral("seq/20240315-081200/frame.bin");
    const QString local = workDir + QStringLiteral("/filemanager/") + cardPath;
    // Three datagrams that differ, so that a repeated or shifted one shows.
    QByteArray bytes(2500, '\0');
    for (int i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i * 13 + i / 256);
    }
    ASSERT_TRUE(kelvotest::write_file(cardDir + QLatin1Char('/') + cardPath, bytes));
    SimOptions options;
    options.cardDir = cardDir;
    options.linkRateMbps = 0;
    Kelvo6Simulator sim(options);
    QString error;
    ASSERT_TRUE(sim.start(&error)) << error.toStdString();
    const int port = kelvotest::free_udp_port();
    const ProcessResult r = kelvo(base(sim.devicePath()) +
                                  QStringList{QStringLiteral("-c"), QStringLiteral("getfile ") + cardPath,
                                              QStringLiteral("--localip"), QStringLiteral("127.0.0.2"),
                                              QStringLiteral("--udpport"), QString::number(port)});
    EXPECT_EQ(r.status, 0) << r.out.toStdString() << r.err.toStdString();
    char portText[16];
    std::snprintf(portText, sizeof portText, "%#4X", port);
    const QByteArray expected = "\n[GETFILE]: Initializing Processing Unit...\nPU is ready!\n"
                                "\n[GETFILE]: Initializing Ethernet UDP socket...\n"
                                "Done! IP = 127.0.0.2, Port = " +
                                QByteArray(portText) +
                                ", MAC = FF.FF.FF.FF.FF.FF\n"
                                "\tDownloading file seq/20240315-081200/frame.bin \n"
                                "( 2500 bytes ) : 100%\n"
                                "\n[GETFILE]: EXIT !\n";
    // Into a pipe the escapes are played, not written: the percentage redrawn in place gives one
    // line as it ends.
    EXPECT_EQ(r.out, expected);
    EXPECT_EQ(kelvotest::read_file(local), bytes);
    EXPECT_TRUE(sim.receivedLines().contains(
        QStringLiteral("$PU:filedump,seq/20240315-081200/frame.bin,127.0.0.2,%1,FF.FF.FF.FF.FF.FF;")
            .arg(port)));

    // Address and port given on the line win over the options.
    QFile::remove(local);
    const ProcessResult onLine = kelvo(
        base(sim.devicePath()) +
        QStringList{QStringLiteral("--localip=127.0.0.9"), QStringLiteral("--udpport=9"),
                    QStringLiteral("-c"), QStringLiteral("getfile %1 127.0.0.2 %2").arg(cardPath).arg(port)});
    EXPECT_EQ(onLine.status, 0) << onLine.out.toStdString();
    EXPECT_EQ(kelvotest::read_file(local), bytes);
}

} // namespace

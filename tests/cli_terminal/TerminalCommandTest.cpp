// `kelvo terminal` run as a separate program, alone and against the in-process simulator.
#include "sim/Kelvo6Simulator.h"
#include "support/TestSupport.h"

#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

struct ProcessResult {
    int status = -1;
    QByteArray out;
    QByteArray err;
};

ProcessResult kelvo(const QStringList& args, const QByteArray& input = QByteArray()) {
    QProcess p;
    p.start(kelvotest::bin_dir() + QStringLiteral("/kelvo"), QStringList{QStringLiteral("terminal")} + args);
    EXPECT_TRUE(p.waitForStarted(10000));
    p.write(input);
    p.closeWriteChannel();
    EXPECT_TRUE(p.waitForFinished(60000));
    ProcessResult r;
    r.status = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = p.readAllStandardOutput();
    r.err = p.readAllStandardError();
    return r;
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

TEST_F(CliTerminalTest, HelpListingIsPassedThroughUntouched) {
    const ProcessResult r = kelvo(base() + QStringList{QStringLiteral("-c"), QStringLiteral("help")});
    EXPECT_EQ(r.status, 0);
    const QByteArray expectedStart =
        "\n[HELP]:\x1b[10GCommand\x1b[25GDescription\n\n"
        "\x1b[92m\x1b[10Gacqconf\x1b[25GManage VORTAN acquisition configurations\x1b[m\n"
        "\x1b[97m\x1b[10Gclear\x1b[25GClear this terminal\x1b[m\n";
    EXPECT_TRUE(r.out.startsWith(expectedStart)) << r.out.left(300).toStdString();
    EXPECT_TRUE(r.out.endsWith("\x1b[97m\x1b[10Guser\x1b[25GSwitch VORTAN back to User mode\x1b[m\n"));
    EXPECT_EQ(r.out.count('\n'), 3 + 16);
    EXPECT_FALSE(r.out.contains("[ME] "));
}

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
        {{QStringLiteral("acqconf load 10"), QStringLiteral("   ")},
         1,
         "\n[ERROR]: (acqconf_function) Out of range <conf_ID> value (10). Must be between 0 and 9 !\n"
         "\n[VortOS]: Command acqconf returned an error !\n"},
        {{QStringLiteral("pu ON")},
         1,
         "\n[ERROR]: (PU_function) Bad parameters !\n\n[VortOS]: Command pu returned an error !\n"},
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
}

TEST_F(CliTerminalTest, BadCommandLines) {
    const QStringList cases[] = {
        {QStringLiteral("--baud"), QStringLiteral("fast"), QStringLiteral("-c"), QStringLiteral("help")},
        {QStringLiteral("--baud=0")},
        {QStringLiteral("-c")},
        {QStringLiteral("--port")},
        {QStringLiteral("--verbose")},
    };
    for (const QStringList& args : cases) {
        const ProcessResult r = kelvo(args);
        EXPECT_EQ(r.status, 2) << args.join(QLatin1Char(' ')).toStdString();
        EXPECT_TRUE(r.out.isEmpty());
        EXPECT_TRUE(
            r.err.contains("Usage: kelvo terminal [--port DEVICE] [--baud N] [--workdir DIR] [-c LINE]..."));
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

TEST_F(CliTerminalTest, HundredThousandCharacterLine) {
    const QString word(100000, QLatin1Char('y'));
    const ProcessResult r = kelvo(base() + QStringList{QStringLiteral("-c"), word, QStringLiteral("-c"),
                                                       QLatin1Char('$') + word + QLatin1Char(';')});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "\n[VortOShell]: Unknown command \"" + word.toLatin1() +
                         "\" !\nError performing the COM port write operation\n");
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

    sim.setBusy(true);
    const ProcessResult busy =
        kelvo(base(sim.devicePath()) + QStringList{QStringLiteral("-c"), QStringLiteral("su")});
    EXPECT_EQ(busy.status, 1);
    EXPECT_EQ(busy.out,
              "\n[ERROR]: (SU_function) Unable to put VORTAN into SU mode !\nMaybe the system is not idle "
              "(busy/sleeping/ongoing acquisition ?) !\n\n[VortOS]: Command su returned an error !\n");
}

} // namespace

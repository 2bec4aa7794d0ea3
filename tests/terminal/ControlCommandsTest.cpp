// su, user, pu, pt, reboot and rtcsync on a scripted instrument.
#include "ShellFixture.h"

#include "terminal/ControlCommands.h"

namespace {

using ControlTest = ShellFixture;

const QDateTime kClock(QDate(2024, 1, 31), QTime(23, 59, 59));

TEST(PtMessage, Table) {
    const std::pair<double, const char*> cases[] = {
        {12.5, "$pt:12.50,20240131,235959;"},
        {0.0, "$pt:0.00,20240131,235959;"},
        {3.456, "$pt:3.46,20240131,235959;"},
        {-1.2, "$pt:-1.20,20240131,235959;"},
    };
    for (const auto& [pressure, text] : cases) {
        EXPECT_EQ(pt_message(pressure, kClock), text);
    }
    EXPECT_EQ(pt_message(1, QDateTime(QDate(2025, 3, 4), QTime(5, 6, 7))), "$pt:1.00,20250304,050607;");
}

TEST_F(ControlTest, PtSendsPressureAndLocalTimeWithoutAnswer) {
    shell->context().setClock([] { return kClock; });
    const std::pair<const char*, const char*> cases[] = {
        {"pt", "$pt:0.00,20240131,235959;"},       {"pt 12.5", "$pt:12.50,20240131,235959;"},
        {"pt 3.456", "$pt:3.46,20240131,235959;"}, {"pt abc", "$pt:0.00,20240131,235959;"},
        {"pt 7.5m", "$pt:7.50,20240131,235959;"},
    };
    for (const auto& [line, message] : cases) {
        out.clear();
        script->lines.clear();
        EXPECT_TRUE(run(line)) << line;
        EXPECT_EQ(script->lines, std::vector<std::string>{message});
        EXPECT_EQ(out, std::vector<std::string>{std::string("\n[PT]: sending ") + message});
    }
}

TEST_F(ControlTest, PuRefusesBadParametersBeforeSending) {
    acceptSupervisor();
    for (const char* line : {"pu", "pu ON", "pu 2", "pu yes"}) {
        out.clear();
        EXPECT_FALSE(run(line)) << line;
        const std::vector<std::string> expected{"\n[ERROR]: (PU_function) Bad parameters !",
                                                "\n[VortOS]: Command pu returned an error !"};
        EXPECT_EQ(out, expected) << line;
    }
    EXPECT_TRUE(script->written.empty());
}

TEST_F(ControlTest, PuOffSequenceAndItsFailure) {
    acceptSupervisor();
    answers["$POWERPUset:0;"] = "$ok;\n";
    answers["$PUready;"] = "$PUready:OK;\n";
    EXPECT_TRUE(run("pu 0"));
    const std::vector<std::string> sent{"$SU;", "$SU;", "$POWERPUset:0;", "$PUready;"};
    EXPECT_EQ(script->lines, sent);
    EXPECT_TRUE(out.empty());

    answers["$PUready;"] = "$PUready:FAILED;\n";
    EXPECT_FALSE(run("pu off"));
    const std::vector<std::string> expected{"\n[ERROR]: (PU_function) Unable to power Processing Unit off !",
                                            "\n[VortOS]: Command pu returned an error !"};
    EXPECT_EQ(out, expected);
}

TEST_F(ControlTest, SupervisorAndUserModes) {
    EXPECT_FALSE(run("su"));
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0], "\n[ERROR]: (SU_function) Unable to put VORTAN into SU mode !\nMaybe the system is not "
                      "idle (busy/sleeping/ongoing acquisition ?) !");
    out.clear();
    EXPECT_FALSE(run("user"));
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0], "\n[ERROR]: (USER_function) Unable to put VORTAN into USER mode !\nMaybe the system is "
                      "not idle (busy/sleeping/ongoing acquisition ?) !");
    out.clear();
    script->lines.clear();
    acceptSupervisor();
    answers["$USER;"] = "== Leaving Supervisor Mode ==\n";
    EXPECT_TRUE(run("su"));
    EXPECT_TRUE(run("user"));
    EXPECT_EQ(script->lines, (std::vector<std::string>{"$SU;", "$USER;"}));
    EXPECT_TRUE(out.empty());
}

TEST_F(ControlTest, RebootSendsAfterSupervisorMode) {
    acceptSupervisor();
    EXPECT_TRUE(run("reboot"));
    EXPECT_EQ(script->lines, (std::vector<std::string>{"$SU;", "$SUreboot;"}));
    answers.clear();
    script->lines.clear();
    EXPECT_FALSE(run("reboot"));
    for (const std::string& line : script->lines) {
        EXPECT_EQ(line, "$SU;");
    }
}

TEST_F(ControlTest, RtcsyncReadsSetsAndReadsAgain) {
    shell->context().setClock([] { return kClock; });
    acceptSupervisor();
    answers["$RTCread;"] = "$RTCread:20240131,235901;\n";
    answers["$RTCset:"] = "$ok;\n";
    EXPECT_TRUE(run("rtcsync"));
    const std::vector<std::string> sent{"$SU;", "$RTCread;", "$RTCset:20240131,235959;", "$RTCread;"};
    EXPECT_EQ(script->lines, sent);
    const std::vector<std::string> printed{
        "\n[RTCSYNC]: VORTAN time is     : 20240131,235901",
        "\n[RTCSYNC]: Host system time is : 20240131,235959",
        "\n[RTCSYNC]: New VORTAN time is : 20240131,235901",
    };
    EXPECT_EQ(out, printed);
}

TEST_F(ControlTest, RtcsyncFailures) {
    shell->context().setClock([] { return kClock; });
    acceptSupervisor();
    answers["$RTCread;"] = "$RTCread:20240131,235901;\n";
    answers["$RTCset:"] = "$RTCset:ERROR;\n";
    EXPECT_FALSE(run("rtcsync"));
    // A refused set does not read the time again.
    EXPECT_EQ(script->lines, (std::vector<std::string>{"$SU;", "$RTCread;", "$RTCset:20240131,235959;"}));
    ASSERT_EQ(out.size(), 4u);
    EXPECT_EQ(out[2],
              "\n[ERROR]: (rtcsync_function) VORTAN answered to '$RTCset' command with an error message !");
    EXPECT_EQ(out[3], "\n[VortOS]: Command rtcsync returned an error !");

    // An answer without the "$RTCread:" prefix is shown as it came.
    answers["$RTCread;"] = "$error:UNKNOWN;\n";
    script->lines.clear();
    out.clear();
    EXPECT_FALSE(run("rtcsync"));
    EXPECT_EQ(script->lines, (std::vector<std::string>{"$SU;", "$RTCread;"}));
    EXPECT_EQ(out, (std::vector<std::string>{"[Raw]$error:UNKNOWN;",
                                             "\n[VortOS]: Command rtcsync returned an error !"}));

    // Silence.
    answers.erase("$RTCread;");
    out.clear();
    EXPECT_FALSE(run("rtcsync"));
    EXPECT_EQ(out,
              (std::vector<std::string>{"\n[ERROR]: (rtcsync_function) VORTAN did not answer to '$RTCread' "
                                        "command !",
                                        "\n[VortOS]: Command rtcsync returned an error !"}));
}

} // namespace

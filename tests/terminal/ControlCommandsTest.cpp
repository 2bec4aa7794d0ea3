// user, pu, pt and the failures of rtcsync on a scripted instrument.
#include "ShellFixture.h"

namespace {

using ControlTest = ShellFixture;

// Single-digit fields show that every date and time field is zero-padded.
const QDateTime kClock(QDate(2024, 1, 5), QTime(7, 8, 9));

TEST_F(ControlTest, PtSendsPressureAndLocalTimeWithoutAnswer) {
    shell->context().setClock([] { return kClock; });
    const std::pair<const char*, const char*> cases[] = {
        {"pt", "$pt:0.00,20240105,070809;"},       {"pt 3.456", "$pt:3.46,20240105,070809;"},
        {"pt -1.2", "$pt:-1.20,20240105,070809;"}, {"pt +3", "$pt:3.00,20240105,070809;"},
        {"pt abc", "$pt:0.00,20240105,070809;"},   {"pt 7.5m", "$pt:7.50,20240105,070809;"},
    };
    for (const auto& [line, message] : cases) {
        EXPECT_TRUE(run(line)) << line;
        EXPECT_EQ(script->lines, std::vector<std::string>{message});
        EXPECT_EQ(out, std::vector<std::string>{std::string("\n[PT]: sending ") + message});
    }
}

TEST_F(ControlTest, PuRefusesBadParametersBeforeSending) {
    acceptSupervisor();
    for (const char* line : {"pu", "pu ON", "pu 2", "pu yes"}) {
        EXPECT_FALSE(run(line)) << line;
        EXPECT_EQ(out, failure("\n[ERROR]: (PU_function) Bad parameters !", "pu")) << line;
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
    EXPECT_EQ(out, failure("\n[ERROR]: (PU_function) Unable to power Processing Unit off !", "pu"));
}

// Supervisor mode and its refusal are checked against the simulator (terminal_e2e).
TEST_F(ControlTest, UserModeRefused) {
    EXPECT_FALSE(run("user"));
    EXPECT_EQ(out, failure("\n[ERROR]: (USER_function) Unable to put VORTAN into USER mode !\nMaybe the "
                           "system is not idle (busy/sleeping/ongoing acquisition ?) !",
                           "user"));
}

// reboot and a successful rtcsync are checked, wire lines included, against the simulator
// (terminal_e2e).
TEST_F(ControlTest, RtcsyncFailures) {
    shell->context().setClock([] { return kClock; });
    acceptSupervisor();
    answers["$RTCread;"] = "$RTCread:20240105,070801;\n";
    answers["$RTCset:"] = "$RTCset:ERROR;\n";
    EXPECT_FALSE(run("rtcsync"));
    // A refused set does not read the time again.
    EXPECT_EQ(script->lines, (std::vector<std::string>{"$SU;", "$RTCread;", "$RTCset:20240105,070809;"}));
    ASSERT_EQ(out.size(), 4u); // the two times shown, as when the set succeeds
    EXPECT_EQ(tail(2), failure("\n[ERROR]: (rtcsync_function) VORTAN answered to '$RTCset' command with an "
                               "error message !",
                               "rtcsync"));

    // An answer without the "$RTCread:" prefix is shown as it came.
    answers["$RTCread;"] = "$error:UNKNOWN;\n";
    EXPECT_FALSE(run("rtcsync"));
    EXPECT_EQ(script->lines, (std::vector<std::string>{"$SU;", "$RTCread;"}));
    EXPECT_EQ(out, failure("[Raw]$error:UNKNOWN;", "rtcsync"));

    answers.erase("$RTCread;");
    EXPECT_FALSE(run("rtcsync"));
    EXPECT_EQ(out, failure("\n[ERROR]: (rtcsync_function) VORTAN did not answer to '$RTCread' command !",
                           "rtcsync"));
}

} // namespace

// hwconf, acqconf and timetable on a scripted instrument: option checks, files, exchanges.
#include "ShellFixture.h"

#include <QDir>
#include <QFile>

#include <algorithm>

namespace {

using ConfigTest = ShellFixture;

// The upper bound of <conf_ID> is checked through `kelvo terminal` (cli_terminal).
TEST_F(ConfigTest, BadOptionsPrintTheirErrorAndSendNothing) {
    const std::pair<const char*, const char*> cases[] = {
        {"hwconf", "\n[ERROR]: (hwconf_function) Invalid option , or not enough parameters !"},
        {"hwconf store", "\n[ERROR]: (hwconf_function) Invalid option store, or not enough parameters !"},
        {"hwconf LOAD", "\n[ERROR]: (hwconf_function) Invalid option LOAD, or not enough parameters !"},
        {"acqconf load", "\n[ERROR]: (acqconf_function) Invalid option load, or not enough parameters !"},
        {"acqconf store 3", "\n[ERROR]: (acqconf_function) Invalid option store, or not enough parameters !"},
        {"acqconf erase 3", "\n[ERROR]: (acqconf_function) Invalid option erase, or not enough parameters !"},
        {"acqconf load -1",
         "\n[ERROR]: (acqconf_function) Out of range <conf_ID> value (-1). Must be between 0 "
         "and 9 !"},
        {"acqconf load 3x", "\n[ERROR]: (acqconf_function) Invalid option 3x, or not enough parameters !"},
        {"timetable store",
         "\n[ERROR]: (timetable_function) Invalid option store, or not enough parameters !"},
    };
    acceptSupervisor();
    for (const auto& [line, error] : cases) {
        EXPECT_FALSE(run(line)) << line;
        const std::string name = std::string(line).substr(0, std::string(line).find(' '));
        EXPECT_EQ(out, failure(error, name)) << line;
    }
    EXPECT_TRUE(script->written.empty());
}

// Templates written under their default names are checked against the simulator (terminal_e2e)
// and through `kelvo terminal` (cli_terminal); a given name shows here by the file it cannot replace.
TEST_F(ConfigTest, TemplateThatCannotBeWritten) {
    // A folder where the file should go.
    ASSERT_TRUE(QDir().mkpath(QString::fromStdString(configurator("taken.txt"))));
    const std::pair<std::string, std::string> cases[] = {
        {"hwconf template taken.txt", "\n[HWCONF]: Unable to create template file !"},
        {"acqconf template taken.txt", "\n[ACQCONF]: Unable to create template file !"},
        {"timetable template taken.txt",
         "\n[TIMETABLE]: Unable to create template file " + configurator("taken.txt") + " !"},
    };
    for (const auto& [line, text] : cases) {
        EXPECT_FALSE(run(line));
        EXPECT_EQ(tail(2), failure(text, line.substr(0, line.find(' ')))) << line;
    }
}

TEST_F(ConfigTest, ParameterFileWithBadValueStopsBeforeSending) {
    acceptSupervisor();
    kelvotest::write_file(QString::fromStdString(configurator("bad.txt")), "Acquisition_mode = 7\n");
    EXPECT_FALSE(run("hwconf store bad.txt"));
    EXPECT_EQ(out.front(), "\n[HWCONF]: ");
    EXPECT_EQ(tail(2), failure("\tError when processing parameters file. Abort !", "hwconf"));

    EXPECT_FALSE(run("acqconf store 2 missing.txt"));
    EXPECT_EQ(tail(2), failure("\tError when processing parameters file. Abort !", "acqconf"));
    EXPECT_TRUE(script->written.empty());
}

// A successful store is checked against the simulator (terminal_e2e).
TEST_F(ConfigTest, HardwareStoreSendsTheFileAndReportsARefusal) {
    acceptSupervisor();
    answers["$HWCONFset:"] = "$HWCONFset:ERROR;\n";
    kelvotest::write_file(QString::fromStdString(configurator("hw.txt")),
                          "Camera_ref = K6LP-0042 / our camera\nAcquisition_mode = 2\n");
    EXPECT_FALSE(run("hwconf store hw.txt"));
    ASSERT_EQ(script->lines.size(), 2u);
    EXPECT_EQ(script->lines[0], "$SU;");
    EXPECT_TRUE(script->lines[1].starts_with("$HWCONFset:K6LP-0042,2,UNDEFINED,0,UNDEFINED,0,150,250,"))
        << script->lines[1];
    EXPECT_TRUE(script->lines[1].ends_with(";"));
    EXPECT_EQ(std::count(out.begin(), out.end(),
                         "\n[HWCONF]: Store these parameters into VORTAN ? (type yes to accept): "),
              1);
    EXPECT_EQ(std::count(out.begin(), out.end(), "Hardware Configuration loaded from hw.txt :\n"), 1);
    EXPECT_EQ(tail(2), failure("\t\tUnable to store parameters !", "hwconf"));
}

// Silence to "hwconf load" is checked in the terminal window against the simulator (terminal_gui).
TEST_F(ConfigTest, LoadOfAnInvalidAnswerSavesNothing) {
    struct Case {
        const char* line;
        const char* request;
        const char* reply;
        std::string message;
    };
    const Case cases[] = {
        {"hwconf load saved.txt", "$HWCONFread;", "$error:UNKNOWN;\n",
         "\tError when processing VORTAN response. Maybe it does not have a valid hardware configuration. "
         "Abort !"},
        {"acqconf load 3 saved.txt", "$ACQCONFread:3;", "$ACQCONFread:3,<invalid>;\n",
         "\n[ERROR]: (acqconf_function) Error when processing VORTAN response. Maybe slot #3 does not have a "
         "valid configuration. Abort !"},
        {"timetable load saved.txt", "$TIMEPROGread:0;", "$TIMEPROGread:0,<invalid>;\n",
         "\n[TIMETABLE]: Error when loading VORTAN Timetable. Maybe its Timetable is empty. Abort !"},
    };
    acceptSupervisor();
    for (const Case& c : cases) {
        answers[c.request] = c.reply;
        const std::string line = c.line;
        EXPECT_FALSE(run(line)) << line;
        EXPECT_EQ(script->lines, (std::vector<std::string>{"$SU;", c.request})) << line;
        EXPECT_EQ(tail(2), failure(c.message, line.substr(0, line.find(' ')))) << line;
        EXPECT_FALSE(QFile::exists(QString::fromStdString(configurator("saved.txt")))) << line;
    }
}

std::string timetable_lines(int count) {
    std::string text = "// a test timetable\n";
    for (int i = 0; i < count; ++i) {
        text += "  2024     1     " + std::to_string(i % 28 + 1) + "     *    10     0   ACQ_TIME_A   60\n";
    }
    return text;
}

// The terminal checks and shows a timetable file but never programs it.
TEST_F(ConfigTest, TimetableStoreChecksShowsAndDiscards) {
    acceptSupervisor();
    struct Case {
        const char* file;
        std::string content;
        std::vector<std::string> last;
    };
    const Case cases[] = {
        {"t128.txt",
         timetable_lines(128),
         {"\n[TIMETABLE]: Program this Timetable into VORTAN ? (type yes to accept): ",
          "\t\tTimetable discarded."}},
        {"t129.txt", timetable_lines(129),
         failure(
             "\n[TIMETABLE]: Too much time programs in Timetable file (129 for a maximum of 128). Abort !",
             "timetable")},
        {"t0.txt", "// nothing here\n\n",
         failure("\n[TIMETABLE]: Timetable file does not contain a valid Timetable (empty table). Abort !",
                 "timetable")},
        {"none.txt", "",
         failure("\n[TIMETABLE]: Error when processing Timetable file. Abort !", "timetable")},
    };
    for (const Case& c : cases) {
        if (!c.content.empty()) {
            kelvotest::write_file(QString::fromStdString(configurator(c.file)),
                                  QByteArray::fromStdString(c.content));
        }
        const bool ok = c.last.back() == "\t\tTimetable discarded.";
        EXPECT_EQ(run(std::string("timetable store ") + c.file), ok) << c.file;
        EXPECT_EQ(tail(2), c.last) << c.file;
        const std::string shown = "\n[TIMETABLE]: Timetable loaded from " + configurator(c.file) + " :\n";
        EXPECT_EQ(std::count(out.begin(), out.end(), shown), ok ? 1 : 0) << c.file;
    }
    EXPECT_TRUE(script->written.empty());
}

} // namespace

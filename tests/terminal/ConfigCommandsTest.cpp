// hwconf, acqconf and timetable on a scripted instrument: option checks, files, exchanges.
#include "ShellFixture.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cstdio>

namespace {

using ConfigTest = ShellFixture;

const char* const kSuLines =
    "\n[ERROR]: (%s) Unable to put VORTAN into SU mode !\nMaybe the system is not idle "
    "(busy/sleeping/ongoing acquisition ?) !";

TEST_F(ConfigTest, BadOptionsPrintTheirErrorAndSendNothing) {
    struct Case {
        const char* line;
        const char* error;
    };
    const Case cases[] = {
        {"hwconf", "\n[ERROR]: (hwconf_function) Invalid option , or not enough parameters !"},
        {"hwconf store", "\n[ERROR]: (hwconf_function) Invalid option store, or not enough parameters !"},
        {"hwconf save x.txt", "\n[ERROR]: (hwconf_function) Invalid option save, or not enough parameters !"},
        {"hwconf LOAD", "\n[ERROR]: (hwconf_function) Invalid option LOAD, or not enough parameters !"},
        {"acqconf load", "\n[ERROR]: (acqconf_function) Invalid option load, or not enough parameters !"},
        {"acqconf store 3", "\n[ERROR]: (acqconf_function) Invalid option store, or not enough parameters !"},
        {"acqconf erase 3", "\n[ERROR]: (acqconf_function) Invalid option erase, or not enough parameters !"},
        {"acqconf load 10",
         "\n[ERROR]: (acqconf_function) Out of range <conf_ID> value (10). Must be between 0 "
         "and 9 !"},
        {"acqconf load -1",
         "\n[ERROR]: (acqconf_function) Out of range <conf_ID> value (-1). Must be between 0 "
         "and 9 !"},
        {"acqconf store 12 a.txt", "\n[ERROR]: (acqconf_function) Out of range <conf_ID> value (12). Must be "
                                   "between 0 and 9 !"},
        {"acqconf load abc", "\n[ERROR]: (acqconf_function) Invalid option abc, or not enough parameters !"},
        {"acqconf load 3x", "\n[ERROR]: (acqconf_function) Invalid option 3x, or not enough parameters !"},
        {"timetable store",
         "\n[ERROR]: (timetable_function) Invalid option store, or not enough parameters !"},
        {"timetable", "\n[ERROR]: (timetable_function) Invalid option , or not enough parameters !"},
    };
    acceptSupervisor();
    for (const Case& c : cases) {
        out.clear();
        EXPECT_FALSE(run(c.line)) << c.line;
        const std::string name = std::string(c.line).substr(0, std::string(c.line).find(' '));
        const std::vector<std::string> expected{c.error,
                                                "\n[VortOS]: Command " + name + " returned an error !"};
        EXPECT_EQ(out, expected) << c.line;
    }
    EXPECT_TRUE(script->written.empty());
}

TEST_F(ConfigTest, TemplatesAreWrittenIntoTheConfiguratorFolder) {
    struct Case {
        const char* line;
        std::string file;
        const char* tag;
    };
    const Case cases[] = {
        {"hwconf template", "HWtemplate.txt", "\n[HWCONF]: template file \""},
        {"hwconf template hw_a.txt", "hw_a.txt", "\n[HWCONF]: template file \""},
        {"acqconf template", "ACQtemplate.txt", "\n[ACQCONF]: template file \""},
        {"acqconf template acq_b.txt", "acq_b.txt", "\n[ACQCONF]: template file \""},
        {"timetable template", "Timetable_template.txt", "\n[TIMETABLE]: Timetable template file \""},
        {"timetable template tt.txt", "tt.txt", "\n[TIMETABLE]: Timetable template file \""},
    };
    for (const Case& c : cases) {
        out.clear();
        EXPECT_TRUE(run(c.line)) << c.line;
        const std::string path = configurator(c.file);
        EXPECT_TRUE(QFile::exists(QString::fromStdString(path))) << path;
        ASSERT_FALSE(out.empty());
        EXPECT_EQ(out.back(), c.tag + path + "\" created.") << c.line;
    }
    EXPECT_TRUE(script->written.empty());
}

TEST_F(ConfigTest, TemplateThatCannotBeWritten) {
    // A folder where the file should go.
    ASSERT_TRUE(QDir().mkpath(QString::fromStdString(configurator("taken.txt"))));
    const std::pair<const char*, const char*> cases[] = {
        {"hwconf template taken.txt", "\n[HWCONF]: Unable to create template file !"},
        {"acqconf template taken.txt", "\n[ACQCONF]: Unable to create template file !"},
    };
    for (const auto& [line, text] : cases) {
        out.clear();
        EXPECT_FALSE(run(line));
        ASSERT_GE(out.size(), 2u);
        EXPECT_EQ(out[out.size() - 2], text);
    }
    out.clear();
    EXPECT_FALSE(run("timetable template taken.txt"));
    ASSERT_GE(out.size(), 2u);
    EXPECT_EQ(out[out.size() - 2],
              "\n[TIMETABLE]: Unable to create template file " + configurator("taken.txt") + " !");
}

TEST_F(ConfigTest, HardwareFileWithBadValueStopsBeforeSending) {
    acceptSupervisor();
    kelvotest::write_file(QString::fromStdString(configurator("bad.txt")), "Acquisition_mode = 7\n");
    EXPECT_FALSE(run("hwconf store bad.txt"));
    ASSERT_GE(out.size(), 3u);
    EXPECT_EQ(out.front(), "\n[HWCONF]: ");
    EXPECT_EQ(out[out.size() - 2], "\tError when processing parameters file. Abort !");
    EXPECT_EQ(out.back(), "\n[VortOS]: Command hwconf returned an error !");

    out.clear();
    EXPECT_FALSE(run("acqconf store 2 missing.txt"));
    ASSERT_GE(out.size(), 2u);
    EXPECT_EQ(out[out.size() - 2], "\tError when processing parameters file. Abort !");
    EXPECT_TRUE(script->written.empty());
}

TEST_F(ConfigTest, HardwareStoreSendsTheFileAndJudgesTheAnswer) {
    acceptSupervisor();
    kelvotest::write_file(QString::fromStdString(configurator("hw.txt")),
                          "Camera_ref = K6LP-0042 / our camera\nAcquisition_mode = 2\n");
    const std::pair<const char*, bool> cases[] = {{"$ok;\n", true}, {"$HWCONFset:ERROR;\n", false}};
    for (const auto& [answer, ok] : cases) {
        answers["$HWCONFset:"] = answer;
        script->lines.clear();
        out.clear();
        EXPECT_EQ(run("hwconf store hw.txt"), ok);
        ASSERT_EQ(script->lines.size(), 2u);
        EXPECT_EQ(script->lines[0], "$SU;");
        EXPECT_TRUE(script->lines[1].starts_with("$HWCONFset:K6LP-0042,2,UNDEFINED,0,UNDEFINED,0,150,250,"))
            << script->lines[1];
        EXPECT_TRUE(script->lines[1].ends_with(";"));
        const auto prompt =
            std::find(out.begin(), out.end(),
                      "\n[HWCONF]: Store these parameters into VORTAN ? (type yes to accept): ");
        ASSERT_NE(prompt, out.end());
        EXPECT_EQ(std::count(out.begin(), out.end(), "Hardware Configuration loaded from hw.txt :\n"), 1);
        if (ok) {
            EXPECT_EQ(out.back(), "\t\tParameters successfully stored.");
        } else {
            EXPECT_EQ(out[out.size() - 2], "\t\tUnable to store parameters !");
        }
    }
}

TEST_F(ConfigTest, LoadWithoutAValidAnswer) {
    acceptSupervisor();
    const char* const replies[] = {"$error:UNKNOWN;\n", nullptr /* silence */};
    for (const char* reply : replies) {
        if (reply != nullptr) {
            answers["$HWCONFread;"] = reply;
        } else {
            answers.erase("$HWCONFread;");
        }
        out.clear();
        script->lines.clear();
        EXPECT_FALSE(run("hwconf load saved.txt"));
        EXPECT_EQ(script->lines, (std::vector<std::string>{"$SU;", "$HWCONFread;"}));
        ASSERT_GE(out.size(), 3u);
        EXPECT_EQ(out[out.size() - 2],
                  "\tError when processing VORTAN response. Maybe it does not have a valid "
                  "hardware configuration. Abort !");
        EXPECT_FALSE(QFile::exists(QString::fromStdString(configurator("saved.txt"))));
    }
}

TEST_F(ConfigTest, AcquisitionLoadOfAnEmptySlot) {
    acceptSupervisor();
    answers["$ACQCONFread:3;"] = "$ACQCONFread:3,<invalid>;\n";
    EXPECT_FALSE(run("acqconf load 3"));
    EXPECT_EQ(script->lines, (std::vector<std::string>{"$SU;", "$ACQCONFread:3;"}));
    ASSERT_GE(out.size(), 2u);
    EXPECT_EQ(out[out.size() - 2],
              "\n[ERROR]: (acqconf_function) Error when processing VORTAN response. Maybe "
              "slot #3 does not have a valid configuration. Abort !");
}

TEST_F(ConfigTest, RefusedSupervisorModeStopsTheLoad) {
    // Nobody answers "$SU;": the switch resends ten times, then the command fails.
    EXPECT_FALSE(run("acqconf load 0"));
    ASSERT_GE(out.size(), 2u);
    char expected[512];
    std::snprintf(expected, sizeof expected, kSuLines, "acqconf_function");
    EXPECT_EQ(out[out.size() - 2], expected);
    for (const std::string& line : script->lines) {
        EXPECT_EQ(line, "$SU;");
    }
}

std::string timetable_lines(int count) {
    std::string text = "// a test timetable\n";
    for (int i = 0; i < count; ++i) {
        text += "  2024     1     " + std::to_string(i % 28 + 1) + "     *    10     0   ACQ_TIME_A   60\n";
    }
    return text;
}

TEST_F(ConfigTest, TimetableStoreChecksShowsAndDiscards) {
    acceptSupervisor();
    struct Case {
        const char* file;
        std::string content;
        bool ok;
        std::string last;
    };
    const Case cases[] = {
        {"t128.txt", timetable_lines(128), true, "\t\tTimetable discarded."},
        {"t129.txt", timetable_lines(129), false,
         "\n[TIMETABLE]: Too much time programs in Timetable file (129 for a maximum of 128). Abort !"},
        {"t0.txt", "// nothing here\n\n", false,
         "\n[TIMETABLE]: Timetable file does not contain a valid Timetable (empty table). Abort !"},
    };
    for (const Case& c : cases) {
        kelvotest::write_file(QString::fromStdString(configurator(c.file)),
                              QByteArray::fromStdString(c.content));
        out.clear();
        EXPECT_EQ(run(std::string("timetable store ") + c.file), c.ok) << c.file;
        ASSERT_FALSE(out.empty());
        EXPECT_EQ(c.ok ? out.back() : out[out.size() - 2], c.last) << c.file;
        const std::string shown = "\n[TIMETABLE]: Timetable loaded from " + configurator(c.file) + " :\n";
        EXPECT_EQ(std::count(out.begin(), out.end(), shown), c.ok ? 1 : 0) << c.file;
    }
    out.clear();
    EXPECT_FALSE(run("timetable store none.txt"));
    ASSERT_GE(out.size(), 2u);
    EXPECT_EQ(out[out.size() - 2], "\n[TIMETABLE]: Error when processing Timetable file. Abort !");
    // The terminal never programs a timetable.
    EXPECT_TRUE(script->written.empty());
}

TEST_F(ConfigTest, TimetableStorePromptBeforeDiscarding) {
    kelvotest::write_file(QString::fromStdString(configurator("t2.txt")),
                          QByteArray::fromStdString(timetable_lines(2)));
    EXPECT_TRUE(run("timetable store t2.txt"));
    ASSERT_GE(out.size(), 2u);
    EXPECT_EQ(out[out.size() - 2],
              "\n[TIMETABLE]: Program this Timetable into VORTAN ? (type yes to accept): ");
    EXPECT_EQ(out.back(), "\t\tTimetable discarded.");
}

TEST_F(ConfigTest, EmptyInstrumentTimetable) {
    acceptSupervisor();
    answers["$TIMEPROGread:0;"] = "$TIMEPROGread:0,<invalid>;\n";
    EXPECT_FALSE(run("timetable load"));
    EXPECT_EQ(script->lines, (std::vector<std::string>{"$SU;", "$TIMEPROGread:0;"}));
    ASSERT_GE(out.size(), 2u);
    EXPECT_EQ(out[out.size() - 2],
              "\n[TIMETABLE]: Error when loading VORTAN Timetable. Maybe its Timetable is empty. Abort !");
}

} // namespace

#include "params/Timetable.h"
#include "ParamsTestSupport.h"

#include <gtest/gtest.h>

using kelvotest::read_file;
using kelvotest::write_file;

namespace {

// Programs are written {year, month, day, weekday, hour, half hour, duration, configuration}, with
// hour and half hour stored one up. July 2019, every day at 20:00, July_CONF for two hours:
const TimeProgram kJuly{2019, 7, 0, 0, 21, 1, 120, "July_CONF"};
// The 15th of every month at 6:30, NIGHT for half an hour.
const TimeProgram kNight{0, 0, 15, 0, 7, 2, 30, "NIGHT"};

} // namespace

TEST(TimeProgramText, FileAndWireForms) {
    EXPECT_EQ(time_program_to_text("", kJuly),
              " 2019       7       *       *      20       0          July_CONF     120");
    const TimeProgram anyTime{0, 0, 15, 0, 0, 0, 0, "A"};
    EXPECT_EQ(time_program_to_text("", anyTime),
              "    *       *      15       *       *       *                  A       0");
    const TimeProgram midnight{2100, 12, 31, 0, 1, 2, 65535, "ABCDEFGHIJKLMNO"};
    EXPECT_EQ(time_program_to_text("", midnight),
              " 2100      12      31       *       0       1    ABCDEFGHIJKLMNO   65535");
}

TEST(TimeProgramText, ReadingTheFileAndAnswerForms) {
    struct Case {
        const char* text;
        bool valid;
        TimeProgram expected;
        const char* prefix = ""; // the instrument's answer form is read after its prefix
    };
    const TimeProgram none;
    const char* kRead0 = "$TIMEPROGread:0,";
    const Case cases[] = {
        {"2019 7 * * 20 0 July_CONF 120", true, kJuly},
        {"  2019\t7   *  *  20  0   July_CONF   120  ", true, kJuly},
        {"2019 7 * * 24 0 July_CONF 120", false, none},
        {"2019 13 * * 20 0 July_CONF 120", false, none},
        {"1999 7 * * 20 0 July_CONF 120", false, none},
        {"2101 7 * * 20 0 July_CONF 120", false, none},
        {"2019 7 32 * 20 0 July_CONF 120", false, none},
        {"2019 7 * * 20 2 July_CONF 120", false, none},
        {"* * 15 9 6 1 NIGHT 30", true, kNight},
        {"* * * 9 6 1 NIGHT 30", false, none},
        {"* * * 0 6 1 NIGHT 30", false, none},
        {"* * * 7 6 1 NIGHT 30", true, {0, 0, 0, 7, 7, 2, 30, "NIGHT"}},
        {"* * * * * * ABCDEFGHIJKLMNO 5", true, {0, 0, 0, 0, 0, 0, 5, "ABCDEFGHIJKLMNO"}},
        {"* * * * * * ABCDEFGHIJKLMNOP 5", false, none},
        {"* * * * * * A 65535", true, {0, 0, 0, 0, 0, 0, 65535, "A"}},
        {"* * * * * * A 65536", false, none},
        {"* * * * * * A 99999999999999999999", false, none},
        {"* * * * * * A", false, none},
        {"* * * * * * A x", false, none},
        {"", false, none},
        // text after the digits is ignored; no digits reads as 0
        {"2019x 7 * * 20h 0 July_CONF 120min", true, kJuly},
        {"* * * * x * A 1", true, {0, 0, 0, 0, 1, 0, 1, "A"}},
        // a word longer than 7 characters runs into the next field
        {"20190000 7 * * 20 0 July_CONF 120", false, none},
        // the instrument's answer to "$TIMEPROGread:0;"
        {"$TIMEPROGread:0,2019,7,*,*,20,0,July_CONF,120;\n", true, kJuly, kRead0},
        {"$TIMEPROGread:0,2019,7,*,*,20,0,July_CONF, 120;", true, kJuly, kRead0},
        {"$TIMEPROGread:1,2019,7,*,*,20,0,July_CONF,120;", false, none, kRead0},
        {" $TIMEPROGread:0,2019,7,*,*,20,0,July_CONF,120;", false, none, kRead0},
        {"$TIMEPROGread:0,2019,7,*,*,20,0,July_CONF;", false, none, kRead0},
        {"$TIMEPROGread:0,2019,7,,*,20,0,July_CONF,120;", false, none, kRead0},
        {"$TIMEPROGread:0,20190000,7,*,*,20,0,July_CONF,120;", false, none, kRead0},
    };
    for (const Case& c : cases) {
        TimeProgram p{2000, 1, 1, 0, 1, 1, 9, "UNTOUCHED"};
        const TimeProgram before = p;
        EXPECT_EQ(time_program_from_text(c.text, c.prefix, p), c.valid) << c.text;
        EXPECT_EQ(p, c.valid ? c.expected : before) << c.text;
    }
}

TEST(TimeProgramText, NulEndsTheText) {
    using namespace std::string_literals;
    TimeProgram p;
    EXPECT_TRUE(time_program_from_text("2019 7 * * 20 0 July_CONF 120\0 garbage"s, "", p));
    EXPECT_EQ(p, kJuly);
    EXPECT_FALSE(time_program_from_text("2019 7 * * 20 0 July\0_CONF 120"s, "", p));
    EXPECT_FALSE(
        time_program_from_text("$TIMEPROGread:0,2019,7,*,*,20,0,July\0CONF,120;"s, "$TIMEPROGread:0,", p));

    const QString path = temp_file("nul.txt");
    ASSERT_TRUE(write_file(path, QByteArray("2019 7 * * 20 0 July_CONF 120\0 X\n* * * * 1 0 A\0B 1\n", 51)));
    Timetable tt;
    PrintCapture out;
    EXPECT_EQ(get_timetable_from_file(path, tt), 1);
    EXPECT_EQ(tt, Timetable{kJuly});
    EXPECT_EQ(out.text,
              "\n[WARNING]: (get_timetable_from_file) Invalid time program format or range : * * * * 1 0 A "
              "- Skipped !");
}

// Reading a written timetable back is checked end to end by the terminal's "timetable load".
TEST(TimetableFile, WrittenForm) {
    const QString path = temp_file("tt.txt");
    const Timetable tt = {kJuly, kNight};
    ASSERT_TRUE(write_timetable_to_file(path, tt, "Timetable loaded from VORTAN"));
    EXPECT_EQ(read_file(path).toStdString(),
              "// Timetable loaded from VORTAN :\n\n"
              "// YEAR - MONTH -   DAY - WKDAY -  HOUR - +30mi - ACQUISITION_CONF - DURATION\n\n"
              "   2019       7       *       *      20       0          July_CONF     120\n"
              "      *       *      15       *       6       1              NIGHT      30\n");
}

TEST(TimetableFile, ReadingSkipsCommentsAndWarnsOnBadLines) {
    const QString path = temp_file("mixed.txt");
    ASSERT_TRUE(write_file(path, "// header\n"
                                 "\n"
                                 "   \t  \r\n"
                                 "2019 7 * * 20 0 July_CONF 120 // trailing comment\n"
                                 "2019 7 * * 24 0 July_CONF 120\n"
                                 "* * 15 9 6 1 NIGHT 30\r\n"
                                 "/ single slash comment\n"
                                 "* * * 9 6 1 NIGHT 30"));
    Timetable tt;
    PrintCapture out;
    EXPECT_EQ(get_timetable_from_file(path, tt), 2);
    EXPECT_EQ(tt, (Timetable{kJuly, kNight}));
    EXPECT_EQ(out.text, "\n[WARNING]: (get_timetable_from_file) Invalid time program format or range : "
                        "2019 7 * * 24 0 July_CONF 120 - Skipped !|"
                        "\n[WARNING]: (get_timetable_from_file) Invalid time program format or range : "
                        "* * * 9 6 1 NIGHT 30 - Skipped !");
}

TEST(TimetableFile, FailuresAndTheUncheckedLimit) {
    PrintCapture out;
    Timetable tt = {kJuly};
    EXPECT_EQ(get_timetable_from_file("/nonexistent-dir/tt.txt", tt), -1);
    EXPECT_TRUE(tt.empty());
    EXPECT_FALSE(write_timetable_to_file(temp_file("e.txt"), Timetable{}, "T"));
    EXPECT_FALSE(write_timetable_to_file("/nonexistent-dir/tt.txt", Timetable{kJuly}, "T"));
    EXPECT_EQ(out.text, "\n[ERROR]: (get_timetable_from_file) Cannot open file /nonexistent-dir/tt.txt !|"
                        "\n[ERROR]: (write_timetable_to_file) Input Timetable is empty !|"
                        "\n[ERROR]: (write_timetable_to_file) Cannot open file /nonexistent-dir/tt.txt !");

    const QString path = temp_file("many.txt");
    ASSERT_TRUE(write_timetable_to_file(path, Timetable(129, kJuly), "many"));
    EXPECT_EQ(get_timetable_from_file(path, tt), 129);
}

// Its five programs are read back by the terminal's end-to-end timetable test.
TEST(TimetableFile, TemplateIsExact) {
    const QByteArray expected = expected_file("timetable_template.txt");
    ASSERT_FALSE(expected.isEmpty());
    EXPECT_EQ(timetable_template_text(), expected.toStdString());
    const QString path = temp_file(kTimetableTemplateName);
    ASSERT_TRUE(write_timetable_template(path));
    EXPECT_EQ(read_file(path), expected);
}

TEST(TimetableDisplay, HeaderAndRows) {
    const Timetable tt = {kJuly};
    const std::string header =
        " YEAR - MONTH -   DAY - WKDAY -  HOUR - +30mi - ACQUISITION_CONF - DURATION\n\n";
    const std::string row = " 2019       7       *       *      20       0          July_CONF     120";
    EXPECT_EQ(timetable_to_text(tt), header + row + "\n");
    PrintCapture out;
    print_timetable(tt);
    EXPECT_EQ(out.text, header.substr(0, header.size() - 1) + "|" + row);
}

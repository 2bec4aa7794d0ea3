#include "params/Timetable.h"
#include "PrintCapture.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QDir>

#include <stdexcept>

using kelvotest::make_temp_dir;
using kelvotest::read_file;
using kelvotest::write_file;

namespace {

TimeProgram program(quint32 year, quint32 month, quint32 day, quint32 weekday, quint32 hour, quint32 half,
                    const char* conf, quint32 duration) {
    TimeProgram p;
    p.year = year;
    p.month = month;
    p.day = day;
    p.weekday = weekday;
    p.hour = hour;
    p.halfHour = half;
    p.setConfiguration(conf);
    p.duration = duration;
    return p;
}

// July 2019, every day at 20:00, July_CONF for two hours (hour and half hour stored one up).
const TimeProgram kJuly = program(2019, 7, 0, 0, 21, 1, "July_CONF", 120);

QString temp_file(const char* name) {
    return QDir(make_temp_dir("tt")).filePath(QString::fromLatin1(name));
}

} // namespace

TEST(TimeProgramText, FileAndWireForms) {
    EXPECT_EQ(time_program_to_text("", kJuly),
              " 2019       7       *       *      20       0          July_CONF     120");
    EXPECT_EQ(time_program_to_text("$TIMEPROGadd:", kJuly) + ";",
              "$TIMEPROGadd:2019,7,*,*,20,0,July_CONF,120;");
    const TimeProgram anyTime = program(0, 0, 15, 0, 0, 0, "A", 0);
    EXPECT_EQ(time_program_to_text("", anyTime),
              "    *       *      15       *       *       *                  A       0");
    EXPECT_EQ(time_program_to_text("P:", anyTime), "P:*,*,15,*,*,*,A,0");
    const TimeProgram midnight = program(2100, 12, 31, 0, 1, 2, "ABCDEFGHIJKLMNO", 65535);
    EXPECT_EQ(time_program_to_text("", midnight),
              " 2100      12      31       *       0       1    ABCDEFGHIJKLMNO   65535");
}

TEST(TimeProgramText, ReadingTheFileForm) {
    struct Case {
        const char* text;
        bool valid;
        TimeProgram expected;
    };
    const TimeProgram none;
    const Case cases[] = {
        {"2019 7 * * 20 0 July_CONF 120", true, kJuly},
        {"  2019\t7   *  *  20  0   July_CONF   120  ", true, kJuly},
        {"2019 7 * * 24 0 July_CONF 120", false, none},
        {"2019 13 * * 20 0 July_CONF 120", false, none},
        {"1999 7 * * 20 0 July_CONF 120", false, none},
        {"2101 7 * * 20 0 July_CONF 120", false, none},
        {"2019 0 * * 20 0 July_CONF 120", false, none},
        {"2019 7 32 * 20 0 July_CONF 120", false, none},
        {"2019 7 * * -1 0 July_CONF 120", false, none},
        {"2019 7 * * 20 2 July_CONF 120", false, none},
        {"* * 15 9 6 1 NIGHT 30", true, program(0, 0, 15, 0, 7, 2, "NIGHT", 30)},
        {"* * * 9 6 1 NIGHT 30", false, none},
        {"* * * 0 6 1 NIGHT 30", false, none},
        {"* * * 7 6 1 NIGHT 30", true, program(0, 0, 0, 7, 7, 2, "NIGHT", 30)},
        {"* * * * * * ABCDEFGHIJKLMNO 5", true, program(0, 0, 0, 0, 0, 0, "ABCDEFGHIJKLMNO", 5)},
        {"* * * * * * ABCDEFGHIJKLMNOP 5", false, none},
        {"* * * * * * A 65535", true, program(0, 0, 0, 0, 0, 0, "A", 65535)},
        {"* * * * * * A 65536", false, none},
        {"* * * * * * A -1", false, none},
        {"* * * * * * A 0", true, program(0, 0, 0, 0, 0, 0, "A", 0)},
        {"* * * * * * A 99999999999999999999", false, none},
        {"* * * * * * A", false, none},
        {"* * * * * * A x", false, none},
        {"", false, none},
        // text after the digits is ignored; no digits reads as 0
        {"2019x 7 * * 20h 0 July_CONF 120min", true, kJuly},
        {"* * * * x * A 1", true, program(0, 0, 0, 0, 1, 0, "A", 1)},
        // a word longer than 7 characters runs into the next field
        {"20190000 7 * * 20 0 July_CONF 120", false, none},
    };
    for (const Case& c : cases) {
        TimeProgram p = program(2000, 1, 1, 0, 1, 1, "UNTOUCHED", 9);
        const TimeProgram before = p;
        EXPECT_EQ(time_program_from_text(c.text, "", p), c.valid) << c.text;
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
    ASSERT_EQ(out.lines.size(), 1u);
    EXPECT_EQ(out.lines[0],
              "\n[WARNING]: (get_timetable_from_file) Invalid time program format or range : * * * * 1 0 A "
              "- Skipped !");
}

TEST(TimeProgramText, ReadingTheWireForm) {
    struct Case {
        const char* text;
        const char* prefix;
        bool valid;
    };
    const Case cases[] = {
        {"$TIMEPROGread:0,2019,7,*,*,20,0,July_CONF,120;\n", "$TIMEPROGread:0,", true},
        {"$TIMEPROGread:0,2019,7,*,*,20,0,July_CONF,120", "$TIMEPROGread:0,", true},
        {"$TIMEPROGread:1,2019,7,*,*,20,0,July_CONF,120;", "$TIMEPROGread:0,", false},
        {" $TIMEPROGread:0,2019,7,*,*,20,0,July_CONF,120;", "$TIMEPROGread:0,", false},
        {"$TIMEPROGread:0,2019,7,*,*,20,0,July_CONF;", "$TIMEPROGread:0,", false},
        {"$TIMEPROGread:0,2019,7,,*,20,0,July_CONF,120;", "$TIMEPROGread:0,", false},
        {"$TIMEPROGread:0,20190000,7,*,*,20,0,July_CONF,120;", "$TIMEPROGread:0,", false},
        {"$TIMEPROGread:0,2019,7,*,*,20,0,July_CONF, 120;", "$TIMEPROGread:0,", true},
        {"$error;\n", "$TIMEPROGread:0,", false},
    };
    for (const Case& c : cases) {
        TimeProgram p;
        EXPECT_EQ(time_program_from_text(c.text, c.prefix, p), c.valid) << c.text;
        if (c.valid) {
            EXPECT_EQ(p, kJuly) << c.text;
        }
    }
}

TEST(TimetableFile, WrittenFormAndReadBack) {
    const QString path = temp_file("tt.txt");
    const Timetable tt = {kJuly, program(0, 0, 15, 0, 7, 2, "NIGHT", 30)};
    ASSERT_TRUE(write_timetable_to_file(path, tt, "Timetable loaded from VORTAN"));
    EXPECT_EQ(read_file(path).toStdString(),
              "// Timetable loaded from VORTAN :\n\n"
              "// YEAR - MONTH -   DAY - WKDAY -  HOUR - +30mi - ACQUISITION_CONF - DURATION\n\n"
              "   2019       7       *       *      20       0          July_CONF     120\n"
              "      *       *      15       *       6       1              NIGHT      30\n");
    Timetable back = {kJuly, kJuly, kJuly};
    PrintCapture out;
    EXPECT_EQ(get_timetable_from_file(path, back), 2);
    EXPECT_EQ(back, tt);
    EXPECT_TRUE(out.lines.empty()) << out.all();
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
    EXPECT_EQ(tt, (Timetable{kJuly, program(0, 0, 15, 0, 7, 2, "NIGHT", 30)}));
    const std::vector<std::string> expected = {
        "\n[WARNING]: (get_timetable_from_file) Invalid time program format or range : 2019 7 * * 24 0 "
        "July_CONF 120 "
        "- Skipped !",
        "\n[WARNING]: (get_timetable_from_file) Invalid time program format or range : * * * 9 6 1 NIGHT 30 "
        "- "
        "Skipped !",
    };
    EXPECT_EQ(out.lines, expected);
}

TEST(TimetableFile, FailuresAndTheUncheckedLimit) {
    PrintCapture out;
    Timetable tt = {kJuly};
    EXPECT_EQ(get_timetable_from_file("/nonexistent-dir/tt.txt", tt), -1);
    EXPECT_TRUE(tt.empty());
    EXPECT_FALSE(write_timetable_to_file(temp_file("e.txt"), Timetable{}, "T"));
    EXPECT_FALSE(write_timetable_to_file("/nonexistent-dir/tt.txt", Timetable{kJuly}, "T"));
    const std::vector<std::string> expected = {
        "\n[ERROR]: (get_timetable_from_file) Cannot open file /nonexistent-dir/tt.txt !",
        "\n[ERROR]: (write_timetable_to_file) Input Timetable is empty !",
        "\n[ERROR]: (write_timetable_to_file) Cannot open file /nonexistent-dir/tt.txt !",
    };
    EXPECT_EQ(out.lines, expected);

    const QString path = temp_file("many.txt");
    ASSERT_TRUE(write_timetable_to_file(path, Timetable(129, kJuly), "many"));
    EXPECT_EQ(get_timetable_from_file(path, tt), 129);
}

TEST(TimetableFile, TemplateIsExactAndReadsBackFivePrograms) {
    const QByteArray expected = read_file(QStringLiteral(PARAMS_TEST_DATA "/timetable_template.txt"));
    ASSERT_FALSE(expected.isEmpty());
    EXPECT_EQ(timetable_template_text(), expected.toStdString());
    const QString path = temp_file(kTimetableTemplateName);
    ASSERT_TRUE(write_timetable_template(path));
    EXPECT_EQ(read_file(path), expected);
    Timetable tt;
    PrintCapture out;
    ASSERT_EQ(get_timetable_from_file(path, tt), 5);
    EXPECT_EQ(tt[0], kJuly);
    EXPECT_EQ(tt[2], program(0, 0, 0, 5, 7, 2, "MORNING", 60));
    EXPECT_EQ(tt[4], program(0, 0, 0, 0, 15, 0, "Afternoon_ACQ", 10));
}

TEST(TimetableDisplay, HeaderAndRows) {
    const Timetable tt = {kJuly};
    const std::string header =
        " YEAR - MONTH -   DAY - WKDAY -  HOUR - +30mi - ACQUISITION_CONF - DURATION\n\n";
    const std::string row = " 2019       7       *       *      20       0          July_CONF     120";
    EXPECT_EQ(timetable_to_text(tt), header + row + "\n");
    PrintCapture out;
    print_timetable(tt);
    EXPECT_EQ(out.lines, (std::vector<std::string>{header.substr(0, header.size() - 1), row}));
}

TEST(TimetableWire, ProgrammingSendsInitThenEachProgram) {
    struct Case {
        int refuseAt; // -1: every answer is $ok
        const char* error;
        int sent;
    };
    const Case cases[] = {
        {-1, "", 3},
        {0, "Unable to initiate Timetable programming. Failed !", 1},
        {2, "An error occurred while programming the Timetable. Failed !", 3},
        {1, "An error occurred while programming the Timetable. Failed !", 2},
    };
    const Timetable tt = {kJuly, program(0, 0, 15, 0, 7, 2, "NIGHT", 30)};
    for (const Case& c : cases) {
        std::vector<std::string> sent;
        auto exchange = [&](const std::string& line) {
            sent.push_back(line);
            return static_cast<int>(sent.size()) - 1 == c.refuseAt ? std::string("$ok;")
                                                                   : std::string("$ok;\n");
        };
        std::string error;
        try {
            program_timetable(tt, exchange);
        } catch (const std::runtime_error& e) {
            error = e.what();
        }
        EXPECT_EQ(error, c.error) << c.refuseAt;
        const std::vector<std::string> all = {"$TIMEPROGinit;", "$TIMEPROGadd:2019,7,*,*,20,0,July_CONF,120;",
                                              "$TIMEPROGadd:*,*,15,*,6,1,NIGHT,30;"};
        EXPECT_EQ(sent, std::vector<std::string>(all.begin(), all.begin() + c.sent)) << c.refuseAt;
    }
}

TEST(TimetableWire, ReadingStopsAtTheFirstAnswerWithoutProgram) {
    std::vector<std::string> sent;
    auto exchange = [&](const std::string& line) -> std::string {
        sent.push_back(line);
        if (line == "$TIMEPROGread:0;") {
            return "$TIMEPROGread:0,2019,7,*,*,20,0,July_CONF,120;\n";
        }
        if (line == "$TIMEPROGread:1;") {
            return "$TIMEPROGread:1,*,*,15,3,6,1,NIGHT,30;\n";
        }
        return "$TIMEPROGread:2,empty;\n";
    };
    Timetable tt;
    EXPECT_EQ(read_timetable(tt, exchange), 2);
    EXPECT_EQ(tt, (Timetable{kJuly, program(0, 0, 15, 0, 7, 2, "NIGHT", 30)}));
    EXPECT_EQ(sent, (std::vector<std::string>{"$TIMEPROGread:0;", "$TIMEPROGread:1;", "$TIMEPROGread:2;"}));
}

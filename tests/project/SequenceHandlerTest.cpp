#include "project/SequenceHandler.h"
#include "params/ParamTable.h"
#include "support/LogCapture.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>

#include <random>

using kelvotest::LogCapture;
using kelvotest::write_file;

namespace {

QString project_with_data(const QByteArray& data, const QString& seq = QStringLiteral("seq1")) {
    const QString project =
        kelvotest::make_temp_dir(QStringLiteral("seq")) + QStringLiteral("/kelvo6_sn1_2020_x");
    EXPECT_TRUE(write_file(project + "/raw/" + seq + "/" + seq + "_data.txt", data));
    return project;
}

// Every field of every row, separated by "|"; numbers in their shortest exact decimal form.
QStringList rows_of(const SequenceHandler& s) {
    QStringList out;
    for (const SequenceHandler::stDataRaw& r : s.Rows()) {
        out << QStringLiteral("%1|%2|%3|%4|%5|%6|%7|%8")
                   .arg(QString::fromLatin1(r.dateTime), QString::number(r.pressure, 'g', 17),
                        QString::number(r.value2, 'g', 17), r.flag ? QString(QChar(r.flag)) : QString(),
                        QString(QChar(r.kind)), QString::number(r.count1), QString::number(r.count2),
                        QString::fromLatin1(r.payload));
    }
    return out;
}

const QByteArray kDataFile = "HW_CONF,000111LP,0,first\n"
                             "20191231-235959,10,1,1:30,2,0,0;\n"
                             "20200101-000000,12.5,3.1,1:12,3,4,5;20,1,2,3;\n"
                             "20200101-000001,abc,3.1,0:OK\n"
                             "a,b,c,d\n"
                             "   20200101-000002,13.25,7,1:12,9,1,1;21,4,0,0;   \n"
                             "\n"
                             "HW_CONF,000120LP,1,second\n"
                             "20200101-000003,,-1.5,1:E-something\n"
                             "20200101-000000,14,0,2 OOPS\n"
                             "ACQ_CONF,acq1,1,2,3\n"
                             "20200101-000004,15.5x,1,1:5;7,1,2,3;\n"
                             "20200101-000005,16,1,1:12,3,4;20,1,2,3;\n"
                             "20200101-000006,17,1,1:;20,5,2,3;\n"
                             "short\n"
                             "20200101-000007,1e50,2,1\n"
                             "20200101-000008,+18,2,\n";

// Values are read as single-precision floats: 3.1 is the float nearest to it.
const QStringList kRows = {
    "20191231-235959|10|1|1|O|0|0|30,2,0,0;",
    "20200101-000000|12.5|3.0999999046325684|1|O|3|1|12,3,4,5;20,1,2,3;",
    "20200101-000001|nan|3.0999999046325684|0|E|0|0|OK",
    "20200101-000002|13.25|7|1|O|9|0|12,9,1,1;21,4,0,0;",
    "20200101-000003|nan|-1.5|1|Y|0|0|E-something",
    "20200101-000000|14|0|2|E|0|0|OOPS",
    "20200101-000004|nan|1|1|O|0|0|5;7,1,2,3;",
    "20200101-000005|16|1|1|O|0|1|12,3,4;20,1,2,3;",
    "20200101-000006|17|1|1|O|0|0|;20,5,2,3;",
    "20200101-000007|nan|2|1|O|0|0|",
    "20200101-000008|18|2||O|0|0|",
};

} // namespace

// CRLF line endings are read through `kelvo sequence show` (cli_project).
TEST(SequenceHandler, DataFileLinesAreParsedIntoRows) {
    LogCapture log;
    SequenceHandler s(project_with_data(kDataFile), "seq1");
    log.Sync();
    ASSERT_TRUE(s.ReadDataFile());
    EXPECT_EQ(rows_of(s), kRows);
    EXPECT_EQ(s.HwConfLine(), QByteArray("HW_CONF,000120LP,1,second"));
    EXPECT_EQ(s.AcqConfLine(), QByteArray("ACQ_CONF,acq1,1,2,3"));
    EXPECT_EQ(s.NanPressureCount(), 4);
    EXPECT_EQ(s.TrackedSize1(), 12);
    EXPECT_EQ(s.TrackedSize2(), 20);
    EXPECT_EQ(s.RowIndex("20200101-000000"), 5);
    EXPECT_EQ(s.RowIndex("20200101-000008"), 10);
    EXPECT_EQ(s.RowIndex("20200101-999999"), -1);
    EXPECT_EQ(log.Texts(),
              QStringList({"default|3|SequenceHandler::stDataRaw::InitFromString invalid pos3=5",
                           "default|3|SequenceHandler::stDataRaw::InitFromString invalid pos3=-1",
                           "default|3|SequenceHandler::stDataRaw::InitFromString missing flag "
                           "20200101-000008"}));

    // Reading again starts from scratch.
    ASSERT_TRUE(s.ReadDataFile());
    EXPECT_EQ(rows_of(s), kRows);
    EXPECT_EQ(s.NanPressureCount(), 4);

    // Some rows only: numbered as in the whole file, past the end left out.
    ASSERT_TRUE(s.ReadDataFile(std::vector<int>{0, 4, 5, 10, 11, 40}));
    EXPECT_EQ(rows_of(s), QStringList({kRows[0], kRows[4], kRows[5], kRows[10]}));
    EXPECT_EQ(s.HwConfLine(), QByteArray("HW_CONF,000120LP,1,second"));
    EXPECT_EQ(s.RowIndex("20200101-000000"), -1);
}

TEST(SequenceHandler, ShortLinesAndThePosition10Rule) {
    struct Case {
        QByteArray line;
        int rows;
        const char* log;
    };
    const Case cases[] = {
        {"a,b,c,d\n", 0, "invalid pos3=5"},
        {"12345,1,2,1:x\n", 0, "invalid pos3=9"},
        {"123456,1,2,1:x\n", 1, ""},
        {"20200101-000000,12.5,3.1\n", 0, "invalid pos3=-1"},
        {",,,,,,,,,,,,,,\n", 0, "invalid pos3=2"},
        {"           \n", 0, ""},
        {"", 0, ""},
    };
    LogCapture log;
    for (const Case& c : cases) {
        SequenceHandler s(project_with_data(c.line), "seq1");
        log.Sync();
        ASSERT_TRUE(s.ReadDataFile()) << c.line.constData();
        EXPECT_EQ(s.RowCount(), c.rows) << c.line.constData();
        const QStringList expected =
            *c.log ? QStringList({QString("default|3|SequenceHandler::stDataRaw::InitFromString ") + c.log})
                   : QStringList();
        EXPECT_EQ(log.Texts(), expected) << c.line.constData();
    }
}

// The text of a missing data file is checked through `kelvo sequence show` (cli_project).
TEST(SequenceHandler, UnreadableDataFileIsLoggedAndKeepsThePreviousRows) {
    LogCapture log;
    SequenceHandler s(project_with_data("20200101-000000,12.5,3.1,1:x\n"), "seq1");
    ASSERT_TRUE(s.ReadDataFile());
    ASSERT_TRUE(QFile::remove(s.DataFilePath()));
    ASSERT_TRUE(QDir().mkpath(s.DataFilePath()));
    log.Sync();
    EXPECT_FALSE(s.ReadDataFile());
    EXPECT_EQ(s.RowCount(), 1);
    const QString expected =
        "SequenceHandler::ReadDataFile erreur open " + s.DataFilePath() + " Is a directory";
    EXPECT_EQ(s.LastError(), expected);
    EXPECT_EQ(log.Texts(), QStringList({"default|3|" + expected}));
}

TEST(SequenceHandler, NulBytesAndBinaryGarbageNeverCrash) {
    static const char kWithNul[] = "20200101-000000,12.5,3.1,1:12,3,4,5;20,1\0,2,3;\n"
                                   "20200\0"
                                   "101-000001,1,2,0:x\n";
    const QByteArray withNul(kWithNul, sizeof kWithNul - 1);
    SequenceHandler s(project_with_data(withNul), "seq1");
    ASSERT_TRUE(s.ReadDataFile());
    ASSERT_EQ(s.RowCount(), 2);
    EXPECT_EQ(s.Rows()[0].payload, QByteArray("12,3,4,5;20,1\0,2,3;", 19));
    EXPECT_EQ(s.TrackedSize1(), -999) << "a group with a NUL is not four integers";
    EXPECT_EQ(s.Rows()[1].dateTime, QByteArray("20200\0"
                                               "101-000001",
                                               16));
    EXPECT_EQ(s.RowIndex(QByteArray("20200\0"
                                    "101-000001",
                                    16)),
              1);

    std::mt19937 random(42);
    QByteArray garbage(1 << 20, '\0');
    for (char& c : garbage) {
        c = static_cast<char>(random() & 0xFF);
    }
    SequenceHandler g(project_with_data(garbage), "seq1");
    EXPECT_TRUE(g.ReadDataFile());
    EXPECT_GE(g.NanPressureCount(), 0);
}

TEST(SequenceHandler, GroupValuesOutOfRangeAreNotCounted) {
    SequenceHandler s(project_with_data("20200101-000000,1,1,1:12,3,4,5;20,99999999999,2,3;\n"
                                        "20200101-000001,1,1,1:12,3,4,5;20,7,2,3;\n"
                                        "20200101-000002,1,1,1:12,-3,4,5;20,+8,2,3;\n"),
                      "seq1");
    ASSERT_TRUE(s.ReadDataFile());
    EXPECT_EQ(s.TrackedSize1(), 12);
    EXPECT_EQ(s.TrackedSize2(), 20);
    ASSERT_EQ(s.RowCount(), 3);
    // The first row does not have two valid groups: the sizes are tracked from the second one on.
    EXPECT_EQ(s.Rows()[0].count1, 0);
    EXPECT_EQ(s.Rows()[0].count2, 0);
    EXPECT_EQ(s.Rows()[1].count2, 7);
    EXPECT_EQ(s.Rows()[2].count1, -3);
    EXPECT_EQ(s.Rows()[2].count2, 8);
}

TEST(SequenceHandler, RemoveFolderRemovesOnlyThePlainSequenceFolder) {
    const QString project = project_with_data("x\n", "seq1");
    ASSERT_TRUE(write_file(project + "/raw/seq1/img/0001.png", "png"));
    const QString outside = kelvotest::make_temp_dir(QStringLiteral("outside"));
    ASSERT_TRUE(write_file(outside + "/keep.txt", "keep"));
    ASSERT_TRUE(QFile::link(outside, project + "/raw/linked"));

    for (const char* bad : {"", ".", "..", "../raw", "a/b", "a\\b"}) {
        QString error;
        EXPECT_FALSE(SequenceHandler(project, bad).RemoveFolder(&error)) << bad;
        EXPECT_FALSE(error.isEmpty());
    }
    EXPECT_TRUE(SequenceHandler(project, "linked").RemoveFolder());
    EXPECT_TRUE(QFileInfo::exists(outside + "/keep.txt"));
    EXPECT_FALSE(QFileInfo(project + "/raw/linked").isSymLink());

    EXPECT_TRUE(SequenceHandler(project, "seq1").RemoveFolder());
    EXPECT_FALSE(QFileInfo::exists(project + "/raw/seq1"));
    EXPECT_TRUE(QFileInfo(project + "/raw").isDir());
    EXPECT_FALSE(SequenceHandler(project, "seq1").RemoveFolder());
}

TEST(SequenceHandler, ConfigurationLinesAreReadIntoParameterTables) {
    SequenceHandler s(
        project_with_data("HW_CONF,000120LP,0,ACQ_DEEP,0,LIGHT01,1,150,250,PRESS01,0.5,32000,2000,2,"
                          "192.168.0.128,0,100,0,3,5380.1,1.0,73,0.65,20200101,202001010000,"
                          "op@example.org\n"
                          "ACQ_CONF,ACQ_DEEP,1,2.0,10,1,0,0,1,0,100,2,1000,1.0,0,10,0,1000,0,40,"
                          "op@example.org;\n"
                          "20200101-000000,12.5,3.1,1:x\n"),
        "seq1");
    ASSERT_TRUE(s.ReadDataFile());
    ParamTable hw;
    ParamTable acq;
    EXPECT_EQ(s.ReadHwConf(hw), 25);
    EXPECT_EQ(s.ReadAcqConf(acq), 20);
    const std::pair<const char*, const char*> hwValues[] = {
        {"Camera_ref", "000120LP"}, {"Aa", "5380.100"},        {"Exp", "1.000"},
        {"Pixel_Size", "73"},       {"Image_volume", "0.650"}, {"Operator_email", "op@example.org"},
    };
    for (const auto& [name, value] : hwValues) {
        EXPECT_EQ(GetParamAsText(hw, name), value) << name;
    }
    EXPECT_EQ(GetParamAsText(acq, "Configuration_name"), "ACQ_DEEP");
    EXPECT_EQ(GetParamAsText(acq, "Save_images"), "2");

    SequenceHandler none(project_with_data("20200101-000000,12.5,3.1,1:x\n"), "seq1");
    ASSERT_TRUE(none.ReadDataFile());
    EXPECT_EQ(none.ReadHwConf(hw), -1);
    EXPECT_EQ(GetParamAsText(hw, "Camera_ref"), "UNDEFINED") << "an absent line leaves the defaults";
}

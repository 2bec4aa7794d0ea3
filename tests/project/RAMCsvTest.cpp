#include "project/RAMCsv.h"
#include "support/LogCapture.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QDir>

using kelvotest::LogCapture;
using kelvotest::read_file;
using kelvotest::write_file;

namespace {

QString temp_file(const QByteArray& bytes, const QString& name = QStringLiteral("table.txt")) {
    const QString path = kelvotest::make_temp_dir(QStringLiteral("csv")) + QLatin1Char('/') + name;
    EXPECT_TRUE(write_file(path, bytes));
    return path;
}

} // namespace

TEST(RAMCsv, ReadingHeaderCellsLineEndingsAndTheEndOfTheTable) {
    struct Case {
        const char* what;
        QByteArray file;
        QStringList header;
        QVector<QStringList> rows;
    };
    // Column "b" is numeric: its empty cells read as "nan"; blanks elsewhere are data.
    const Case cases[] = {
        {"trimmed header",
         "a; b ;c\n1;;3\n x ; ;\n",
         {"a", "b", "c"},
         {{"1", "nan", "3"}, {" x ", "nan", ""}}},
        {"empty file", "", {}, {}},
        {"empty first line", "\na;b\n1;2\n", {}, {}},
        {"no final line feed", "a;b\n1;2\n3;4", {"a", "b"}, {{"1", "2"}, {"3", "4"}}},
        {"CRLF endings", "a;b\r\n1;2\r\n3;\r\n\r\n5;6\r\n", {"a", "b"}, {{"1", "2"}, {"3", "nan"}}},
        {"short and long rows", "a;b;c\n1\n1;2;3;4\n", {"a", "b", "c"}, {{"1"}, {"1", "2", "3", "4"}}},
        {"header only", "a;b\n", {"a", "b"}, {}},
    };
    for (const Case& c : cases) {
        RAMCsv t;
        t.SetNumericColumns({QStringLiteral("b")});
        ASSERT_TRUE(t.LoadFile(temp_file(c.file))) << c.what;
        EXPECT_EQ(t.Columns(), c.header) << c.what;
        QVector<QStringList> rows;
        for (int r = 0; r < t.RowCount(); ++r) {
            rows << t.Row(r);
        }
        EXPECT_EQ(rows, c.rows) << c.what;
    }
}

TEST(RAMCsv, MisuseIsLoggedAndChangesNothing) {
    LogCapture log;
    RAMCsv t;
    ASSERT_TRUE(t.LoadFile(temp_file("a;b;c\n1\n1;2;3\n2;2;2\n3;3;3\n4;4;4\n")));
    ASSERT_EQ(t.RowCount(), 5);
    log.Sync();

    struct Case {
        int row;
        const char* column;
        const char* message;
    };
    const Case cases[] = {
        {5, "a", "default|1|Invalid row id 5>=5"},
        {-1, "a", "default|1|Invalid row id -1>=5"},
        {0, "c", "default|1|Missing colmun id R0C2"},
        {1, " a", "default|1|Invalid column name"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(t.Get(c.row, c.column), QString()) << c.message;
        t.Set(c.row, c.column, QStringLiteral("changed"));
        EXPECT_EQ(log.Texts(), QStringList({c.message, c.message}));
    }
    EXPECT_EQ(t.Row(0), QStringList({"1"}));
    EXPECT_EQ(t.Row(1), QStringList({"1", "2", "3"}));
    EXPECT_EQ(t.RowCount(), 5);

    EXPECT_EQ(t.Locate("b"), 1);
    EXPECT_EQ(t.Locate("B"), -1);
    t.RemoveRow(5);
    EXPECT_EQ(log.Texts(),
              QStringList({"default|1|RAMCsv::Locate Invalid column name", "default|1|Invalid row id 5>=5"}));
    EXPECT_EQ(t.RowCount(), 5);
}

TEST(RAMCsv, RowsAndColumnsAreAddedAndRemoved) {
    RAMCsv t;
    ASSERT_TRUE(t.LoadFile(temp_file("a;sampletype\n1;P\n2\n3;T\n")));
    t.AddColumn(QStringLiteral("  sampletype "));
    EXPECT_EQ(t.Columns(), QStringList({"a", "sampletype"}));
    EXPECT_EQ(t.Row(1), QStringList({"2"}));

    t.AddColumn(QStringLiteral(" argoid "));
    EXPECT_EQ(t.Columns(), QStringList({"a", "sampletype", "argoid"}));
    EXPECT_EQ(t.Locate("argoid"), 2);
    t.Set(1, "argoid", "F12");
    EXPECT_EQ(t.Row(1), QStringList({"2", "", "F12"}));

    t.AddRow({"4"});
    t.Set(3, "sampletype", "P");
    EXPECT_EQ(t.Row(3), QStringList({"4", "P", ""}));

    t.RemoveRow(0);
    EXPECT_EQ(t.RowCount(), 3);
    EXPECT_EQ(t.Get(0, "a"), "2");
    EXPECT_EQ(t.Get(2, "a"), "4");

    t.SetColumns({" x", "y ", "z"});
    EXPECT_EQ(t.Columns(), QStringList({"x", "y", "z"}));
    EXPECT_EQ(t.Get(0, "z"), "F12");
    EXPECT_EQ(t.Locate("a"), -1);
}

TEST(RAMCsv, SaveWritesNanForEmptyNumericCellsAndReplacesTheFileWhole) {
    const QString path = temp_file("old content that is longer than the new one\n");
    RAMCsv t;
    t.SetColumns({"cruise", "integrationtime", "constantdepth"});
    t.SetNumericColumns({"integrationtime", "constantdepth"});
    t.AddRow({"c1", "", " "});
    t.AddRow({"c2", "12", ""});
    t.AddRow({"c3"});
    ASSERT_TRUE(t.SaveFile(path));
    EXPECT_EQ(read_file(path), QByteArray("cruise;integrationtime;constantdepth\n"
                                          "c1;nan;nan\n"
                                          "c2;12;nan\n"
                                          "c3;nan;nan\n"));
    EXPECT_EQ(QDir(QFileInfo(path).absolutePath()).entryList(QDir::Files), QStringList({"table.txt"}));
}

TEST(RAMCsv, FailuresToOpenAreLoggedAndLeaveTheTableAsItWas) {
    LogCapture log;
    const QString dir = kelvotest::make_temp_dir(QStringLiteral("csvfail"));
    RAMCsv t;
    t.SetColumns({"a"});
    t.AddRow({"1"});
    log.Sync();
    EXPECT_FALSE(t.LoadFile(dir + "/missing.txt"));
    EXPECT_FALSE(t.SaveFile(dir + "/no/such/folder/t.txt"));
    const QStringList texts = log.Texts();
    ASSERT_EQ(texts.size(), 2);
    EXPECT_EQ(texts[0],
              "default|1|RAMCsv::LoadFile can't open file " + dir + "/missing.txt No such file or directory");
    EXPECT_TRUE(
        texts[1].startsWith("default|1|RAMCsv::SaveFile can't open file " + dir + "/no/such/folder/t.txt "))
        << texts[1].toStdString();
    EXPECT_EQ(t.Columns(), QStringList({"a"}));
    EXPECT_EQ(t.Row(0), QStringList({"1"}));
    EXPECT_FALSE(QFileInfo::exists(dir + "/no"));
}

TEST(RAMCsv, BytesSurviveALoadAndSaveRoundTrip) {
    // Latin-1 degree signs, UTF-8 degree signs and NUL bytes come back exactly as they were.
    const QByteArray files[] = {
        QByteArray("latitude;longitude\n43\xB0"
                   "41 10;7\xB0"
                   "18 00\n"),
        QByteArray("latitude;longitude\n43\xC2\xB0"
                   "41 10;-7.3\n"),
        QByteArray("a;b\nx\0y;z\n", 10),
    };
    for (const QByteArray& bytes : files) {
        const QString path = temp_file(bytes);
        RAMCsv t;
        ASSERT_TRUE(t.LoadFile(path));
        ASSERT_TRUE(t.SaveFile(path));
        EXPECT_EQ(read_file(path), bytes);
    }
}

TEST(RAMCsv, DuplicateColumnNamesAddressTheFirstAndKeepBoth) {
    const QString path = temp_file("a;b;a\n1;2;3\n");
    RAMCsv t;
    ASSERT_TRUE(t.LoadFile(path));
    EXPECT_EQ(t.Locate("a"), 0);
    t.Set(0, "a", "9");
    ASSERT_TRUE(t.SaveFile(path));
    EXPECT_EQ(read_file(path), QByteArray("a;b;a\n9;2;3\n"));
}

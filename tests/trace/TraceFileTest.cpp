#include "support/TestSupport.h"
#include "trace/ZelTraceMgr.h"
#include "trace/ZelTraceMgrFileMulti.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <memory>

namespace {

// The lines of a log file without their "\r\n" ends (the last, empty piece dropped).
QList<QByteArray> file_lines(const QString& path) {
    QList<QByteArray> lines = kelvotest::read_file(path).split('\n');
    if (!lines.isEmpty() && lines.last().isEmpty()) {
        lines.removeLast();
    }
    for (QByteArray& l : lines) {
        EXPECT_TRUE(l.endsWith('\r')) << l.toStdString();
        l.chop(1);
    }
    return lines;
}

// The message column of each line.
QStringList messages(const QString& path) {
    QStringList out;
    for (const QByteArray& l : file_lines(path)) {
        out << QString::fromLatin1(l.split('\t').value(3));
    }
    return out;
}

QStringList numbered(int first, int last) {
    QStringList out;
    for (int i = first; i <= last; ++i) {
        out << QStringLiteral("line %1 ").arg(i, 4, 10, QLatin1Char('0')) + QString(52, 'x');
    }
    return out;
}

// Posts one record of exactly 100 bytes per line: 38 bytes of date, level "Debug", padded module
// and separators, 62 of message.
void post_numbered(ZelTraceMgr& mgr, int first, int last) {
    for (const QString& m : numbered(first, last)) {
        mgr.post("Bench", ZelLevelDebug, m.toStdString());
    }
}

} // namespace

struct LineCase {
    quint32 level;
    const char* module;
    const char* message;
    QByteArray expected;
};

TEST(TraceFileFormat, LinesAreWrittenExactly) {
    const QDateTime date(QDate(2026, 3, 4), QTime(5, 6, 7, 89));
    const LineCase cases[] = {
        {2, "MainWindow", "Started Trace Manager",
         "04/03 05:06:07.089\tInformation\tMainWindow\tStarted Trace Manager\r\n"},
        {0, "VortOS", "init_comm:Error", "04/03 05:06:07.089\tError\tVortOS    \tinit_comm:Error\r\n"},
        {1, "Open", "x", "04/03 05:06:07.089\tWarning\tOpen      \tx\r\n"},
        {3, "send", "$VERSION;", "04/03 05:06:07.089\tDebug\tsend      \t$VERSION;\r\n"},
        {7, "M", "odd level", "04/03 05:06:07.089\tUnknow\tM         \todd level\r\n"},
        {2, "ZelTraceMgrFileMulti", "End of Log",
         "04/03 05:06:07.089\tInformation\tZelTraceMgrFileMulti\tEnd of Log\r\n"},
        {2, "", "", "04/03 05:06:07.089\tInformation\t          \t\r\n"},
    };
    for (const LineCase& c : cases) {
        EXPECT_EQ(ZelTraceMgrFileMulti::formatLine(date, c.level, QString::fromUtf8(c.module),
                                                   QString::fromUtf8(c.message)),
                  c.expected)
            << c.module;
    }
    // Written as Latin-1, one byte per character.
    EXPECT_EQ(ZelTraceMgrFileMulti::formatLine(date, 2, "P", QString::fromUtf8("caf\xC3\xA9 \xC2\xB5m")),
              QByteArray("04/03 05:06:07.089\tInformation\tP         \tcaf\xE9 \xB5m\r\n"));
}

TEST(TraceFileFormat, NumberedCopiesGoInFrontOfTheSuffix) {
    const struct {
        const char* file;
        int index;
        const char* expected;
    } cases[] = {
        {"Kelvoapp.log", 0, "Kelvoapp.log"},
        {"Kelvoapp.log", 1, "Kelvoapp.1.log"},
        {"Kelvoapp.log", 9, "Kelvoapp.9.log"},
        {"Kelvoapp.serial.log", 2, "Kelvoapp.serial.2.log"},
        {"/var/tmp/w/Kelvoapp.log", 3, "/var/tmp/w/Kelvoapp.3.log"},
        {"/var/tmp/w/trace", 1, "/var/tmp/w/trace.1"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ZelTraceMgrFileMulti::numberedCopy(c.file, c.index), c.expected)
            << c.file << " " << c.index;
    }
}

TEST(TraceFileWriter, WritesEveryLineThenEndOfLogAndAppendsOnReopen) {
    const QString dir = kelvotest::make_temp_dir();
    const QString path = dir + "/Kelvoapp.log";
    kelvotest::write_file(path, "old line\r\n");
    ZelTraceMgr mgr;
    auto writer = std::make_unique<ZelTraceMgrFileMulti>(mgr.GetDispatcher(), path, 10, 10000);
    EXPECT_TRUE(writer->isOpen());
    mgr.log("MainWindow", ZelLevelInformation, "Started Trace Manager");
    mgr.logf("Open", ZelLevelInformation, "Open {}@{} {}", "/dev/ttyUSB-1", 38400, "FAILED");
    // Flushed per line: readable before the writer ends.
    ASSERT_TRUE(kelvotest::wait_until([&] { return kelvotest::read_file(path).count('\n') == 3; }));
    writer.reset();

    const QList<QByteArray> lines = file_lines(path);
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines[0], "old line");
    const QRegularExpression date(QStringLiteral("^\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d$"));
    for (int i = 1; i < 4; ++i) {
        EXPECT_TRUE(date.match(QString::fromLatin1(lines[i].split('\t')[0])).hasMatch())
            << lines[i].toStdString();
    }
    EXPECT_TRUE(lines[1].endsWith("\tInformation\tMainWindow\tStarted Trace Manager"));
    EXPECT_TRUE(lines[2].endsWith("\tInformation\tOpen      \tOpen /dev/ttyUSB-1@38400 FAILED"));
    EXPECT_TRUE(lines[3].endsWith("\tInformation\tZelTraceMgrFileMulti\tEnd of Log"));
}

TEST(TraceFileWriter, RecordsPostedJustBeforeTheEndAreKept) {
    const QString path = kelvotest::make_temp_dir() + "/burst.log";
    ZelTraceMgr mgr;
    auto writer = std::make_unique<ZelTraceMgrFileMulti>(mgr.GetDispatcher(), path, 2, 10000);
    for (int i = 0; i < 500; ++i) {
        mgr.log("M", ZelLevelDebug, "%d", i);
    }
    writer.reset();
    const QStringList got = messages(path);
    ASSERT_EQ(got.size(), 501);
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(got[i], QString::number(i));
    }
    EXPECT_EQ(got.last(), "End of Log");
}

TEST(TraceFileWriter, RotatesIntoNumberedCopiesAndTheTriggeringLineStartsTheFreshFile) {
    const QString dir = kelvotest::make_temp_dir();
    const QString path = dir + "/Kelvoapp.log";
    ZelTraceMgr mgr;
    auto writer = std::make_unique<ZelTraceMgrFileMulti>(mgr.GetDispatcher(), path, 3, 2);
    // 21 lines of 100 bytes pass 2048 bytes: line 22 rotates, and so on every 21 lines.
    post_numbered(mgr, 1, 21);
    ASSERT_TRUE(kelvotest::wait_until([&] { return writer->linesWritten() == 21; }));
    EXPECT_EQ(QFileInfo(path).size(), 2100);
    EXPECT_FALSE(QFile::exists(dir + "/Kelvoapp.1.log"));
    post_numbered(mgr, 22, 22);
    ASSERT_TRUE(kelvotest::wait_until([&] { return writer->linesWritten() == 22; }));
    EXPECT_EQ(messages(path), numbered(22, 22));
    EXPECT_EQ(messages(dir + "/Kelvoapp.1.log"), numbered(1, 21));

    post_numbered(mgr, 23, 70);
    writer.reset();
    EXPECT_EQ(messages(dir + "/Kelvoapp.2.log"), numbered(22, 42));
    EXPECT_EQ(messages(dir + "/Kelvoapp.1.log"), numbered(43, 63));
    EXPECT_EQ(messages(path), numbered(64, 70) << "End of Log");
    // Three files in all: the live one and two copies.
    EXPECT_EQ(QDir(dir).entryList(QDir::Files, QDir::Name),
              QStringList({"Kelvoapp.1.log", "Kelvoapp.2.log", "Kelvoapp.log"}));
}

TEST(TraceFileWriter, CountAndSizeAreRaisedToTheirMinimum) {
    const QString dir = kelvotest::make_temp_dir();
    const QString path = dir + "/one.log";
    ZelTraceMgr mgr;
    auto writer = std::make_unique<ZelTraceMgrFileMulti>(mgr.GetDispatcher(), path, 0, 1);
    EXPECT_EQ(writer->fileCount(), 1);
    EXPECT_EQ(writer->sizeLimitKiB(), 2);
    // With one file the live file is only truncated: 2100 bytes kept up to line 21, then
    // line 22 starts again from empty.
    post_numbered(mgr, 1, 25);
    writer.reset();
    EXPECT_EQ(messages(path), numbered(22, 25) << "End of Log");
    EXPECT_EQ(QDir(dir).entryList(QDir::Files), QStringList({"one.log"}));

    ZelTraceMgrFileMulti negative(mgr.GetDispatcher(), dir + "/neg.log", -5, -100);
    EXPECT_EQ(negative.fileCount(), 1);
    EXPECT_EQ(negative.sizeLimitKiB(), 2);
}

TEST(TraceFileWriter, LevelSetKeepsOnlyItsLevels) {
    const QString path = kelvotest::make_temp_dir() + "/errors.log";
    ZelTraceMgr mgr;
    auto writer = std::make_unique<ZelTraceMgrFileMulti>(mgr.GetDispatcher(), path, 2, 100,
                                                         QSet<quint32>{ZelLevelError, 7});
    mgr.log("M", ZelLevelError, "e");
    mgr.log("M", ZelLevelWarning, "w");
    mgr.log("M", ZelLevelInformation, "i");
    mgr.log("M", ZelLevelDebug, "d");
    mgr.log("M", 7, "u");
    writer.reset();
    const QList<QByteArray> lines = file_lines(path);
    ASSERT_EQ(lines.size(), 3);
    EXPECT_TRUE(lines[0].endsWith("\tError\tM         \te"));
    EXPECT_TRUE(lines[1].endsWith("\tUnknow\tM         \tu"));
    // The closing line is written whatever the filter.
    EXPECT_TRUE(lines[2].endsWith("\tEnd of Log"));
}

TEST(TraceFileWriter, AnUnwritableFolderDoesNotStopTheOtherLogs) {
    const QString dir = kelvotest::make_temp_dir();
    // A regular file where a folder is expected: opening fails whoever runs the test.
    kelvotest::write_file(dir + "/blocker", "x");
    ZelTraceMgr mgr;
    auto bad =
        std::make_unique<ZelTraceMgrFileMulti>(mgr.GetDispatcher(), dir + "/blocker/Kelvoapp.log", 10, 2);
    auto good = std::make_unique<ZelTraceMgrFileMulti>(mgr.GetDispatcher(), dir + "/Kelvoapp.log", 10, 2);
    EXPECT_FALSE(bad->isOpen());
    EXPECT_TRUE(good->isOpen());
    post_numbered(mgr, 1, 30); // enough to pass a rotation on both
    bad.reset();
    good.reset();
    EXPECT_EQ(messages(dir + "/Kelvoapp.log"), numbered(22, 30) << "End of Log");
    EXPECT_EQ(messages(dir + "/Kelvoapp.1.log"), numbered(1, 21));
    EXPECT_EQ(kelvotest::read_file(dir + "/blocker"), "x");
}

#include "support/TestSupport.h"
#include "trace/ZelTraceMgr.h"
#include "trace/ZelTraceMgrFileMulti.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <memory>
#include <thread>

namespace {

// The lines of a log file without their "\r\n" ends.
QStringList file_lines(const QString& path) {
    return QString::fromLatin1(kelvotest::read_file(path)).split("\r\n", Qt::SkipEmptyParts);
}

// The message column of each line.
QStringList messages(const QString& path) {
    QStringList out;
    for (const QString& l : file_lines(path)) {
        out << l.section('\t', 3);
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

TEST(TraceFileFormat, LinesAreWrittenExactly) {
    const QDateTime date(QDate(2026, 3, 4), QTime(5, 6, 7, 89));
    const struct {
        quint32 level;
        const char* module;
        const char* message;
        QByteArray expected;
    } cases[] = {
        // Information, Error, Debug and an unpadded long module: in the window's logs and End of Log.
        {1, "Open", "x", "04/03 05:06:07.089\tWarning\tOpen      \tx\r\n"},
        {7, "M", "odd level", "04/03 05:06:07.089\tUnknow\tM         \todd level\r\n"},
        {2, "", "", "04/03 05:06:07.089\tInformation\t          \t\r\n"},
        // Written as Latin-1, one byte per character.
        {2, "P", "caf\xC3\xA9 \xC2\xB5m", "04/03 05:06:07.089\tInformation\tP         \tcaf\xE9 \xB5m\r\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ZelTraceMgrFileMulti::formatLine(date, c.level, QString::fromUtf8(c.module),
                                                   QString::fromUtf8(c.message)),
                  c.expected)
            << c.module;
    }
}

// Lines readable while the log is open are checked in the main window's log files.
TEST(TraceFileWriter, AppendsEveryLineThenEndOfLogAndKeepsEachPostersOrderToTheEnd) {
    const QString path = kelvotest::make_temp_dir() + "/Kelvoapp.log";
    kelvotest::write_file(path, "old line\r\n");
    ZelTraceMgr mgr;
    auto writer = std::make_unique<ZelTraceMgrFileMulti>(mgr.GetDispatcher(), path, 10, 10000);
    constexpr int kPerThread = 1000;
    const auto poster = [&](const char* module) {
        for (int i = 0; i < kPerThread; ++i) {
            mgr.log(module, ZelLevelDebug, "%d", i);
        }
    };
    std::thread a(poster, "A"), b(poster, "B");
    a.join();
    b.join();
    // Closed at once: the records still queued are written before the closing line.
    writer.reset();

    const QStringList lines = file_lines(path);
    ASSERT_EQ(lines.size(), 2 * kPerThread + 2);
    EXPECT_EQ(lines[0], "old line");
    EXPECT_EQ(lines.last().section('\t', 1), "Information\tZelTraceMgrFileMulti\tEnd of Log");
    QStringList expected, fromA, fromB;
    for (int i = 0; i < kPerThread; ++i) {
        expected << QString::number(i);
    }
    for (const QString& l : lines.mid(1, 2 * kPerThread)) {
        (l.section('\t', 2, 2) == "A         " ? fromA : fromB) << l.section('\t', 3);
    }
    EXPECT_EQ(fromA, expected);
    EXPECT_EQ(fromB, expected);
}

TEST(TraceFileWriter, RotatesIntoNumberedCopiesAndTheTriggeringLineStartsTheFreshFile) {
    const QString dir = kelvotest::make_temp_dir();
    const QString path = dir + "/Kelvoapp.serial.log";
    ZelTraceMgr mgr;
    auto writer = std::make_unique<ZelTraceMgrFileMulti>(mgr.GetDispatcher(), path, 3, 2);
    // 21 lines of 100 bytes pass 2048 bytes: line 22 rotates, and so on every 21 lines.
    post_numbered(mgr, 1, 21);
    ASSERT_TRUE(kelvotest::wait_until([&] { return writer->linesWritten() == 21; }));
    EXPECT_EQ(QFileInfo(path).size(), 2100);
    EXPECT_FALSE(QFile::exists(dir + "/Kelvoapp.serial.1.log"));
    post_numbered(mgr, 22, 22);
    ASSERT_TRUE(kelvotest::wait_until([&] { return writer->linesWritten() == 22; }));
    EXPECT_EQ(messages(path), numbered(22, 22));
    EXPECT_EQ(messages(dir + "/Kelvoapp.serial.1.log"), numbered(1, 21));

    post_numbered(mgr, 23, 70);
    writer.reset();
    EXPECT_EQ(messages(dir + "/Kelvoapp.serial.2.log"), numbered(22, 42));
    EXPECT_EQ(messages(dir + "/Kelvoapp.serial.1.log"), numbered(43, 63));
    EXPECT_EQ(messages(path), numbered(64, 70) << "End of Log");
    // Three files in all: the live one and two copies.
    EXPECT_EQ(QDir(dir).entryList(QDir::Files, QDir::Name),
              QStringList({"Kelvoapp.serial.1.log", "Kelvoapp.serial.2.log", "Kelvoapp.serial.log"}));
}

TEST(TraceFileWriter, LevelSetKeepsOnlyItsLevels) {
    const QString path = kelvotest::make_temp_dir() + "/errors.log";
    ZelTraceMgr mgr;
    auto writer = std::make_unique<ZelTraceMgrFileMulti>(mgr.GetDispatcher(), path, 2, 100,
                                                         QSet<quint32>{ZelLevelError, 7});
    for (quint32 level : {0u, 1u, 2u, 3u, 7u}) {
        mgr.log("M", level, "level %u", level);
    }
    writer.reset();
    // The closing line is written whatever the filter.
    EXPECT_EQ(messages(path), QStringList({"level 0", "level 7", "End of Log"}));
}

TEST(TraceFileWriter, UnwritableFolderAndTooSmallLimitsDoNotStopTheLogs) {
    const QString dir = kelvotest::make_temp_dir();
    // A regular file where a folder is expected: opening fails whoever runs the test.
    kelvotest::write_file(dir + "/blocker", "x");
    ZelTraceMgr mgr;
    auto bad =
        std::make_unique<ZelTraceMgrFileMulti>(mgr.GetDispatcher(), dir + "/blocker/Kelvoapp.log", 10, 2);
    // Raised to one file of 2 KiB: 2100 bytes kept up to line 21, then line 22 starts it again.
    auto tiny = std::make_unique<ZelTraceMgrFileMulti>(mgr.GetDispatcher(), dir + "/one.log", 0, -100);
    EXPECT_FALSE(bad->isOpen());
    post_numbered(mgr, 1, 25);
    bad.reset();
    tiny.reset();
    EXPECT_EQ(messages(dir + "/one.log"), numbered(22, 25) << "End of Log");
    EXPECT_EQ(QDir(dir).entryList(QDir::Files, QDir::Name), QStringList({"blocker", "one.log"}));
    EXPECT_EQ(kelvotest::read_file(dir + "/blocker"), "x");
}

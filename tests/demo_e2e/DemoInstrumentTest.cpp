// The demo instrument: its card made again when half made, then kept across runs, and a folder
// it cannot create. (Its pseudo-terminal is reached by the main window in DemoWindowTest.) (The dashboard on
// the demo instrument: DemoWindowTest; the HF variant's readings and SD positions: the device interface's and
// the dashboard's own tests.)
#include "sim/DemoInstrument.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QFileInfo>

TEST(DemoInstrument, HalfMadeCardIsMadeAgainThenKeptAcrossRuns) {
    const QString folder = kelvotest::make_temp_dir(QStringLiteral("demo"));
    ASSERT_TRUE(kelvotest::write_file(folder + QStringLiteral("/card/2023/leftover.txt"), "half"));
    ASSERT_TRUE(kelvotest::write_file(folder + QStringLiteral("/card.building/x"), "half"));
    {
        DemoInstrument demo;
        QString error;
        ASSERT_TRUE(demo.start(&error, folder)) << error.toStdString();
        EXPECT_FALSE(QFileInfo::exists(folder + QStringLiteral("/card/2023/leftover.txt")));
        EXPECT_FALSE(QFileInfo::exists(folder + QStringLiteral("/card.building")));
        EXPECT_TRUE(QFileInfo::exists(folder + QStringLiteral("/card/tree.txt")));
    }
    // A mark left in the card shows that a second run reuses it instead of making it again.
    ASSERT_TRUE(kelvotest::write_file(folder + QStringLiteral("/card/mark.txt"), "kept"));
    DemoInstrument again;
    QString error;
    ASSERT_TRUE(again.start(&error, folder)) << error.toStdString();
    EXPECT_EQ(kelvotest::read_file(folder + QStringLiteral("/card/mark.txt")), QByteArray("kept"));
}

TEST(DemoInstrument, UnwritableFolderIsAClearError) {
    const QString root = kelvotest::make_temp_dir(QStringLiteral("ro"));
    ASSERT_TRUE(kelvotest::write_file(root + QStringLiteral("/file"), "x"));
    DemoInstrument demo;
    QString error;
    EXPECT_FALSE(demo.start(&error, root + QStringLiteral("/file/demo")));
    EXPECT_EQ(error, QStringLiteral("cannot create the demo folder %1/file/demo").arg(root));
    EXPECT_FALSE(demo.isRunning());
}

// The demo instrument: made once into its folder, reached over its pseudo-terminal and loopback
// UDP exactly as a real port, and shown on the dashboard.
#include "sim/DemoInstrument.h"
#include "device/InterfaceCamera.h"
#include "link/InstrumentProtocol.h"
#include "link/SerialLink.h"
#include "mainwindow/MainFlows.h"
#include "mainwindow/MainTop.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QFileInfo>
#include <QLabel>
#include <QProgressBar>

TEST(DemoInstrument, CardIsMadeOnceAndKeptAcrossRuns) {
    const QString folder = kelvotest::make_temp_dir(QStringLiteral("demo"));
    {
        DemoInstrument demo;
        QString error;
        ASSERT_TRUE(demo.start(&error, folder)) << error.toStdString();
        EXPECT_TRUE(demo.portPath().startsWith(QStringLiteral("/dev/pts/"))) << demo.portPath().toStdString();
        EXPECT_GT(demo.udpPort(), 0);
        EXPECT_TRUE(QFileInfo::exists(folder + QStringLiteral("/card/tree.txt")));
        EXPECT_FALSE(QFileInfo::exists(folder + QStringLiteral("/card.building")));
    }
    // A mark left in the card shows that a second run reuses it instead of making it again.
    ASSERT_TRUE(kelvotest::write_file(folder + QStringLiteral("/card/mark.txt"), "kept"));
    DemoInstrument again;
    QString error;
    ASSERT_TRUE(again.start(&error, folder)) << error.toStdString();
    EXPECT_EQ(kelvotest::read_file(folder + QStringLiteral("/card/mark.txt")), QByteArray("kept"));
}

TEST(DemoInstrument, HalfMadeCardIsMadeAgain) {
    const QString folder = kelvotest::make_temp_dir(QStringLiteral("demo"));
    ASSERT_TRUE(kelvotest::write_file(folder + QStringLiteral("/card/2023/leftover.txt"), "half"));
    ASSERT_TRUE(kelvotest::write_file(folder + QStringLiteral("/card.building/x"), "half"));
    QString error;
    ASSERT_TRUE(DemoInstrument::ensureCard(folder + QStringLiteral("/card"), &error)) << error.toStdString();
    EXPECT_FALSE(QFileInfo::exists(folder + QStringLiteral("/card/2023/leftover.txt")));
    EXPECT_FALSE(QFileInfo::exists(folder + QStringLiteral("/card.building")));
    EXPECT_TRUE(QFileInfo::exists(folder + QStringLiteral("/card/tree.txt")));
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

// The LP demo instrument is shown by the main window's own test; here the HF one with a card of
// other sizes.
TEST(DemoInstrument, DashboardShowsTheHfDemoInstrument) {
    SimOptions options;
    options.variant = QStringLiteral("HF");
    options.sdFreeMb = 1000;
    options.sdTotalMb = 4000;
    DemoInstrument demo;
    QString error;
    ASSERT_TRUE(demo.start(&error, kelvotest::make_temp_dir(QStringLiteral("demo")), options))
        << error.toStdString();
    ASSERT_TRUE(init_comm(demo.portPath(), 38400));
    set_instrument_variant(QString());
    InterfaceCamera cam;
    cam.setEthernetOverride(demo.hostAddress(), demo.udpPort());
    ASSERT_TRUE(cam.connectAndIdentify());

    MainTop top;
    MainFlows::Parts parts;
    parts.camera = &cam;
    parts.top = &top;
    MainFlows(parts).refreshDashboard();
    EXPECT_EQ(top.cameraLabel()->text(), QStringLiteral("K6HF-0001"));
    EXPECT_EQ(top.variantLabel()->text(), QStringLiteral("HF"));
    EXPECT_EQ(top.modeLabel()->text(), QStringLiteral("SUPERVISED"));
    EXPECT_EQ(top.voltageLabel()->text(), QStringLiteral("Input voltage = 24.05 V"));
    EXPECT_EQ(top.sdLabel()->text(), QStringLiteral("0.98 / 3.91 GB"));
    EXPECT_EQ(top.sdBar()->value(), 25);
    EXPECT_EQ(top.puLabel()->text(), QStringLiteral("PU-K6HF-0001"));
    close_comm();
}

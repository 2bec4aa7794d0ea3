// The demo instrument: made once into its folder, reached over its pseudo-terminal and loopback
// UDP exactly as a real port, and shown on the dashboard.
#include "sim/DemoInstrument.h"
#include "device/InterfaceCamera.h"
#include "link/InstrumentProtocol.h"
#include "link/SerialLink.h"
#include "mainwindow/MainTop.h"
#include "params/ParamTable.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QProgressBar>
#include <QSettings>

namespace {

DashboardIdentity identity_of(const InterfaceCamera& cam) {
    DashboardIdentity id;
    id.cameraRef = cam.cameraRef();
    id.lightRef = cam.lightRef();
    id.variant = cam.variant();
    id.power = cam.powerReading();
    id.hardwareInfo = cam.hardwareInfo();
    id.acquisitionMode = QString::fromStdString(GetParamAsText(cam.hardware(), "Acquisition_mode"));
    id.pressureSensorRef = QString::fromStdString(GetParamAsText(cam.hardware(), "Pressure_sensor_ref"));
    return id;
}

} // namespace

TEST(DemoInstrument, CardIsMadeOnceAndKeptAcrossRuns) {
    const QString folder = kelvotest::make_temp_dir(QStringLiteral("demo"));
    {
        DemoInstrument demo;
        QString error;
        ASSERT_TRUE(demo.start(&error, folder)) << error.toStdString();
        EXPECT_TRUE(demo.portPath().startsWith(QStringLiteral("/dev/pts/"))) << demo.portPath().toStdString();
        EXPECT_EQ(demo.hostAddress(), QStringLiteral("127.0.0.2"));
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

TEST(DemoInstrument, DashboardShowsTheDemoInstrument) {
    struct Case {
        const char* variant;
        const char* camera;
        const char* voltage;
        const char* sd;
        int percent;
    };
    // 29872 of 30436 MB by default; 1000 of 4000 MB on the HF case.
    const Case cases[] = {
        {"LP", "K6LP-0001", "Input voltage = 12.10 V", "29.17 / 29.72 GB", 98},
        {"HF", "K6HF-0001", "Input voltage = 24.05 V", "0.98 / 3.91 GB", 25},
    };
    for (const Case& c : cases) {
        SimOptions options;
        options.variant = QString::fromLatin1(c.variant);
        if (options.variant == QLatin1String("HF")) {
            options.sdFreeMb = 1000;
            options.sdTotalMb = 4000;
        }
        DemoInstrument demo;
        QString error;
        ASSERT_TRUE(demo.start(&error, kelvotest::make_temp_dir(QStringLiteral("demo")), options))
            << error.toStdString();
        ASSERT_TRUE(init_comm(demo.portPath(), 38400));
        set_instrument_variant(QString());
        InterfaceCamera cam;
        cam.setEthernetOverride(demo.hostAddress(), demo.udpPort());
        ASSERT_TRUE(cam.connectAndIdentify()) << c.variant;

        MainTop top;
        top.showInstrument(identity_of(cam));
        EXPECT_EQ(top.cameraLabel()->text(), QString::fromLatin1(c.camera));
        EXPECT_EQ(top.variantLabel()->text(), QString::fromLatin1(c.variant));
        EXPECT_EQ(top.modeLabel()->text(), QStringLiteral("SUPERVISED"));
        EXPECT_EQ(top.voltageLabel()->text(), QString::fromLatin1(c.voltage));
        EXPECT_EQ(top.sdLabel()->text(), QString::fromLatin1(c.sd));
        EXPECT_EQ(top.sdBar()->value(), c.percent);
        EXPECT_EQ(top.puLabel()->text(), QStringLiteral("PU-") + QString::fromLatin1(c.camera));
        close_comm();
    }
}

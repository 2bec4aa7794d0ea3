// The dashboard: SD space per variant, the pressure LED and the task status line.
#include "mainwindow/MainTop.h"
#include "support/TestSupport.h"
#include "worker/CThWorker.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QProgressBar>

TEST(MainTop, SdSpaceIsReadAtTheVariantsPositions) {
    struct Case {
        const char* variant;
        QStringList info;
        const char* text;
        int percent;
    };
    const Case cases[] = {
        {"LP", {"PU-1", "fw", "cmv", "2464", "2056", "29872", "30436", "41.5"}, "29.17 / 29.72 GB", 98},
        {"HF", {"PU-1", "fw", "cmv", "2464", "2056", "drv", "1536", "2048", "40"}, "1.50 / 2.00 GB", 75},
        // An HF list read at the LP positions would give "drv" and 1536: nothing like this.
        {"HF", {"PU-1", "fw", "cmv", "2464", "2056", "drv", "0", "2048"}, "0.00 / 2.00 GB", 0},
        {"LP", {"PU-1", "fw", "cmv", "2464", "2056", "100", "0"}, "0.10 / 0.00 GB", 0},
        {"LP", {"PU-1", "fw", "cmv", "2464", "2056", "x", "-5"}, "0.00 / 0.00 GB", 0},
        {"LP", {"PU-1"}, "0.00 / 0.00 GB", 0},
        {"LP", {"PU-1", "fw", "cmv", "2464", "2056", "1023", "1024"}, "1.00 / 1.00 GB", 99},
    };
    MainTop top;
    for (const Case& c : cases) {
        DashboardIdentity id;
        id.cameraRef = QStringLiteral("K6-1");
        id.variant = QString::fromLatin1(c.variant);
        id.hardwareInfo = c.info;
        top.showInstrument(id);
        EXPECT_EQ(top.sdLabel()->text(), QString::fromLatin1(c.text)) << c.info.join(',').toStdString();
        EXPECT_EQ(top.sdBar()->value(), c.percent) << c.info.join(',').toStdString();
    }
}

TEST(MainTop, InstrumentFieldsAndPressureLed) {
    MainTop top;
    EXPECT_EQ(top.cameraLabel()->text(), QStringLiteral("not connected"));
    EXPECT_EQ(top.voltageLabel()->text(), QStringLiteral("Input voltage = ?"));
    DashboardIdentity id;
    id.cameraRef = QStringLiteral("000120LP");
    id.lightRef = QStringLiteral("LU-77");
    id.variant = QStringLiteral("LP");
    id.power = QStringLiteral("12.10 V");
    id.acquisitionMode = QStringLiteral("2");
    id.pressureSensorRef = QStringLiteral("KEL-9");
    top.showInstrument(id);
    EXPECT_EQ(top.cameraLabel()->text(), QStringLiteral("000120LP"));
    EXPECT_EQ(top.lightLabel()->text(), QStringLiteral("LU-77"));
    EXPECT_EQ(top.modeLabel()->text(), QStringLiteral("TIME"));
    EXPECT_EQ(top.voltageLabel()->text(), QStringLiteral("Input voltage = 12.10 V"));
    EXPECT_EQ(top.pressureLed()->styleSheet(),
              QStringLiteral("background-color:green;border:1px solid black;"));
    for (const char* none : {"", "   "}) {
        id.pressureSensorRef = QString::fromLatin1(none);
        top.showInstrument(id);
        EXPECT_EQ(top.pressureLed()->styleSheet(),
                  QStringLiteral("background-color:white;border:1px solid black;"));
    }
}

TEST(MainTop, StatusLineFollowsTheWorkerWithItsColours) {
    MainTop top;
    CThWorker worker;
    QObject::connect(&worker, &CThWorker::StatusChanged, &top, &MainTop::showTaskStatus,
                     Qt::QueuedConnection);
    std::atomic<bool> release{false};
    worker.setWork(QStringLiteral("Images"), [&](KelvoTaskInfo& task) {
        while (!release.load()) {
            QThread::msleep(2);
        }
        return task.target == QLatin1String("bad") ? QStringLiteral("Warn: no frames in bad")
                                                   : QStringLiteral("Images good done!!");
    });
    worker.enqueue(QStringLiteral("Images"), QStringLiteral("/p"), QStringLiteral("good"));
    ASSERT_TRUE(kelvotest::wait_until([&] { return top.statusLabel()->text() == "Pending:1 / Images good"; }))
        << top.statusLabel()->text().toStdString();
    EXPECT_EQ(top.statusLabel()->styleSheet(), QStringLiteral("background-color:#5d79b6;color:#ffffff;"));
    release = true;
    ASSERT_TRUE(kelvotest::wait_until([&] { return top.statusLabel()->text() == "Images good done!!"; }));
    EXPECT_EQ(top.statusLabel()->styleSheet(), QStringLiteral("background-color:#1b5e20;color:#ffffff;"));
    worker.enqueue(QStringLiteral("Images"), QStringLiteral("/p"), QStringLiteral("bad"));
    ASSERT_TRUE(kelvotest::wait_until([&] { return top.statusLabel()->text() == "Warn: no frames in bad"; }));
    EXPECT_EQ(top.statusLabel()->styleSheet(), QStringLiteral("background-color:yellow;color:black;"));
}

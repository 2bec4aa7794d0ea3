// The dashboard's SD space for both variants and on odd answers, and the pressure LED. (A whole LP
// identity, with its mode, is shown end to end by the demo instrument's tests.)
#include "mainwindow/MainTop.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QProgressBar>

TEST(MainTop, SdSpaceOnAnEmptyShortOrGarbledAnswer) {
    struct Case {
        const char* variant;
        QStringList info;
        const char* text;
        int percent;
    };
    const Case cases[] = {
        {"LP", {"PU-1", "fw", "cmv", "2464", "2056", "100", "0"}, "0.10 / 0.00 GB", 0},
        {"LP", {"PU-1", "fw", "cmv", "2464", "2056", "x", "-5"}, "0.00 / 0.00 GB", 0},
        {"LP", {"PU-1"}, "0.00 / 0.00 GB", 0},
        {"LP", {"PU-1", "fw", "cmv", "2464", "2056", "1023", "1024"}, "1.00 / 1.00 GB", 99},
        // HF answers carry one more field before the SD space: read at the LP positions this
        // would give "drv" and 1536.
        {"HF", {"PU-1", "fw", "cmv", "2464", "2056", "drv", "1536", "2048", "40"}, "1.50 / 2.00 GB", 75},
    };
    MainTop top;
    for (const Case& c : cases) {
        DashboardIdentity id;
        id.cameraRef = "K6-1";
        id.variant = c.variant;
        id.hardwareInfo = c.info;
        top.showInstrument(id);
        EXPECT_EQ(top.sdLabel()->text(), c.text) << c.info.join(',').toStdString();
        EXPECT_EQ(top.sdBar()->value(), c.percent) << c.info.join(',').toStdString();
    }
}

TEST(MainTop, LightAndPressureLed) {
    MainTop top;
    DashboardIdentity id;
    id.cameraRef = "000120LP";
    id.lightRef = "LU-77";
    id.pressureSensorRef = "KEL-9";
    top.showInstrument(id);
    EXPECT_EQ(top.lightLabel()->text(), "LU-77");
    EXPECT_EQ(top.pressureLed()->styleSheet(), "background-color:green;border:1px solid black;");
    for (const char* none : {"", "   "}) {
        id.pressureSensorRef = none;
        top.showInstrument(id);
        EXPECT_EQ(top.pressureLed()->styleSheet(), "background-color:white;border:1px solid black;") << none;
    }
}

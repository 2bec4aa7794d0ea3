// The dashboard on odd answers, and the pressure LED. (Whole identities of both variants, with their
// SD space and mode, are shown end to end by the demo instrument's tests.)
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

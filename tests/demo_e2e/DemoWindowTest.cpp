// The main window on the demo instrument: it connects by itself and the dashboard shows the
// simulator's instrument; the saved settings keep their port.
#include "KelvoVersion.h"
#include "app/AppSettings.h"
#include "mainwindow/MainHub.h"
#include "mainwindow/MainTop.h"
#include "mainwindow/MainWindow.h"
#include "project/Project.h"
#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QProgressBar>
#include <QSettings>

TEST(DemoWindow, ConnectsAtStartAndShowsTheSimulatorsInstrument) {
    QSettings().setValue(QStringLiteral("hidelogin"), QStringLiteral("Y"));
    AppSettings::setUser(QStringLiteral("Demo"), QStringLiteral("demo@example.org"));
    AppSettings::setSerialPort(QStringLiteral("/dev/ttyUSB7"));
    {
        // The demo project holds no parameter files yet: the connection check offers to store
        // the instrument's.
        kelvotest::ScriptedDialogs dialogs;
        dialogs.expect(QMessageBox::Yes);
        MainWindow window;
        auto* hub = new MainHub(&window);
        QString error;
        ASSERT_TRUE(hub->startDemo(&error, kelvotest::make_temp_dir(QStringLiteral("demo"))))
            << error.toStdString();
        EXPECT_EQ(window.windowTitle(), QString::fromLatin1(kelvo_version_string()) + " - demo instrument");
        window.show();
        MainTop* top = hub->top();
        ASSERT_TRUE(kelvotest::wait_until([&] { return top->cameraLabel()->text() == "K6LP-0001"; }, 20000))
            << top->cameraLabel()->text().toStdString();
        EXPECT_EQ(top->variantLabel()->text(), QStringLiteral("LP"));
        EXPECT_EQ(top->modeLabel()->text(), QStringLiteral("SUPERVISED"));
        EXPECT_EQ(top->puLabel()->text(), QStringLiteral("PU-K6LP-0001"));
        EXPECT_EQ(top->voltageLabel()->text(), QStringLiteral("Input voltage = 12.10 V"));
        EXPECT_EQ(top->sdLabel()->text(), QStringLiteral("29.17 / 29.72 GB"));
        EXPECT_EQ(top->sdBar()->value(), 98);
        EXPECT_EQ(hub->project()->ConnectedSerial(), QStringLiteral("K6LP-0001"));
        EXPECT_TRUE(window.commStatusLabel()->text().startsWith(QStringLiteral("/dev/pts/")))
            << window.commStatusLabel()->text().toStdString();
        for (const UiDialogRequest& r : dialogs.seen) {
            EXPECT_EQ(r.title, "Parameters differ");
        }
    }
    EXPECT_EQ(AppSettings::serialPort(), QStringLiteral("/dev/ttyUSB7"));
}

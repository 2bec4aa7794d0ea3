// The main window on the demo instrument: it connects by itself and the dashboard shows the
// simulator's instrument; the saved settings keep their port.
#include "KelvoVersion.h"
#include "app/AppSettings.h"
#include "app/WorkFolder.h"
#include "mainwindow/MainHub.h"
#include "mainwindow/MainTop.h"
#include "mainwindow/MainWindow.h"
#include "project/Project.h"
#include "support/TestSupport.h"
#include "terminal/DlgSerialTerminal.h"
#include "worker/CThWorker.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QProgressBar>
#include <QSettings>
#include <QThread>

#include <atomic>

TEST(DemoWindow, ConnectsAtStartAndShowsTheSimulatorsInstrument) {
    QSettings().setValue(QStringLiteral("hidelogin"), QStringLiteral("Y"));
    AppSettings::setUser(QStringLiteral("Demo"), QStringLiteral("demo@example.org"));
    AppSettings::setSerialPort(QStringLiteral("/dev/ttyUSB7"));
    {
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
    }
    EXPECT_EQ(AppSettings::serialPort(), QStringLiteral("/dev/ttyUSB7"));
}

// The terminal of a demo run sends its file dumps to the demo instrument's loopback address,
// whatever the saved Local IP says; it stays beside the window without blocking it, and the
// stop action follows the pending tasks.
TEST(DemoWindow, TerminalSdlistReachesTheDemoAndTheWindowStaysUsable) {
    QSettings().setValue(QStringLiteral("hidelogin"), QStringLiteral("Y"));
    AppSettings::setUser(QStringLiteral("Demo"), QStringLiteral("demo@example.org"));
    AppSettings::setLocalIp(QStringLiteral("auto"));
    const QString folder = kelvotest::make_temp_dir(QStringLiteral("demo"));
    MainWindow window;
    auto* hub = new MainHub(&window);
    QString error;
    ASSERT_TRUE(hub->startDemo(&error, folder)) << error.toStdString();
    window.show();
    ASSERT_TRUE(
        kelvotest::wait_until([&] { return hub->top()->cameraLabel()->text() == "K6LP-0001"; }, 20000));

    window.findChild<QAction*>(QStringLiteral("actionOpen_VortOS_terminal"))->trigger();
    auto* terminal = window.findChild<DlgSerialTerminal*>();
    ASSERT_NE(terminal, nullptr);
    EXPECT_TRUE(terminal->isVisible());
    EXPECT_FALSE(terminal->isModal());
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    bool done = false;
    bool ok = false;
    QObject::connect(terminal, &DlgSerialTerminal::commandFinished, [&](bool result) {
        done = true;
        ok = result;
    });
    const QString tree = WorkFolder::filePath(QStringLiteral("filemanager/tree.txt"));
    QFile::remove(tree);
    auto* command = terminal->findChild<QComboBox*>(QStringLiteral("edCommand"));
    command->setEditText(QStringLiteral("sdlist"));
    terminal->on_BtSend_clicked();
    ASSERT_TRUE(kelvotest::wait_until([&] { return done; }, 20000));
    EXPECT_TRUE(ok);
    EXPECT_EQ(kelvotest::read_file(tree), kelvotest::read_file(folder + QStringLiteral("/card/tree.txt")));
    EXPECT_FALSE(kelvotest::read_file(tree).isEmpty());

    // The window is still in use meanwhile: the stop action is there only while a task waits.
    QAction* stop = window.findChild<QAction*>(QStringLiteral("actionStop_asynchronous_job_ASAP"));
    EXPECT_FALSE(stop->isEnabled());
    std::atomic<bool> release{false};
    hub->worker()->setWork(QStringLiteral("ExportODV"), [&](KelvoTaskInfo&) {
        while (!release.load()) {
            QThread::msleep(2);
        }
        return QStringLiteral("done!!");
    });
    hub->worker()->enqueue(QStringLiteral("ExportODV"), QStringLiteral("/p"), QStringLiteral("s1"));
    EXPECT_TRUE(kelvotest::wait_until([&] { return stop->isEnabled(); }));
    release = true;
    EXPECT_TRUE(kelvotest::wait_until([&] { return !stop->isEnabled(); }));
}

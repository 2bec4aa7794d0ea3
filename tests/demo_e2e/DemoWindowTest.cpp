// The main window on the demo instrument: it connects by itself and the dashboard shows the
// simulator's instrument; the saved settings keep their port.
#include "KelvoVersion.h"
#include "app/AppSettings.h"
#include "app/WorkFolder.h"
#include "mainwindow/MainHub.h"
#include "mainwindow/MainTop.h"
#include "mainwindow/MainWindow.h"
#include "project/Project.h"
#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"
#include "terminal/DlgSerialTerminal.h"
#include "tools/DlgLiveCamera.h"
#include "tools/DlgMergeSequence.h"
#include "worker/CThWorker.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QTableWidget>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <functional>

TEST(DemoWindow, ConnectsAtStartAndShowsTheSimulatorsInstrument) {
    QSettings().setValue(QStringLiteral("hidelogin"), QStringLiteral("Y"));
    AppSettings::setUser(QStringLiteral("Demo"), QStringLiteral("demo@example.org"));
    AppSettings::setSerialPort(QStringLiteral("/dev/ttyUSB7"));
    {
        // The demo project is made without parameter files: the first connection stores the demo
        // instrument's there instead of asking a newcomer.
        kelvotest::ScriptedDialogs dialogs;
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
        EXPECT_TRUE(dialogs.seen.empty());
        ASSERT_TRUE(hub->project()->IsOpen());
        EXPECT_FALSE(QDir(hub->project()->Path() + QStringLiteral("/config"))
                         .entryList({QStringLiteral("HW*.txt")}, QDir::Files)
                         .isEmpty());
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

namespace {

// Runs `body` on the first visible dialog of type T, from inside that dialog's own event loop;
// returns whether it was found once `trigger` (which opens it modally) returned.
template <typename T>
bool in_dialog(const std::function<void()>& trigger, const std::function<void(T*)>& body) {
    bool found = false;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        for (QWidget* w : QApplication::topLevelWidgets()) {
            if (auto* dlg = qobject_cast<T*>(w); dlg != nullptr && w->isVisible() && !found) {
                found = true;
                poll.stop();
                body(dlg);
                dlg->reject();
            }
        }
    });
    poll.start(20);
    trigger();
    return found;
}

} // namespace

// The menu actions of merging and of the live camera open their windows; the live camera takes
// frames from the demo instrument through the window's own device interface.
TEST(DemoWindow, MergeAndLiveCameraActions) {
    QSettings().setValue(QStringLiteral("hidelogin"), QStringLiteral("Y"));
    MainWindow window;
    auto* hub = new MainHub(&window);
    QString error;
    ASSERT_TRUE(hub->startDemo(&error, kelvotest::make_temp_dir(QStringLiteral("demo"))))
        << error.toStdString();
    window.show();
    ASSERT_TRUE(
        kelvotest::wait_until([&] { return hub->top()->cameraLabel()->text() == "K6LP-0001"; }, 20000));

    if (hub->project()->IsOpen()) {
        EXPECT_TRUE(in_dialog<DlgMergeSequence>(
            [&] { window.findChild<QAction*>("actionMerge_sequences")->trigger(); },
            [](DlgMergeSequence* dlg) { EXPECT_NE(dlg->findChild<QTableWidget*>("tbl"), nullptr); }));
    } else {
        kelvotest::ScriptedDialogs dialogs;
        dialogs.expect(QMessageBox::Ok);
        window.findChild<QAction*>("actionMerge_sequences")->trigger();
        ASSERT_EQ(dialogs.seen.size(), 1u);
        EXPECT_EQ(dialogs.seen[0].title, "No project");
    }

    bool sawFrame = false;
    EXPECT_TRUE(in_dialog<DlgLiveCamera>(
        [&] { window.findChild<QAction*>("actionLive_Camera")->trigger(); },
        [&](DlgLiveCamera* dlg) {
            auto* start = dlg->findChild<QPushButton*>("btStartStop");
            start->click();
            sawFrame = kelvotest::wait_until(
                [&] { return dlg->findChild<QLabel*>("lblDisplayed")->text() != "0 Images displayed"; },
                20000);
            start->click();
            kelvotest::wait_until([&] { return start->text() == "Start Live Display"; }, 20000);
        }));
    EXPECT_TRUE(sawFrame);
}

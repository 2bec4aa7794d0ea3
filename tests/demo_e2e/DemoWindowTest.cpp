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
#include "tools/DlgLiveCamera.h"
#include "tools/DlgMergeSequence.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QTableWidget>
#include <QTimer>

#include <functional>

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

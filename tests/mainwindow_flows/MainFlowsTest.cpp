// The main window's flows offscreen, against the simulator over its pseudo-terminal: the boxes,
// their texts and default buttons, what reaches the instrument, and the refusals.
#include "mainwindow/MainFlows.h"
#include "device/InterfaceCamera.h"
#include "eth/LogCapture.h"
#include "eth/UdpTestSender.h"
#include "link/InstrumentProtocol.h"
#include "link/SerialLink.h"
#include "mainwindow/MainTop.h"
#include "project/FPrjSeq.h"
#include "project/Project.h"
#include "sim/Kelvo6Simulator.h"
#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"
#include "worker/CThWorker.h"
#include "worker/InstrumentLock.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QLabel>
#include <QStackedWidget>
#include <QWidget>

#include <atomic>
#include <memory>

using kelvotest::LogCapture;
using kelvotest::ScriptedDialogs;

namespace {

const char* const kCommError = "NO RS232 communication with the Kelvo\n"
                               " - Check that the Kelvo6 is powered\n"
                               " - Check that the Kelvo is connected by RS232 to your computer\n"
                               " - Check the COM port indicated in the Application Settings\n"
                               " - Check the Kelvoapp version compatibilty in the Application settings";

class MainFlowsTest : public ::testing::Test {
protected:
    void SetUp() override {
        close_comm();
        set_instrument_variant(QString());
        camera = std::make_unique<InterfaceCamera>();
        camera->setEthernetOverride(QStringLiteral("127.0.0.2"), kelvotest::free_udp_port());
        worker = std::make_unique<CThWorker>(camera.get(), &lock);
        project = std::make_unique<Project>();
        window = std::make_unique<QWidget>();
        stack = new QStackedWidget(window.get());
        top = new MainTop(window.get());
        page = new FPrjSeq(project.get(), stack);
        MainFlows::Parts parts;
        parts.window = window.get();
        parts.camera = camera.get();
        parts.worker = worker.get();
        parts.project = project.get();
        parts.top = top;
        parts.stack = stack;
        parts.sequencesPage = page;
        parts.lock = &lock;
        flows = std::make_unique<MainFlows>(parts);
    }
    void TearDown() override {
        flows.reset();
        window.reset();
        worker.reset();
        close_comm();
        if (sim) {
            sim->stop();
        }
    }

    void startSim(SimOptions options = {}) {
        sim = std::make_unique<Kelvo6Simulator>(options);
        QString error;
        ASSERT_TRUE(sim->start(&error)) << error.toStdString();
        ASSERT_TRUE(init_comm(sim->devicePath(), 38400));
    }
    void connectSim(SimOptions options = {}) {
        startSim(options);
        ScriptedDialogs none;
        flows->checkConnection(true);
        ASSERT_EQ(camera->cameraRef(), QStringLiteral("K6LP-0001"));
        sim->clearReceived();
    }
    int received(const QString& line) const { return static_cast<int>(sim->receivedLines().count(line)); }

    // A project folder of the instrument `serial` with the folders a load needs.
    static QString makeProject(const QString& serial) {
        const QString dir = kelvotest::make_temp_dir(QStringLiteral("projects")) +
                            QStringLiteral("/kelvo6_sn%1_2024_demo").arg(serial.toLower());
        for (const char* sub : {"config", "meta", "raw"}) {
            QDir().mkpath(dir + QLatin1Char('/') + QLatin1String(sub));
        }
        return dir;
    }

    InstrumentLock lock;
    std::unique_ptr<Kelvo6Simulator> sim;
    std::unique_ptr<InterfaceCamera> camera;
    std::unique_ptr<CThWorker> worker;
    std::unique_ptr<Project> project;
    std::unique_ptr<QWidget> window;
    QStackedWidget* stack = nullptr;
    MainTop* top = nullptr;
    FPrjSeq* page = nullptr;
    std::unique_ptr<MainFlows> flows;
};

} // namespace

TEST_F(MainFlowsTest, CloseIsRefusedWhileATaskIsUnfinished) {
    LogCapture log;
    std::atomic<bool> release{false};
    worker->setWork(QStringLiteral("ExportODV"), [&](KelvoTaskInfo&) {
        while (!release.load()) {
            QThread::msleep(2);
        }
        return QStringLiteral("Export ODV s1 done!!");
    });
    worker->enqueue(QStringLiteral("ExportODV"), QStringLiteral("/p"), QStringLiteral("s1"));
    {
        ScriptedDialogs dialogs;
        dialogs.expect(QMessageBox::Ok);
        EXPECT_FALSE(flows->canClose());
        ASSERT_EQ(dialogs.seen.size(), 1u);
        EXPECT_EQ(dialogs.seen[0].title, QStringLiteral("Impossible to exit"));
        EXPECT_EQ(dialogs.seen[0].text,
                  QStringLiteral(
                      "Impossible to exit while there's some asynchronous task running\nYou can use Menu "
                      "'File/Stop at the end of current task' to leave the application as soon as "
                      "possible"));
        EXPECT_EQ(dialogs.seen[0].icon, QMessageBox::Warning);
        EXPECT_TRUE(log.saw("MainWindow|1|Impossible to exit while there's some asynchronous task running"));
    }
    release = true;
    ASSERT_TRUE(kelvotest::wait_until([&] { return worker->pendingCount() == 0; }));
    ScriptedDialogs none;
    EXPECT_TRUE(flows->canClose());
    EXPECT_TRUE(none.seen.empty());
}

TEST_F(MainFlowsTest, FailedCheckAsksOkOrRetryAndRetryTriesAgain) {
    SimOptions options;
    options.firmware = QStringLiteral("V3.4.2,2022.01.10"); // refused: no identity
    startSim(options);
    ScriptedDialogs dialogs;
    dialogs.expect(QMessageBox::Retry);
    dialogs.expect(QMessageBox::Ok);
    flows->checkConnection(true);
    ASSERT_EQ(dialogs.seen.size(), 2u);
    for (const UiDialogRequest& box : dialogs.seen) {
        EXPECT_EQ(box.title, QStringLiteral("Communication error"));
        EXPECT_EQ(box.text, QString::fromLatin1(kCommError));
        EXPECT_EQ(box.buttons, QMessageBox::Ok | QMessageBox::Retry);
        EXPECT_EQ(box.icon, QMessageBox::Warning);
    }
    EXPECT_EQ(received(QStringLiteral("$VERSION;")), 2);
    EXPECT_EQ(top->cameraLabel()->text(), QStringLiteral("not connected"));
}

TEST_F(MainFlowsTest, CheckNotAskedByTheUserFailsQuietly) {
    ScriptedDialogs none; // no port open at all
    flows->checkConnection(false);
    EXPECT_TRUE(none.seen.empty());
    EXPECT_TRUE(camera->cameraRef().isEmpty());
}

TEST_F(MainFlowsTest, ConnectingAnotherInstrumentUnloadsTheProject) {
    LogCapture log;
    const QString foreign = makeProject(QStringLiteral("000120LP"));
    ASSERT_TRUE(flows->openProject(foreign));
    EXPECT_EQ(stack->currentWidget(), page);
    EXPECT_EQ(top->projectLabel()->text(), QStringLiteral("kelvo6_sn000120lp_2024_demo"));
    connectSim();
    EXPECT_TRUE(log.saw("MainWindow|2|Connected sensor change /=>K6LP-0001/LU-0001"));
    EXPECT_TRUE(
        log.saw("MainWindow|1|Project kelvo6_sn000120lp_2024_demo is unloaded because is not related to "
                "sensor K6LP-0001"));
    EXPECT_FALSE(project->IsOpen());
    EXPECT_EQ(top->projectLabel()->text(), QStringLiteral("No project"));
    EXPECT_EQ(top->cameraLabel()->text(), QStringLiteral("K6LP-0001"));
    EXPECT_EQ(project->ConnectedSerial(), QStringLiteral("K6LP-0001"));

    // The instrument's own project stays open across a check, and the differing parameters are
    // offered for replacement (Cancel is the default).
    const QString own = makeProject(QStringLiteral("K6LP-0001"));
    ASSERT_TRUE(flows->openProject(own));
    int replaced = 0;
    flows->setParameterManagement([] { return QStringLiteral("\nGain 2 -> 3"); }, [&] { ++replaced; });
    ScriptedDialogs dialogs;
    dialogs.expect(QMessageBox::Yes);
    flows->checkConnection(true);
    EXPECT_TRUE(project->IsOpen());
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, QStringLiteral("Parameters differ"));
    EXPECT_EQ(dialogs.seen[0].text,
              QStringLiteral(
                  "The internal programming parameters of the Kelvo6 differs from the parameters "
                  "recorded in the current Project.\nIt is recommmended to replace the parameters of the "
                  "project by the sensor ones.\nThe projects parameters will be archived\n Difference are "
                  ":\nGain 2 -> 3\n Press Yes to proceed ?"));
    EXPECT_EQ(dialogs.seen[0].defaultButton, QMessageBox::Cancel);
    EXPECT_EQ(replaced, 1);
}

TEST_F(MainFlowsTest, EraseNeedsBothConfirmationsWithCancelTheDefault) {
    connectSim();
    struct Case {
        QMessageBox::StandardButton first, second;
        bool erased;
    };
    const Case cases[] = {
        {QMessageBox::Cancel, QMessageBox::NoButton, false},
        {QMessageBox::Ok, QMessageBox::Cancel, false},
        {QMessageBox::Ok, QMessageBox::Ok, true},
    };
    for (const Case& c : cases) {
        sim->clearReceived();
        ScriptedDialogs dialogs;
        dialogs.expect(c.first);
        if (c.second != QMessageBox::NoButton) {
            dialogs.expect(c.second);
        }
        if (c.erased) {
            dialogs.expect(QMessageBox::Ok);
        }
        flows->eraseSdCard();
        ASSERT_GE(dialogs.seen.size(), 1u);
        const UiDialogRequest& first = dialogs.seen[0];
        EXPECT_EQ(first.title, QStringLiteral("Delete data in Kelvo6"));
        EXPECT_EQ(first.text,
                  QStringLiteral(
                      "WARNING : All data in Kelvo6 will be deleted.\nThere will be no recovery method"));
        EXPECT_EQ(first.defaultButton, QMessageBox::Cancel);
        EXPECT_EQ(first.labels.value(QMessageBox::Ok), QStringLiteral(" ERASE ALL DATA "));
        if (dialogs.seen.size() >= 2) {
            EXPECT_EQ(dialogs.seen[1].title, QStringLiteral("Delete data in Kelvo6"));
            EXPECT_EQ(dialogs.seen[1].text, QStringLiteral("WARNING : please confirm deleting action !!!!"));
            EXPECT_EQ(dialogs.seen[1].defaultButton, QMessageBox::Cancel);
        }
        EXPECT_EQ(received(QStringLiteral("$PU:makefs;")), c.erased ? 1 : 0);
        if (c.erased) {
            ASSERT_EQ(dialogs.seen.size(), 3u);
            EXPECT_EQ(dialogs.seen[2].title, QStringLiteral("Format result"));
            EXPECT_EQ(dialogs.seen[2].text, QStringLiteral("formatting Done"));
        }
    }
}

TEST_F(MainFlowsTest, ActionsRefusedWithoutAnInstrument) {
    const std::pair<const char*, void (MainFlows::*)()> actions[] = {
        {"erase", &MainFlows::eraseSdCard},
        {"hardware viewer", &MainFlows::viewHardware},
        {"acquisition viewer", &MainFlows::viewAcquisition},
        {"timetable viewer", &MainFlows::viewTimetable},
    };
    for (const auto& [name, action] : actions) {
        ScriptedDialogs dialogs;
        dialogs.expect(QMessageBox::Ok);
        (flows.get()->*action)();
        ASSERT_EQ(dialogs.seen.size(), 1u) << name;
        EXPECT_EQ(dialogs.seen[0].title, QStringLiteral("No device")) << name;
        EXPECT_EQ(dialogs.seen[0].text, QStringLiteral("No device found")) << name;
    }
    // Without a port the interface's own answer is shown.
    EXPECT_FALSE(init_comm(QStringLiteral("/dev/kelvo-no-such-port"), 38400));
    ScriptedDialogs dialogs;
    dialogs.expect(QMessageBox::Ok);
    flows->reboot();
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, QStringLiteral("Reboot Result"));
    EXPECT_EQ(dialogs.seen[0].text, QStringLiteral("Comm not initialized"));
    EXPECT_EQ(dialogs.seen[0].icon, QMessageBox::Critical);
}

TEST_F(MainFlowsTest, ActionOnABusyInstrumentSaysWhatItIsBusyWith) {
    connectSim();
    InstrumentLockGuard held = lock.tryAcquire(QStringLiteral("Retrieve file liste from sensor"));
    ScriptedDialogs dialogs;
    dialogs.expect(QMessageBox::Ok);
    flows->readTime();
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, QStringLiteral("Instrument busy"));
    EXPECT_EQ(dialogs.seen[0].text,
              QStringLiteral("the instrument is busy with Retrieve file liste from sensor"));
    EXPECT_EQ(received(QStringLiteral("$RTCread;")), 0);
}

TEST_F(MainFlowsTest, AutocheckClockAndRebootBoxes) {
    connectSim();
    {
        ScriptedDialogs dialogs;
        dialogs.expect(QMessageBox::Cancel);
        flows->autocheck();
        ASSERT_EQ(dialogs.seen.size(), 1u);
        EXPECT_EQ(dialogs.seen[0].title, QStringLiteral("AutoCheck"));
        EXPECT_EQ(dialogs.seen[0].text,
                  QString::fromUtf8(
                      "Autostart will start once on you click on OK\n\nWARNING : do not face the light "
                      "as it may injure your eyes.\n\n\xE2\x80\xA2 The Kelvo6 light will flash 3 "
                      "times.\n\xE2\x80\xA2 The total procedure will last few seconds\n\xE2\x80\xA2 "
                      "Press \xE2\x80\x9C"
                      "Start Autocheck\xE2\x80\x9D to launch the procedure.\n"));
        EXPECT_EQ(dialogs.seen[0].labels.value(QMessageBox::Ok), QStringLiteral("Start Autocheck"));
        EXPECT_EQ(dialogs.seen[0].buttons, QMessageBox::Ok | QMessageBox::Cancel);
        EXPECT_EQ(received(QStringLiteral("$autocheck;")), 0);
    }
    struct Case {
        void (MainFlows::*action)();
        QMessageBox::StandardButton firstAnswer;
        const char* title;
        const char* textStart;
    };
    const Case cases[] = {
        {&MainFlows::autocheck, QMessageBox::Ok, "AutoCheck Result", "Autocheck successfull"},
        {&MainFlows::synchronizeTime, QMessageBox::Ok, "Time Synchronization Result",
         "Synchronization successfull at UTC : 20"},
        {&MainFlows::readTime, QMessageBox::Ok, "Time Read Result", "$RTCread:"},
        {&MainFlows::reboot, QMessageBox::Ok, "Reboot Result", "Reboot done "},
    };
    for (const Case& c : cases) {
        ScriptedDialogs dialogs;
        dialogs.expect(c.firstAnswer);
        dialogs.expect(QMessageBox::Ok);
        (flows.get()->*c.action)();
        ASSERT_FALSE(dialogs.seen.empty()) << c.title;
        const UiDialogRequest& last = dialogs.seen.back();
        EXPECT_EQ(last.title, QString::fromLatin1(c.title));
        EXPECT_TRUE(last.text.startsWith(QString::fromLatin1(c.textStart))) << last.text.toStdString();
        EXPECT_EQ(last.icon, QMessageBox::Information) << c.title;
        dialogs.answers.clear();
    }
    // The reboot is not answered, so the instrument may read it after the result box.
    EXPECT_TRUE(kelvotest::wait_until([&] { return received(QStringLiteral("$SUreboot;")) == 1; }, 3000));
    EXPECT_TRUE(camera->cameraRef().isEmpty());
    EXPECT_EQ(top->cameraLabel()->text(), QStringLiteral("not connected"));
}

TEST_F(MainFlowsTest, OpeningAProjectShowsTheOpeningTextThenTheSequencesPage) {
    const QString good = makeProject(QStringLiteral("000120LP"));
    project->Close();
    EXPECT_TRUE(flows->openProject(good + QStringLiteral("/")));
    EXPECT_EQ(project->Path(), QDir::cleanPath(good));
    EXPECT_EQ(
        flows->openingPage()->text(),
        QStringLiteral("Project opening in progress...\nMay take long time on big project\nBe patient"));
}

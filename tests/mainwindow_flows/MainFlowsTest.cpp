// The main window's flows offscreen, against the simulator over its pseudo-terminal and loopback
// UDP: the boxes, their texts and default buttons, what reaches the instrument, the refusals, and
// the worker's file-list tasks.
#include "mainwindow/MainFlows.h"
#include "device/InterfaceCamera.h"
#include "eth/UdpTestSender.h"
#include "link/InstrumentProtocol.h"
#include "link/SerialLink.h"
#include "mainwindow/MainTop.h"
#include "project/FPrjSeq.h"
#include "project/Project.h"
#include "sim/Kelvo6Simulator.h"
#include "support/LogCapture.h"
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
#include <vector>

using kelvotest::LogCapture;
using kelvotest::ScriptedDialogs;

namespace {

class MainFlowsTest : public ::testing::Test {
protected:
    void SetUp() override {
        close_comm();
        set_instrument_variant(QString());
        camera = std::make_unique<InterfaceCamera>();
        camera->setEthernetOverride("127.0.0.2", kelvotest::free_udp_port());
        worker = std::make_unique<CThWorker>(camera.get(), &lock);
        project = std::make_unique<Project>();
        window = std::make_unique<QWidget>();
        stack = new QStackedWidget(window.get());
        top = new MainTop(window.get());
        page = new FPrjSeq(project.get(), stack);
        flows = std::make_unique<MainFlows>(MainFlows::Parts{window.get(), camera.get(), worker.get(),
                                                             project.get(), top, stack, page, &lock});
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
        ASSERT_EQ(camera->cameraRef(), "K6LP-0001");
        sim->clearReceived();
    }
    int received(const QString& line) const { return static_cast<int>(sim->receivedLines().count(line)); }

    // A project folder of the instrument `serial` with the folders a load needs.
    static QString makeProject(const QString& serial) {
        const QString dir = kelvotest::make_temp_dir("projects") +
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

TEST_F(MainFlowsTest, CloseIsRefusedWhileATaskIsUnfinishedAndStopSkipsTheQueuedOnes) {
    LogCapture log;
    std::atomic<bool> release{false};
    worker->setWork("ExportODV", [&](KelvoTaskInfo& task) {
        while (!release.load()) {
            QThread::msleep(2);
        }
        return task.target == QLatin1String("bad") ? QStringLiteral("Warn: no data in bad")
                                                   : QStringLiteral("Export ODV %1 done!!").arg(task.target);
    });
    auto running = worker->enqueue("ExportODV", "/p", "s1");
    QLabel* status = top->statusLabel();
    ASSERT_TRUE(kelvotest::wait_until([&] { return status->text() == "Pending:1 / Export ODV s1"; }))
        << status->text().toStdString();
    EXPECT_EQ(status->styleSheet(), "background-color:#5d79b6;color:#ffffff;");
    {
        ScriptedDialogs dialogs;
        dialogs.expect(QMessageBox::Ok);
        EXPECT_FALSE(flows->canClose());
        ASSERT_EQ(dialogs.seen.size(), 1u);
        EXPECT_EQ(dialogs.seen[0].title, "Impossible to exit");
        EXPECT_EQ(dialogs.seen[0].text,
                  "Impossible to exit while there's some asynchronous task running\nYou can use Menu "
                  "'File/Stop at the end of current task' to leave the application as soon as possible");
        EXPECT_EQ(dialogs.seen[0].icon, QMessageBox::Warning);
        EXPECT_TRUE(log.saw("MainWindow|1|Impossible to exit while there's some asynchronous task running"));
    }
    // The running task ends normally; the queued ones are skipped.
    auto skipped = worker->enqueue("ExportODV", "/p", "s2");
    flows->stopAtEndOfTask();
    EXPECT_TRUE(log.saw("MainWindow|1|Cancellation at the end of the current job requested"));
    release = true;
    ASSERT_TRUE(kelvotest::wait_until([&] { return status->text() == "Cancellation done!!"; }));
    EXPECT_EQ(status->styleSheet(), "background-color:#1b5e20;color:#ffffff;");
    EXPECT_EQ(running->outcome, "Export ODV s1 done!!");
    EXPECT_EQ(skipped->outcome, "Cancellation done!!");
    ScriptedDialogs none;
    EXPECT_TRUE(flows->canClose());
    // Once nothing is left the request is spent: the next task runs.
    worker->enqueue("ExportODV", "/p", "bad");
    ASSERT_TRUE(kelvotest::wait_until([&] { return status->text() == "Warn: no data in bad"; }));
    EXPECT_EQ(status->styleSheet(), "background-color:yellow;color:black;");
}

TEST_F(MainFlowsTest, FailedCheckAsksOkOrRetryAndRetryTriesAgain) {
    SimOptions options;
    options.firmware = "V3.4.2,2022.01.10"; // refused: no identity
    startSim(options);
    ScriptedDialogs dialogs;
    dialogs.expect(QMessageBox::Retry);
    dialogs.expect(QMessageBox::Ok);
    flows->checkConnection(true);
    ASSERT_EQ(dialogs.seen.size(), 2u);
    for (const UiDialogRequest& box : dialogs.seen) {
        EXPECT_EQ(box.title, "Communication error");
        EXPECT_EQ(box.text, "NO RS232 communication with the Kelvo\n"
                            " - Check that the Kelvo6 is powered\n"
                            " - Check that the Kelvo is connected by RS232 to your computer\n"
                            " - Check the COM port indicated in the Application Settings\n"
                            " - Check the Kelvoapp version compatibilty in the Application settings");
        EXPECT_EQ(box.buttons, QMessageBox::Ok | QMessageBox::Retry);
        EXPECT_EQ(box.icon, QMessageBox::Warning);
        EXPECT_EQ(box.detailText, QString()); // the port itself is open
    }
    EXPECT_EQ(received("$VERSION;"), 2);
    EXPECT_EQ(top->cameraLabel()->text(), "not connected");

    // A port that could not be opened: the same box, with the system's reason as its details.
    ASSERT_FALSE(init_comm(QStringLiteral("/dev/kelvo-test-none"), 38400));
    dialogs.expect(QMessageBox::Ok);
    flows->checkConnection(true);
    ASSERT_EQ(dialogs.seen.size(), 3u);
    EXPECT_EQ(dialogs.seen[2].text, dialogs.seen[0].text);
    EXPECT_EQ(dialogs.seen[2].detailText,
              "The serial port /dev/kelvo-test-none could not be opened: No such file or directory");
}

TEST_F(MainFlowsTest, ProjectThatDoesNotLoadIsToldWithTheLoggedReason) {
    connectSim();
    const QString root = kelvotest::make_temp_dir("projects");
    QDir().mkpath(root + "/kelvo6_snk6lp-0001_2024_noconfig/meta");
    const QString foreign = makeProject("000120LP");
    const std::pair<QString, QString> cases[] = {
        {root + "/kelvo6_snk6lp-0001_2024_gone",
         "Project kelvo6_snk6lp-0001_2024_gone : Directory not found"},
        {root + "/kelvo6_snk6lp-0001_2024_noconfig",
         "Project kelvo6_snk6lp-0001_2024_noconfig : Is not valid, Subdirectory 'config' not found"},
        {foreign,
         "Project kelvo6_sn000120lp_2024_demo can't be loaded because is not related to sensor K6LP-0001"},
    };
    for (const auto& [path, reason] : cases) {
        LogCapture log;
        ScriptedDialogs dialogs;
        dialogs.expect(QMessageBox::Ok);
        EXPECT_FALSE(flows->openProject(path, true));
        ASSERT_EQ(dialogs.seen.size(), 1u) << path.toStdString();
        EXPECT_EQ(dialogs.seen[0].title, "Open project");
        EXPECT_EQ(dialogs.seen[0].text, reason);
        EXPECT_EQ(dialogs.seen[0].icon, QMessageBox::Warning);
        EXPECT_TRUE(log.saw("Project|0|" + reason.toStdString()));
    }
}

TEST_F(MainFlowsTest, ConnectingAnotherInstrumentUnloadsTheProject) {
    LogCapture log;
    const QString foreign = makeProject("000120LP");
    ASSERT_TRUE(flows->openProject(foreign + "/"));
    EXPECT_EQ(project->Path(), QDir::cleanPath(foreign));
    EXPECT_EQ(stack->currentWidget(), page);
    EXPECT_EQ(flows->openingPage()->text(),
              "Project opening in progress...\nMay take long time on big project\nBe patient");
    EXPECT_EQ(top->projectLabel()->text(), "kelvo6_sn000120lp_2024_demo");
    connectSim();
    EXPECT_TRUE(log.saw("MainWindow|2|Connected sensor change /=>K6LP-0001/LU-0001"));
    EXPECT_TRUE(
        log.saw("MainWindow|1|Project kelvo6_sn000120lp_2024_demo is unloaded because is not related to "
                "sensor K6LP-0001"));
    EXPECT_FALSE(project->IsOpen());
    EXPECT_EQ(top->projectLabel()->text(), "No project");
    EXPECT_EQ(top->cameraLabel()->text(), "K6LP-0001");
    EXPECT_EQ(project->ConnectedSerial(), "K6LP-0001");

    // The instrument's own project stays open across a check, and the differing parameters are
    // offered for replacement (Cancel is the default).
    ASSERT_TRUE(flows->openProject(makeProject("K6LP-0001")));
    int replaced = 0;
    flows->setParameterManagement([] { return QStringLiteral("\nGain 2 -> 3"); }, [&] { ++replaced; });
    ScriptedDialogs dialogs;
    dialogs.expect(QMessageBox::Yes);
    flows->checkConnection(true);
    EXPECT_TRUE(project->IsOpen());
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, "Parameters differ");
    EXPECT_EQ(
        dialogs.seen[0].text,
        "The internal programming parameters of the Kelvo6 differs from the parameters recorded in the "
        "current Project.\nIt is recommmended to replace the parameters of the project by the sensor "
        "ones.\nThe projects parameters will be archived\n Difference are :\nGain 2 -> 3\n Press Yes to "
        "proceed ?");
    EXPECT_EQ(dialogs.seen[0].defaultButton, QMessageBox::Cancel);
    EXPECT_EQ(replaced, 1);
}

TEST_F(MainFlowsTest, EraseNeedsBothConfirmationsWithCancelTheDefault) {
    connectSim();
    const char* const texts[] = {
        "WARNING : All data in Kelvo6 will be deleted.\nThere will be no recovery method",
        "WARNING : please confirm deleting action !!!!",
        "formatting Done",
    };
    using B = QMessageBox::StandardButton;
    const std::vector<B> answerLists[] = {{B::Cancel}, {B::Ok, B::Cancel}, {B::Ok, B::Ok, B::Ok}};
    for (const std::vector<B>& answers : answerLists) {
        sim->clearReceived();
        ScriptedDialogs dialogs;
        dialogs.answers.assign(answers.begin(), answers.end());
        flows->eraseSdCard();
        ASSERT_EQ(dialogs.seen.size(), answers.size());
        for (size_t i = 0; i < answers.size(); ++i) {
            const bool confirmation = i < 2;
            EXPECT_EQ(dialogs.seen[i].title, confirmation ? "Delete data in Kelvo6" : "Format result");
            EXPECT_EQ(dialogs.seen[i].text, texts[i]);
            if (confirmation) {
                EXPECT_EQ(dialogs.seen[i].defaultButton, QMessageBox::Cancel) << i;
            }
        }
        EXPECT_EQ(dialogs.seen[0].labels.value(QMessageBox::Ok), " ERASE ALL DATA ");
        EXPECT_EQ(received("$PU:makefs;"), answers.size() == 3 ? 1 : 0);
    }
}

TEST_F(MainFlowsTest, ActionsRefusedWithoutAnInstrument) {
    {
        ScriptedDialogs none; // a check the user did not ask for fails quietly
        flows->checkConnection(false);
        EXPECT_TRUE(camera->cameraRef().isEmpty());
    }
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
        EXPECT_EQ(dialogs.seen[0].title, "No device") << name;
        EXPECT_EQ(dialogs.seen[0].text, "No device found") << name;
    }
    // Without a port the interface's own answer is shown.
    EXPECT_FALSE(init_comm("/dev/kelvo-no-such-port", 38400));
    ScriptedDialogs dialogs;
    dialogs.expect(QMessageBox::Ok);
    flows->reboot();
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, "Reboot Result");
    EXPECT_EQ(dialogs.seen[0].text, "Comm not initialized");
    EXPECT_EQ(dialogs.seen[0].icon, QMessageBox::Critical);
}

TEST_F(MainFlowsTest, ActionOnABusyInstrumentSaysWhatItIsBusyWith) {
    connectSim();
    InstrumentLockGuard held = lock.tryAcquire("Retrieve file liste from sensor");
    ScriptedDialogs dialogs;
    dialogs.expect(QMessageBox::Ok);
    flows->readTime();
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, "Instrument busy");
    EXPECT_EQ(dialogs.seen[0].text, "the instrument is busy with Retrieve file liste from sensor");
    EXPECT_EQ(dialogs.seen[0].icon, QMessageBox::Warning);
    EXPECT_EQ(received("$RTCread;"), 0);
}

TEST_F(MainFlowsTest, AutocheckClockAndRebootBoxes) {
    connectSim();
    {
        ScriptedDialogs dialogs;
        dialogs.expect(QMessageBox::Cancel);
        flows->autocheck();
        ASSERT_EQ(dialogs.seen.size(), 1u);
        EXPECT_EQ(dialogs.seen[0].title, "AutoCheck");
        EXPECT_EQ(dialogs.seen[0].text,
                  "Autostart will start once on you click on OK\n\nWARNING : do not face the light as it may "
                  "injure your eyes.\n\n\xE2\x80\xA2 The Kelvo6 light will flash 3 times.\n\xE2\x80\xA2 The "
                  "total procedure will last few seconds\n\xE2\x80\xA2 Press \xE2\x80\x9C"
                  "Start Autocheck\xE2\x80\x9D to launch the procedure.\n");
        EXPECT_EQ(dialogs.seen[0].labels.value(QMessageBox::Ok), "Start Autocheck");
        EXPECT_EQ(dialogs.seen[0].buttons, QMessageBox::Ok | QMessageBox::Cancel);
        EXPECT_EQ(received("$autocheck;"), 0);
    }
    // The clock's answers carry the time: only the start of their text is known.
    const struct {
        void (MainFlows::*action)();
        const char* title;
        const char* textStart;
    } cases[] = {
        {&MainFlows::autocheck, "AutoCheck Result", "Autocheck successfull"},
        {&MainFlows::synchronizeTime, "Time Synchronization Result",
         "Synchronization successfull at UTC : 20"},
        {&MainFlows::readTime, "Time Read Result", "$RTCread:"},
        {&MainFlows::reboot, "Reboot Result", "Reboot done "},
    };
    for (const auto& c : cases) {
        ScriptedDialogs dialogs;
        dialogs.answers = {QMessageBox::Ok, QMessageBox::Ok}; // the autocheck asks first
        (flows.get()->*c.action)();
        ASSERT_FALSE(dialogs.seen.empty()) << c.title;
        const UiDialogRequest& last = dialogs.seen.back();
        EXPECT_EQ(last.title, c.title);
        EXPECT_TRUE(last.text.startsWith(c.textStart)) << last.text.toStdString();
        EXPECT_EQ(last.icon, QMessageBox::Information) << c.title;
        dialogs.answers.clear();
    }
    // The reboot is not answered, so the instrument may read it after the result box.
    EXPECT_TRUE(kelvotest::wait_until([&] { return received("$SUreboot;") == 1; }, 3000));
    EXPECT_TRUE(camera->cameraRef().isEmpty());
    EXPECT_EQ(top->cameraLabel()->text(), "not connected");
}

TEST_F(MainFlowsTest, ListingTasksFetchTheCardTreeUnderTheInstrumentLock) {
    SimOptions options;
    options.cardDir = kelvotest::make_temp_dir("card");
    options.linkRateMbps = 0;
    ASSERT_TRUE(kelvotest::write_file(options.cardDir + "/2023/06/20230612-101500/x_data.txt", "d"));
    connectSim(options);
    std::atomic<bool> lockHeldDuringList{false};
    set_comm_send_hook([&](const std::string& line) {
        if (line.starts_with("$PU:filedump")) {
            lockHeldDuringList = lock.holder() == QLatin1String("Retrieve file liste from sensor");
        }
    });
    // The card has no "tree.txt" until the instrument rebuilds it.
    auto updated = worker->enqueue("treeupdatesdlist", QString(), "tree.txt");
    auto plain = worker->enqueue("sdlist", QString(), "tree.txt");
    ASSERT_TRUE(kelvotest::wait_until([&] { return worker->pendingCount() == 0; }, 20000));
    set_comm_send_hook({});

    EXPECT_EQ(plain->outcome, "Retrieve file liste from sensor done!!");
    EXPECT_EQ(updated->outcome, "Retrieve file liste from sensor done!!");
    EXPECT_TRUE(lockHeldDuringList.load());
    EXPECT_FALSE(lock.isBusy());
    EXPECT_EQ(received("$PU:treeupdate;"), 1);
    const QByteArray tree = kelvotest::read_file(options.cardDir + "/tree.txt");
    EXPECT_TRUE(tree.contains("x_data.txt"));
    EXPECT_EQ(updated->result.toString().toUtf8(), tree);
    EXPECT_EQ(plain->result.toString().toUtf8(), tree);
}

TEST_F(MainFlowsTest, ListingFromAnUnreachableInstrumentEndsWithAWarning) {
    auto task = worker->enqueue("sdlist", QString(), "tree.txt");
    ASSERT_TRUE(kelvotest::wait_until([&] { return worker->pendingCount() == 0; }, 30000));
    EXPECT_EQ(task->outcome, "Warn: Retrieve file liste from sensor failed : tree.txt transfer failed");
}

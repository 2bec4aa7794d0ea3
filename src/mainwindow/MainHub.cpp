#include "MainHub.h"

#include "MainFlows.h"
#include "MainTop.h"
#include "MainWindow.h"
#include "ScreenshotTour.h"
#include "app/AppSettings.h"
#include "app/UiDialogs.h"
#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"
#include "processing/ExportTasks.h"
#include "processing/SamplePlots.h"
#include "processing/SampleTasks.h"
#include "programming/ProgrammingActions.h"
#include "project/DemoProject.h"
#include "project/FPrjSample.h"
#include "project/FPrjSeq.h"
#include "project/Project.h"
#include "sim/DemoInstrument.h"
#include "terminal/DlgSerialTerminal.h"
#include "tools/DlgLiveCamera.h"
#include "tools/DlgMergeSequence.h"
#include "tools/DownloadTasks.h"
#include "tools/FFileTransfert.h"
#include "trace/ZelTraceMgr.h"
#include "worker/CThWorker.h"
#include "worker/InstrumentLock.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QComboBox>
#include <QDir>
#include <QStackedWidget>
#include <QStandardPaths>
#include <QTimer>
#include <QVBoxLayout>

namespace {

constexpr const char* kModule = "MainWindow";

} // namespace

MainHub::MainHub(MainWindow* window)
    : QObject(window)
    , m_window(window)
    , m_camera(std::make_unique<InterfaceCamera>())
    , m_worker(std::make_unique<CThWorker>(m_camera.get(), &InstrumentLock::instance()))
    , m_project(new Project(this))
    , m_top(new MainTop)
    , m_sequences(new FPrjSeq(m_project))
    , m_download(nullptr) {
    DownloadTasks::install(*m_worker, *m_camera, &InstrumentLock::instance());
    m_download = new FFileTransfert(m_project, m_worker.get());
    window->stackedArea()->addWidget(m_download);
    SampleTasks::install(*m_worker);
    ExportTasks::install(*m_worker);
    // The worker prepares the figures; the plots, being widgets, are drawn on this thread.
    ExportTasks::setPlotRenderer(
        [this](const SampleSpectrumData& sample, const SpectrumSettings& settings, const QString& folder) {
            QString result;
            QMetaObject::invokeMethod(
                this, [&] { result = SamplePlots::exportPng(sample, settings, folder); },
                Qt::BlockingQueuedConnection);
            return result;
        });
    m_samples = new FPrjSample(m_project, m_worker.get());
    window->stackedArea()->addWidget(m_samples);
    connect(m_sequences, &FPrjSeq::ZipVignettesRequested, this, &MainHub::queueZipVignettes);
    connect(m_sequences, &FPrjSeq::MergeSequencesRequested, this, &MainHub::openMergeDialog);
    // The sequences page shows what a download or an archive changed on disk.
    connect(
        m_worker.get(), &CThWorker::TaskFinished, m_sequences,
        [this](KelvoTaskInfoPtr task) {
            if (task && (task->kind == QLatin1String("retrievefromsensor") ||
                         task->kind == QLatin1String("ZipVignettes"))) {
                m_sequences->on_btRefresh_clicked();
            }
        },
        Qt::QueuedConnection);
    connect(window, &MainWindow::startupRequested, this, &MainHub::openDemoProject, Qt::QueuedConnection);
    // The dashboard sits above the page area.
    if (QWidget* central = window->centralWidget()) {
        if (auto* layout = qobject_cast<QVBoxLayout*>(central->layout())) {
            layout->insertWidget(0, m_top);
        }
    }
    MainFlows::Parts parts;
    parts.window = window;
    parts.camera = m_camera.get();
    parts.worker = m_worker.get();
    parts.project = m_project;
    parts.top = m_top;
    parts.stack = window->stackedArea();
    parts.sequencesPage = m_sequences;
    m_flows = new MainFlows(parts, this);
    window->setProjectOpener(
        [this](const QString& path, bool tellUser) { return m_flows->openProject(path, tellUser); });
    // Programming presets, project creation and the connection check's parameter question.
    auto* programming = new ProgrammingActions(
        window, m_camera.get(), m_project,
        [window](const QString& path) { return window->openProject(path, true); }, this);
    m_flows->setParameterManagement(
        [this, programming] {
            const QString differences = programming->compareWithProject();
            // The demo project is made without parameter files: the demo instrument's become its
            // own at the first connection, rather than a question to a newcomer.
            if (!differences.isEmpty() && m_demo && m_project->IsOpen() &&
                m_project->Path() == m_demoProject &&
                QDir(m_demoProject + QStringLiteral("/config"))
                    .entryList({QStringLiteral("HW*.txt")}, QDir::Files)
                    .isEmpty()) {
                programming->replaceProjectParameters();
                return QString();
            }
            return differences;
        },
        [programming] { programming->replaceProjectParameters(); });
    wireActions();
    window->installEventFilter(this);
}

MainHub::~MainHub() {
    ExportTasks::setPlotRenderer({});
    // The worker goes before the instrument it uses.
    m_worker.reset();
    if (m_demo) {
        close_comm();
        AppSettings::setRunEthernet(QString(), 0);
    }
}

void MainHub::wireActions() {
    const auto wire = [this](const char* name, auto slot) {
        if (auto* act = m_window->findChild<QAction*>(QLatin1String(name))) {
            act->setEnabled(true);
            connect(act, &QAction::triggered, m_flows, slot);
        }
    };
    wire("actionCheck_connection", [this] { m_flows->checkConnection(true); });
    wire("actionReboot_and_disconnect", [this] { m_flows->reboot(); });
    wire("actionAutocheck", [this] { m_flows->autocheck(); });
    wire("actionErase_data_in_Kelvo6", [this] { m_flows->eraseSdCard(); });
    wire("actionSynchronize_Kelvo_Time", [this] { m_flows->synchronizeTime(); });
    wire("actionRead_Kelvo_Time", [this] { m_flows->readTime(); });
    wire("actionView_current_Camera_HW_Conf", [this] { m_flows->viewHardware(); });
    wire("actionView_current_Camera_ACQ_Conf", [this] { m_flows->viewAcquisition(); });
    wire("actionView_Timetable", [this] { m_flows->viewTimetable(); });
    wire("actionStop_asynchronous_job_ASAP", [this] { m_flows->stopAtEndOfTask(); });
    // Stopping means something only while a task is pending.
    if (auto* stop = m_window->findChild<QAction*>(QStringLiteral("actionStop_asynchronous_job_ASAP"))) {
        stop->setEnabled(m_worker->pendingCount() > 0);
        CThWorker* worker = m_worker.get();
        const auto follow = [stop, worker] { stop->setEnabled(worker->pendingCount() > 0); };
        connect(worker, &CThWorker::EnQueueTask, stop, follow, Qt::QueuedConnection);
        connect(worker, &CThWorker::StatusChanged, stop, follow, Qt::QueuedConnection);
    }
    wire("actionProject_sequences", [this] { m_window->stackedArea()->setCurrentWidget(m_sequences); });
    wire("actionProject_samples", [this] { m_window->stackedArea()->setCurrentWidget(m_samples); });
    wire("actionDownload_Data", [this] { m_window->stackedArea()->setCurrentWidget(m_download); });
    wire("actionMerge_sequences", [this] { openMergeDialog(); });
    // The live loop takes the instrument itself, on its own thread, and says so when it is busy.
    wire("actionLive_Camera", [this] {
        DlgLiveCamera dialog(m_camera.get(), m_project, &InstrumentLock::instance(), m_window);
        dialog.exec();
    });
    // Each line of the terminal takes the instrument itself and says so when it is busy.
    wire("actionOpen_VortOS_terminal", [this] { open_terminal(m_window); });
}

bool MainHub::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_window && event->type() == QEvent::Close && !m_flows->canClose()) {
        event->ignore();
        return true;
    }
    if (watched == m_window && event->type() == QEvent::Show && !m_shown) {
        m_shown = true;
        if (m_demo) {
            // After the window opened the demo's port.
            QTimer::singleShot(0, this, [this] { connectDemo(); });
        }
    }
    return QObject::eventFilter(watched, event);
}

bool MainHub::startDemo(QString* error, const QString& folder) {
    auto demo = std::make_unique<DemoInstrument>();
    if (!demo->start(error, folder)) {
        return false;
    }
    m_demo = std::move(demo);
    // Every Ethernet link of the run (the device's, the terminal's) goes to the demo.
    AppSettings::setRunEthernet(m_demo->hostAddress(), m_demo->udpPort());
    m_window->setPortOverride(m_demo->portPath());
    m_window->setWindowTitle(m_window->windowTitle() + demoTitleSuffix());
    GetTraceMgr()->logf(kModule, ZelLevelInformation, "Demo instrument on {} (UDP {}:{})", m_demo->portPath(),
                        m_demo->hostAddress(), m_demo->udpPort());
    return true;
}

void MainHub::queueZipVignettes(const QStringList& sequences) {
    if (!m_project->IsOpen()) {
        return;
    }
    for (const QString& seq : sequences) {
        m_worker->enqueue(QStringLiteral("ZipVignettes"), m_project->Path(), seq, {}, true);
    }
}

void MainHub::openMergeDialog() {
    if (!m_project->IsOpen()) {
        UiDialogs::warning(m_window, QStringLiteral("No project"),
                           QStringLiteral("Open a project before merging its sequences"));
        return;
    }
    DlgMergeSequence dialog(m_project, m_window);
    connect(&dialog, &DlgMergeSequence::SequencesChanged, m_sequences, &FPrjSeq::on_btRefresh_clicked);
    dialog.exec();
}

void MainHub::openDemoProject() {
    if (!m_demo || m_project->IsOpen()) {
        return;
    }
    const QStringList fields = m_demo->simulator()->hardwareFields();
    const QString serial = fields.isEmpty() ? QString() : fields.first(); // Camera_ref
    QString error;
    const QString parent = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    const QString path = DemoProject::ensure(parent, serial, &error);
    if (path.isEmpty()) {
        GetTraceMgr()->logf(kModule, ZelLevelError, "{}", error);
        return;
    }
    m_demoProject = path;
    m_window->openProject(path);
}

void MainHub::connectDemo() {
    m_flows->checkConnection(false);
}

ScreenshotTour* MainHub::makeScreenshotTour(const QString& folder) {
    auto* tour = new ScreenshotTour(folder, this);
    QStackedWidget* stack = m_window->stackedArea();
    const auto window = [this]() -> QWidget* { return m_window; };
    const auto topLevel = [](const char* className) {
        return [className]() -> QWidget* {
            for (QWidget* w : QApplication::topLevelWidgets()) {
                if (w->isVisible() && w->inherits(className)) {
                    return w;
                }
            }
            return nullptr;
        };
    };
    tour->add({QStringLiteral("main.png"), [stack] { stack->setCurrentIndex(0); }, window});
    tour->add({QStringLiteral("sequences.png"),
               [this, stack] {
                   stack->setCurrentWidget(m_sequences);
                   // The card's listing runs meanwhile, so that the download page shows it.
                   if (m_project->IsOpen()) {
                       m_download->on_btGetFileList_clicked();
                   }
               },
               window});
    tour->add(
        {QStringLiteral("download.png"), [this, stack] { stack->setCurrentWidget(m_download); }, window});
    tour->add({QStringLiteral("hardware-viewer.png"), [this] { m_flows->viewHardware(); },
               topLevel("DlgParamViewer")});
    tour->add({QStringLiteral("acquisition-viewer.png"), [this] { m_flows->viewAcquisition(); },
               topLevel("DlgAcqParamViewer")});
    tour->add({QStringLiteral("timetable-viewer.png"), [this] { m_flows->viewTimetable(); },
               topLevel("DlgTimetableViewer")});
    // The terminal with a command's output in it.
    tour->add({QStringLiteral("terminal.png"),
               [this] {
                   DlgSerialTerminal* terminal = open_terminal(m_window);
                   if (auto* command = terminal->findChild<QComboBox*>(QStringLiteral("edCommand"))) {
                       command->setEditText(QStringLiteral("help"));
                       terminal->on_BtSend_clicked();
                   }
               },
               topLevel("DlgSerialTerminal")});
    tour->add({QStringLiteral("settings.png"), [this] { m_window->showAppSettings(); },
               topLevel("DlgAppSettings")});
    return tour;
}

#include "MainWindow.h"

#include "KelvoVersion.h"
#include "app/AppSettings.h"
#include "app/DlgAppSettings.h"
#include "app/DlgLogin.h"
#include "app/RecentFiles.h"
#include "app/UiDialogs.h"
#include "app/WorkFolder.h"
#include "link/SerialLink.h"
#include "trace/SerialTraceWindow.h"
#include "trace/ZelTraceMgr.h"
#include "trace/ZelTraceMgrFileMulti.h"
#include "trace/ZelTraceMgrTreeView.h"

#include <QAction>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QMenuBar>
#include <QSplitter>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTimer>
#include <QVBoxLayout>

namespace {

constexpr const char* kModule = "MainWindow";

// Both logs see the serial layer's errors: the application log is where the user looks first.
void log_serial_error(const std::string& text) {
    GetTraceMgr()->post("VortOS", ZelLevelError, text);
    GetSerialTraceMgr()->post("VortOS", ZelLevelError, text);
}

} // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent) {
    // Touched first so that the application log exists before anything else logs.
    GetTraceMgr();
    buildForm();
    QCoreApplication::setOrganizationName(QStringLiteral("KelvoApp"));
    QCoreApplication::setApplicationName(QStringLiteral("KelvoApp"));
    UiDialogs::setMainWindow(this);
    setWindowTitle(QString::fromLatin1(kelvo_version_string()));

    if (QAction* exit = findChild<QAction*>(QStringLiteral("actionExit"))) {
        exit->setShortcut(QKeySequence::Quit);
    }
    m_loginAction = menuBar()->addAction(QStringLiteral("Login"));
    m_loginAction->setObjectName(QStringLiteral("actionLogin"));
    connect(m_loginAction, &QAction::triggered, this, &MainWindow::LoginMenuClicked);

    for (int i = 0; i < RecentFiles::kMaxRecentFiles; ++i) {
        auto* act = new QAction(this);
        act->setObjectName(QStringLiteral("actionRecentFile%1").arg(i + 1));
        act->setVisible(false);
        connect(act, &QAction::triggered, this, &MainWindow::onOpenRecent);
        m_menuRecent->addAction(act);
        m_recentActions << act;
    }
    updateRecentFileActions();

    connect(this, &MainWindow::startupRequested, this, &MainWindow::onDeferredStartup,
            static_cast<Qt::ConnectionType>(Qt::QueuedConnection | Qt::UniqueConnection));

    m_traceView = new ZelTraceMgrTreeView(GetTraceMgr()->GetDispatcher(), m_logPanel);
    m_appLog = std::make_unique<ZelTraceMgrFileMulti>(GetTraceMgr()->GetDispatcher(),
                                                      WorkFolder::filePath(QStringLiteral("Kelvoapp.log")),
                                                      kLogFileCount, kLogFileSizeKiB);
    m_serialLog = std::make_unique<ZelTraceMgrFileMulti>(
        GetSerialTraceMgr()->GetDispatcher(), WorkFolder::filePath(QStringLiteral("Kelvoapp.serial.log")),
        kLogFileCount, kLogFileSizeKiB);
    set_comm_error_hook(&log_serial_error);
    GetTraceMgr()->log(kModule, ZelLevelInformation, "Started Trace Manager");

    m_commStatus = new QLabel(QStringLiteral("Comm status"), this);
    m_commStatus->setObjectName(QStringLiteral("lblCommStatus"));
    statusBar()->addPermanentWidget(m_commStatus);
}

MainWindow::~MainWindow() {
    // The hooks outlive the window: they only reach the process-wide trace managers.
    if (UiDialogs::mainWindow() == this) {
        UiDialogs::setMainWindow(nullptr);
    }
}

void MainWindow::buildForm() {
    setObjectName(QStringLiteral("MainWindow"));
    resize(1100, 760);
    auto* central = new QWidget(this);
    central->setObjectName(QStringLiteral("centralwidget"));
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(4, 4, 4, 4);
    auto* splitter = new QSplitter(Qt::Vertical, central);
    splitter->setObjectName(QStringLiteral("splitterMain"));

    m_stack = new QStackedWidget(splitter);
    m_stack->setObjectName(QStringLiteral("stackedWidget"));
    // Until a project's pages exist, the area tells where to start.
    auto* home = new QLabel(QStringLiteral("<h2>Kelvo App</h2>"
                                           "<p>Open a project from the <b>File</b> menu, "
                                           "or connect the Kelvo6 from the <b>Sensor</b> menu.</p>"),
                            m_stack);
    home->setObjectName(QStringLiteral("pageHome"));
    home->setAlignment(Qt::AlignCenter);
    home->setStyleSheet(QStringLiteral("color:#555555;"));
    m_stack->addWidget(home);

    m_logPanel = new QWidget(splitter);
    m_logPanel->setObjectName(QStringLiteral("logPanel"));
    splitter->addWidget(m_stack);
    splitter->addWidget(m_logPanel);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 1);
    // The pages get most of the height; the log keeps a readable strip below them.
    splitter->setSizes({520, 200});
    layout->addWidget(splitter);
    setCentralWidget(central);
    buildMenus();
    statusBar()->setObjectName(QStringLiteral("statusbar"));
}

QAction* MainWindow::makeAction(const char* objectName, const QString& label, QMenu* menu, bool enabled) {
    auto* act = new QAction(label, this);
    act->setObjectName(QLatin1String(objectName));
    act->setEnabled(enabled);
    menu->addAction(act);
    return act;
}

// Actions whose feature is not built yet are present but disabled; each enables itself when
// its feature lands.
void MainWindow::buildMenus() {
    QMenuBar* bar = menuBar();
    QMenu* file = bar->addMenu(QStringLiteral("&File"));
    file->setObjectName(QStringLiteral("menuFile"));
    QMenu* sensor = bar->addMenu(QStringLiteral("&Sensor"));
    sensor->setObjectName(QStringLiteral("menuSensor"));
    QMenu* project = bar->addMenu(QStringLiteral("&Project"));
    project->setObjectName(QStringLiteral("menuProject"));
    QMenu* help = bar->addMenu(QStringLiteral("&Help"));
    help->setObjectName(QStringLiteral("menuHelp"));
    QMenu* data = bar->addMenu(QStringLiteral("Data"));
    data->setObjectName(QStringLiteral("menuData"));

    // The first letter is the Greek capital Omicron, hence the object name.
    makeAction("action_pen_project", QString::fromUtf8("&\xCE\x9Fpen project"), file);
    makeAction("actionCreate_new_project", QStringLiteral("Create &new project"), file);
    m_menuRecent = file->addMenu(QStringLiteral("Open Recent"));
    m_menuRecent->setObjectName(QStringLiteral("menuOpen_Recent"));
    file->addSeparator();
    QAction* settings =
        makeAction("actionApplication_settings", QStringLiteral("Application settings"), file, true);
    connect(settings, &QAction::triggered, this, &MainWindow::showAppSettings);
    makeAction("actionStop_asynchronous_job_ASAP", QStringLiteral("Stop at the end of current task"), file);
    file->addSeparator();
    QAction* exit = makeAction("actionExit", QStringLiteral("Exit"), file, true);
    connect(exit, &QAction::triggered, this, &QWidget::close);

    makeAction("actionCheck_connection", QStringLiteral("Connect to sensor"), sensor);
    makeAction("actionOpen_VortOS_terminal", QStringLiteral("Open VortOS terminal"), sensor);
    QAction* monitor =
        makeAction("actionView_serial_monitoring", QStringLiteral("Monitor serial port"), sensor, true);
    connect(monitor, &QAction::triggered, this, [this] { SerialTraceWindow::showMonitor(this); });
    sensor->addSeparator();
    makeAction("actionView_current_Camera_HW_Conf", QStringLiteral("View camera settings (HW)"), sensor);
    makeAction("actionView_current_Camera_ACQ_Conf", QStringLiteral("View acquisition settings (ACQ)"),
               sensor);
    makeAction("actionView_Timetable", QStringLiteral("View Timetable"), sensor);
    sensor->addSeparator();
    QMenu* program = sensor->addMenu(QStringLiteral("Program Kelvo6"));
    program->setObjectName(QStringLiteral("menuProgram_Kelvo6"));
    makeAction("actionTIME_Mode", QStringLiteral("TIME"), program);
    makeAction("actionSUPERVISED_Mode", QStringLiteral("SUPERVISED"), program);
    makeAction("actionAuto_Mode", QStringLiteral("AUTO"), program);
    makeAction("actionCTD_Mode", QStringLiteral("CTD"), program);
    program->addSeparator();
    makeAction("actionCTS5_USEA_mode", QStringLiteral("NKE : CTS5 float"), program);
    makeAction("actionALS_Sea_Explorer", QStringLiteral("ALS : SeaExplorer"), program);
    makeAction("actionCSCS_SeaGlider", QStringLiteral("CSCS : SeaGlider"), program);
    sensor->addSeparator();
    makeAction("actionAutocheck", QStringLiteral("Autocheck"), sensor);
    makeAction("actionSynchronize_Kelvo_Time", QStringLiteral("Synchronize Kelvo Time with PC (UTC)"),
               sensor);
    makeAction("actionRead_Kelvo_Time", QStringLiteral("Check Kelvo Time"), sensor);
    makeAction("actionLive_Camera", QStringLiteral("Live Camera"), sensor);
    sensor->addSeparator();
    makeAction("actionErase_data_in_Kelvo6", QStringLiteral("Delete sequence in Kelvo6"), sensor);
    makeAction("actionReboot_and_disconnect", QStringLiteral("Reboot sensor and disconnect"), sensor);

    makeAction("actionProject_sequences", QStringLiteral("Manage downloaded sequences"), project);
    makeAction("actionProject_samples", QStringLiteral("Manage samples"), project);
    makeAction("actionProject_settings", QStringLiteral("Edit project metadata"), project);
    project->addSeparator();
    makeAction("actionView_camera_settings_HW_File", QStringLiteral("View camera settings (HW) File"),
               project);
    makeAction("actionView_acquisition_settings_ACQ_File",
               QStringLiteral("View acquisition settings (ACQ) File"), project);
    makeAction("actionView_Timetable_File", QStringLiteral("View Timetable File"), project);

    makeAction("actiontest", QStringLiteral("test"), help);

    makeAction("actionDownload_Data", QStringLiteral("Download sequences"), data);
    makeAction("actionMerge_sequences", QStringLiteral("Merge sequences"), data);

    QMetaObject::connectSlotsByName(this);
}

void MainWindow::setProjectOpener(ProjectOpener opener) {
    m_projectOpener = std::move(opener);
    if (QAction* open = findChild<QAction*>(QStringLiteral("action_pen_project"))) {
        open->setEnabled(static_cast<bool>(m_projectOpener));
    }
}

bool MainWindow::openProject(const QString& path, bool tellUser) {
    if (path.isEmpty()) {
        return false;
    }
    if (!m_projectOpener) {
        GetTraceMgr()->logf(kModule, ZelLevelDebug, "No project model to open {}", path);
        return false;
    }
    if (!m_projectOpener(path, tellUser)) {
        return false;
    }
    m_projectPath = path;
    addRecentFile(path);
    return true;
}

void MainWindow::on_action_pen_project_triggered() {
    if (!m_projectOpener) {
        return;
    }
    QString start = QDir::homePath();
    if (!m_projectPath.isEmpty()) {
        start = QFileInfo(m_projectPath).absolutePath();
    }
    const QString chosen = UiDialogs::existingDirectory(this, QStringLiteral("Select Output Folder"), start);
    if (chosen.isEmpty()) {
        return;
    }
    const QString dir = QDir::cleanPath(chosen);
    if (!QFileInfo(dir).fileName().startsWith(QLatin1String("kelvo6_"))) {
        UiDialogs::warning(this, QStringLiteral("Kelvo6 Only"),
                           QStringLiteral("Only folder starting by kelvo6_ can be opened"));
        return;
    }
    openProject(dir, true);
}

void MainWindow::openSerialPort() {
    close_comm();
    const int baud = AppSettings::serialSpeed();
    const QString port = m_portOverride.isEmpty() ? AppSettings::serialPort() : m_portOverride;
    const bool ok = init_comm(port, static_cast<quint32>(baud));
    const QString name = comm_port_name();
    m_commStatus->setText(name);
    m_commStatus->setToolTip(QStringLiteral("Serial port %1 at %2 baud").arg(name).arg(baud));
    m_commStatus->setStyleSheet(is_comm_open() ? QStringLiteral("color:darkgreen;")
                                               : QStringLiteral("color:red;"));
    // Every exchange lands in the serial log, shown in the monitor or not.
    set_comm_send_hook(
        [](const std::string& text) { GetSerialTraceMgr()->post("send", ZelLevelDebug, text); });
    set_comm_receive_hook(
        [](const std::string& text) { GetSerialTraceMgr()->post("recv", ZelLevelDebug, text); });
    GetSerialTraceMgr()->logf("Open", ZelLevelInformation, "Open {}@{} {}", name, baud, ok ? "OK" : "FAILED");
}

void MainWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    if (!m_firstShown) {
        m_firstShown = true;
        onFirstShow();
    }
}

void MainWindow::onFirstShow() {
    if (AppSettings::serialMonitor()) {
        SerialTraceWindow::showMonitor(this);
    }
    openSerialPort();
    m_stack->setCurrentIndex(0);
    QTimer::singleShot(50, this, [this] { Q_EMIT startupRequested(); });
}

void MainWindow::onDeferredStartup() {
    const QStringList recent = AppSettings::recentFiles();
    if (!recent.isEmpty()) {
        updateRecentFileActions();
        openProject(recent.first());
    }
    if (AppSettings::loginCanBeSkipped()) {
        refreshLoginText();
    } else {
        LoginMenuClicked();
    }
}

void MainWindow::refreshLoginText() {
    m_loginAction->setText(AppSettings::loginActionText());
}

void MainWindow::LoginMenuClicked() {
    if (!m_login) {
        m_login = new DlgLogin(this);
        connect(m_login, &DlgLogin::signedIn, this, &MainWindow::refreshLoginText);
    }
    m_login->open();
}

void MainWindow::showAppSettings() {
    if (!m_settings) {
        m_settings = new DlgAppSettings(this);
        connect(m_settings, &DlgAppSettings::settingsSaved, this, &MainWindow::openSerialPort);
    }
    m_settings->open();
}

void MainWindow::addRecentFile(const QString& path) {
    if (path.isEmpty()) {
        return;
    }
    RecentFiles::add(path);
    updateRecentFileActions();
}

void MainWindow::updateRecentFileActions() {
    const QStringList files = AppSettings::recentFiles();
    for (int i = 0; i < m_recentActions.size(); ++i) {
        QAction* act = m_recentActions[i];
        if (i < files.size()) {
            act->setText(RecentFiles::label(files[i]));
            act->setData(files[i]);
            act->setToolTip(files[i]);
            act->setVisible(true);
        } else {
            act->setVisible(false);
        }
    }
    m_menuRecent->setEnabled(!files.isEmpty());
}

void MainWindow::onOpenRecent() {
    if (auto* act = qobject_cast<QAction*>(sender())) {
        openProject(act->data().toString(), true);
    }
}

void MainWindow::closeEvent(QCloseEvent* event) {
    SerialTraceWindow::closeMonitor();
    event->accept();
}

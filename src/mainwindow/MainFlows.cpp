#include "MainFlows.h"

#include "MainTop.h"
#include "app/UiDialogs.h"
#include "app/WaitCursor.h"
#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"
#include "params/DlgAcqParamViewer.h"
#include "params/DlgParamViewer.h"
#include "params/DlgTimetableViewer.h"
#include "params/ParamTable.h"
#include "project/DlgCreateSample.h"
#include "project/FPrjSeq.h"
#include "project/Project.h"
#include "trace/ZelTraceMgr.h"
#include "worker/CThWorker.h"
#include "worker/InstrumentBusyRunner.h"

#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QStackedWidget>

#include <vector>

namespace {

constexpr const char* kModule = "MainWindow";

QString hw_text(const ParamTable& table, const char* name) {
    if (find_param(name, table) == table.end()) {
        return QString();
    }
    return QString::fromStdString(GetParamAsText(table, name));
}

} // namespace

MainFlows::MainFlows(const Parts& parts, QObject* parent)
    : QObject(parent)
    , m_parts(parts) {
    if (m_parts.stack != nullptr) {
        m_opening = new QLabel(QString::fromLatin1(kProjectOpeningText), m_parts.stack);
        m_opening->setObjectName(QStringLiteral("lblProjectOpening"));
        m_opening->setAlignment(Qt::AlignCenter);
        m_opening->setStyleSheet(QString::fromLatin1(kProjectOpeningStyle));
        m_parts.stack->addWidget(m_opening);
        if (m_parts.sequencesPage != nullptr && m_parts.stack->indexOf(m_parts.sequencesPage) < 0) {
            m_parts.stack->addWidget(m_parts.sequencesPage);
        }
    }
    if (m_parts.worker != nullptr && m_parts.top != nullptr) {
        connect(m_parts.worker, &CThWorker::StatusChanged, m_parts.top, &MainTop::showTaskStatus,
                Qt::QueuedConnection);
    }
    if (m_parts.sequencesPage != nullptr) {
        connect(m_parts.sequencesPage, &FPrjSeq::CreateSampleRequested, this, &MainFlows::createSample);
    }
}

void MainFlows::setParameterManagement(ParameterComparer compare, ParameterReplacer replace) {
    m_compare = std::move(compare);
    m_replace = std::move(replace);
}

DashboardIdentity MainFlows::identity() const {
    DashboardIdentity id;
    const InterfaceCamera* cam = m_parts.camera;
    if (cam == nullptr) {
        return id;
    }
    id.cameraRef = cam->cameraRef();
    if (id.cameraRef.isEmpty()) {
        return id;
    }
    id.lightRef = cam->lightRef();
    id.variant = cam->variant();
    id.power = cam->powerReading();
    id.hardwareInfo = cam->hardwareInfo();
    id.acquisitionMode = hw_text(cam->hardware(), "Acquisition_mode");
    id.pressureSensorRef = hw_text(cam->hardware(), "Pressure_sensor_ref");
    return id;
}

void MainFlows::refreshDashboard() {
    if (m_parts.top == nullptr) {
        return;
    }
    m_parts.top->showInstrument(identity());
    const Project* project = m_parts.project;
    m_parts.top->showProject(project != nullptr && project->IsOpen() ? project->FolderName() : QString());
}

QVariant MainFlows::runOnInstrument(const QString& name, const std::function<QVariant()>& job) {
    const InstrumentBusyRunner::Result r = InstrumentBusyRunner::run(m_parts.window, name, job, m_parts.lock);
    if (!r.ran) {
        return {};
    }
    if (!r.error.isEmpty()) {
        GetTraceMgr()->logf(kModule, ZelLevelError, "{} : {}", name, r.error);
        UiDialogs::critical(m_parts.window, name, r.error);
        return {};
    }
    return r.value.isValid() ? r.value : QVariant(QString());
}

bool MainFlows::requireInstrument() {
    if (m_parts.camera != nullptr && !m_parts.camera->cameraRef().isEmpty()) {
        return true;
    }
    UiDialogs::warning(m_parts.window, QStringLiteral("No device"), QStringLiteral("No device found"));
    return false;
}

void MainFlows::notAvailableYet(const QString& what) {
    GetTraceMgr()->logf(kModule, ZelLevelWarning, "{} is not available yet", what);
    UiDialogs::information(m_parts.window, QStringLiteral("Not available yet"),
                           QStringLiteral("%1 is not available yet.").arg(what));
}

void MainFlows::checkConnection(bool userRequested) {
    InterfaceCamera* cam = m_parts.camera;
    const QString oldCamera = cam->cameraRef();
    const QString oldLight = cam->lightRef();
    for (;;) {
        {
            WaitCursor wait;
            runOnInstrument(QStringLiteral("Connect to sensor"), [cam] {
                cam->connectAndIdentify();
                return QVariant(true);
            });
        }
        if (!userRequested || !cam->cameraRef().isEmpty()) {
            break;
        }
        UiDialogRequest box;
        box.icon = QMessageBox::Warning;
        box.title = QStringLiteral("Communication error");
        box.text = QStringLiteral("NO RS232 communication with the Kelvo\n"
                                  " - Check that the Kelvo6 is powered\n"
                                  " - Check that the Kelvo is connected by RS232 to your computer\n"
                                  " - Check the COM port indicated in the Application Settings\n"
                                  " - Check the Kelvoapp version compatibilty in the Application settings");
        box.buttons = QMessageBox::Ok | QMessageBox::Retry;
        box.defaultButton = QMessageBox::Ok;
        // A port that never opened is the likeliest cause, and the system says why.
        const std::string openError = comm_open_error();
        if (!openError.empty()) {
            box.detailText = QStringLiteral("The serial port %1 could not be opened: %2")
                                 .arg(comm_port_name(), QString::fromLocal8Bit(openError.c_str()));
        }
        if (UiDialogs::ask(m_parts.window, box) != QMessageBox::Retry) {
            break;
        }
    }
    const QString newCamera = cam->cameraRef();
    const QString newLight = cam->lightRef();
    if (newCamera != oldCamera || newLight != oldLight) {
        GetTraceMgr()->logf(kModule, ZelLevelInformation, "Connected sensor change {}/{}=>{}/{}", oldCamera,
                            oldLight, newCamera, newLight);
        Q_EMIT identityChanged();
    }
    // The voltage and the card space move between checks: the dashboard is refreshed each time.
    if (m_parts.project != nullptr) {
        m_parts.project->SetConnectedSerial(newCamera);
    }
    closeForeignProject();
    refreshDashboard();
    askParametersDiffer();
}

void MainFlows::closeForeignProject() {
    Project* project = m_parts.project;
    const QString camera = m_parts.camera->cameraRef();
    // A lost instrument unloads nothing: only another instrument does.
    if (project == nullptr || !project->IsOpen() || camera.isEmpty() || project->BelongsTo(camera)) {
        return;
    }
    GetTraceMgr()->logf(kModule, ZelLevelWarning,
                        "Project {} is unloaded because is not related to sensor {}", project->FolderName(),
                        camera);
    project->Close();
}

void MainFlows::askParametersDiffer() {
    // Without parameter management there is nothing to compare yet.
    if (!m_compare || m_parts.project == nullptr || !m_parts.project->IsOpen() ||
        m_parts.camera->cameraRef().isEmpty()) {
        return;
    }
    const QString differences = m_compare();
    if (differences.isEmpty()) {
        return;
    }
    const QString text =
        QStringLiteral(
            "The internal programming parameters of the Kelvo6 differs from the parameters recorded in "
            "the current Project.\nIt is recommmended to replace the parameters of the project by the "
            "sensor ones.\nThe projects parameters will be archived\n Difference are :") +
        differences + QStringLiteral("\n Press Yes to proceed ?");
    if (UiDialogs::question(m_parts.window, QStringLiteral("Parameters differ"), text,
                            QMessageBox::Yes | QMessageBox::Cancel,
                            QMessageBox::Cancel) == QMessageBox::Yes &&
        m_replace) {
        m_replace();
    }
}

void MainFlows::reboot() {
    InterfaceCamera* cam = m_parts.camera;
    const QVariant r = runOnInstrument(QStringLiteral("Reboot sensor and disconnect"),
                                       [cam] { return QVariant(cam->reboot()); });
    if (!r.isValid()) {
        return;
    }
    const QString result = r.toString();
    if (result == QLatin1String("OK")) {
        cam->resetIdentity();
        if (m_parts.project != nullptr) {
            m_parts.project->SetConnectedSerial(QString());
        }
        refreshDashboard();
        Q_EMIT identityChanged();
        UiDialogs::information(m_parts.window, QStringLiteral("Reboot Result"),
                               QStringLiteral("Reboot done "));
    } else {
        UiDialogs::critical(m_parts.window, QStringLiteral("Reboot Result"), result);
    }
}

void MainFlows::autocheck() {
    UiDialogRequest box;
    box.icon = QMessageBox::Warning;
    box.title = QStringLiteral("AutoCheck");
    box.text = QStringLiteral("Autostart will start once on you click on OK\n\n"
                              "WARNING : do not face the light as it may injure your eyes.\n\n"
                              "\u2022 The Kelvo6 light will flash 3 times.\n"
                              "\u2022 The total procedure will last few seconds\n"
                              "\u2022 Press \u201cStart Autocheck\u201d to launch the procedure.\n");
    box.buttons = QMessageBox::Ok | QMessageBox::Cancel;
    box.defaultButton = QMessageBox::Ok;
    box.labels.insert(QMessageBox::Ok, QStringLiteral("Start Autocheck"));
    if (UiDialogs::ask(m_parts.window, box) != QMessageBox::Ok) {
        return;
    }
    InterfaceCamera* cam = m_parts.camera;
    const QVariant r =
        runOnInstrument(QStringLiteral("Autocheck"), [cam] { return QVariant(cam->autocheck()); });
    if (!r.isValid()) {
        return;
    }
    const QString result = r.toString();
    if (result == QLatin1String("OK")) {
        UiDialogs::information(m_parts.window, QStringLiteral("AutoCheck Result"),
                               QStringLiteral("Autocheck successfull"));
    } else {
        UiDialogs::critical(m_parts.window, QStringLiteral("AutoCheck Result"), result);
    }
}

void MainFlows::eraseSdCard() {
    if (!requireInstrument()) {
        return;
    }
    const QString title = QStringLiteral("Delete data in Kelvo6");
    UiDialogRequest first;
    first.icon = QMessageBox::Warning;
    first.title = title;
    first.text =
        QStringLiteral("WARNING : All data in Kelvo6 will be deleted.\nThere will be no recovery method");
    first.buttons = QMessageBox::Ok | QMessageBox::Cancel;
    first.defaultButton = QMessageBox::Cancel;
    first.labels.insert(QMessageBox::Ok, QStringLiteral(" ERASE ALL DATA "));
    if (UiDialogs::ask(m_parts.window, first) != QMessageBox::Ok) {
        return;
    }
    UiDialogRequest second;
    second.icon = QMessageBox::Warning;
    second.title = title;
    second.text = QStringLiteral("WARNING : please confirm deleting action !!!!");
    second.buttons = QMessageBox::Ok | QMessageBox::Cancel;
    second.defaultButton = QMessageBox::Cancel;
    if (UiDialogs::ask(m_parts.window, second) != QMessageBox::Ok) {
        return;
    }
    InterfaceCamera* cam = m_parts.camera;
    const QVariant r = runOnInstrument(QStringLiteral("Delete sequence in Kelvo6"),
                                       [cam] { return QVariant(cam->formatSdCard()); });
    if (!r.isValid()) {
        return;
    }
    const QString result = r.toString();
    if (result == QLatin1String("formatting Done")) {
        UiDialogs::information(m_parts.window, QStringLiteral("Format result"), result);
    } else {
        UiDialogs::critical(m_parts.window, QStringLiteral("Format result"), result);
    }
}

void MainFlows::synchronizeTime() {
    InterfaceCamera* cam = m_parts.camera;
    const QVariant r = runOnInstrument(QStringLiteral("Synchronize Kelvo Time with PC (UTC)"),
                                       [cam] { return QVariant(cam->setClock()); });
    if (!r.isValid()) {
        return;
    }
    const QString result = r.toString();
    if (result.startsWith(QLatin1String("OK"))) {
        UiDialogs::information(m_parts.window, QStringLiteral("Time Synchronization Result"),
                               QStringLiteral("Synchronization successfull at UTC : ") + result.mid(2));
    } else {
        UiDialogs::critical(m_parts.window, QStringLiteral("Time Synchronization Result"), result);
    }
}

void MainFlows::readTime() {
    InterfaceCamera* cam = m_parts.camera;
    const QVariant r =
        runOnInstrument(QStringLiteral("Check Kelvo Time"), [cam] { return QVariant(cam->readClock()); });
    if (r.isValid()) {
        UiDialogs::information(m_parts.window, QStringLiteral("Time Read Result"), r.toString());
    }
}

void MainFlows::viewHardware() {
    if (!requireInstrument()) {
        return;
    }
    auto* dlg = new DlgParamViewer(m_parts.window);
    dlg->setAttribute(Qt::WA_DeleteOnClose);
    dlg->setTable(m_parts.camera->hardware(), QStringLiteral("Sensor current Hardware parameter"));
    dlg->show();
}

void MainFlows::viewAcquisition() {
    if (!requireInstrument()) {
        return;
    }
    std::vector<ParamTable> tables;
    for (int slot = 0; slot < 10; ++slot) {
        tables.push_back(m_parts.camera->acquisitionSlotValid(slot) ? m_parts.camera->acquisition(slot)
                                                                    : ParamTable());
    }
    auto* dlg = new DlgAcqParamViewer(m_parts.window);
    dlg->setAttribute(Qt::WA_DeleteOnClose);
    dlg->setTables(tables, QStringLiteral("Sensor current Acquisition parameter"),
                   QStringLiteral("Sensor current Acquisition parameter"));
    dlg->show();
}

void MainFlows::viewTimetable() {
    if (!requireInstrument()) {
        return;
    }
    auto* dlg = new DlgTimetableViewer(m_parts.window);
    dlg->setAttribute(Qt::WA_DeleteOnClose);
    // The viewer works on its own copy, released with it.
    auto* copy = new Timetable(m_parts.camera->timetable());
    connect(dlg, &QObject::destroyed, [copy] { delete copy; });
    dlg->setTimetable(copy, QStringLiteral("Sensor current Timetable"), false);
    dlg->show();
}

void MainFlows::stopAtEndOfTask() {
    if (m_parts.worker != nullptr) {
        m_parts.worker->requestCancellation();
    }
}

bool MainFlows::openProject(const QString& path, bool tellUser) {
    Project* project = m_parts.project;
    if (project == nullptr) {
        return false;
    }
    QStackedWidget* stack = m_parts.stack;
    QWidget* before = stack != nullptr ? stack->currentWidget() : nullptr;
    if (stack != nullptr) {
        stack->setCurrentWidget(m_opening);
        m_opening->repaint();
    }
    bool ok = false;
    {
        WaitCursor wait;
        project->SetConnectedSerial(m_parts.camera != nullptr ? m_parts.camera->cameraRef() : QString());
        ok = project->Load(QDir::cleanPath(path));
    }
    if (stack != nullptr) {
        if (ok && m_parts.sequencesPage != nullptr) {
            stack->setCurrentWidget(m_parts.sequencesPage);
        } else if (before != nullptr && before != m_opening) {
            stack->setCurrentWidget(before);
        }
    }
    refreshDashboard();
    if (ok) {
        Q_EMIT projectOpened(project->Path());
    } else if (tellUser) {
        UiDialogs::warning(m_parts.window, QStringLiteral("Open project"), project->LastError());
    }
    return ok;
}

void MainFlows::createSample(const QString& sequence) {
    if (m_parts.project == nullptr || !m_parts.project->IsOpen()) {
        return;
    }
    DlgCreateSample dlg(m_parts.project, m_parts.window);
    if (dlg.OpenForSequence(sequence)) {
        dlg.exec();
    }
}

bool MainFlows::canClose() {
    if (m_parts.worker == nullptr || m_parts.worker->pendingCount() == 0) {
        return true;
    }
    GetTraceMgr()->post(kModule, ZelLevelWarning,
                        "Impossible to exit while there's some asynchronous task running");
    UiDialogs::warning(
        m_parts.window, QStringLiteral("Impossible to exit"),
        QStringLiteral("Impossible to exit while there's some asynchronous task running\nYou can use "
                       "Menu 'File/Stop at the end of current task' to leave the application as soon "
                       "as possible"));
    return false;
}

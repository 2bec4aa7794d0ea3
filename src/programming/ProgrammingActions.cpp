#include "programming/ProgrammingActions.h"

#include "app/UiDialogs.h"
#include "device/InterfaceCamera.h"
#include "params/DlgAcqParamViewer.h"
#include "params/DlgParamViewer.h"
#include "params/DlgTimetableViewer.h"
#include "programming/FParamFreeFile.h"
#include "programming/FParamPreset.h"
#include "programming/ParamMgt.h"
#include "programming/PresetProgram.h"
#include "programming/ShippedData.h"
#include "programming/dlgeditprojet.h"
#include "project/Project.h"
#include "worker/InstrumentLock.h"

#include <QAction>
#include <QMenu>

ProgrammingActions::ProgrammingActions(QWidget* window, InterfaceCamera* camera, Project* project,
                                       ProjectOpener opener, QObject* parent)
    : QObject(parent)
    , m_window(window)
    , m_camera(camera)
    , m_project(project)
    , m_opener(std::move(opener))
    , m_mgt(ParamMgt::instance()) {
    if (m_project != nullptr) {
        const auto follow = [this] {
            m_mgt.setProjectPath(m_project->IsOpen() ? m_project->Path() : QString());
        };
        connect(m_project, &Project::ProjectLoaded, this, follow);
        follow();
        // Programming runs off the GUI thread: the project hears of it on its own thread.
        m_mgt.setParametersChangedHook([project = m_project] {
            QMetaObject::invokeMethod(
                project, [project] { Q_EMIT project->SensorModeUpdated(); }, Qt::QueuedConnection);
        });
    }
    const std::pair<const char*, const char*> presets[] = {
        {"actionTIME_Mode", "time"},      {"actionSUPERVISED_Mode", "supervised"},
        {"actionAuto_Mode", "auto"},      {"actionCTD_Mode", "ctd"},
        {"actionCTS5_USEA_mode", "cts5"}, {"actionALS_Sea_Explorer", "als"},
        {"actionCSCS_SeaGlider", "cscs"},
    };
    for (const auto& [action, key] : presets) {
        const QString k = QLatin1String(key);
        wire(action, [this, k] { openPreset(k); });
    }
    if (auto* menu = m_window->findChild<QMenu*>(QStringLiteral("menuProgram_Kelvo6"))) {
        menu->addSeparator();
        auto* free = menu->addAction(QStringLiteral("Free file transfert"));
        free->setObjectName(QStringLiteral("actionFree_file_transfert"));
    }
    wire("actionFree_file_transfert", [this] { openFreeFile(); });
    wire("actionCreate_new_project", [this] { createProject(); });
    wire("actionProject_settings", [this] { editProject(); });
    wire("actionView_camera_settings_HW_File", [this] { viewProjectHardware(); });
    wire("actionView_acquisition_settings_ACQ_File", [this] { viewProjectAcquisition(); });
    wire("actionView_Timetable_File", [this] { viewProjectTimetable(); });
}

void ProgrammingActions::wire(const char* action, const std::function<void()>& slot) {
    if (auto* act = m_window->findChild<QAction*>(QLatin1String(action))) {
        act->setEnabled(true);
        connect(act, &QAction::triggered, this, slot);
    }
}

QString ProgrammingActions::compareWithProject() {
    m_mgt.takeFromCamera(*m_camera);
    m_mgt.setProjectPath(m_project->IsOpen() ? m_project->Path() : QString());
    return m_mgt.compareWithProject();
}

void ProgrammingActions::replaceProjectParameters() {
    QString error;
    if (!m_mgt.saveToProject(&error)) {
        UiDialogs::warning(m_window, QStringLiteral("Parameters differ"), error);
    }
}

QString ProgrammingActions::programmingRefusal(const QString& presetKey) const {
    if (m_camera == nullptr || m_camera->cameraRef().isEmpty()) {
        return QString::fromLatin1(PresetProgram::kNoDeviceRefusal);
    }
    if (m_project == nullptr || !m_project->IsOpen()) {
        return QString::fromLatin1(PresetProgram::kNoProjectRefusal);
    }
    return PresetProgram::hardwareRefusal(presetKey, m_camera->hardware());
}

void ProgrammingActions::openPreset(const QString& key) {
    const PresetMode* presetMode = preset_mode(key);
    const QString refusal = programmingRefusal(key);
    if (presetMode == nullptr || !refusal.isEmpty()) {
        UiDialogs::warning(m_window, QString::fromLatin1(PresetProgram::kRefusalTitle), refusal);
        return;
    }
    m_mgt.takeFromCamera(*m_camera);
    m_mgt.setProjectPath(m_project->Path());
    auto* page = new FParamPreset(*presetMode, m_mgt, m_camera, m_project->Path(),
                                  ShippedData::folder(QStringLiteral("templates")), m_window);
    page->setAttribute(Qt::WA_DeleteOnClose);
    page->show();
}

void ProgrammingActions::openFreeFile() {
    const QString refusal = programmingRefusal(QString());
    if (!refusal.isEmpty()) {
        UiDialogs::warning(m_window, QString::fromLatin1(PresetProgram::kRefusalTitle), refusal);
        return;
    }
    auto* page = new FParamFreeFile(m_camera, m_project->Path() + QStringLiteral("/config"), m_window);
    page->setAttribute(Qt::WA_DeleteOnClose);
    page->show();
}

void ProgrammingActions::createProject() {
    dlgeditprojet dlg(dlgeditprojet::Mode::Create, m_project, m_mgt, m_camera, m_opener, m_window);
    dlg.exec();
}

bool ProgrammingActions::requireProject() {
    if (m_project != nullptr && m_project->IsOpen()) {
        return true;
    }
    UiDialogs::warning(m_window, QStringLiteral("No project"), QStringLiteral("No project open"));
    return false;
}

void ProgrammingActions::editProject() {
    if (!requireProject()) {
        return;
    }
    dlgeditprojet dlg(dlgeditprojet::Mode::Edit, m_project, m_mgt, m_camera, m_opener, m_window);
    dlg.exec();
}

void ProgrammingActions::viewProjectHardware() {
    if (!requireProject()) {
        return;
    }
    ParamMgt files;
    files.setProjectPath(m_project->Path());
    ParamTable hw;
    QString error;
    if (!files.loadProjectHW(hw, &error)) {
        UiDialogs::warning(m_window, QStringLiteral("Project file Hardware parameter"), error);
        return;
    }
    auto* dlg = new DlgParamViewer(m_window);
    dlg->setAttribute(Qt::WA_DeleteOnClose);
    dlg->setTable(hw, QStringLiteral("Project file Hardware parameter"));
    dlg->show();
}

void ProgrammingActions::viewProjectAcquisition() {
    if (!requireProject()) {
        return;
    }
    ParamMgt files;
    files.setProjectPath(m_project->Path());
    std::array<ParamTable, kAcqSlotCount> acq;
    files.loadProjectACQ(acq);
    auto* dlg = new DlgAcqParamViewer(m_window);
    dlg->setAttribute(Qt::WA_DeleteOnClose);
    dlg->setTables(std::vector<ParamTable>(acq.begin(), acq.end()),
                   QStringLiteral("Project file Acquisition parameter"),
                   QStringLiteral("Project file Acquisition parameter"));
    dlg->show();
}

void ProgrammingActions::viewProjectTimetable() {
    if (!requireProject()) {
        return;
    }
    ParamMgt files;
    files.setProjectPath(m_project->Path());
    auto* copy = new Timetable;
    files.loadProjectTimetable(*copy);
    auto* dlg = new DlgTimetableViewer(m_window);
    dlg->setAttribute(Qt::WA_DeleteOnClose);
    connect(dlg, &QObject::destroyed, [copy] { delete copy; });
    dlg->setTimetable(copy, QStringLiteral("Project file Timetable"), false);
    dlg->show();
}

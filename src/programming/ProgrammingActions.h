#pragma once

#include <QObject>
#include <QString>

#include <functional>

class InterfaceCamera;
class ParamMgt;
class Project;
class QWidget;

// The main window's programming side: the "Program Kelvo6" presets and the free-file page, the
// project creation and metadata dialogs, the viewers on the project's parameter files, and the
// parameter management behind the connection check. Wires itself to the window's actions by
// their object names.
class ProgrammingActions : public QObject {
    Q_OBJECT
public:
    using ProjectOpener = std::function<bool(const QString&)>;

    ProgrammingActions(QWidget* window, InterfaceCamera* camera, Project* project, ProjectOpener opener,
                       QObject* parent = nullptr);

    // For the connection check: the working set taken from the instrument, compared with the
    // project's files ("" when equal).
    QString compareWithProject();
    // "Parameters differ" answered Yes: the project's files archived and replaced.
    void replaceProjectParameters();

    // The refusal of the programming actions ("" when programming may start).
    QString programmingRefusal(const QString& presetKey) const;

public Q_SLOTS:
    void openPreset(const QString& key);
    void openFreeFile();
    void createProject();
    void editProject();
    void viewProjectHardware();
    void viewProjectAcquisition();
    void viewProjectTimetable();

private:
    void wire(const char* action, const std::function<void()>& slot);
    bool requireProject();

    QWidget* m_window;
    InterfaceCamera* m_camera;
    Project* m_project;
    ProjectOpener m_opener;
    ParamMgt& m_mgt;
};

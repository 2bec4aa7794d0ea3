#pragma once

#include "programming/ProgramResult.h"
#include "programming/WorkingSet.h"

#include <QString>

#include <functional>

class InterfaceCamera;

// The instrument's working parameter set, its comparison with the open project's parameter
// files, their archiving and replacement, and the programming of the instrument. Logs under
// "ParamMgt". GUI-free: the windows and `kelvo` show the results.
class ParamMgt {
public:
    static constexpr const char* kModule = "ParamMgt";
    static constexpr const char* kDoneTitle = "Programmation Done";
    static constexpr const char* kDoneText = "Kelvo6 programmed and previous settings archived";
    static constexpr const char* kErrorTitle = "Programmation error";

    ParamMgt();

    // The process-wide working set, shared by the connection check and the preset pages.
    static ParamMgt& instance();

    WorkingSet& working() { return m_working; }
    const WorkingSet& working() const { return m_working; }
    // Copies the hardware set, the valid tables (the others become free) and the timetable read
    // by the device interface at connection.
    void takeFromCamera(const InterfaceCamera& camera);
    static WorkingSet workingSetOf(const InterfaceCamera& camera);

    // The open project's folder; empty when no project is active.
    void setProjectPath(const QString& path) { m_project = path; }
    QString projectPath() const { return m_project; }
    // Called after a successful programming (the project's parameters changed).
    void setParametersChangedHook(std::function<void()> hook) { m_changed = std::move(hook); }

    // The first "HW*.txt" of the project's config folder into `table` (left empty when there is
    // none). False, with "Unable to load file <path>" logged and in `error`, when unreadable.
    bool loadProjectHW(ParamTable& table, QString* error = nullptr) const;
    // The "acq*.txt" files in directory order into tables 0, 1, ... (at most ten); returns the
    // number read.
    int loadProjectACQ(std::array<ParamTable, kAcqSlotCount>& tables) const;
    // "config/timetable.txt" when present (emptied otherwise).
    bool loadProjectTimetable(Timetable& timetable) const;

    static QString compareParams(const ParamTable& first, const ParamTable& second);
    QString compareWithProject(const ParamTable& projectHW,
                               const std::array<ParamTable, kAcqSlotCount>& projectACQ,
                               const Timetable& projectTimetable) const;
    // The same on the project's files.
    QString compareWithProject() const;

    // Archives the project's parameter files into "config/param_archive_<now>.zip", then writes
    // the working set in their place (each file atomically). Nothing is deleted before the
    // archive is complete.
    bool saveToProject(QString* error = nullptr);

    // saveToProject, then "$HWCONFset", the ten "$ACQCONFerase" and one "$ACQCONFset" per filled
    // slot over the serial link; then, through `readBack` when given, the hardware set and the
    // tables are read again and compared with what was sent. Must run with the instrument held.
    ProgramResult programSensor(InterfaceCamera* readBack);

    // Sends the working timetable ("$TIMEPROGinit" then one "$TIMEPROGadd" per program) and,
    // with `readBack`, reads it again and compares the texts.
    ProgramResult programTimetable(InterfaceCamera* readBack);
    // The same for any timetable, without the "Timetable programmed" log line.
    static ProgramResult sendTimetable(const Timetable& timetable, InterfaceCamera* readBack);

    // `Operator_email` of the hardware set `hw` from `email`, cut to 63 characters; an empty
    // `email` (nobody logged in) leaves the one the instrument has.
    static void setOperatorEmail(ParamTable& hw, const QString& email);
    void setOperatorEmail(const QString& email) { setOperatorEmail(m_working.hw, email); }

    static QString modeName(const WorkingSet& set, bool shortForm);
    QString modeName(bool shortForm) const { return modeName(m_working, shortForm); }

    // The file name of the hardware set in a project: "HW_<short mode>_<Camera_ref>.txt".
    static QString hardwareFileName(const WorkingSet& set);

    // What the instrument holds against what was sent (hardware and tables).
    static QString compareSent(const WorkingSet& sent, const InterfaceCamera& camera);

private:
    QString configDir() const;
    bool archiveProjectFiles(QString* error) const;

    WorkingSet m_working;
    QString m_project;
    std::function<void()> m_changed;
};

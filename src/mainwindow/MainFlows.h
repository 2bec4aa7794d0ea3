#pragma once

#include <QObject>
#include <QString>
#include <QVariant>

#include <functional>

class CThWorker;
class FPrjSeq;
class InstrumentLock;
class InterfaceCamera;
class MainTop;
class Project;
class QLabel;
class QStackedWidget;
class QWidget;
struct DashboardIdentity;

// The flows the main window starts: the connection check, the instrument actions with their
// boxes, the viewers on the instrument's data, the project-folder opening and the close check.
// Every instrument exchange runs off the GUI thread behind the instrument lock, with a modal
// busy indicator; an action that finds the instrument busy says so.
class MainFlows : public QObject {
    Q_OBJECT
public:
    struct Parts {
        QWidget* window = nullptr;
        InterfaceCamera* camera = nullptr;
        CThWorker* worker = nullptr;
        Project* project = nullptr;
        MainTop* top = nullptr;
        QStackedWidget* stack = nullptr; // the page area: the sequences page and the opening text
        FPrjSeq* sequencesPage = nullptr;
        InstrumentLock* lock = nullptr; // null: the process's lock
    };

    // Differences between the parameters recorded in the project and the instrument's, one per
    // line; empty when they agree. Parameter management plugs in here.
    using ParameterComparer = std::function<QString()>;
    // Replaces the project's parameters by the instrument's, archiving the old ones.
    using ParameterReplacer = std::function<void()>;

    static constexpr const char* kProjectOpeningText =
        "Project opening in progress...\nMay take long time on big project\nBe patient";
    static constexpr const char* kProjectOpeningStyle =
        "background-color : #f8f1d6; color : #8f6b2d;font-size:20px;font-weight:bold;";

    explicit MainFlows(const Parts& parts, QObject* parent = nullptr);

    void setParameterManagement(ParameterComparer compare, ParameterReplacer replace);

    // The dashboard's view of the camera's identity.
    DashboardIdentity identity() const;
    void refreshDashboard();

    QLabel* openingPage() const { return m_opening; }

public Q_SLOTS:
    // `userRequested`: a failed check asks Ok/Retry ("Communication error").
    void checkConnection(bool userRequested = true);
    void reboot();
    void autocheck();
    void eraseSdCard();
    void synchronizeTime();
    void readTime();
    void viewHardware();
    void viewAcquisition();
    void viewTimetable();
    void stopAtEndOfTask();
    // The sample dialog on a new sample of `sequence` (modal).
    void createSample(const QString& sequence);

    // Opens `path` through the project (the opening text is shown meanwhile); a refused folder
    // is told in a box when `tellUser`.
    bool openProject(const QString& path, bool tellUser = false);

public:
    // False (after saying why) while background tasks are unfinished.
    bool canClose();

Q_SIGNALS:
    // A project opened from `path` (for the recent files).
    void projectOpened(const QString& path);
    // The instrument identity changed (connection check, reboot).
    void identityChanged();

private:
    // Runs `job` on the instrument behind the busy indicator; invalid when it did not run or
    // failed (both already told to the user).
    QVariant runOnInstrument(const QString& name, const std::function<QVariant()>& job);
    bool requireInstrument();
    void notAvailableYet(const QString& what);
    void closeForeignProject();
    void askParametersDiffer();

    Parts m_parts;
    QLabel* m_opening = nullptr;
    ParameterComparer m_compare;
    ParameterReplacer m_replace;
};

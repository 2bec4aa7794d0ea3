#pragma once

#include <QList>
#include <QMainWindow>

#include <functional>
#include <memory>

class DlgAppSettings;
class DlgLogin;
class QAction;
class QLabel;
class QMenu;
class QStackedWidget;
class ZelTraceMgrFileMulti;
class ZelTraceMgrTreeView;

// The application's one top-level window: the menus with every action, the page area, the log
// panel and the status bar with the "Comm status" label. Building it starts the log files;
// showing it the first time opens the serial port, then, through the event queue, reopens the
// most recent project and asks who is working.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    static constexpr int kLogFileCount = 10;
    static constexpr int kLogFileSizeKiB = 10000;

    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // Opens a project path (a folder or a project file) and, when it opened, puts it first in
    // the recent files. The project model plugs in here; until one is set no project opens and
    // the project-folder action stays disabled. `tellUser`: a refusal is shown in a box (the
    // user asked for this project), not only logged.
    using ProjectOpener = std::function<bool(const QString& path, bool tellUser)>;
    void setProjectOpener(ProjectOpener opener);
    bool openProject(const QString& path, bool tellUser = false);

    // Closes any open port, opens the one of the settings (or of this run's override) and shows
    // its state.
    void openSerialPort();
    // A port for this run only (the demo instrument): taken instead of the `serialport` setting,
    // which stays as saved.
    void setPortOverride(const QString& port) { m_portOverride = port; }
    void addRecentFile(const QString& path);
    void updateRecentFileActions();

    QLabel* commStatusLabel() const { return m_commStatus; }
    QStackedWidget* stackedArea() const { return m_stack; }
    ZelTraceMgrTreeView* traceView() const { return m_traceView; }
    QAction* loginAction() const { return m_loginAction; }
    const QList<QAction*>& recentFileActions() const { return m_recentActions; }
    // The dialogs, once created (nullptr before first use).
    DlgLogin* loginDialog() const { return m_login; }
    DlgAppSettings* settingsDialog() const { return m_settings; }

Q_SIGNALS:
    // Emitted shortly after the first show; runs the deferred start-up through the event queue.
    void startupRequested();

public Q_SLOTS:
    void LoginMenuClicked();
    void showAppSettings();

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private Q_SLOTS:
    void onDeferredStartup();
    void onOpenRecent();
    void on_action_pen_project_triggered();

private:
    void buildForm();
    void buildMenus();
    QAction* makeAction(const char* objectName, const QString& label, QMenu* menu, bool enabled = false);
    void onFirstShow();
    void refreshLoginText();

    QStackedWidget* m_stack = nullptr;
    QWidget* m_logPanel = nullptr;
    ZelTraceMgrTreeView* m_traceView = nullptr;
    QLabel* m_commStatus = nullptr;
    QMenu* m_menuRecent = nullptr;
    QAction* m_loginAction = nullptr;
    QList<QAction*> m_recentActions;
    DlgLogin* m_login = nullptr;
    DlgAppSettings* m_settings = nullptr;
    std::unique_ptr<ZelTraceMgrFileMulti> m_appLog;
    std::unique_ptr<ZelTraceMgrFileMulti> m_serialLog;
    ProjectOpener m_projectOpener;
    QString m_portOverride;
    QString m_projectPath;
    bool m_firstShown = false;
};

#pragma once

#include <QObject>
#include <QString>

#include <memory>

class CThWorker;
class DemoInstrument;
class FFileTransfert;
class FPrjSample;
class FPrjSeq;
class InterfaceCamera;
class MainFlows;
class MainTop;
class MainWindow;
class Project;
class ScreenshotTour;

// Gives the main window its instrument side: the device interface, the background worker, the
// project with its sequences page, the dashboard, and the flows behind the menu actions. It
// also refuses the window's close while tasks are unfinished, and can run the window on the
// demo instrument (this run's port and host address only; the saved settings are untouched).
class MainHub : public QObject {
    Q_OBJECT
public:
    explicit MainHub(MainWindow* window);
    ~MainHub() override;

    // Starts the demo instrument; once the window is shown its link goes to the demo's port and
    // the instrument is connected. The window title says that it is the demo instrument.
    bool startDemo(QString* error = nullptr, const QString& folder = QString());
    bool isDemo() const { return static_cast<bool>(m_demo); }

    // A walk through the main window, the sequences page and the key dialogs, saving PNG files
    // into `folder`; the application quits afterwards.
    ScreenshotTour* makeScreenshotTour(const QString& folder);

    InterfaceCamera* camera() const { return m_camera.get(); }
    CThWorker* worker() const { return m_worker.get(); }
    Project* project() const { return m_project; }
    MainTop* top() const { return m_top; }
    FPrjSeq* sequencesPage() const { return m_sequences; }
    FFileTransfert* downloadPage() const { return m_download; }
    FPrjSample* samplesPage() const { return m_samples; }
    MainFlows* flows() const { return m_flows; }

    static QString demoTitleSuffix() { return QStringLiteral(" - demo instrument"); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void wireActions();
    void connectDemo();
    // In demo mode, opens the demo instrument's project when the start-up opened none.
    void openDemoProject();
    void queueZipVignettes(const QStringList& sequences);
    void openMergeDialog();

    MainWindow* m_window;
    std::unique_ptr<InterfaceCamera> m_camera;
    std::unique_ptr<CThWorker> m_worker;
    Project* m_project;
    MainTop* m_top;
    FPrjSeq* m_sequences;
    FFileTransfert* m_download;
    FPrjSample* m_samples = nullptr;
    MainFlows* m_flows;
    std::unique_ptr<DemoInstrument> m_demo;
    QString m_demoProject; // the demo project, when the demo opened it
    bool m_shown = false;
};

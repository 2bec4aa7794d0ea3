#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

class QWidget;

// A scripted walk through the windows that saves each one as a PNG, so that anyone can see what
// the application looks like without an instrument or a screen (`kelvoapp --demo --screenshots
// DIR` under a virtual display). Each step does something (opening a page or a dialog, possibly
// a modal one), waits for the window to settle, grabs the widget the step names and closes it
// unless it is the main window. The application quits when the walk ends.
class ScreenshotTour : public QObject {
    Q_OBJECT
public:
    struct Step {
        QString file;                     // "main.png"
        std::function<void()> action;     // may block in a modal dialog: the grab is armed first
        std::function<QWidget*()> target; // what to grab (null: the active modal widget)
    };

    explicit ScreenshotTour(const QString& folder, QObject* parent = nullptr);

    void add(Step step);
    // Runs the steps after `delayMs`, then exits the application (status 1 when a file could
    // not be written).
    void start(int delayMs);

    QStringList written() const { return m_written; }
    QStringList failures() const { return m_failures; }

    static constexpr int kSettleMs = 700;

private:
    void runStep(std::size_t index);

    QString m_folder;
    std::vector<Step> m_steps;
    QStringList m_written;
    QStringList m_failures;
};

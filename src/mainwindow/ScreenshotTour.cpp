#include "ScreenshotTour.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QMainWindow>
#include <QPixmap>
#include <QTimer>
#include <QWidget>

#include <cstdio>

ScreenshotTour::ScreenshotTour(const QString& folder, QObject* parent)
    : QObject(parent)
    , m_folder(folder) {}

void ScreenshotTour::add(Step step) {
    m_steps.push_back(std::move(step));
}

void ScreenshotTour::start(int delayMs) {
    QTimer::singleShot(delayMs, this, [this] { runStep(0); });
}

void ScreenshotTour::runStep(std::size_t index) {
    if (index >= m_steps.size()) {
        for (const QString& f : m_failures) {
            std::fprintf(stderr, "kelvoapp: screenshot not written: %s\n", qPrintable(f));
        }
        QCoreApplication::exit(m_failures.isEmpty() ? 0 : 1);
        return;
    }
    const Step& step = m_steps[index];
    // Armed before the action, since a modal dialog only returns once closed.
    QTimer::singleShot(kSettleMs, this, [this, index] {
        const Step& s = m_steps[index];
        QWidget* w = s.target ? s.target() : QApplication::activeModalWidget();
        const QString path = QDir(m_folder).filePath(s.file);
        if (w != nullptr && w->grab().save(path, "PNG")) {
            m_written << path;
        } else {
            m_failures << path;
        }
        if (w != nullptr && qobject_cast<QMainWindow*>(w) == nullptr) {
            if (auto* dialog = qobject_cast<QDialog*>(w)) {
                dialog->reject();
            } else {
                w->close();
            }
        }
        QTimer::singleShot(100, this, [this, index] { runStep(index + 1); });
    });
    if (step.action) {
        step.action();
    }
}

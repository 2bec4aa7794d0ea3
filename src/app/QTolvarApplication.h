#pragma once

#include <QApplication>

#include <exception>

// The application object. Its one addition is a last-resort handler: an exception that escapes
// an event handler is shown in a message box over the main window, the event counts as
// handled, and the program keeps running.
class QTolvarApplication : public QApplication {
    Q_OBJECT
public:
    QTolvarApplication(int& argc, char** argv);

    bool notify(QObject* receiver, QEvent* event) override;

    // Shows the box for an exception that escaped delivery to `receiver`; returns true (handled).
    static bool reportEscapedException(QObject* receiver, std::exception_ptr error);
};

#pragma once

#include <QByteArray>
#include <QObject>

class VortOShell;

// Runs the shell's lines on the thread it lives on, so that a window waiting for the instrument
// keeps painting. The owner moves it to a QThread, calls its slots through queued invocations
// and hears back through its signals; it runs one job at a time by construction.
class TerminalWorker : public QObject {
    Q_OBJECT
public:
    explicit TerminalWorker(VortOShell& shell, QObject* parent = nullptr);

public slots:
    // `line` is 8-bit (Latin-1) text as typed.
    void runLine(const QByteArray& line, bool echo);
    void readSerial();

signals:
    void lineFinished(bool ok);
    void readFinished(int answers);

private:
    VortOShell& m_shell;
};

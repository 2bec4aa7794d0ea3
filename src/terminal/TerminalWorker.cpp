#include "terminal/TerminalWorker.h"

#include "terminal/VortOShell.h"

#include <exception>

#include "terminal/TermPrint.h"

TerminalWorker::TerminalWorker(VortOShell& shell, QObject* parent)
    : QObject(parent)
    , m_shell(shell) {}

void TerminalWorker::runLine(const QByteArray& line, bool echo) {
    bool ok = false;
    // An exception must not cross the thread's event loop: it would end the program.
    try {
        ok = m_shell.runLine(line.toStdString(), echo);
    } catch (const std::exception& e) {
        term_print("\n[VortOS]: Command failed: %s\n", e.what());
    }
    emit lineFinished(ok);
}

void TerminalWorker::readSerial() {
    int answers = 0;
    try {
        answers = m_shell.readSerial();
    } catch (const std::exception& e) {
        term_print("\n[VortOS]: Reading the serial port failed: %s\n", e.what());
    }
    emit readFinished(answers);
}

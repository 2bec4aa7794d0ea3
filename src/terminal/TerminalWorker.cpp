#include "terminal/TerminalWorker.h"

#include "terminal/VortOShell.h"

#include <exception>

#include "terminal/TermPrint.h"
#include "worker/InstrumentLock.h"

namespace {

// The terminal talks to the instrument like any other operation: while a background task or a
// window holds it, a line is refused instead of interleaving its exchanges with theirs.
InstrumentLockGuard hold_instrument() {
    InstrumentLock& lock = InstrumentLock::instance();
    InstrumentLockGuard guard = lock.tryAcquire(QStringLiteral("the VortOS terminal"));
    if (!guard) {
        term_print("\n[VortOS]: %s, try again when it is done !\n",
                   InstrumentLock::busyText(lock.holder()).toLatin1().constData());
    }
    return guard;
}

} // namespace

TerminalWorker::TerminalWorker(VortOShell& shell, QObject* parent)
    : QObject(parent)
    , m_shell(shell) {}

void TerminalWorker::runLine(const QByteArray& line, bool echo) {
    const InstrumentLockGuard guard = hold_instrument();
    if (!guard) {
        emit lineFinished(false);
        return;
    }
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
    const InstrumentLockGuard guard = hold_instrument();
    if (!guard) {
        emit readFinished(0);
        return;
    }
    int answers = 0;
    try {
        answers = m_shell.readSerial();
    } catch (const std::exception& e) {
        term_print("\n[VortOS]: Reading the serial port failed: %s\n", e.what());
    }
    emit readFinished(answers);
}

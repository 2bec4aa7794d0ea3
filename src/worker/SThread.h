#pragma once

#include "trace/ZelThreadObject.h"

#include <QString>

#include <exception>
#include <functional>

// The program's thread base. Its thread body runs work() inside a catch-all: an exception that
// escapes is handed to error() with a French text, and work() runs again, so that one bad job
// never leaves the thread dead. The default work() is the thread's event loop.
class SThread : public ZelThreadObject {
    Q_OBJECT
public:
    explicit SThread(QObject* parent = nullptr);

    // "Exception C++ Non Traité dans un SThread : <what>", or the text without the message for
    // an exception that is not a standard one (`e` null).
    static QString exceptionText(const std::exception* e);

protected:
    void run() override;
    virtual void work();
    // Logs "SThread <object name> : <text>" (module "SThread", error level).
    virtual void error(const QString& text);
    // Runs `job` and reports an escaping exception through error(); true when nothing escaped.
    bool guarded(const std::function<void()>& job);
};

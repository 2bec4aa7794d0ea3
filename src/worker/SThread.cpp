#include "SThread.h"

#include "trace/ZelTraceMgr.h"

#include <functional>

SThread::SThread(QObject* parent)
    : ZelThreadObject(parent) {}

QString SThread::exceptionText(const std::exception* e) {
    const QString base = QStringLiteral("Exception C++ Non Traité dans un SThread");
    if (e == nullptr) {
        return base;
    }
    return QStringLiteral("%1 : %2").arg(base, QString::fromLocal8Bit(e->what()));
}

bool SThread::guarded(const std::function<void()>& job) {
    try {
        job();
        return true;
    } catch (const std::exception& e) {
        error(exceptionText(&e));
    } catch (...) {
        error(exceptionText(nullptr));
    }
    return false;
}

void SThread::run() {
    // A body that ends normally ends the thread; one that throws is started again.
    while (!guarded([this] { work(); })) {
    }
}

void SThread::work() {
    exec();
}

void SThread::error(const QString& text) {
    GetTraceMgr()->logf("SThread", ZelLevelError, "SThread {} : {}", objectName(), text);
}

#include "ZelThreadObject.h"

ZelThreadObject::ZelThreadObject(QObject* parent)
    : QThread(parent) {
    moveToThread(this);
}

ZelThreadObject::~ZelThreadObject() {
    stopThread();
}

void ZelThreadObject::stopThread() {
    if (QThread::currentThread() == this) {
        quit();
        return;
    }
    quit();
    wait();
}

void ZelThreadObject::run() {
    exec();
}

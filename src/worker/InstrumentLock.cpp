#include "InstrumentLock.h"

#include <utility>

InstrumentLockGuard::InstrumentLockGuard(InstrumentLockGuard&& other) noexcept
    : m_lock(std::exchange(other.m_lock, nullptr)) {}

InstrumentLockGuard& InstrumentLockGuard::operator=(InstrumentLockGuard&& other) noexcept {
    if (this != &other) {
        release();
        m_lock = std::exchange(other.m_lock, nullptr);
    }
    return *this;
}

void InstrumentLockGuard::release() {
    if (m_lock != nullptr) {
        std::exchange(m_lock, nullptr)->release();
    }
}

InstrumentLock& InstrumentLock::instance() {
    static InstrumentLock lock;
    return lock;
}

InstrumentLockGuard InstrumentLock::tryAcquire(const QString& operation) {
    std::lock_guard<std::mutex> hold(m_mutex);
    if (m_busy) {
        return {};
    }
    m_busy = true;
    m_holder = operation;
    return InstrumentLockGuard(this);
}

InstrumentLockGuard InstrumentLock::acquire(const QString& operation) {
    std::unique_lock<std::mutex> hold(m_mutex);
    m_freed.wait(hold, [this] { return !m_busy; });
    m_busy = true;
    m_holder = operation;
    return InstrumentLockGuard(this);
}

bool InstrumentLock::isBusy() const {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_busy;
}

QString InstrumentLock::holder() const {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_busy ? m_holder : QString();
}

QString InstrumentLock::busyText(const QString& operation) {
    return QStringLiteral("the instrument is busy with %1").arg(operation);
}

void InstrumentLock::release() {
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        m_busy = false;
        m_holder.clear();
    }
    m_freed.notify_all();
}

#pragma once

#include <QString>

#include <condition_variable>
#include <mutex>

class InstrumentLock;

// Holding the instrument: released when the guard goes out of scope. Movable, so that an
// operation taken on the GUI thread can be carried out and released on another thread.
class InstrumentLockGuard {
public:
    InstrumentLockGuard() = default;
    ~InstrumentLockGuard() { release(); }
    InstrumentLockGuard(InstrumentLockGuard&& other) noexcept;
    InstrumentLockGuard& operator=(InstrumentLockGuard&& other) noexcept;
    InstrumentLockGuard(const InstrumentLockGuard&) = delete;
    InstrumentLockGuard& operator=(const InstrumentLockGuard&) = delete;

    explicit operator bool() const { return m_lock != nullptr; }
    void release();

private:
    friend class InstrumentLock;
    explicit InstrumentLockGuard(InstrumentLock* lock)
        : m_lock(lock) {}
    InstrumentLock* m_lock = nullptr;
};

// One instrument operation at a time. The serial port and the UDP socket have no lock of their
// own; every operation takes this one first, under a name that says what it does, so that an
// operation arriving while another runs can say what the instrument is busy with instead of
// interleaving exchanges with it.
//
// Not a mutex: the holder may release from another thread than the one that acquired.
class InstrumentLock {
public:
    InstrumentLock() = default;
    InstrumentLock(const InstrumentLock&) = delete;
    InstrumentLock& operator=(const InstrumentLock&) = delete;

    // The process's lock, shared by the windows and the background worker.
    static InstrumentLock& instance();

    // Takes the instrument at once or not at all (an empty guard when another holds it).
    InstrumentLockGuard tryAcquire(const QString& operation);
    // Waits for the instrument (background work only: never on the GUI thread).
    InstrumentLockGuard acquire(const QString& operation);

    bool isBusy() const;
    // Name of the operation holding the instrument, empty when it is free.
    QString holder() const;

    // "the instrument is busy with <operation>"
    static QString busyText(const QString& operation);

private:
    friend class InstrumentLockGuard;
    void release();

    mutable std::mutex m_mutex;
    std::condition_variable m_freed;
    bool m_busy = false;
    QString m_holder;
};

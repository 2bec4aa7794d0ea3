#include "InstrumentOperation.h"

#include "SThread.h"

#include <QThread>

#include <exception>
#include <memory>

InstrumentOperation::InstrumentOperation(InstrumentLock* lock, QObject* parent)
    : QObject(parent)
    , m_lock(lock != nullptr ? lock : &InstrumentLock::instance()) {}

InstrumentOperation::~InstrumentOperation() {
    if (m_thread != nullptr) {
        m_thread->wait();
        delete m_thread;
    }
}

bool InstrumentOperation::start(const QString& name, Job job, QString* refusal) {
    if (m_thread != nullptr) {
        if (refusal != nullptr) {
            *refusal = InstrumentLock::busyText(m_name);
        }
        return false;
    }
    InstrumentLockGuard guard = m_lock->tryAcquire(name);
    if (!guard) {
        if (refusal != nullptr) {
            *refusal = InstrumentLock::busyText(m_lock->holder());
        }
        return false;
    }
    m_name = name;
    auto held = std::make_shared<InstrumentLockGuard>(std::move(guard));
    m_thread = QThread::create([this, held, job = std::move(job)] {
        QVariant result;
        QString error;
        try {
            result = job();
        } catch (const std::exception& e) {
            error = SThread::exceptionText(&e);
        } catch (...) {
            error = SThread::exceptionText(nullptr);
        }
        // Free the instrument before the result is seen, so that a follow-up can start at once.
        held->release();
        QMetaObject::invokeMethod(
            this,
            [this, result, error] {
                if (m_thread != nullptr) {
                    m_thread->wait();
                    delete m_thread;
                    m_thread = nullptr;
                }
                Q_EMIT finished(result, error);
            },
            Qt::QueuedConnection);
    });
    m_thread->setObjectName(QStringLiteral("InstrumentOperation"));
    m_thread->start();
    return true;
}

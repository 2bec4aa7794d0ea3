#pragma once

#include "InstrumentLock.h"

#include <QObject>
#include <QString>
#include <QVariant>

#include <functional>

class QThread;

// One instrument operation carried out away from the calling (GUI) thread: it takes the
// instrument lock on the caller's thread, runs the job on a thread of its own, releases the
// lock there and hands the result back through a queued signal. One operation per object at a
// time; the destructor waits for a running job.
class InstrumentOperation : public QObject {
    Q_OBJECT
public:
    using Job = std::function<QVariant()>;

    explicit InstrumentOperation(InstrumentLock* lock = nullptr, QObject* parent = nullptr);
    ~InstrumentOperation() override;

    // Starts `job` under the name `name`. When the instrument is held by another operation (or
    // this one is still running) nothing starts and `refusal` gets "the instrument is busy with
    // <holder>".
    bool start(const QString& name, Job job, QString* refusal = nullptr);
    bool isRunning() const { return m_thread != nullptr; }
    QString name() const { return m_name; }

Q_SIGNALS:
    // Delivered on this object's thread. `error` is the text of an exception that escaped the
    // job (then `result` is invalid), empty otherwise.
    void finished(const QVariant& result, const QString& error);

private:
    InstrumentLock* m_lock;
    QThread* m_thread = nullptr;
    QString m_name;
};

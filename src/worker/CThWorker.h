#pragma once

#include "KelvoTaskInfo.h"
#include "SThread.h"

#include <QHash>
#include <QString>
#include <QVariantMap>

#include <atomic>
#include <functional>
#include <mutex>

class InterfaceCamera;
class InstrumentLock;

// The one background worker: named tasks run on its thread, one after another in the order
// they were posted, each reporting a status line for the dashboard. A cancellation request lets
// the running task finish and skips every task still queued; the flag clears once nothing is
// left, so that tasks posted afterwards run again.
//
// The work of a kind is registered with setWork(); the file-list kinds are registered when an
// instrument is given. A kind of the known table without registered work is reported as not
// available yet; an unknown kind as "Undefined : <kind>".
class CThWorker : public SThread {
    Q_OBJECT
public:
    // Returns the final status text: ending "done!!" on success, beginning "Warn:" on a handled
    // problem. May throw: the exception is reported and the worker goes on with the next task.
    using TaskWork = std::function<QString(KelvoTaskInfo& task)>;

    // `camera` and `lock` serve the instrument tasks (the file list); both may be null in which
    // case those tasks report that no instrument is available.
    explicit CThWorker(InterfaceCamera* camera = nullptr, InstrumentLock* lock = nullptr,
                       QObject* parent = nullptr);
    ~CThWorker() override;

    // The status shown while a task of `kind` on `target` runs ("Undefined : <kind>" for an
    // unknown kind).
    static QString runningStatus(const QString& kind, const QString& target);
    static bool isKnownKind(const QString& kind);

    // Call before posting tasks of that kind (the table is read on the worker thread).
    void setWork(const QString& kind, TaskWork work);

    // Posts a task; with `announce`, publishes its running status at once.
    KelvoTaskInfoPtr enqueue(const QString& kind, const QString& owner, const QString& target,
                             const QVariantMap& args = {}, bool announce = false);

    // Whether a task on owner/target (of `kind`, or of any kind when empty) is queued and not
    // yet started.
    bool isPending(const QString& owner, const QString& target, const QString& kind = QString()) const;

    // Tasks posted and not yet finished, the running one included.
    int pendingCount() const { return m_unfinished.load(); }
    QString status() const;
    bool cancellationRequested() const { return m_cancel.load(); }

    // "Stop at the end of current task".
    void requestCancellation();

Q_SIGNALS:
    void EnQueueTask(KelvoTaskInfoPtr task);
    // A new status text, with the number of unfinished tasks at that moment.
    void StatusChanged(const QString& status, int pending);
    // Emitted on the worker thread once a task has run or been skipped.
    void TaskFinished(KelvoTaskInfoPtr task);

protected:
    void error(const QString& text) override;

private Q_SLOTS:
    void OnQueueTask(KelvoTaskInfoPtr task);

private:
    static QString registryKey(const QString& owner, const QString& target, const QString& kind);
    void publish(const QString& status);
    QString runWork(KelvoTaskInfo& task);
    QString fileList(KelvoTaskInfo& task);

    InterfaceCamera* m_camera;
    InstrumentLock* m_lock;

    mutable std::mutex m_mutex;    // guards the fields below
    QHash<QString, int> m_pending; // registry key -> number of queued tasks with that key
    QHash<QString, TaskWork> m_work;
    QString m_status;
    QString m_lastError; // worker thread only

    std::atomic<bool> m_cancel{false};
    std::atomic<int> m_unfinished{0};
};

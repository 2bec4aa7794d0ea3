#include "CThWorker.h"

#include "InstrumentLock.h"
#include "device/InterfaceCamera.h"
#include "trace/ZelTraceMgr.h"

namespace {

const char* const kFileListStatus = "Retrieve file liste from sensor";

} // namespace

CThWorker::CThWorker(InterfaceCamera* camera, InstrumentLock* lock, QObject* parent)
    : SThread(parent)
    , m_camera(camera)
    , m_lock(lock) {
    qRegisterMetaType<KelvoTaskInfoPtr>("KelvoTaskInfoPtr");
    setObjectName(QStringLiteral("CThWorker"));
    if (m_camera != nullptr) {
        setWork(QStringLiteral("sdlist"), [this](KelvoTaskInfo& task) { return fileList(task); });
        setWork(QStringLiteral("treeupdatesdlist"), [this](KelvoTaskInfo& task) { return fileList(task); });
    }
    // Connected before the thread runs so that tasks posted at once wait in its queue.
    connect(this, &CThWorker::EnQueueTask, this, &CThWorker::OnQueueTask, Qt::QueuedConnection);
    start(QThread::InheritPriority);
}

CThWorker::~CThWorker() {
    stopThread();
}

QString CThWorker::runningStatus(const QString& kind, const QString& target) {
    if (kind == QLatin1String("Data")) {
        return QStringLiteral("Particules ") + target;
    }
    if (kind == QLatin1String("ExportPlots")) {
        return QStringLiteral("Export Plots ") + target;
    }
    if (kind == QLatin1String("ExportODV")) {
        return QStringLiteral("Export ODV ") + target;
    }
    if (kind == QLatin1String("Images")) {
        return QStringLiteral("Images ") + target;
    }
    if (kind == QLatin1String("ZipVignettes")) {
        return QStringLiteral("Zip Vignettes ") + target;
    }
    if (kind == QLatin1String("sdlist") || kind == QLatin1String("treeupdatesdlist")) {
        return QString::fromLatin1(kFileListStatus);
    }
    if (kind == QLatin1String("retrievefromsensor")) {
        return QStringLiteral("Retrieve sequence %1 from sensor").arg(target);
    }
    return QStringLiteral("Undefined : ") + kind;
}

bool CThWorker::isKnownKind(const QString& kind) {
    return !runningStatus(kind, QString()).startsWith(QLatin1String("Undefined : "));
}

void CThWorker::setWork(const QString& kind, TaskWork work) {
    std::lock_guard<std::mutex> hold(m_mutex);
    m_work.insert(kind, std::move(work));
}

QString CThWorker::registryKey(const QString& owner, const QString& target, const QString& kind) {
    return owner + QLatin1Char('/') + target + QLatin1Char('\n') + kind;
}

KelvoTaskInfoPtr CThWorker::enqueue(const QString& kind, const QString& owner, const QString& target,
                                    const QVariantMap& args, bool announce) {
    auto task = std::make_shared<KelvoTaskInfo>();
    task->kind = kind;
    task->owner = owner;
    task->target = target;
    task->args = args;
    ++m_unfinished;
    if (announce) {
        publish(runningStatus(kind, target));
    }
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        ++m_pending[registryKey(owner, target, kind)];
    }
    Q_EMIT EnQueueTask(task);
    return task;
}

bool CThWorker::isPending(const QString& owner, const QString& target, const QString& kind) const {
    std::lock_guard<std::mutex> hold(m_mutex);
    if (!kind.isEmpty()) {
        return m_pending.value(registryKey(owner, target, kind)) > 0;
    }
    const QString prefix = owner + QLatin1Char('/') + target + QLatin1Char('\n');
    for (auto it = m_pending.cbegin(); it != m_pending.cend(); ++it) {
        if (it.value() > 0 && it.key().startsWith(prefix)) {
            return true;
        }
    }
    return false;
}

QString CThWorker::status() const {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_status;
}

void CThWorker::requestCancellation() {
    m_cancel = true;
    GetTraceMgr()->post("MainWindow", ZelLevelWarning,
                        "Cancellation at the end of the current job requested");
}

void CThWorker::publish(const QString& status) {
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        m_status = status;
    }
    Q_EMIT StatusChanged(status, m_unfinished.load());
}

void CThWorker::error(const QString& text) {
    m_lastError = text;
    SThread::error(text);
}

void CThWorker::OnQueueTask(KelvoTaskInfoPtr task) {
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        const QString key = registryKey(task->owner, task->target, task->kind);
        auto it = m_pending.find(key);
        if (it != m_pending.end() && --it.value() <= 0) {
            m_pending.erase(it);
        }
    }
    QString outcome;
    if (m_cancel.load()) {
        outcome = QStringLiteral("Cancellation done!!");
    } else {
        publish(runningStatus(task->kind, task->target));
        m_lastError.clear();
        if (!guarded([&] { outcome = runWork(*task); })) {
            outcome = QStringLiteral("Warn: ") + m_lastError;
        }
    }
    task->outcome = outcome;
    // The count drops before the result is published, so that the last result reads alone.
    if (--m_unfinished == 0) {
        m_cancel = false;
    }
    publish(outcome);
    Q_EMIT TaskFinished(task);
}

QString CThWorker::runWork(KelvoTaskInfo& task) {
    TaskWork work;
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        work = m_work.value(task.kind);
    }
    if (work) {
        return work(task);
    }
    const QString status = runningStatus(task.kind, task.target);
    if (!isKnownKind(task.kind)) {
        GetTraceMgr()->logf("CThWorker", ZelLevelWarning, "CThWorker::OnQueueTask {} ", task.kind);
        return QStringLiteral("Warn: ") + status;
    }
    GetTraceMgr()->logf("CThWorker", ZelLevelWarning, "{} : not available yet", status);
    return QStringLiteral("Warn: %1 : not available yet").arg(status);
}

QString CThWorker::fileList(KelvoTaskInfo& task) {
    const QString status = QString::fromLatin1(kFileListStatus);
    InstrumentLockGuard hold;
    if (m_lock != nullptr) {
        hold = m_lock->acquire(status);
    }
    bool ok = false;
    const QString text = m_camera->fileList(task.kind == QLatin1String("treeupdatesdlist"), &ok);
    task.result = text;
    if (!ok) {
        return QStringLiteral("Warn: %1 failed : %2").arg(status, text);
    }
    return status + QStringLiteral(" done!!");
}

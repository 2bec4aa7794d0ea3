#include "DownloadTasks.h"

#include "SdSequenceList.h"
#include "SequenceDownload.h"
#include "device/InterfaceCamera.h"
#include "processing/SequenceDataProcessor.h"
#include "trace/ZelTraceMgr.h"
#include "worker/CThWorker.h"
#include "worker/InstrumentLock.h"

namespace DownloadTasks {

bool listCard(InterfaceCamera& camera, bool update, QString* message) {
    SdSequenceList& list = SdSequenceList::instance();
    bool ok = false;
    const QString text = camera.fileList(update, &ok);
    list.setNetworkError(!ok);
    list.parseListing(ok ? text.toUtf8() : QByteArray());
    GetTraceMgr()->logf("ffiletransfert", ZelLevelInformation, "Nbr sequence={}", list.count());
    if (message) {
        *message = ok ? QString() : text;
    }
    return ok;
}

void install(CThWorker& worker, InterfaceCamera& camera, InstrumentLock* lock) {
    const auto hold = [lock](const QString& what) {
        return lock != nullptr ? lock->acquire(what) : InstrumentLockGuard();
    };
    const auto listing = [&camera, hold](KelvoTaskInfo& task) {
        const QString status = CThWorker::runningStatus(task.kind, task.target);
        InstrumentLockGuard guard = hold(status);
        QString message;
        if (!listCard(camera, task.kind == QLatin1String("treeupdatesdlist"), &message)) {
            return QStringLiteral("Warn: %1 failed : %2").arg(status, message);
        }
        return status + QStringLiteral(" done!!");
    };
    worker.setWork(QStringLiteral("sdlist"), listing);
    worker.setWork(QStringLiteral("treeupdatesdlist"), listing);

    worker.setWork(QStringLiteral("retrievefromsensor"), [&camera, &worker, hold](KelvoTaskInfo& task) {
        const QString status = CThWorker::runningStatus(task.kind, task.target);
        InstrumentLockGuard guard = hold(status);
        SdSequenceList& list = SdSequenceList::instance();
        SequenceDownload download(camera, task.owner);
        download.setCancelCheck([&worker] { return worker.cancellationRequested(); });
        download.setProgressCallback([&list](const DownloadProgress& p) { list.setProgress(p); });
        const DownloadResult result =
            download.run(task.target, list.find(task.target).value_or(SdSequenceEntry()));
        if (!result.complete) {
            return QStringLiteral("Warn: %1 : %2").arg(status, result.error);
        }
        return status + QStringLiteral(" done!!");
    });

    worker.setWork(QStringLiteral("ZipVignettes"), [&worker](KelvoTaskInfo& task) {
        const QString status = CThWorker::runningStatus(task.kind, task.target);
        const QString result = SequenceDataProcessor(task.owner).ZipVignettes(task.target, {}, [&worker] {
            return worker.cancellationRequested();
        });
        if (!result.isEmpty()) {
            return QStringLiteral("Warn: %1 : %2").arg(status, result);
        }
        return status + QStringLiteral(" done!!");
    });
}

} // namespace DownloadTasks

#include "SampleTasks.h"

#include "SampleDataProcessor.h"
#include "project/Project.h"
#include "worker/CThWorker.h"

namespace SampleTasks {

QString processData(const QString& projectPath, const QString& sample) {
    const QString status = CThWorker::runningStatus(QStringLiteral("Data"), sample);
    Project project;
    // The instrument was checked when the window opened the project: the copy is forced.
    if (!project.Load(projectPath, true)) {
        return QStringLiteral("Warn: %1 : %2").arg(status, project.LastError());
    }
    SampleDataProcessor processor(project);
    if (!processor.ProcessData(sample)) {
        return QStringLiteral("Warn: %1 : %2").arg(status, processor.LastError());
    }
    return status + QStringLiteral(" done!!");
}

void install(CThWorker& worker) {
    worker.setWork(QStringLiteral("Data"),
                   [](KelvoTaskInfo& task) { return processData(task.owner, task.target); });
}

} // namespace SampleTasks

#include "ExportTasks.h"

#include "OdvExport.h"
#include "project/Project.h"
#include "trace/FmtQt.h"
#include "trace/ZelTraceMgr.h"
#include "worker/CThWorker.h"

namespace ExportTasks {

QString exportOdv(const QString& projectPath, const QString& sample, bool projectFile) {
    const QString status = CThWorker::runningStatus(QStringLiteral("ExportODV"), sample);
    Project project;
    if (!project.Load(projectPath, true)) {
        return QStringLiteral("Warn: %1 : %2").arg(status, project.LastError());
    }
    QStringList warnings;
    QString error = projectFile ? OdvExport::exportAll(project, &warnings)
                                : OdvExport::exportSample(project, sample, &warnings);
    for (const QString& w : warnings) {
        GetTraceMgr()->logf("OdvExport", ZelLevelWarning, "{}", w);
    }
    if (!error.isEmpty()) {
        GetTraceMgr()->logf("OdvExport", ZelLevelError, "{}", error);
        return QStringLiteral("Warn: %1 : %2").arg(status, error);
    }
    if (!warnings.isEmpty()) {
        return QStringLiteral("Warn: %1 : %2").arg(status, warnings.join(QStringLiteral("; ")));
    }
    return status + QStringLiteral(" done!!");
}

void install(CThWorker& worker) {
    worker.setWork(QStringLiteral("ExportODV"), [](KelvoTaskInfo& task) {
        return exportOdv(task.owner, task.target, task.args.contains(QLatin1String(kProjectFileArg)));
    });
}

} // namespace ExportTasks

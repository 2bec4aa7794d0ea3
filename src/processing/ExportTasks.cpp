#include "ExportTasks.h"

#include "OdvExport.h"
#include "SampleImageArchive.h"
#include "project/Project.h"
#include "trace/FmtQt.h"
#include "trace/ZelTraceMgr.h"
#include "worker/CThWorker.h"

#include <mutex>

namespace {

std::mutex g_rendererMutex;
ExportTasks::PlotRenderer g_renderer;

} // namespace

namespace ExportTasks {

void setPlotRenderer(PlotRenderer renderer) {
    std::lock_guard<std::mutex> hold(g_rendererMutex);
    g_renderer = std::move(renderer);
}

QString buildImages(const QString& projectPath, const QString& sample) {
    const QString status = CThWorker::runningStatus(QStringLiteral("Images"), sample);
    Project project;
    if (!project.Load(projectPath, true)) {
        return QStringLiteral("Warn: %1 : %2").arg(status, project.LastError());
    }
    QStringList warnings;
    const QString error = SampleImageArchive::build(project, sample, &warnings);
    for (const QString& w : warnings) {
        GetTraceMgr()->logf("SampleImageArchive", ZelLevelWarning, "{}", w);
    }
    if (!error.isEmpty()) {
        GetTraceMgr()->logf("SampleImageArchive", ZelLevelError, "{}", error);
        return QStringLiteral("Warn: %1 : %2").arg(status, error);
    }
    if (!warnings.isEmpty()) {
        return QStringLiteral("Warn: %1 : %2 vignette(s) left out: %3")
            .arg(status)
            .arg(warnings.size())
            .arg(warnings.join(QStringLiteral("; ")));
    }
    return status + QStringLiteral(" done!!");
}

QString exportPlots(const QString& projectPath, const QString& sample) {
    const QString status = CThWorker::runningStatus(QStringLiteral("ExportPlots"), sample);
    PlotRenderer renderer;
    {
        std::lock_guard<std::mutex> hold(g_rendererMutex);
        renderer = g_renderer;
    }
    if (!renderer) {
        return QStringLiteral("Warn: %1 : not available here").arg(status);
    }
    Project project;
    if (!project.Load(projectPath, true)) {
        return QStringLiteral("Warn: %1 : %2").arg(status, project.LastError());
    }
    QString error;
    const SpectrumSettings settings = SpectrumSettings::load(project.Path(), &error);
    if (!error.isEmpty()) {
        GetTraceMgr()->logf("SamplePlots", ZelLevelWarning, "{}", error);
    }
    SampleSpectrumData data;
    if (!SampleSpectrumSource::load(project, sample, settings, &data, &error) ||
        !(error = renderer(data, settings, project.Path() + QStringLiteral("/results"))).isEmpty()) {
        GetTraceMgr()->logf("SamplePlots", ZelLevelError, "{}", error);
        return QStringLiteral("Warn: %1 : %2").arg(status, error);
    }
    return status + QStringLiteral(" done!!");
}

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
    worker.setWork(QStringLiteral("Images"),
                   [](KelvoTaskInfo& task) { return buildImages(task.owner, task.target); });
    worker.setWork(QStringLiteral("ExportPlots"),
                   [](KelvoTaskInfo& task) { return exportPlots(task.owner, task.target); });
    worker.setWork(QStringLiteral("ExportODV"), [](KelvoTaskInfo& task) {
        return exportOdv(task.owner, task.target, task.args.contains(QLatin1String(kProjectFileArg)));
    });
}

} // namespace ExportTasks

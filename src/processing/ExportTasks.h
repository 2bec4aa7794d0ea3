#pragma once

#include "SampleSpectrumSource.h"

#include <QString>

#include <functional>

class CThWorker;

// The background work of the exports: "ExportODV" of one sample. A task whose arguments hold
// `kProjectFileArg` (the last one queued by "Export all") then also writes the project's file
// with every sample. Each task opens the project in a private `Project`, so that the worker never
// shares the window's header table.
namespace ExportTasks {

inline constexpr const char* kProjectFileArg = "projectFile";

void install(CThWorker& worker);

// Draws a sample's plots into a folder; returns "" or the reason. Plots are widgets: the window
// sets one that draws on its own thread, the command line one that draws at once. Without one
// the "ExportPlots" task says that plots are not available.
using PlotRenderer = std::function<QString(const SampleSpectrumData& sample, const SpectrumSettings& settings,
                                           const QString& folder)>;
void setPlotRenderer(PlotRenderer renderer);

// The sample image archive of `sample`; the task's final status.
QString buildImages(const QString& projectPath, const QString& sample);

// "results/<sample>_part_tot.png" and "_part_red.png"; the task's final status.
QString exportPlots(const QString& projectPath, const QString& sample);

// The ODV export of `sample` (and, with `projectFile`, of the whole project); the task's final
// status ("Export ODV <sample> done!!", or "Warn: Export ODV <sample> : <reason>").
QString exportOdv(const QString& projectPath, const QString& sample, bool projectFile);

} // namespace ExportTasks

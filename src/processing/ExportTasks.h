#pragma once

#include <QString>

class CThWorker;

// The background work of the exports: "ExportODV" of one sample. A task whose arguments hold
// `kProjectFileArg` (the last one queued by "Export all") then also writes the project's file
// with every sample. Each task opens the project in a private `Project`, so that the worker never
// shares the window's header table.
namespace ExportTasks {

inline constexpr const char* kProjectFileArg = "projectFile";

void install(CThWorker& worker);

// The ODV export of `sample` (and, with `projectFile`, of the whole project); the task's final
// status ("Export ODV <sample> done!!", or "Warn: Export ODV <sample> : <reason>").
QString exportOdv(const QString& projectPath, const QString& sample, bool projectFile);

} // namespace ExportTasks

#pragma once

#include <QString>

class CThWorker;

// The background work of the samples: particle processing ("Data") of one sample. The task
// opens the project in a private `Project` of its own, so that the worker never shares the
// window's header table.
namespace SampleTasks {

void install(CThWorker& worker);

// Particle processing of `sample` of the project folder `projectPath`; the task's final
// status ("Particules <sample> done!!", or "Warn: Particules <sample> : <reason>").
QString processData(const QString& projectPath, const QString& sample);

} // namespace SampleTasks

#pragma once

#include <QStringList>

// `kelvo project create PARENT ...`: a new project folder with its metadata, over the same core
// as the project dialog. Takes the arguments after "create"; returns the exit status.
int project_create(const QStringList& args);

#pragma once

#include <QString>

// The project the demo mode opens when the user has none open: a project folder of the demo
// instrument, made once under `parent` with its configuration folder and the usual tree, so
// that a newcomer can list the demo card and download its sequences at once.
namespace DemoProject {

// "kelvo6_sn<serial in lower case>_2024_demo" (the demo card's year).
QString folderName(const QString& serial);

// The demo project's path under `parent`, made first when missing (an existing one is kept as
// it is). Empty on failure, with the reason in `error`.
QString ensure(const QString& parent, const QString& serial, QString* error = nullptr);

} // namespace DemoProject

#pragma once

#include <QString>

// The dashboard's line about background tasks: what it reads and how it is coloured.
namespace TaskStatusLine {

inline constexpr const char* kWarnStyle = "background-color:yellow;color:black;";
inline constexpr const char* kDoneStyle = "background-color:#1b5e20;color:#ffffff;";
inline constexpr const char* kBusyStyle = "background-color:#5d79b6;color:#ffffff;";

// "Pending:<count> / <status>" while tasks are unfinished, otherwise the status alone.
QString text(int pending, const QString& status);
// Yellow for a text beginning "Warn", green for one ending "done!!", blue for anything else.
QString style(const QString& text);

} // namespace TaskStatusLine

#pragma once

#include "terminal/TerminalContext.h"

// Moving the instrument's configurations between the instrument and files of "configurator/":
// template, load (read, display, optionally save) and store (read a file, display, send).
bool hwconf_function(TerminalContext& context, const ShellArgs& args);
bool acqconf_function(TerminalContext& context, const ShellArgs& args);
bool timetable_function(TerminalContext& context, const ShellArgs& args);

#pragma once

#include "terminal/TerminalContext.h"

// Direct control of the instrument's state: supervisor and user mode, processing unit power,
// pressure and time message, reboot, clock synchronisation.
bool SU_function(TerminalContext& context, const ShellArgs& args);
bool USER_function(TerminalContext& context, const ShellArgs& args);
bool PU_function(TerminalContext& context, const ShellArgs& args);
bool pt_function(TerminalContext& context, const ShellArgs& args);
bool reboot_function(TerminalContext& context, const ShellArgs& args);
bool rtcsync_function(TerminalContext& context, const ShellArgs& args);

// The "$pt:...;" message for a pressure at a local date and time.
std::string pt_message(double pressure, const QDateTime& when);

#pragma once

#include "terminal/TerminalContext.h"

// The SD card commands (getfile, sdlist, sddump, sdformat, datareq) come with the Ethernet
// link. Until then their table entries answer that the command is not available and fail, so
// that scripts see the failure.
bool getfile_function(TerminalContext& context, const ShellArgs& args);
bool sdlist_function(TerminalContext& context, const ShellArgs& args);
bool sddump_function(TerminalContext& context, const ShellArgs& args);
bool sdformat_function(TerminalContext& context, const ShellArgs& args);
bool datareq_function(TerminalContext& context, const ShellArgs& args);

#pragma once

#include "terminal/TerminalContext.h"

// The shell's own commands besides help (which needs the table, see VortOShell).
bool clear_function(TerminalContext& context, const ShellArgs& args);

// Prints the common end of every detailed help.
void print_help_end();

#include "terminal/ShellCommands.h"

#include "terminal/TermPrint.h"

void print_help_end() {
    term_print("\n");
}

bool clear_function(TerminalContext& context, const ShellArgs& args) {
    if (!args.empty() && args[0] == "help") {
        term_print("\n[CLEAR]: clear command help");
        term_print("\n\tDescription : Clear this terminal");
        term_print("\n\tUsage :");
        term_print("\n\t\tclear - Completely clears this terminal window, scrolling buffers included");
        print_help_end();
        return true;
    }
    context.clearView();
    return true;
}

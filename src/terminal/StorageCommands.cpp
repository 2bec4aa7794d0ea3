#include "terminal/StorageCommands.h"

#include "terminal/TermPrint.h"

namespace {

bool not_available(const char* tag, const char* name) {
    term_print("\n[%s]: Command %s is not available yet in this version !\n", tag, name);
    return false;
}

} // namespace

bool getfile_function(TerminalContext&, const ShellArgs&) {
    return not_available("GETFILE", "getfile");
}

bool sdlist_function(TerminalContext&, const ShellArgs&) {
    return not_available("SDLIST", "sdlist");
}

bool sddump_function(TerminalContext&, const ShellArgs&) {
    return not_available("SDDUMP", "sddump");
}

bool sdformat_function(TerminalContext&, const ShellArgs&) {
    return not_available("SDFORMAT", "sdformat");
}

bool datareq_function(TerminalContext&, const ShellArgs&) {
    return not_available("DATAREQ", "datareq");
}

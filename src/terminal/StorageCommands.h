#pragma once

#include "terminal/TerminalContext.h"

#include <string>
#include <vector>

// The SD card commands: getfile, sdlist, sddump, sdformat and datareq. Files come over the
// shell's own UDP link after the processing unit has been powered and readied, and land in
// "filemanager/" under the path they have on the card; a card path that is absolute or holds
// ".." is refused before anything is written.
bool getfile_function(TerminalContext& context, const ShellArgs& args);
bool sdlist_function(TerminalContext& context, const ShellArgs& args);
bool sddump_function(TerminalContext& context, const ShellArgs& args);
bool sdformat_function(TerminalContext& context, const ShellArgs& args);
bool datareq_function(TerminalContext& context, const ShellArgs& args);

// The answer to "$PU:makefs;": "[PU]:$makefs:<status>,<total MB>,<free MB>,<type>,<sectors>;".
struct MakefsAnswer {
    std::string status; // at most 7 characters
    int values[4] = {0, 0, 0, 0};
    // Items read in order (status first); -1 when the answer does not even begin with the
    // prefix. Reading stops at the first item that does not fit, as a scanf would.
    int items = -1;
};
MakefsAnswer parse_makefs_answer(const std::string& answer);

// "FAT12", "FAT16", "FAT32", "EXFAT" for type codes 0 to 3, "UNKNOWN" otherwise.
const char* file_system_name(int typeCode);

// The card paths named by a file list ("tree.txt" form): one per line, carriage returns and
// surrounding blanks removed, empty lines left out.
std::vector<std::string> card_list_entries(const std::string& text);

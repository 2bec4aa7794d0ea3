// The program reader on arbitrary text, in file and wire form. A program it accepts must
// survive being written and read again unchanged in every form that can carry its
// configuration name (the file form splits at blanks, the wire form at commas).
#include "FuzzSupport.h"
#include "params/TimeProgram.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzsupport::quiet();
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (const std::string& prefix : {std::string(), std::string("$TIMEPROGread:0,")}) {
        TimeProgram p;
        const std::string input = prefix.empty() ? text : prefix + text;
        if (!time_program_from_text(input, prefix, p)) {
            continue;
        }
        const std::string name = p.configurationName();
        if (name.empty() || name.size() > 15) {
            std::abort();
        }
        TimeProgram again;
        if (name.find_first_of(" \t\n\v\f\r") == std::string::npos &&
            (!time_program_from_text(time_program_to_text(std::string(), p), std::string(), again) ||
             !(again == p))) {
            std::abort();
        }
        TimeProgram wire;
        if (name.find(',') == std::string::npos &&
            (!time_program_from_text(time_program_to_text("$TIMEPROGadd:", p) + ";", "$TIMEPROGadd:", wire) ||
             !(wire == p))) {
            std::abort();
        }
    }
    return 0;
}

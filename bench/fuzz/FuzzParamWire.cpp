// The wire reader on arbitrary instrument answers (with and without the expected prefix),
// then the checked setter on the same bytes.
#include "FuzzSupport.h"
#include "params/ParamSets.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzsupport::quiet();
    const std::string text(reinterpret_cast<const char*>(data), size);
    ParamTable hw;
    build_hw_params(hw);
    (void)get_params_from_string(text, "$HWCONFread:", hw);
    (void)get_params_from_string("$HWCONFread:" + text, "$HWCONFread:", hw);
    ParamTable acq;
    build_acq_params(acq);
    (void)get_params_from_string("$ACQCONFread:3," + text, "$ACQCONFread:3,", acq);
    for (const ParamTable* t : {&hw, &acq}) {
        for (const ParamDef& d : *t) {
            if (d.stringCapacity > 0 && d.stringValue.size() >= d.stringCapacity) {
                std::abort();
            }
        }
    }
    (void)write_params_to_string("$HWCONFset:", hw);
    // The first word names a parameter, the rest is its new value.
    const std::size_t blank = text.find(' ');
    if (blank != std::string::npos) {
        (void)SetParamFromText(hw, text.substr(0, blank), text.substr(blank + 1));
        (void)SetParamFromText(acq, text.substr(0, blank), text.substr(blank + 1));
    }
    return 0;
}

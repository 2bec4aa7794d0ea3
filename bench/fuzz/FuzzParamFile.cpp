// The parameter file reader on arbitrary file contents, for both tables, followed by the
// writers on whatever the reader left in the table.
#include "FuzzSupport.h"
#include "params/ParamSets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzsupport::quiet();
    const QString path = fuzzsupport::scratch_file(data, size);
    ParamTable hw;
    build_hw_params(hw);
    ParamTable acq;
    build_acq_params(acq);
    const int nHw = get_params_from_file(path, hw);
    const int nAcq = get_params_from_file(path, acq);
    if (nHw < -1 || nAcq < -1) {
        std::abort();
    }
    // Whatever was accepted must stay within the string buffers.
    for (const ParamTable* t : {&hw, &acq}) {
        for (const ParamDef& d : *t) {
            if (d.stringCapacity > 0 && d.stringValue.size() >= d.stringCapacity) {
                std::abort();
            }
        }
    }
    (void)write_params_to_string("$HWCONFset:", hw);
    (void)write_params_to_string("$ACQCONFset:0,", acq);
    return 0;
}

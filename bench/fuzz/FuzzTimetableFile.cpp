// The timetable file reader on arbitrary file contents; what it reads must write and read back
// to the same list.
#include "FuzzSupport.h"
#include "params/Timetable.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzsupport::quiet();
    const QString path = fuzzsupport::scratch_file(data, size);
    Timetable tt;
    const int n = get_timetable_from_file(path, tt);
    if (n != static_cast<int>(tt.size())) {
        std::abort();
    }
    if (n > 0) {
        (void)timetable_to_text(tt);
        if (!write_timetable_to_file(path, tt, "fuzz")) {
            std::abort();
        }
        Timetable back;
        if (get_timetable_from_file(path, back) != n || back != tt) {
            std::abort();
        }
    }
    return 0;
}

// The timetable exchanges over the serial link, apart from the rest so that the formats can be
// built and fuzzed without a port.
#include "link/SerialLink.h"
#include "params/Timetable.h"

InstrumentExchange serial_link_exchange(int tries) {
    return [tries](const std::string& line) {
        std::string answer;
        bool received = false;
        if (!send_message("%s", line.c_str())) {
            return std::string();
        }
        get_message(answer, received, tries);
        return received ? answer : std::string();
    };
}

void program_timetable(const Timetable& timetable) {
    program_timetable(timetable, serial_link_exchange());
}

#pragma once

#include <QtGlobal>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

// One entry of the instrument's timetable: when an acquisition starts (a date and time pattern
// where 0 stands for "any"), with which acquisition configuration and for how long.
struct TimeProgram {
    static constexpr quint32 kAny = 0;

    quint32 year = kAny;         // 2000 to 2100
    quint32 month = kAny;        // 1 (January) to 12
    quint32 day = kAny;          // 1 to 31
    quint32 weekday = kAny;      // 1 (Sunday) to 7; always kAny when a day is given
    quint32 hour = kAny;         // hour + 1, so 1 to 24 for 0 to 23
    quint32 halfHour = kAny;     // 1 for minute 00, 2 for minute 30
    quint32 duration = 0;        // minutes, 0 to 65535; 0 runs until stopped
    char configuration[16] = {}; // acquisition configuration name, 1 to 15 characters

    std::string configurationName() const {
        return std::string(configuration, strnlen(configuration, sizeof configuration));
    }
    // Stores at most 15 characters.
    void setConfiguration(std::string_view name) {
        const std::size_t n = std::min(name.size(), sizeof configuration - 1);
        std::memset(configuration, 0, sizeof configuration);
        std::memcpy(configuration, name.data(), n);
    }

    bool operator==(const TimeProgram& o) const {
        return year == o.year && month == o.month && day == o.day && weekday == o.weekday && hour == o.hour &&
               halfHour == o.halfHour && duration == o.duration &&
               configurationName() == o.configurationName();
    }
};

// Text of a program. With an empty prefix, the file form: the six date fields in 5 columns ("*"
// for any; hour and half hour as 0-23 and 0/1), the configuration in 16 columns and the
// duration in 5, separated by three blanks. Otherwise the wire form: the prefix, then the same
// fields separated by "," (the caller appends ";").
std::string time_program_to_text(const std::string& prefix, const TimeProgram& program);

// Reads a program from its file form (empty prefix) or from a wire answer that starts with
// `prefix`. Returns false, leaving `program` unchanged, when the text does not hold a complete
// program within the allowed ranges.
bool time_program_from_text(std::string_view text, const std::string& prefix, TimeProgram& program);

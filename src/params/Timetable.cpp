#include "params/Timetable.h"

#include "params/ParamText.h"
#include "terminal/TermPrint.h"
#include "trace/ZelTraceMgr.h"

#include <QFile>
#include <QSaveFile>

#include <fmt/format.h>

#include <stdexcept>

namespace {

const char* const kCannotOpen = "\n[ERROR]: (%s) Cannot open file %s !\n";
const char* const kColumnHeader =
    "// YEAR - MONTH -   DAY - WKDAY -  HOUR - +30mi - ACQUISITION_CONF - DURATION";

bool save_text(const QString& path, const std::string& text, const char* operation) {
    // Written beside the target and renamed over it: a failed write never leaves half a file.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        term_print(kCannotOpen, operation, path.toLocal8Bit().constData());
        return false;
    }
    file.write(text.data(), static_cast<qint64>(text.size()));
    if (!file.commit()) {
        GetTraceMgr()->logf("Timetable", ZelLevelError, "{}: writing {} failed: {}", operation, path,
                            file.errorString());
        return false;
    }
    return true;
}

TimeProgram make_program(quint32 year, quint32 month, quint32 day, quint32 weekday, quint32 hour,
                         quint32 halfHour, const char* configuration, quint32 duration) {
    TimeProgram p;
    p.year = year;
    p.month = month;
    p.day = day;
    p.weekday = weekday;
    p.hour = hour;
    p.halfHour = halfHour;
    p.setConfiguration(configuration);
    p.duration = duration;
    return p;
}

std::string header_text() {
    return fmt::format("{:>5} - {:>5} - {:>5} - {:>5} - {:>5} - {:>5} - {:>16} - {}\n\n", "YEAR", "MONTH",
                       "DAY", "WKDAY", "HOUR", "+30mi", "ACQUISITION_CONF", "DURATION");
}

} // namespace

int get_timetable_from_file(const QString& path, Timetable& timetable) {
    static const char* const self = "get_timetable_from_file";
    timetable.clear();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        term_print(kCannotOpen, self, path.toLocal8Bit().constData());
        return -1;
    }
    int count = 0;
    while (!file.atEnd()) {
        const QByteArray raw = file.readLine();
        if (file.error() != QFileDevice::NoError) {
            term_print("\n[ERROR]: (%s) Error while reading input file. Aborting !\n", self);
            return -1;
        }
        const std::string_view line = paramtext::trim(
            paramtext::strip_comment(paramtext::c_string(std::string_view(raw.constData(), raw.size()))));
        if (line.empty()) {
            continue;
        }
        TimeProgram p;
        if (!time_program_from_text(line, std::string(), p)) {
            const std::string shown(line);
            term_print("\n[WARNING]: (%s) Invalid time program format or range : %s - Skipped !\n", self,
                       shown.c_str());
            continue;
        }
        timetable.push_back(p);
        ++count;
    }
    return count;
}

bool write_timetable_to_file(const QString& path, const Timetable& timetable, const std::string& title) {
    static const char* const self = "write_timetable_to_file";
    if (timetable.empty()) {
        term_print("\n[ERROR]: (%s) Input Timetable is empty !\n", self);
        return false;
    }
    std::string out = "// " + title + " :\n\n" + kColumnHeader + "\n\n";
    for (const TimeProgram& p : timetable) {
        out += "  " + time_program_to_text(std::string(), p) + "\n";
    }
    return save_text(path, out, self);
}

std::string timetable_to_text(const Timetable& timetable) {
    std::string out = header_text();
    for (const TimeProgram& p : timetable) {
        out += time_program_to_text(std::string(), p) + "\n";
    }
    return out;
}

void print_timetable(const Timetable& timetable) {
    term_print("%5s - %5s - %5s - %5s - %5s - %5s - %16s - %s\n\n", "YEAR", "MONTH", "DAY", "WKDAY", "HOUR",
               "+30mi", "ACQUISITION_CONF", "DURATION");
    for (const TimeProgram& p : timetable) {
        term_print("%s\n", time_program_to_text(std::string(), p).c_str());
    }
}

std::string timetable_template_text() {
    // Hours and half hours are stored one above the value written.
    struct Example {
        TimeProgram program;
        const char* comment;
    };
    const Example examples[] = {
        {make_program(2019, 7, 0, 0, 21, 1, "July_CONF", 120),
         "\t// During July 2019, launch an acquisition everyday at 20h00, using configuration July_CONF for "
         "2 hours"},
        {make_program(2019, 0, 0, 0, 21, 1, "ACQ_night", 60),
         "\t// Every month in 2019 (except July, covered above), launch an acquisition everyday at 20h00, "
         "using "
         "configuration ACQ_night for 1 hour"},
        {make_program(0, 0, 0, 5, 7, 2, "MORNING", 60),
         "\t// On thursdays, launch an acquisition at 6h30, using configuration MORNING for 1 hour"},
        {make_program(0, 0, 0, 0, 7, 2, "MORNING", 30),
         "\t// Every day of the week (except thursday, covered above), launch an acquisition at 6h30, using "
         "configuration MORNING for 30 minutes"},
        {make_program(0, 0, 0, 0, 15, 0, "Afternoon_ACQ", 10),
         "\t// Everyday, launch an acquisition at 14h00 and at 14h30, using configuration Afternoon_ACQ for "
         "10 "
         "minutes each"},
    };
    std::string out =
        "// Timetable template\n"
        "// Time program parameters :\n"
        "// YEAR : acquisition year from 2000 to 2100, * for any year\n"
        "// MONTH : acquisition month from 1 (January) to 12 (December), * for any month\n"
        "// DAY : acquisition day from 1 to 31, * for every day\n"
        "// WKDAY : acquisition day of the week from 1 (Sunday) to 7 (Saturday), * for all days\n"
        "//   !! note !! WKDAY is only taken into account if DAY is *, otherwise it's always "
        "considered as being * (all days)\n"
        "// HOUR : acquisition start hour from 0 to 23, * for every hour\n"
        "// +30mi : acquisition start half-hour, 0 for acquisition start at HOUR:00, 1 for HOUR:30, "
        "* for both\n"
        "// ACQUISITION_CONF : Name of the acquisition configuration parameters set to be used\n"
        "// DURATION : duration of the acquisition in minutes, 0 for forever\n"
        "// Programs have a \"priority order\" according to their position in the list\n"
        "// Only the first program matching the actual date/time is executed\n"
        "// Comments can be inserted preceded by slashes (//)\n"
        "// Examples :\n";
    out += kColumnHeader;
    out += "\n";
    for (const Example& e : examples) {
        out += "  " + time_program_to_text(std::string(), e.program) + e.comment + "\n";
    }
    return out;
}

bool write_timetable_template(const QString& path) {
    return save_text(path, timetable_template_text(), "write_timetable_template");
}

void program_timetable(const Timetable& timetable, const InstrumentExchange& exchange) {
    const std::string ok = "$ok;\n";
    if (exchange("$TIMEPROGinit;") != ok) {
        throw std::runtime_error("Unable to initiate Timetable programming. Failed !");
    }
    for (const TimeProgram& p : timetable) {
        if (exchange(time_program_to_text("$TIMEPROGadd:", p) + ";") != ok) {
            throw std::runtime_error("An error occurred while programming the Timetable. Failed !");
        }
    }
}

int read_timetable(Timetable& timetable, const InstrumentExchange& exchange, int limit) {
    timetable.clear();
    for (int i = 0; i < limit; ++i) {
        const std::string request = fmt::format("$TIMEPROGread:{}", i);
        TimeProgram p;
        if (!time_program_from_text(exchange(request + ";"), request + ",", p)) {
            break;
        }
        timetable.push_back(p);
    }
    return static_cast<int>(timetable.size());
}

TimetableEditCheck timetable_from_edited_rows(const std::vector<std::vector<std::string>>& rows,
                                              Timetable& timetable) {
    TimetableEditCheck check;
    Timetable edited;
    for (std::size_t r = 0; r < rows.size(); ++r) {
        std::string joined;
        for (std::size_t c = 0; c < rows[r].size(); ++c) {
            if (c > 0) {
                joined += "  ";
            }
            joined += rows[r][c];
        }
        TimeProgram p;
        if (!time_program_from_text(joined, std::string(), p)) {
            check.error = TimetableEditCheck::Format;
        } else if (p.configurationName().rfind("ACQ_TIME", 0) != 0) {
            // Configurations started by the timetable are told apart by this name prefix.
            check.error = TimetableEditCheck::ConfigurationName;
        } else {
            edited.push_back(p);
            continue;
        }
        check.row = static_cast<int>(r);
        check.text = joined;
        return check;
    }
    timetable = std::move(edited);
    return check;
}

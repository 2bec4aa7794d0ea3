#pragma once

#include "params/TimeProgram.h"

#include <QString>

#include <functional>
#include <string>
#include <vector>

// The instrument's time programmes in priority order: the first program that matches the
// current date and time is the one run.
using Timetable = std::vector<TimeProgram>;

// Most programs the instrument accepts (checked by the command that programs it, not here).
inline constexpr int kTimetableMaxPrograms = 128;

// Default file name of the timetable template.
inline constexpr const char* kTimetableTemplateName = "Timetable_template.txt";

// Reads a timetable file. Comments start at "/"; blank lines are skipped; an invalid line is
// skipped with a warning. Returns the number of programs read, or -1 when the file cannot be
// read. `timetable` is emptied first.
int get_timetable_from_file(const QString& path, Timetable& timetable);

// Writes `timetable` under the comment line "// <title> :" and the column header. False (with
// a message) for an empty timetable or a file that cannot be written.
bool write_timetable_to_file(const QString& path, const Timetable& timetable, const std::string& title);

// The column header and one file-form row per program, for display and the clipboard.
std::string timetable_to_text(const Timetable& timetable);

// Prints the header and the rows to the terminal.
void print_timetable(const Timetable& timetable);

// The commented template with five example programs.
std::string timetable_template_text();

// Writes the template; false when the file cannot be written.
bool write_timetable_template(const QString& path);

// One exchange with the instrument: sends `line` (a dollar message, without line feed) and
// returns the answer as received, line feed included ("" when nothing came).
using InstrumentExchange = std::function<std::string(const std::string& line)>;

// Sends "$TIMEPROGinit;" then one "$TIMEPROGadd:...;" per program, each answered by "$ok;\n".
// Throws std::runtime_error("Unable to initiate Timetable programming. Failed !") or
// std::runtime_error("An error occurred while programming the Timetable. Failed !"); programs
// added before a refusal stay in the instrument.
void program_timetable(const Timetable& timetable, const InstrumentExchange& exchange);

// The exchange over the process-wide serial link: the line is sent with a line feed and the
// answer awaited for up to `tries` silent reads of ~100 ms.
InstrumentExchange serial_link_exchange(int tries = 50);

// program_timetable over the serial link.
void program_timetable(const Timetable& timetable);

// Reads the instrument's programs with "$TIMEPROGread:<i>;" for i = 0, 1, ... until an answer
// holds no valid program (at most `limit` requests). Returns the number of programs read.
int read_timetable(Timetable& timetable, const InstrumentExchange& exchange, int limit = 1000);

// Outcome of reading the rows of the timetable editor.
struct TimetableEditCheck {
    enum Error { None, Format, ConfigurationName };
    Error error = None;
    int row = -1;     // the failing row, counted from 0
    std::string text; // its cells joined with two blanks
};

// Reads edited rows (cells in text order: the six date fields, configuration, duration), each
// joined with two blanks and read as a file-form program. Every configuration must begin with
// "ACQ_TIME". Stops at the first bad row; `timetable` is only replaced when every row passes.
TimetableEditCheck timetable_from_edited_rows(const std::vector<std::vector<std::string>>& rows,
                                              Timetable& timetable);

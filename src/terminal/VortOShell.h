#pragma once

#include "terminal/TerminalContext.h"

#include <functional>
#include <map>
#include <string>

// Results of parse_command_line.
enum CommandLineKind : int {
    CommandLineEmpty = 0,   // nothing to do
    CommandLineCommand = 1, // a shell command with its arguments
    CommandLineRaw = 2,     // a "$...;" message for the instrument, sent as it stands
};

// Trims blanks and tabs; a line that then begins with "$" and ends with ";" is raw (`name`
// receives the trimmed line), otherwise it is split at runs of blanks and tabs into the command
// name and its arguments.
int parse_command_line(const std::string& line, std::string& name, ShellArgs& args);

// Whether a known command with these arguments talks to the instrument (help texts, "clear"
// and templates do not). A line that does is refused while the serial port is not usable.
bool command_needs_instrument(const std::string& name, const ShellArgs& args);

// The VortOS shell: its command table and the dispatch of a typed line. Every output goes
// through term_print. Not thread-safe: one line at a time.
class VortOShell {
public:
    using Handler = std::function<bool(const ShellArgs& args)>;
    struct Entry {
        Handler handler;
        std::string description;
    };
    // Ordered by name, hence listed alphabetically.
    using CommandMap = std::map<std::string, Entry>;

    VortOShell();

    TerminalContext& context() { return m_context; }
    const CommandMap& commands() const { return m_commands; }

    // Runs one line as typed: the "[ME] " echo (when `echo`), then a raw message or a command.
    // True when the command succeeded, the raw line was written, or the line was empty.
    bool runLine(const std::string& line, bool echo = true);

    // Prints every answer the instrument sent unasked, until a read yields nothing. Returns the
    // number of answers printed.
    int readSerial();

    // Handlers outside the table dispatch, for the help listing and tests.
    bool help(const ShellArgs& args);
    // Present but deliberately left out of the table: "quit" is an unknown command.
    static bool quit(const ShellArgs& args);

private:
    void build();
    bool sendRaw(const std::string& line);

    TerminalContext m_context;
    CommandMap m_commands;
};

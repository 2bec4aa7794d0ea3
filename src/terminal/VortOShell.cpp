#include "terminal/VortOShell.h"

#include "link/SerialLink.h"
#include "terminal/ConfigCommands.h"
#include "terminal/ControlCommands.h"
#include "terminal/ShellCommands.h"
#include "terminal/StorageCommands.h"
#include "terminal/TermPrint.h"

namespace {

bool is_blank(char c) {
    return c == ' ' || c == '\t';
}

// One raw message waits this many tries for its answer.
constexpr int kRawAnswerTries = 100;

// Without a usable port every exchange would fail with an instrument message (and a log line
// per read); the line is refused at once with the port's own reason instead.
bool refuse_without_port(const std::string& what) {
    if (is_comm_usable()) {
        return false;
    }
    const std::string port = comm_port_name().toLocal8Bit().toStdString();
    const std::string reason = comm_open_error();
    if (port.empty()) {
        term_print("\n[VortOS]: No serial port is open, \"%s\" needs the instrument !\n", what.c_str());
    } else {
        term_print("\n[VortOS]: Serial port %s is not open (%s), \"%s\" needs the instrument !\n",
                   port.c_str(), reason.empty() ? "closed" : reason.c_str(), what.c_str());
    }
    return true;
}

} // namespace

bool command_needs_instrument(const std::string& name, const ShellArgs& args) {
    const std::string first = args.empty() ? std::string() : args[0];
    if (name == "help" || name == "clear" || first == "help") {
        return false;
    }
    // The configuration commands also write templates, which stay on the host.
    if (name == "hwconf" || name == "acqconf" || name == "timetable") {
        return first == "load" || first == "store";
    }
    return true;
}

int parse_command_line(const std::string& line, std::string& name, ShellArgs& args) {
    name.clear();
    args.clear();
    std::size_t begin = 0;
    std::size_t end = line.size();
    while (begin < end && is_blank(line[begin])) {
        ++begin;
    }
    while (end > begin && is_blank(line[end - 1])) {
        --end;
    }
    if (begin == end) {
        return CommandLineEmpty;
    }
    if (line[begin] == '$' && line[end - 1] == ';') {
        name = line.substr(begin, end - begin);
        return CommandLineRaw;
    }
    std::size_t pos = begin;
    bool first = true;
    while (pos < end) {
        const std::size_t start = pos;
        while (pos < end && !is_blank(line[pos])) {
            ++pos;
        }
        std::string word = line.substr(start, pos - start);
        if (first) {
            name = std::move(word);
            first = false;
        } else {
            args.push_back(std::move(word));
        }
        while (pos < end && is_blank(line[pos])) {
            ++pos;
        }
    }
    return CommandLineCommand;
}

VortOShell::VortOShell() {
    build();
}

void VortOShell::build() {
    auto bind = [this](bool (*f)(TerminalContext&, const ShellArgs&)) {
        return [this, f](const ShellArgs& args) { return f(m_context, args); };
    };
    m_commands = {
        {"acqconf", {bind(acqconf_function), "Manage VORTAN acquisition configurations"}},
        {"clear", {bind(clear_function), "Clear this terminal"}},
        {"datareq", {bind(datareq_function), "Display synthetic data from last VORTAN acquisition"}},
        {"getfile", {bind(getfile_function), "Download a file from VORTAN SD card"}},
        {"help",
         {[this](const ShellArgs& args) { return help(args); }, "Display help on available commands"}},
        {"hwconf", {bind(hwconf_function), "Manage VORTAN hardware configuration"}},
        {"pt", {bind(pt_function), "Send a 'pt' message to VORTAN"}},
        {"pu", {bind(PU_function), "Power on/off the processing unit"}},
        {"reboot", {bind(reboot_function), "Reboot VORTAN software"}},
        {"rtcsync", {bind(rtcsync_function), "Synchronize VORTAN clock with this system time"}},
        {"sddump", {bind(sddump_function), "Download a list of files from VORTAN SD card"}},
        {"sdformat", {bind(sdformat_function), "Format VORTAN SD card"}},
        {"sdlist", {bind(sdlist_function), "Update and download the file list from VORTAN SD card"}},
        {"su", {bind(SU_function), "Put VORTAN into Super-User mode"}},
        {"timetable", {bind(timetable_function), "Manage VORTAN time programming configuration"}},
        {"user", {bind(USER_function), "Switch VORTAN back to User mode"}},
    };
}

bool VortOShell::runLine(const std::string& line, bool echo) {
    if (echo) {
        term_print("[ME] %s", line.c_str());
    }
    std::string name;
    ShellArgs args;
    switch (parse_command_line(line, name, args)) {
    case CommandLineRaw:
        if (refuse_without_port(name)) {
            return false;
        }
        return sendRaw(name);
    case CommandLineCommand:
        break;
    default:
        return true;
    }
    const auto found = m_commands.find(name);
    if (found == m_commands.end()) {
        term_print("\n[VortOShell]: Unknown command \"%s\" !\n", name.c_str());
        return false;
    }
    if (command_needs_instrument(name, args) && refuse_without_port(name)) {
        return false;
    }
    if (!found->second.handler(args)) {
        term_print("\n[VortOS]: Command %s returned an error !\n", name.c_str());
        return false;
    }
    return true;
}

bool VortOShell::sendRaw(const std::string& line) {
    if (!send_message("%s", line.c_str())) {
        term_print("Error performing the COM port write operation");
        return false;
    }
    std::string answer;
    bool received = false;
    get_message(answer, received, kRawAnswerTries);
    term_print("[Raw]%s", answer.c_str());
    return true;
}

int VortOShell::readSerial() {
    if (refuse_without_port("Read Serial Port")) {
        return 0;
    }
    int count = 0;
    for (;;) {
        std::string answer;
        bool received = false;
        get_message(answer, received, 1);
        if (!received || answer.empty()) {
            return count;
        }
        term_print("[Raw]%s", answer.c_str());
        ++count;
    }
}

bool VortOShell::help(const ShellArgs& args) {
    if (!args.empty() && args[0] == "help") {
        term_print("\n[HELP]: help command help");
        term_print("\n\tDescription : Display help on available commands");
        term_print("\n\tUsages :");
        term_print("\n\t\thelp - Display all VortOS available commands, with a brief description");
        term_print("\n\t\thelp <command> - Display detailed help on command <command>");
        print_help_end();
        return true;
    }
    if (args.empty()) {
        term_print("\n[HELP]:\x1b[10GCommand\x1b[25GDescription\n\n");
        bool green = true;
        for (const auto& [name, entry] : m_commands) {
            term_print("%s\x1b[10G%s\x1b[25G%s\x1b[m\n", green ? "\x1b[92m" : "\x1b[97m", name.c_str(),
                       entry.description.c_str());
            green = !green;
        }
        return true;
    }
    const auto found = m_commands.find(args[0]);
    if (found == m_commands.end()) {
        term_print("\n[HELP]: Unknown command \"%s\" !\n", args[0].c_str());
        return false;
    }
    return found->second.handler(ShellArgs{"help"});
}

bool VortOShell::quit(const ShellArgs& args) {
    if (!args.empty() && args[0] == "help") {
        term_print("\n[QUIT]: quit command help");
        term_print("\n\tDescription : Quit VortOS");
        term_print("\n\tUsage :");
        term_print("\n\t\tquit - Leave VortOS and closes this window");
        term_print("\n\tNote :");
        term_print("\n\t\tClosing VortOS does not change VORTAN state, it will continue working until it's "
                   "powered off");
        print_help_end();
        return true;
    }
    term_print("\n[QUIT]\n");
    return true;
}

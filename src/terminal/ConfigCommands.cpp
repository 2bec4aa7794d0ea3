#include "terminal/ConfigCommands.h"

#include "link/SerialLink.h"
#include "params/ParamSets.h"
#include "params/Timetable.h"
#include "terminal/ShellCommands.h"
#include "terminal/TermPrint.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <stdexcept>

namespace {

const char* const kInvalidOption = "\n[ERROR]: (%s) Invalid option %s, or not enough parameters !\n";
const char* const kSuError = "\n[ERROR]: (%s) Unable to put VORTAN into SU mode !\nMaybe the system is not "
                             "idle (busy/sleeping/ongoing acquisition ?) !\n";
const char* const kBaseFolderNote =
    "\n\t\tBase path for all filenames is the <configurator> folder, inside the "
    "<VortOS> folder";
const char* const kOk = "$ok;\n";

// Whatever the instrument still says after a command must not be read as the answer of the next.
struct PurgeWhenDone {
    ~PurgeWhenDone() { purge_comm(false); }
};

std::string local_text(const QString& path) {
    return path.toLocal8Bit().toStdString();
}

bool enter_supervisor(TerminalContext& context, const char* self) {
    if (context.protocol().supervisorMode(true) == SupervisorFailed) {
        term_print(kSuError, self);
        return false;
    }
    return true;
}

// The two parameter commands differ only by their table, tag and texts.
struct ParamCommand {
    const char* self;           // "hwconf_function"
    const char* tag;            // "HWCONF"
    const char* templateName;   // default template file
    void (*build)(ParamTable&); // fresh table with defaults
};

const ParamCommand kHw{"hwconf_function", "HWCONF", "HWtemplate.txt", build_hw_params};
const ParamCommand kAcq{"acqconf_function", "ACQCONF", "ACQtemplate.txt", build_acq_params};

bool write_template(TerminalContext& context, const ParamCommand& cmd, const ShellArgs& args) {
    ParamTable table;
    cmd.build(table);
    const std::string path =
        local_text(context.configuratorPath(args.size() > 1 ? args[1] : cmd.templateName));
    if (!write_params_to_file(QString::fromLocal8Bit(path.c_str()), table)) {
        term_print("\n[%s]: Unable to create template file !\n", cmd.tag);
        return false;
    }
    term_print("\n[%s]: template file \"%s\" created.\n", cmd.tag, path.c_str());
    return true;
}

bool save_loaded(TerminalContext& context, const ParamCommand& cmd, const ParamTable& table,
                 const std::string& name) {
    const QString path = context.configuratorPath(name);
    if (!write_params_to_file(path, table)) {
        term_print("\n[%s]: Unable to create file %s !\n", cmd.tag, local_text(path).c_str());
        return false;
    }
    term_print("\n[%s]: parameters successfully saved to %s.\n", cmd.tag, local_text(path).c_str());
    return true;
}

// Reads and shows a parameter file; false (with the message) when it does not pass the checks.
bool read_param_file(TerminalContext& context, const ParamCommand& cmd, const std::string& name,
                     ParamTable& table, const std::string& title) {
    term_print("\n[%s]: ", cmd.tag);
    if (get_params_from_file(context.configuratorPath(name), table) == -1) {
        term_print("\tError when processing parameters file. Abort !\n");
        return false;
    }
    table[0].name = title + name;
    print_params(table);
    return true;
}

bool send_params(TerminalContext& context, const ParamCommand& cmd, const ParamTable& table,
                 const std::string& prefix) {
    // The prompt cannot be answered from this terminal: the reply is taken as "yes".
    const std::string reply = "yes";
    if (reply != "yes") {
        term_print("\t\tParameters discarded.\n");
        return true;
    }
    if (!enter_supervisor(context, cmd.self)) {
        return false;
    }
    if (context.exchange(write_params_to_string(prefix, table) + ";") != kOk) {
        term_print("\t\tUnable to store parameters !\n");
        return false;
    }
    term_print("\t\tParameters successfully stored.\n");
    return true;
}

// A slot number as typed: decimal, the whole word. False for anything that is not a number.
bool parse_conf_id(const std::string& text, long long& value) {
    if (text.empty()) {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    value = std::strtoll(text.c_str(), &end, 10);
    return errno == 0 && end != nullptr && *end == '\0' && value >= INT_MIN && value <= INT_MAX;
}

} // namespace

bool hwconf_function(TerminalContext& context, const ShellArgs& args) {
    const std::string option = args.empty() ? std::string() : args[0];
    if (option == "help") {
        term_print("\n[HWCONF]: hwconf command help");
        term_print("\n\tDescription : Manage VORTAN hardware configuration");
        term_print("\n\tUsages :");
        term_print("\n\t\thwconf template - creates a template file called \"HWtemplate.txt\"");
        term_print("\n\t\thwconf template <filename> - creates a template file called <filename>");
        term_print("\n\t\thwconf load - load and display current VORTAN Hardware configuration");
        term_print(
            "\n\t\thwconf load <filename> - load and display current VORTAN Hardware configuration, and "
            "saves into <filename>");
        term_print(
            "\n\t\thwconf store <filename> - load and display Hardware configuration from <filename>, and "
            "stores into VORTAN if valid");
        term_print("\n\tNotes :");
        term_print("%s", kBaseFolderNote);
        print_help_end();
        return true;
    }
    const bool load = option == "load";
    const bool store = option == "store" && args.size() > 1;
    if (option != "template" && !load && !store) {
        term_print(kInvalidOption, kHw.self, option.c_str());
        return false;
    }
    PurgeWhenDone purge;
    if (option == "template") {
        return write_template(context, kHw, args);
    }
    ParamTable table;
    build_hw_params(table);
    if (store) {
        if (!read_param_file(context, kHw, args[1], table, "Hardware Configuration loaded from ")) {
            return false;
        }
        term_print("\n[HWCONF]: Store these parameters into VORTAN ? (type yes to accept): ");
        return send_params(context, kHw, table, "$HWCONFset:");
    }
    if (!enter_supervisor(context, kHw.self)) {
        return false;
    }
    const std::string answer = context.exchange("$HWCONFread;");
    term_print("\n[HWCONF]: ");
    if (get_params_from_string(answer, "$HWCONFread:", table) == -1) {
        term_print("\tError when processing VORTAN response. Maybe it does not have a valid hardware "
                   "configuration. Abort !\n");
        return false;
    }
    table[0].name = "Loaded VORTAN Hardware Configuration";
    print_params(table);
    return args.size() > 1 ? save_loaded(context, kHw, table, args[1]) : true;
}

bool acqconf_function(TerminalContext& context, const ShellArgs& args) {
    const std::string option = args.empty() ? std::string() : args[0];
    if (option == "help") {
        term_print("\n[ACQCONF]: acqconf command help");
        term_print("\n\tDescription : Manage VORTAN acquisition configurations");
        term_print("\n\tUsages :");
        term_print("\n\t\tacqconf template - creates a template file called \"ACQtemplate.txt\"");
        term_print("\n\t\tacqconf template <filename> - creates a template file called <filename>");
        term_print(
            "\n\t\tacqconf load <conf_ID> - load and display VORTAN Acquisition configuration from slot "
            "<conf_ID>");
        term_print("\n\t\tacqconf load <conf_ID> <filename> - load and display VORTAN Acquisition "
                   "configuration from slot <conf_ID>, and saves into <filename>");
        term_print(
            "\n\t\tacqconf store <conf_ID> <filename> - load and display Acquisition configuration from "
            "<filename>, and stores into VORTAN slot <conf_ID> if valid");
        term_print("\n\tNotes :");
        term_print("%s", kBaseFolderNote);
        print_help_end();
        return true;
    }
    const bool load = option == "load" && args.size() > 1;
    const bool store = option == "store" && args.size() > 2;
    if (option != "template" && !load && !store) {
        term_print(kInvalidOption, kAcq.self, option.c_str());
        return false;
    }
    if (option == "template") {
        PurgeWhenDone purge;
        return write_template(context, kAcq, args);
    }
    const std::string& idText = args[1];
    long long id = 0;
    if (!parse_conf_id(idText, id)) {
        term_print(kInvalidOption, kAcq.self, idText.c_str());
        return false;
    }
    if (static_cast<unsigned int>(id) > 9) {
        term_print("\n[ERROR]: (%s) Out of range <conf_ID> value (%d). Must be between 0 and 9 !\n",
                   kAcq.self, static_cast<int>(id));
        return false;
    }
    const int slot = static_cast<int>(id);
    PurgeWhenDone purge;
    ParamTable table;
    build_acq_params(table);
    if (store) {
        if (!read_param_file(context, kAcq, args[2], table, "Acquisition Configuration loaded from ")) {
            return false;
        }
        term_print("\n[ACQCONF]: Store these parameters into VORTAN slot #%d ? (type yes to accept): ", slot);
        return send_params(context, kAcq, table, "$ACQCONFset:" + idText + ",");
    }
    if (!enter_supervisor(context, kAcq.self)) {
        return false;
    }
    const std::string answer = context.exchange("$ACQCONFread:" + idText + ";");
    term_print("\n[ACQCONF]: ");
    if (get_params_from_string(answer, "$ACQCONFread:" + idText + ",", table) == -1) {
        term_print(
            "\n[ERROR]: (%s) Error when processing VORTAN response. Maybe slot #%d does not have a valid "
            "configuration. Abort !\n",
            kAcq.self, slot);
        return false;
    }
    table[0].name = "Loaded VORTAN Acquisition Configuration slot #" + std::to_string(slot);
    print_params(table);
    return args.size() > 2 ? save_loaded(context, kAcq, table, args[2]) : true;
}

bool timetable_function(TerminalContext& context, const ShellArgs& args) {
    static const char* const self = "timetable_function";
    const std::string option = args.empty() ? std::string() : args[0];
    if (option == "help") {
        term_print("\n[TIMETABLE]: timetable command help");
        term_print("\n\tDescription : Manage VORTAN time programming configuration");
        term_print("\n\tUsages :");
        term_print("\n\t\ttimetable template - creates a template Timetable file called "
                   "\"Timetable_template.txt\"");
        term_print(
            "\n\t\ttimetable template <filename> - creates a template Timetable file called <filename>");
        term_print("\n\t\ttimetable load - load and display VORTAN current Timetable");
        term_print(
            "\n\t\ttimetable load <filename> - load and display VORTAN current Timetable, and saves into "
            "<filename>");
        term_print("\n\t\ttimetable store <filename> - load and display the Timetable from <filename>, and "
                   "stores into VORTAN if valid");
        term_print("\n\tNotes :");
        term_print("%s", kBaseFolderNote);
        print_help_end();
        return true;
    }
    const bool load = option == "load";
    const bool store = option == "store" && args.size() > 1;
    if (option != "template" && !load && !store) {
        term_print(kInvalidOption, self, option.c_str());
        return false;
    }
    PurgeWhenDone purge;
    auto exchange = [&context](const std::string& line) { return context.exchange(line); };

    if (option == "template") {
        const QString path = context.configuratorPath(args.size() > 1 ? args[1] : kTimetableTemplateName);
        if (!write_timetable_template(path)) {
            term_print("\n[TIMETABLE]: Unable to create template file %s !\n", local_text(path).c_str());
            return false;
        }
        term_print("\n[TIMETABLE]: Timetable template file \"%s\" created.\n", local_text(path).c_str());
        return true;
    }

    Timetable timetable;
    if (load) {
        if (!enter_supervisor(context, self)) {
            return false;
        }
        if (read_timetable(timetable, exchange) == 0) {
            term_print("\n[TIMETABLE]: Error when loading VORTAN Timetable. Maybe its Timetable is empty. "
                       "Abort !\n");
            return false;
        }
        term_print("\n[TIMETABLE]: Timetable loaded from VORTAN :\n\n");
        print_timetable(timetable);
        if (args.size() < 2) {
            return true;
        }
        const QString path = context.configuratorPath(args[1]);
        if (!write_timetable_to_file(path, timetable, "Timetable loaded from VORTAN")) {
            term_print("\n[TIMETABLE]: Unable to create file %s !\n", local_text(path).c_str());
            return false;
        }
        term_print("\n[TIMETABLE]: Timetable successfully saved to %s.\n", local_text(path).c_str());
        return true;
    }

    const QString path = context.configuratorPath(args[1]);
    const int count = get_timetable_from_file(path, timetable);
    if (count == -1) {
        term_print("\n[TIMETABLE]: Error when processing Timetable file. Abort !\n");
        return false;
    }
    if (count == 0) {
        term_print(
            "\n[TIMETABLE]: Timetable file does not contain a valid Timetable (empty table). Abort !\n");
        return false;
    }
    if (count > kTimetableMaxPrograms) {
        term_print(
            "\n[TIMETABLE]: Too much time programs in Timetable file (%d for a maximum of %d). Abort !\n",
            count, kTimetableMaxPrograms);
        return false;
    }
    term_print("\n[TIMETABLE]: Timetable loaded from %s :\n\n", local_text(path).c_str());
    print_timetable(timetable);
    term_print("\n[TIMETABLE]: Program this Timetable into VORTAN ? (type yes to accept): ");
    // The reply is compared with the command's answer buffer, still empty here: the terminal never
    // programs a timetable (the preset and free-file pages do), it only checks and shows the file.
    const std::string reply;
    if (reply != "yes") {
        term_print("\t\tTimetable discarded.\n");
        return true;
    }
    if (!enter_supervisor(context, self)) {
        return false;
    }
    try {
        program_timetable(timetable, exchange);
    } catch (const std::runtime_error& e) {
        term_print("\t\t%s\n", e.what());
        return false;
    }
    term_print("\t\tTimetable successfully programmed.\n");
    return true;
}

#include "terminal/ControlCommands.h"

#include "link/SerialLink.h"
#include "terminal/ShellCommands.h"
#include "terminal/TermPrint.h"

#include <charconv>

#include <fmt/format.h>

namespace {

const char* const kSuError = "\n[ERROR]: (%s) Unable to put VORTAN into SU mode !\nMaybe the system is not "
                             "idle (busy/sleeping/ongoing acquisition ?) !\n";
const char* const kRtcReadPrefix = "$RTCread:";

bool wants_help(const ShellArgs& args) {
    return !args.empty() && args[0] == "help";
}

bool enter_supervisor(TerminalContext& context, const char* self) {
    purge_comm(false);
    if (context.protocol().supervisorMode(true) == SupervisorFailed) {
        term_print(kSuError, self);
        return false;
    }
    return true;
}

// The instrument's clock text from an "$RTCread:" answer (at most 15 characters after the prefix).
// An answer without the prefix is shown as it came and fails the command.
bool read_clock_text(const std::string& answer, std::string& clock) {
    const std::size_t at = answer.find(kRtcReadPrefix);
    if (at == std::string::npos) {
        if (answer.empty()) {
            term_print("\n[ERROR]: (%s) VORTAN did not answer to '$RTCread' command !\n", "rtcsync_function");
        } else {
            term_print("[Raw]%s", answer.c_str());
        }
        return false;
    }
    clock = answer.substr(at + std::char_traits<char>::length(kRtcReadPrefix), 15);
    return true;
}

// Decimal prefix of `text` (C locale, whatever the process locale says); no digits gives 0.
double leading_number(const std::string& text) {
    double value = 0.0;
    const char* first = text.data();
    const char* last = text.data() + text.size();
    if (first != last && *first == '+') {
        ++first;
    }
    if (std::from_chars(first, last, value).ec != std::errc()) {
        return 0.0;
    }
    return value;
}

} // namespace

std::string pt_message(double pressure, const QDateTime& when) {
    const QDate d = when.date();
    const QTime t = when.time();
    // fmt, not printf: the decimal point must stay a point in every locale.
    return fmt::format("$pt:{:.2f},{:04d}{:02d}{:02d},{:02d}{:02d}{:02d};", pressure, d.year(), d.month(),
                       d.day(), t.hour(), t.minute(), t.second());
}

bool SU_function(TerminalContext& context, const ShellArgs& args) {
    if (wants_help(args)) {
        term_print("\n[SU]: su command help");
        term_print("\n\tDescription : Put VORTAN into Super-User mode");
        term_print("\n\tUsage :");
        term_print("\n\t\tsu - Put VORTAN into Super-User mode");
        print_help_end();
        return true;
    }
    return enter_supervisor(context, "SU_function");
}

bool USER_function(TerminalContext& context, const ShellArgs& args) {
    if (wants_help(args)) {
        term_print("\n[USER]: user command help");
        term_print("\n\tDescription : Switch VORTAN back to User mode");
        term_print("\n\tUsage :");
        term_print("\n\t\tuser - Put VORTAN into User mode");
        print_help_end();
        return true;
    }
    purge_comm(false);
    if (context.protocol().supervisorMode(false) == SupervisorFailed) {
        term_print("\n[ERROR]: (%s) Unable to put VORTAN into USER mode !\nMaybe the system is not idle "
                   "(busy/sleeping/ongoing acquisition ?) !\n",
                   "USER_function");
        return false;
    }
    return true;
}

bool PU_function(TerminalContext& context, const ShellArgs& args) {
    static const char* const self = "PU_function";
    if (wants_help(args)) {
        term_print("\n[PU]: pu command help");
        term_print("\n\tDescription : Power on/off the processing unit");
        term_print("\n\tUsages :");
        term_print("\n\t\tpu on / pu 1 - Powers on the processing unit, and verify if it's responding");
        term_print("\n\t\tpu off / pu 0 - Powers off the processing unit");
        print_help_end();
        return true;
    }
    const std::string option = args.empty() ? std::string() : args[0];
    const bool on = option == "on" || option == "1";
    if (!on && option != "off" && option != "0") {
        term_print("\n[ERROR]: (%s) Bad parameters !\n", self);
        return false;
    }
    if (!enter_supervisor(context, self)) {
        return false;
    }
    if (context.protocol().puPower(on) == SupervisorFailed) {
        term_print("\n[ERROR]: (%s) Unable to power Processing Unit %s !\n", self, on ? "on" : "off");
        return false;
    }
    return true;
}

bool pt_function(TerminalContext& context, const ShellArgs& args) {
    if (wants_help(args)) {
        term_print("\n[PT]: pt command help");
        term_print("\n\tDescription : Send a 'pt' message to VORTAN");
        term_print("\n\tUsages :");
        term_print("\n\t\tpt - Sends a 'pt' message with actual time and a pressure of zero");
        term_print("\n\t\tpt <pressure> - Sends a 'pt' message with actual time and a pressure of <pressure> "
                   "mH2O");
        print_help_end();
        return true;
    }
    const double pressure = args.empty() ? 0.0 : leading_number(args[0]);
    const std::string message = pt_message(pressure, context.now());
    term_print("\n[PT]: sending %s\n", message.c_str());
    // No answer is awaited; a line that could not be written still fails the command.
    return context.send(message);
}

bool reboot_function(TerminalContext& context, const ShellArgs& args) {
    if (wants_help(args)) {
        term_print("\n[REBOOT]: reboot command help");
        term_print("\n\tDescription : Reboot VORTAN software");
        term_print("\n\tUsage :");
        term_print("\n\t\treboot - Invoke a software reboot on VORTAN");
        term_print("\n\tNotes :");
        term_print("\n\t\tSupervision Unit is rebooted (and hence returns to User mode), Processing Unit is "
                   "powered off");
        print_help_end();
        return true;
    }
    if (!enter_supervisor(context, "reboot_function")) {
        return false;
    }
    return context.send("$SUreboot;");
}

bool rtcsync_function(TerminalContext& context, const ShellArgs& args) {
    static const char* const self = "rtcsync_function";
    if (wants_help(args)) {
        term_print("\n[RTCSYNC]: rtcsync command help");
        term_print("\n\tDescription : Synchronize VORTAN clock with this system time");
        term_print("\n\tUsage :");
        term_print("\n\t\trtcsync - Updates VORTAN RTC with this system time");
        term_print("\n\tNotes :");
        term_print("\n\t\tVORTAN date/time before and after the operation are displayed for verification");
        print_help_end();
        return true;
    }
    if (!enter_supervisor(context, self)) {
        return false;
    }
    context.send("$RTCread;");
    // Taken once, right after the request: the delay of the exchange is not compensated.
    const QDateTime now = context.now();
    const std::string host =
        fmt::format("{:04d}{:02d}{:02d},{:02d}{:02d}{:02d}", now.date().year(), now.date().month(),
                    now.date().day(), now.time().hour(), now.time().minute(), now.time().second());
    std::string before;
    if (!read_clock_text(context.awaitAnswer(), before)) {
        return false;
    }
    term_print("\n[RTCSYNC]: VORTAN time is     : %s", before.c_str());
    term_print("\n[RTCSYNC]: Host system time is : %s", host.c_str());
    if (context.exchange("$RTCset:" + host + ";") != "$ok;\n") {
        term_print("\n[ERROR]: (%s) VORTAN answered to '$RTCset' command with an error message !\n", self);
        return false;
    }
    std::string after;
    if (!read_clock_text(context.exchange("$RTCread;"), after)) {
        return false;
    }
    term_print("\n[RTCSYNC]: New VORTAN time is : %s\n", after.c_str());
    return true;
}

#pragma once

#include "link/InstrumentCommand.h"

#include <QString>

#include <chrono>
#include <functional>
#include <string>

#include <fmt/printf.h>

// The variant learned from the last supervisor-mode banner: "LP", "HF", or empty before the
// first successful switch. One instrument per process, so one variant.
QString instrument_variant();
void set_instrument_variant(const QString& variant);

// Supervisor-mode switch results.
enum SupervisorResult : int {
    SupervisorFailed = 0,
    SupervisorLeft = 1, // back in user mode
    SupervisorLP = 2,
    SupervisorHF = 3,
};

// One command and its answer.
struct ExchangeResult {
    bool sent = false;     // the line went out
    bool received = false; // something came back
    bool ok = false;       // the answer passes the command's rule
    std::string answer;    // the last answer read (line feeds kept)
};

// The instrument's message protocol over the serial link: a command is sent, its answer awaited
// and judged as the command table says. Exchanges are strictly sequential and use the one link
// of the process; the caller guarantees one instrument operation at a time.
class InstrumentProtocol {
public:
    using SleepFunction = std::function<void(std::chrono::milliseconds)>;

    // `sleep` serves every pause of the protocol (200 ms between polls, 50 ms in the stop
    // sequence...); empty means a real sleep of the calling thread.
    explicit InstrumentProtocol(SleepFunction sleep = {});

    static constexpr int kSupervisorAttempts = 10;

    // "$SU;" (to supervisor) or "$USER;" (back to user), resent while the line is silent, at most
    // ten reads; unrelated answers are read past. Returns a SupervisorResult and, on 2 or 3,
    // records the variant.
    int supervisorMode(bool toSupervisor);

    // Powers the processing unit on or off: supervisor mode, power command, ready wait, and
    // (on only) the alive check. Returns the supervisor-mode result, or 0 when a step failed.
    int puPower(bool on);

    // "$PU:ethlink,<mode>;" with its 50 polls.
    bool puEthlink(int mode);

    // The reset of a pending exchange that precedes a connection: "$stop;;", "$stop;", purge,
    // "$stop;" again; false when either "$stop;" meets silence.
    bool stopSequence();

    // Formats the command with `args` (printf rules, type-checked), sends it, waits and judges as
    // the table says. A format that does not fit the arguments sends nothing (sent false).
    template <typename... Args> ExchangeResult exchange(InstrumentCommand command, const Args&... args) {
        std::string line;
        try {
            line = fmt::sprintf(command_info(command).format, args...);
        } catch (const fmt::format_error&) {
            return {};
        }
        return exchangeLine(command, line);
    }

    // Sends an already formatted line for `command`, then waits and judges.
    ExchangeResult exchangeLine(InstrumentCommand command, const std::string& line);

    // Waits for and judges the answer of `command` without sending anything (the rest of an
    // answer, or a command sent by other means).
    ExchangeResult await(InstrumentCommand command);

    void sleep(std::chrono::milliseconds duration) const;

private:
    ExchangeResult resendWhileSilent(const CommandInfo& info, const std::string& line);

    SleepFunction m_sleep;
};

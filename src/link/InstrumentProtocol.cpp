#include "link/InstrumentProtocol.h"

#include "link/SerialLink.h"

#include <mutex>
#include <thread>

namespace {

std::mutex g_variantMutex;
QString g_variant;

std::string current_variant() {
    return instrument_variant().toStdString();
}

} // namespace

QString instrument_variant() {
    std::lock_guard lock(g_variantMutex);
    return g_variant;
}

void set_instrument_variant(const QString& variant) {
    std::lock_guard lock(g_variantMutex);
    g_variant = variant;
}

InstrumentProtocol::InstrumentProtocol(SleepFunction sleep)
    : m_sleep(std::move(sleep)) {}

void InstrumentProtocol::sleep(std::chrono::milliseconds duration) const {
    if (duration.count() <= 0) {
        return;
    }
    if (m_sleep) {
        m_sleep(duration);
    } else {
        std::this_thread::sleep_for(duration);
    }
}

ExchangeResult InstrumentProtocol::exchangeLine(InstrumentCommand command, const std::string& line) {
    const CommandInfo& info = command_info(command);
    if (info.wait.kind == WaitKind::ResendWhileSilent) {
        return resendWhileSilent(info, line);
    }
    ExchangeResult result;
    result.sent = send_message("%s", line.c_str());
    if (!result.sent) {
        return result;
    }
    if (info.wait.kind == WaitKind::None) {
        result.ok = true;
        return result;
    }
    return await(command);
}

ExchangeResult InstrumentProtocol::await(InstrumentCommand command) {
    const CommandInfo& info = command_info(command);
    const std::string variant = current_variant();
    ExchangeResult result;
    result.sent = true;
    const CommandWait& w = info.wait;
    sleep(std::chrono::milliseconds(w.sleepBeforeMs));
    switch (w.kind) {
    case WaitKind::None:
        result.ok = true;
        return result;
    case WaitKind::Single: {
        const int tries = (w.countOnLP != 0 && variant == "LP") ? w.countOnLP : w.count;
        get_message(result.answer, result.received, tries);
        break;
    }
    case WaitKind::Polled:
    case WaitKind::PolledUntilMatch:
    case WaitKind::ResendWhileSilent:
        for (int i = 0; i < w.count; ++i) {
            get_message(result.answer, result.received, 1);
            if (result.received) {
                if (w.kind != WaitKind::PolledUntilMatch || answer_passes(info, result.answer, variant)) {
                    break;
                }
                continue;
            }
            sleep(std::chrono::milliseconds(w.sleepAfterEmptyMs));
        }
        break;
    }
    result.ok = answer_passes(info, result.answer, variant);
    return result;
}

ExchangeResult InstrumentProtocol::resendWhileSilent(const CommandInfo& info, const std::string& line) {
    ExchangeResult result;
    result.sent = send_message("%s", line.c_str());
    const std::string variant = current_variant();
    for (int attempt = 0; attempt < info.wait.count; ++attempt) {
        bool received = false;
        get_message(result.answer, received, 1);
        result.received = result.received || received;
        if (!received) {
            result.sent = send_message("%s", line.c_str()) || result.sent;
            continue;
        }
        if (answer_passes(info, result.answer, variant)) {
            result.ok = true;
            return result;
        }
    }
    return result;
}

int InstrumentProtocol::supervisorMode(bool toSupervisor) {
    const InstrumentCommand command = toSupervisor ? InstrumentCommand::Supervisor : InstrumentCommand::User;
    const ExchangeResult r = exchangeLine(command, command_info(command).format);
    if (!r.ok) {
        return SupervisorFailed;
    }
    if (!toSupervisor) {
        return SupervisorLeft;
    }
    if (r.answer == InstrumentAnswer::kSupervisorLP) {
        set_instrument_variant(QStringLiteral("LP"));
        return SupervisorLP;
    }
    set_instrument_variant(QStringLiteral("HF"));
    return SupervisorHF;
}

int InstrumentProtocol::puPower(bool on) {
    // The result of the switch is kept, not tested: a PU that answers every step still reports
    // failure when supervisor mode was not confirmed.
    const int supervisor = supervisorMode(true);
    if (!exchange(InstrumentCommand::PuPowerSet, on ? 1 : 0).ok) {
        return SupervisorFailed;
    }
    // The ready wait follows the variant of this very switch: 200 tries on LP, 20000 otherwise
    // (also after a failed switch).
    if (!send_message("%s", command_info(InstrumentCommand::PuReady).format)) {
        return SupervisorFailed;
    }
    std::string answer;
    bool received = false;
    const CommandWait& ready = command_info(InstrumentCommand::PuReady).wait;
    get_message(answer, received, supervisor == SupervisorLP ? ready.countOnLP : ready.count);
    if (answer != InstrumentAnswer::kPuReady) {
        return SupervisorFailed;
    }
    if (on && !exchange(InstrumentCommand::PuAlive).ok) {
        return SupervisorFailed;
    }
    return supervisor;
}

bool InstrumentProtocol::puEthlink(int mode) {
    return exchange(InstrumentCommand::PuEthlink, mode).ok;
}

bool InstrumentProtocol::stopSequence() {
    send_message("%s", command_info(InstrumentCommand::StopDouble).format);
    sleep(std::chrono::milliseconds(50));
    if (!exchange(InstrumentCommand::Stop).ok) {
        return false;
    }
    purge_comm(false);
    return exchange(InstrumentCommand::Stop).ok;
}

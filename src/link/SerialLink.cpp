#include "link/SerialLink.h"

#include "link/SerialPort.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <stdexcept>

namespace {

// The one link of the process. Exchanges are serialised by their callers (one instrument
// operation at a time); the mutex only guards the hooks and the names shown to the user, which
// other threads may read or replace while an exchange runs.
struct SerialLinkState {
    std::mutex mutex;
    SerialHook errorHook;
    SerialHook sendHook;
    SerialHook receiveHook;
    QString portName;
    quint32 baud = 0;
    std::string openError; // the system's reason of the last init_comm failure, empty after a success
    // Shared so that a port replaced by init_comm on one thread outlives a read still running on
    // another (callers should never overlap, but a slip must not crash the application).
    std::shared_ptr<SerialPort> port;
    std::function<std::unique_ptr<SerialPort>()> portFactory;
    // The handle's validity as the callers see it: set by a successful open, kept by close.
    std::atomic<bool> handleValid{false};
};

SerialLinkState& state() {
    static SerialLinkState s;
    return s;
}

std::shared_ptr<SerialPort> current_port() {
    std::lock_guard lock(state().mutex);
    return state().port;
}

SerialHook hook_of(SerialHook SerialLinkState::*which) {
    std::lock_guard lock(state().mutex);
    return state().*which;
}

void report(const std::string& text) {
    if (auto hook = hook_of(&SerialLinkState::errorHook)) {
        hook(text);
    }
}

constexpr std::size_t kMaxMessage = 1023; // longest text of one message, line feed excluded
constexpr std::size_t kReadChunk = 1023;  // longest chunk of one read
// A line that never falls silent (a babbling or broken instrument) must not hold a caller
// forever: past this many bytes the answer ends and the rest is left for the next call.
constexpr std::size_t kMaxAnswerBytes = 1 << 20;

} // namespace

QString serial_device_path(const QString& port) {
    const QString trimmed = port.trimmed();
    bool isNumber = false;
    const int n = trimmed.toInt(&isNumber);
    if (isNumber) {
        return QStringLiteral("/dev/ttyUSB%1").arg(n);
    }
    return trimmed;
}

bool init_comm(const QString& portSetting, quint32 baud) {
    SerialLinkState& s = state();
    const QString name = serial_device_path(portSetting);
    std::function<std::unique_ptr<SerialPort>()> factory;
    {
        std::lock_guard lock(s.mutex);
        s.baud = baud;
        s.portName = name;
        factory = s.portFactory;
    }
    // The previous port is let go first: it may be the same device, which is opened exclusively.
    if (auto previous = current_port()) {
        previous->close();
    }
    std::shared_ptr<SerialPort> port = factory ? factory() : make_system_serial_port();
    {
        std::lock_guard lock(s.mutex);
        s.port = port;
    }
    const std::string shown = name.toStdString();
    // The system's reason is kept for the windows that explain why the instrument is unreachable.
    const auto failed = [&s, &shown](const char* stage, const std::string& reason) {
        {
            std::lock_guard lock(s.mutex);
            s.openError = reason.empty() ? std::string("unknown error") : reason;
        }
        report(std::string("init_comm:Error while ") + stage + " " + shown + " : " + reason);
        return false;
    };
    if (!port->open(name.toLocal8Bit().toStdString())) {
        s.handleValid = false;
        return failed("opening", port->errorText());
    }
    s.handleValid = true;
    if (!set_comm_timeouts(0)) {
        const std::string reason = port->errorText();
        port->close();
        return failed("set_comm_timeouts", reason);
    }
    if (!port->configure(baud)) {
        const std::string reason = port->errorText();
        port->close();
        return failed("SetCommState", reason);
    }
    {
        std::lock_guard lock(s.mutex);
        s.openError.clear();
    }
    return true;
}

bool set_comm_timeouts(int mode) {
    const auto port = current_port();
    if (!port) {
        return false;
    }
    switch (mode) {
    case 0:
        return port->setReadTimeouts(100, 5);
    case 1:
        return port->setReadTimeouts(0, 0);
    default:
        return false;
    }
}

bool send_message(const char* format, ...) {
    SerialLinkState& s = state();
    if (!s.handleValid) {
        report("send_message : Initialisation not OK");
        return false;
    }
    char buffer[kMaxMessage + 1];
    va_list args;
    va_start(args, format);
    const int formatted = std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    if (formatted < 0) {
        return false;
    }
    const std::size_t length = static_cast<std::size_t>(formatted);
    if (auto hook = hook_of(&SerialLinkState::sendHook)) {
        hook(std::string(buffer, std::min(length, kMaxMessage)));
    }
    if (length > kMaxMessage) {
        return false;
    }
    buffer[length] = '\n';
    std::size_t written = 0;
    const auto port = current_port();
    if (!port || !port->write(buffer, length + 1, written)) {
        report("send_message: WriteFile Error : " + (port ? port->errorText() : std::string()));
        return false;
    }
    return written == length + 1;
}

bool get_message(std::string& answer, bool& received, int tries) {
    SerialLinkState& s = state();
    answer.clear();
    const auto port = current_port();
    if (!s.handleValid || !port) {
        report("get_message : Initialisation not OK");
        received = true;
        return false;
    }
    received = false;
    // Fewer than one try would never end on a silent line.
    const int allowed = tries < 1 ? 1 : tries;
    char chunk[kReadChunk + 1];
    bool result = true;
    int tried = 0;
    std::size_t seen = 0;
    for (;;) {
        std::size_t got = 0;
        result = port->read(chunk, kReadChunk, got);
        if (result && got > 0) {
            chunk[got] = '\0';
            if (chunk[0] != '\0') {
                answer.append(chunk, std::strlen(chunk));
                received = true;
            }
            seen += got;
            if (seen < kMaxAnswerBytes) {
                continue;
            }
            break;
        }
        if (received || tried == allowed - 1) {
            break;
        }
        ++tried;
    }
    if (auto hook = hook_of(&SerialLinkState::receiveHook)) {
        hook(answer);
    }
    return result;
}

void expect_answer(const char* expected, int tries) {
    std::string answer;
    bool received = false;
    get_message(answer, received, tries);
    if (answer.find(expected) == std::string::npos) {
        throw std::runtime_error(std::string("Invalid answer : ") + expected + " not found");
    }
}

bool purge_comm(bool drain) {
    const auto port = current_port();
    const bool purged = port && state().handleValid && port->purgeReceive();
    if (drain) {
        std::string discarded;
        bool received = false;
        get_message(discarded, received, 1);
    }
    return purged;
}

bool is_comm_open() {
    return state().handleValid;
}

bool is_comm_usable() {
    return state().handleValid && comm_open_error().empty();
}

bool close_comm() {
    const auto port = current_port();
    return port && port->close();
}

void comm_error(const char* format, ...) {
    char buffer[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    report(buffer);
}

void set_comm_error_hook(SerialHook hook) {
    std::lock_guard lock(state().mutex);
    state().errorHook = std::move(hook);
}

void set_comm_send_hook(SerialHook hook) {
    std::lock_guard lock(state().mutex);
    state().sendHook = std::move(hook);
}

void set_comm_receive_hook(SerialHook hook) {
    std::lock_guard lock(state().mutex);
    state().receiveHook = std::move(hook);
}

QString comm_port_name() {
    std::lock_guard lock(state().mutex);
    return state().portName;
}

std::string comm_open_error() {
    std::lock_guard lock(state().mutex);
    return state().openError;
}

quint32 comm_baud() {
    std::lock_guard lock(state().mutex);
    return state().baud;
}

void set_serial_port_factory(std::function<std::unique_ptr<SerialPort>()> factory) {
    std::lock_guard lock(state().mutex);
    state().portFactory = std::move(factory);
}

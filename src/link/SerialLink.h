#pragma once

#include <QString>

#include <functional>
#include <memory>
#include <string>

class SerialPort;

// The serial link to the instrument's supervision unit: one process-wide port over which every
// text command travels, with three optional hooks through which the application observes what
// is sent, what is received and what fails. It knows nothing of the commands themselves.
//
// On Linux a port is named by its device path ("/dev/ttyUSB0", "/dev/serial/by-id/...", or the
// pseudo-terminal printed by kelvo6-sim). A bare number N, as older settings hold, stands for
// "/dev/ttyUSB<N>" (so the default -1 names "/dev/ttyUSB-1", which never opens).

using SerialHook = std::function<void(const std::string&)>;

// Device path for a `serialport` setting: a path is kept as it is, a number N gives
// "/dev/ttyUSB<N>".
QString serial_device_path(const QString& port);

// Opens and configures the port (raw, 8 data bits, no parity and no parity check, 1 stop bit,
// the given baud rate, time-out mode 0). Errors go to the error hook:
//   "init_comm:Error while opening <port> : <system text>"
//   "init_comm:Error while set_comm_timeouts <port> : <system text>"
//   "init_comm:Error while SetCommState <port> : <system text>"
bool init_comm(const QString& port, quint32 baud);

// Mode 0: a read returns when 5 ms pass between bytes, or after 100 ms when nothing comes.
// Mode 1: a read returns at once with what is buffered.
bool set_comm_timeouts(int mode);

// Formats (printf rules) and sends one message followed by a line feed. The send hook sees the
// text before the length check: a text of 1024 characters or more is shown but not sent.
bool send_message(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Collects one answer: `tries` is the number of silent ~100 ms reads allowed before the first
// byte (below 1 counts as 1); once bytes have arrived the answer ends at the first silent read.
// A chunk that begins with a NUL byte is dropped, any other is kept up to its first NUL. An
// answer that never falls silent ends after 1 MiB, the rest left for the next call. Returns the
// result of the last read; on a link that is not open, reports it, sets `received` (so that
// waiting callers stop at once) and returns false.
bool get_message(std::string& answer, bool& received, int tries);

// get_message with `tries`, then throws std::runtime_error("Invalid answer : <expected> not found")
// when the answer does not contain `expected`.
void expect_answer(const char* expected, int tries);

// Discards the receive buffer; with `drain`, also reads one answer (one try) and drops it.
bool purge_comm(bool drain);

// True once a port has been opened, and still true after close_comm() or a failed
// configuration, until the next init_comm (callers detect a dead port by failed exchanges). A
// closed descriptor is never used again: reads and writes then fail cleanly.
bool is_comm_open();

bool close_comm();

// False when no port was opened or the last init_comm failed: an exchange cannot work.
bool is_comm_usable();

// Hands a printf-formatted text to the error hook, if one is set.
void comm_error(const char* format, ...) __attribute__((format(printf, 1, 2)));

void set_comm_error_hook(SerialHook hook);
void set_comm_send_hook(SerialHook hook);
void set_comm_receive_hook(SerialHook hook);

// The port name and baud rate of the last init_comm, for display.
QString comm_port_name();
quint32 comm_baud();
// The system's reason why the last init_comm failed ("No such file or directory"); empty when
// the last one succeeded or none was made.
std::string comm_open_error();

// Replaces the operating-system port used by the next init_comm (tests drive the link through a
// scripted port); an empty factory restores the system's port.
void set_serial_port_factory(std::function<std::unique_ptr<SerialPort>()> factory);

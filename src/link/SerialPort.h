#pragma once

#include <cstddef>
#include <memory>
#include <string>

// The operating system's serial port behind one small interface, so that the link above it
// holds no system calls. One object is one open (or closed) port; it is not shared between
// threads.
//
// Every failing call returns false and keeps the system's text for the failure in errorText().
class SerialPort {
public:
    virtual ~SerialPort() = default;

    // Opens the device by name for reading and writing, exclusively (a second opener is refused).
    virtual bool open(const std::string& device) = 0;

    // Raw mode, the given baud rate, 8 data bits, no parity and no parity check, 1 stop bit.
    virtual bool configure(unsigned baud) = 0;

    // Read timing: a read waits at most `firstByteMs` for its first byte (0: returns at once
    // with what is buffered), then ends when `interByteMs` pass without a new byte.
    virtual bool setReadTimeouts(int firstByteMs, int interByteMs) = 0;

    // Writes all `size` bytes (blocking); `written` tells how many went out.
    virtual bool write(const char* data, std::size_t size, std::size_t& written) = 0;

    // One read bounded by the read timing; `got` is 0 when nothing came in time (result true).
    virtual bool read(char* buffer, std::size_t capacity, std::size_t& got) = 0;

    // Discards what the driver has received and nobody read yet (the transmit side is kept).
    virtual bool purgeReceive() = 0;

    virtual bool close() = 0;

    // The system's text for the last failure ("No such file or directory", ...).
    virtual std::string errorText() const = 0;
};

// The port implementation of the platform the program was built for.
std::unique_ptr<SerialPort> make_system_serial_port();

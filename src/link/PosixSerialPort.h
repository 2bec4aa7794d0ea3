#pragma once

#include "link/SerialPort.h"

#include <atomic>
#include <chrono>

// Serial port on termios. The read timing is kept with poll(): termios' own timer counts in
// tenths of a second, too coarse for the 5 ms gap that ends an answer.
class PosixSerialPort final : public SerialPort {
public:
    PosixSerialPort() = default;
    ~PosixSerialPort() override;
    PosixSerialPort(const PosixSerialPort&) = delete;
    PosixSerialPort& operator=(const PosixSerialPort&) = delete;

    bool open(const std::string& device) override;
    bool configure(unsigned baud) override;
    bool setReadTimeouts(int firstByteMs, int interByteMs) override;
    bool write(const char* data, std::size_t size, std::size_t& written) override;
    bool read(char* buffer, std::size_t capacity, std::size_t& got) override;
    bool purgeReceive() override;
    bool close() override;
    std::string errorText() const override { return m_error; }

    // The longest a write may stay blocked by a peer that reads nothing; past it the write fails
    // ("Connection timed out") instead of hanging the caller.
    static constexpr std::chrono::milliseconds kWriteStall{5000};

private:
    bool fail(int err);

    // Taken by close() before the descriptor is released, so that no later call can reach it.
    std::atomic<int> m_fd{-1};
    int m_firstByteMs = 100;
    int m_interByteMs = 5;
    std::string m_error;
};

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

// The operating system's UDP socket behind one small interface, so that the Ethernet link above
// it holds no system calls and tests can replace it. One object is one IPv4 datagram socket; it
// is not shared between threads.
//
// Every failing call returns false (or -1) and keeps the system's error code and text.
class DatagramSocket {
public:
    virtual ~DatagramSocket() = default;

    // Opens an IPv4 UDP socket.
    virtual bool open() = 0;

    // Asks for a kernel receive buffer of `bytes`. The privileged request (which may exceed the
    // system's ceiling) is tried first, then the ordinary one. True when either call was
    // accepted; receiveBufferSize() then tells what the kernel really granted.
    virtual bool setReceiveBuffer(int bytes) = 0;

    // The receive buffer size the kernel reports for the socket, in bytes (-1 when unknown).
    // Linux reports twice the usable payload size; this is the usable size.
    virtual int receiveBufferSize() const = 0;

    // Each receive() waits at most `ms` milliseconds.
    virtual bool setReceiveTimeout(int ms) = 0;

    virtual bool bind(const std::string& ipv4, std::uint16_t port) = 0;

    // Receives one datagram, copying at most `capacity` bytes of it. Returns the datagram's real
    // length, which exceeds `capacity` when the datagram was cut (the rest is lost), or -1 when
    // nothing arrived in time or the call failed.
    virtual int receive(char* buffer, std::size_t capacity) = 0;

    // As receive(), but first polls without sleeping for up to `busyUs` microseconds, for a
    // datagram due any moment: waking a sleeping thread costs tens of microseconds, which is a
    // third of a large datagram's time on a 1 Gbit/s link.
    virtual int receiveSoon(char* buffer, std::size_t capacity, int busyUs) {
        (void)busyUs;
        return receive(buffer, capacity);
    }

    // True when a datagram (possibly empty) waits to be received.
    virtual bool hasPending() = 0;

    virtual bool close() = 0;
    virtual bool isOpen() const = 0;

    // The system's code and text of the last failure (0 and "" when none).
    virtual int errorCode() const = 0;
    virtual std::string errorText() const = 0;
};

// The socket implementation of the platform the program was built for.
std::unique_ptr<DatagramSocket> make_system_datagram_socket();

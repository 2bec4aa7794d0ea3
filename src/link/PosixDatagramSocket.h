#pragma once

#include "link/DatagramSocket.h"

// DatagramSocket on BSD sockets (Linux): SO_RCVBUFFORCE then SO_RCVBUF, SO_RCVTIMEO, and
// recv(MSG_TRUNC) so that a datagram's real length is always known.
class PosixDatagramSocket final : public DatagramSocket {
public:
    PosixDatagramSocket() = default;
    ~PosixDatagramSocket() override;
    PosixDatagramSocket(const PosixDatagramSocket&) = delete;
    PosixDatagramSocket& operator=(const PosixDatagramSocket&) = delete;

    bool open() override;
    bool setReceiveBuffer(int bytes) override;
    int receiveBufferSize() const override;
    bool setReceiveTimeout(int ms) override;
    bool bind(const std::string& ipv4, std::uint16_t port) override;
    int receive(char* buffer, std::size_t capacity) override;
    int receiveSoon(char* buffer, std::size_t capacity, int busyUs) override;
    bool hasPending() override;
    bool close() override;
    bool isOpen() const override;
    int errorCode() const override;
    std::string errorText() const override;

private:
    bool fail();

    int m_fd = -1;
    int m_error = 0;
};

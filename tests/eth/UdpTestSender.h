#pragma once

// Stands for the instrument's processing unit in tests: sends datagrams over loopback from its
// own address to the link under test.

#include <QByteArray>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kelvotest {

class UdpTestSender {
public:
    explicit UdpTestSender(const char* from = "127.0.0.3") {
        m_fd = ::socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        ::inet_pton(AF_INET, from, &a.sin_addr);
        ::bind(m_fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
        int big = 4 * 1024 * 1024;
        ::setsockopt(m_fd, SOL_SOCKET, SO_SNDBUF, &big, sizeof big);
    }
    ~UdpTestSender() { ::close(m_fd); }
    UdpTestSender(const UdpTestSender&) = delete;
    UdpTestSender& operator=(const UdpTestSender&) = delete;

    void target(const char* host, int port) {
        m_to = sockaddr_in{};
        m_to.sin_family = AF_INET;
        m_to.sin_port = htons(static_cast<std::uint16_t>(port));
        ::inet_pton(AF_INET, host, &m_to.sin_addr);
    }

    bool send(const QByteArray& d) {
        return ::sendto(m_fd, d.constData(), static_cast<std::size_t>(d.size()), 0,
                        reinterpret_cast<const sockaddr*>(&m_to), sizeof m_to) == d.size();
    }

    // The 16-byte dump header, little-endian.
    static QByteArray header(std::int32_t count, std::int32_t size, std::int32_t packetSize) {
        QByteArray h(16, '\0');
        const std::int32_t v[3] = {count, size, packetSize};
        for (int f = 0; f < 3; ++f) {
            for (int b = 0; b < 4; ++b) {
                h[f * 4 + b] = static_cast<char>((static_cast<std::uint32_t>(v[f]) >> (8 * b)) & 0xFF);
            }
        }
        return h;
    }

    // Header then the file cut in `packetSize` pieces; the piece at `lose` (if any) is not sent.
    void sendFile(const QByteArray& file, int packetSize, int lose = -1) {
        const int count = file.isEmpty() ? 0 : static_cast<int>((file.size() + packetSize - 1) / packetSize);
        send(header(count, static_cast<std::int32_t>(file.size()), packetSize));
        for (int i = 0; i < count; ++i) {
            if (i != lose) {
                send(file.mid(i * packetSize, packetSize));
            }
        }
    }

    // Local port of the sender (a "stray" datagram can come from another one).
    int fd() const { return m_fd; }

private:
    int m_fd = -1;
    sockaddr_in m_to{};
};

// A made-up file whose bytes depend on their position.
inline QByteArray pattern_file(int size, int seed = 7) {
    QByteArray b(size, '\0');
    for (int i = 0; i < size; ++i) {
        b[i] = static_cast<char>((i * 31 + seed) & 0xFF);
    }
    return b;
}

// A free UDP port on `host` (bound then released).
inline int free_udp_port(const char* host = "127.0.0.2") {
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    ::inet_pton(AF_INET, host, &a.sin_addr);
    ::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
    socklen_t len = sizeof a;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
    ::close(fd);
    return ntohs(a.sin_port);
}

} // namespace kelvotest

#pragma once

#include <QByteArray>

#include <optional>
#include <vector>

// The host's end of the simulator's UDP side in tests: a plain socket on a loopback address
// other than 127.0.0.1, reading whole datagrams (their real length, never a truncated one).
class UdpReceiver {
public:
    struct Datagram {
        QByteArray bytes;
        int fromPort = 0;
    };

    UdpReceiver() = default;
    ~UdpReceiver();
    UdpReceiver(const UdpReceiver&) = delete;
    UdpReceiver& operator=(const UdpReceiver&) = delete;

    // Binds an ephemeral port on `address` with a large receive buffer.
    bool bind(const char* address = "127.0.0.2");
    int port() const { return m_port; }

    std::optional<Datagram> receive(int timeoutMs);
    // Every datagram until `quietMs` pass without one (the first may take `firstMs`).
    std::vector<Datagram> receiveAll(int firstMs = 2000, int quietMs = 300);

private:
    int m_fd = -1;
    int m_port = 0;
};

// Sizes of datagrams, for comparing with hand-written lists.
std::vector<int> sizes(const std::vector<UdpReceiver::Datagram>& datagrams);
// The payloads of datagrams [from, end) joined.
QByteArray joined(const std::vector<UdpReceiver::Datagram>& datagrams, size_t from = 0);

#include "UdpReceiver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

UdpReceiver::~UdpReceiver() {
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

bool UdpReceiver::bind(const char* address) {
    m_fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (m_fd < 0) {
        return false;
    }
    const int size = 8 << 20;
    if (::setsockopt(m_fd, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size) != 0) {
        ::setsockopt(m_fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    }
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = 0;
    if (inet_pton(AF_INET, address, &a.sin_addr) != 1 ||
        ::bind(m_fd, reinterpret_cast<const sockaddr*>(&a), sizeof a) != 0) {
        return false;
    }
    socklen_t len = sizeof a;
    ::getsockname(m_fd, reinterpret_cast<sockaddr*>(&a), &len);
    m_port = ntohs(a.sin_port);
    return true;
}

std::optional<UdpReceiver::Datagram> UdpReceiver::receive(int timeoutMs) {
    pollfd p{m_fd, POLLIN, 0};
    if (m_fd < 0 || ::poll(&p, 1, timeoutMs) != 1) {
        return std::nullopt;
    }
    QByteArray buf(65536, '\0');
    sockaddr_in from{};
    socklen_t len = sizeof from;
    const ssize_t n =
        ::recvfrom(m_fd, buf.data(), size_t(buf.size()), MSG_TRUNC, reinterpret_cast<sockaddr*>(&from), &len);
    if (n < 0 || n > buf.size()) {
        return std::nullopt;
    }
    buf.truncate(int(n));
    return Datagram{buf, ntohs(from.sin_port)};
}

std::vector<UdpReceiver::Datagram> UdpReceiver::receiveAll(int firstMs, int quietMs) {
    std::vector<Datagram> out;
    for (auto d = receive(firstMs); d; d = receive(quietMs)) {
        out.push_back(*d);
    }
    return out;
}

std::vector<int> sizes(const std::vector<UdpReceiver::Datagram>& datagrams) {
    std::vector<int> out;
    for (const auto& d : datagrams) {
        out.push_back(int(d.bytes.size()));
    }
    return out;
}

QByteArray joined(const std::vector<UdpReceiver::Datagram>& datagrams, size_t from) {
    QByteArray out;
    for (size_t i = from; i < datagrams.size(); ++i) {
        out += datagrams[i].bytes;
    }
    return out;
}

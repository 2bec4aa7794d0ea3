#include "link/PosixDatagramSocket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

PosixDatagramSocket::~PosixDatagramSocket() {
    close();
}

bool PosixDatagramSocket::fail() {
    m_error = errno;
    return false;
}

bool PosixDatagramSocket::open() {
    close();
    m_error = 0;
    m_fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    return m_fd >= 0 || fail();
}

bool PosixDatagramSocket::setReceiveBuffer(int bytes) {
    // The forced form passes the net.core.rmem_max ceiling but needs CAP_NET_ADMIN; without it
    // the ordinary form is cut to the ceiling by the kernel.
    if (::setsockopt(m_fd, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) == 0) {
        return true;
    }
    if (::setsockopt(m_fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes) == 0) {
        return true;
    }
    return fail();
}

int PosixDatagramSocket::receiveBufferSize() const {
    int value = 0;
    socklen_t len = sizeof value;
    if (m_fd < 0 || ::getsockopt(m_fd, SOL_SOCKET, SO_RCVBUF, &value, &len) != 0) {
        return -1;
    }
    // The kernel doubles the request to account for its bookkeeping and reports the double.
    return value / 2;
}

bool PosixDatagramSocket::setReceiveTimeout(int ms) {
    timeval tv{};
    tv.tv_sec = ms / 1000;
    tv.tv_usec = (ms % 1000) * 1000;
    return ::setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv) == 0 || fail();
}

bool PosixDatagramSocket::bind(const std::string& ipv4, std::uint16_t port) {
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    if (::inet_pton(AF_INET, ipv4.c_str(), &addr.sin_addr) != 1) {
        m_error = EADDRNOTAVAIL;
        return false;
    }
    return ::bind(m_fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) == 0 || fail();
}

int PosixDatagramSocket::receive(char* buffer, std::size_t capacity) {
    if (m_fd < 0) {
        m_error = EBADF;
        return -1;
    }
    for (;;) {
        const ssize_t n = ::recv(m_fd, buffer, capacity, MSG_TRUNC);
        if (n >= 0) {
            return static_cast<int>(n);
        }
        if (errno == EINTR) {
            continue;
        }
        fail();
        return -1;
    }
}

int PosixDatagramSocket::receiveSoon(char* buffer, std::size_t capacity, int busyUs) {
    if (m_fd >= 0 && busyUs > 0) {
        const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(busyUs);
        do {
            const ssize_t n = ::recv(m_fd, buffer, capacity, MSG_TRUNC | MSG_DONTWAIT);
            if (n >= 0) {
                return static_cast<int>(n);
            }
            if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
                break; // let the waiting receive report it
            }
        } while (std::chrono::steady_clock::now() < until);
    }
    return receive(buffer, capacity);
}

bool PosixDatagramSocket::hasPending() {
    if (m_fd < 0) {
        return false;
    }
    pollfd p{m_fd, POLLIN, 0};
    return ::poll(&p, 1, 0) > 0 && (p.revents & POLLIN) != 0;
}

bool PosixDatagramSocket::close() {
    if (m_fd < 0) {
        return true;
    }
    const int fd = m_fd;
    m_fd = -1;
    return ::close(fd) == 0 || fail();
}

bool PosixDatagramSocket::isOpen() const {
    return m_fd >= 0;
}

int PosixDatagramSocket::errorCode() const {
    return m_error;
}

std::string PosixDatagramSocket::errorText() const {
    return m_error == 0 ? std::string() : std::string(std::strerror(m_error));
}

std::unique_ptr<DatagramSocket> make_system_datagram_socket() {
    return std::make_unique<PosixDatagramSocket>();
}

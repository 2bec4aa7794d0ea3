#include "PtyPair.h"

#include <cerrno>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

PtyPair::PtyPair() {
    char name[256] = {};
    termios raw{};
    ::cfmakeraw(&raw);
    if (::openpty(&m_master, &m_slave, name, &raw, nullptr) != 0) {
        m_master = m_slave = -1;
        return;
    }
    m_path = name;
}

PtyPair::~PtyPair() {
    if (m_master >= 0) {
        ::close(m_master);
    }
    if (m_slave >= 0) {
        ::close(m_slave);
    }
}

void PtyPair::send(const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(m_master, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return;
        }
        done += static_cast<std::size_t>(n);
    }
}

std::string PtyPair::receive(std::chrono::milliseconds quiet, std::chrono::milliseconds limit) {
    using Clock = std::chrono::steady_clock;
    std::string out;
    const auto end = Clock::now() + limit;
    while (Clock::now() < end) {
        pollfd p{m_master, POLLIN, 0};
        if (::poll(&p, 1, static_cast<int>(quiet.count())) <= 0 || !(p.revents & POLLIN)) {
            break;
        }
        char buf[4096];
        const ssize_t n = ::read(m_master, buf, sizeof buf);
        if (n <= 0) {
            break;
        }
        out.append(buf, static_cast<std::size_t>(n));
    }
    return out;
}

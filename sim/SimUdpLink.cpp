#include "SimUdpLink.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

void putLe32(char* p, std::int32_t v) {
    const auto u = static_cast<std::uint32_t>(v);
    for (int i = 0; i < 4; ++i) {
        p[i] = static_cast<char>((u >> (8 * i)) & 0xffU);
    }
}

bool parseHost(const QString& host, in_addr* out) {
    const QByteArray h = host.toLatin1();
    return !host.isEmpty() && inet_pton(AF_INET, h.constData(), out) == 1;
}

int openUdp() {
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd >= 0) {
        // A large send buffer keeps sendto from blocking on bursts of big datagrams.
        const int size = 4 << 20;
        ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    }
    return fd;
}

using Clock = std::chrono::steady_clock;

// A sleep wakes tens of microseconds late (the thread's timer slack, then scheduling), and at
// 1 Gbit/s one 8 KiB datagram takes 65 us on the wire. The schedule is absolute, so a late wake-up
// is caught up by sending the overdue datagrams at once, as a link's queue would: only the last
// datagram of a dump, whose time ends the transfer, is waited for precisely (a short sleep, then
// a spin). A sender that spun before every datagram would take the core that the receiving host
// needs, on a small machine; and with a stock kernel's 416 KiB receive buffer, a receiver kept off
// the processor for 3 ms at 1 Gbit/s loses datagrams.
void waitUntil(Clock::time_point due, bool precisely) {
    constexpr auto kSpin = std::chrono::microseconds(40);
    thread_local const bool precise = ::prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL) == 0;
    (void)precise;
    const auto spin = precisely ? kSpin : Clock::duration::zero();
    for (;;) {
        const auto left = due - Clock::now();
        if (left <= Clock::duration::zero()) {
            return;
        }
        if (left > spin) {
            std::this_thread::sleep_for(left - spin);
            if (!precisely) {
                return;
            }
        }
    }
}

} // namespace

SimUdpLink::SimUdpLink(bool allowNetwork, double linkRateMbps)
    : m_allowNetwork(allowNetwork)
    , m_rateMbps(linkRateMbps) {}

SimUdpLink::~SimUdpLink() {
    for (int fd : {m_fd, m_strayFd}) {
        if (fd >= 0) {
            ::close(fd);
        }
    }
}

QByteArray SimUdpLink::header(std::int32_t packetCount, std::int32_t fileSize, std::int32_t packetSize) {
    QByteArray h(kHeaderSize, '\0');
    putLe32(h.data(), packetCount);
    putLe32(h.data() + 4, fileSize);
    putLe32(h.data() + 8, packetSize);
    return h;
}

bool SimUdpLink::isLoopback(const QString& host) {
    in_addr a{};
    return parseHost(host, &a) && (ntohl(a.s_addr) >> 24) == 127U;
}

bool SimUdpLink::checkDestination(const QString& host, int port, QString* why) const {
    in_addr a{};
    if (!parseHost(host, &a)) {
        *why = QStringLiteral("\"%1\" is not an IPv4 address").arg(host);
        return false;
    }
    if (port < 1 || port > 65535) {
        *why = QStringLiteral("port %1 is out of range (1 to 65535)").arg(port);
        return false;
    }
    if (!m_allowNetwork && !isLoopback(host)) {
        *why = QStringLiteral("destination %1:%2 refused: UDP goes only to loopback addresses (127.0.0.0/8) "
                              "unless --allow-network is given")
                   .arg(host)
                   .arg(port);
        return false;
    }
    return true;
}

bool SimUdpLink::open(QString* error) {
    if (m_fd < 0) {
        m_fd = openUdp();
    }
    if (m_strayFd < 0) {
        m_strayFd = openUdp();
    }
    if (m_fd < 0 || m_strayFd < 0) {
        *error =
            QStringLiteral("cannot open a UDP socket: %1").arg(QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    return true;
}

bool SimUdpLink::sendOne(int fd, const void* to, const char* bytes, int size) {
    for (int tries = 0; tries < 20000; ++tries) {
        const ssize_t n =
            ::sendto(fd, bytes, size_t(size), 0, static_cast<const sockaddr*>(to), sizeof(sockaddr_in));
        if (n == size) {
            return true;
        }
        if (n < 0 && (errno == EINTR || errno == EAGAIN || errno == ENOBUFS)) {
            std::this_thread::sleep_for(std::chrono::microseconds(50));
            continue;
        }
        // Nobody listening (ECONNREFUSED from an earlier ICMP) is the host's business: a real
        // link would have lost the datagram too.
        return n < 0 && errno == ECONNREFUSED;
    }
    return false;
}

SimDumpResult SimUdpLink::sendDump(const QString& host, int port, const std::function<QByteArray()>& load,
                                   int fileSize, int packetSize, const SimDumpFaults& faults,
                                   const std::atomic<bool>* stop) {
    SimDumpResult r;
    if (!checkDestination(host, port, &r.error) || !open(&r.error)) {
        return r;
    }
    if (packetSize < 1 || packetSize > kMaxDatagram) {
        r.error =
            QStringLiteral("packet size %1 is out of range (1 to %2)").arg(packetSize).arg(kMaxDatagram);
        return r;
    }
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(quint16(port));
    parseHost(host, &to.sin_addr);

    const qint64 size = fileSize < 0 ? 0 : fileSize;
    const int count = int((size + packetSize - 1) / packetSize);
    if (faults.stray) {
        const QByteArray stray("KELVO6 STRAY PACKET\n", kStrayDatagramSize);
        if (sendOne(m_strayFd, &to, stray.constData(), stray.size())) {
            ++r.datagrams;
        }
    }
    const auto sendError = [&host, port] {
        return QStringLiteral("sendto %1:%2 failed: %3")
            .arg(host)
            .arg(port)
            .arg(QString::fromLocal8Bit(std::strerror(errno)));
    };
    if (!faults.noHeader) {
        const QByteArray h = header(count, fileSize, packetSize);
        if (!sendOne(m_fd, &to, h.constData(), h.size())) {
            r.error = sendError();
            return r;
        }
        ++r.datagrams;
    }
    r.sent = true;
    const Clock::time_point t0 = Clock::now();
    const QByteArray data = size > 0 ? load() : QByteArray();

    // A datagram is released only once the link would have carried it whole (its last bit at
    // the host), so the host never gets data sooner than a real link delivers it, and the dump
    // is over when the last datagram is out.
    const double rate = m_rateMbps.load();
    const int faulty = count > 1 ? 1 : 0;
    const int lastToSend = faults.disconnect ? count / 2 : count;
    qint64 paced = 0;
    for (int i = 0; i < lastToSend; ++i) {
        if (stop && stop->load()) {
            break;
        }
        const qint64 offset = qint64(i) * packetSize;
        if (offset >= data.size()) {
            break;
        }
        int len = int(std::min<qint64>(packetSize, std::min<qint64>(size, data.size()) - offset));
        if (faults.truncate && i == count - 1) {
            len /= 2;
        }
        const int copies = (faults.lose && i == faulty) ? 0 : (faults.duplicate && i == faulty) ? 2 : 1;
        for (int c = 0; c < copies; ++c) {
            paced += len;
            if (rate > 0) {
                waitUntil(t0 + std::chrono::nanoseconds(qint64(double(paced) * 8.0 * 1000.0 / rate)),
                          i + 1 == lastToSend);
            }
            if (!sendOne(m_fd, &to, data.constData() + offset, len)) {
                r.error = sendError();
                return r;
            }
            ++r.datagrams;
            r.bytes += len;
        }
    }
    return r;
}

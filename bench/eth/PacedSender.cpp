#include "PacedSender.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

namespace {

using Clock = std::chrono::steady_clock;

void wait_until(Clock::time_point t) {
    // Sleeping is too coarse at 1 Gbit/s (one 8 KiB datagram every 65 us): spin the last stretch.
    for (;;) {
        const auto now = Clock::now();
        if (now >= t) {
            return;
        }
        if (t - now > std::chrono::microseconds(300)) {
            std::this_thread::sleep_for(t - now - std::chrono::microseconds(200));
        }
    }
}

} // namespace

PacedSender::PacedSender(const char* from, const char* toHost, int toPort, double bitsPerSecond,
                         int packetSize)
    : m_bps(bitsPerSecond)
    , m_packetSize(packetSize) {
    m_fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    ::inet_pton(AF_INET, from, &a.sin_addr);
    ::bind(m_fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
    int big = 8 * 1024 * 1024;
    ::setsockopt(m_fd, SOL_SOCKET, SO_SNDBUFFORCE, &big, sizeof big);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<std::uint16_t>(toPort));
    ::inet_pton(AF_INET, toHost, &to.sin_addr);
    m_to.resize(sizeof to);
    std::memcpy(m_to.data(), &to, sizeof to);
    m_thread = std::thread([this] { run(); });
}

PacedSender::~PacedSender() {
    m_stop = true;
    m_thread.join();
    ::close(m_fd);
}

void PacedSender::setFile(const QByteArray* file) {
    m_file = file;
}

void PacedSender::request() {
    m_pending.fetch_add(1);
}

void PacedSender::sendOne(const char* data, std::size_t size) {
    for (;;) {
        const ssize_t n = ::sendto(m_fd, data, size, 0, reinterpret_cast<const sockaddr*>(m_to.data()),
                                   static_cast<socklen_t>(m_to.size()));
        if (n == static_cast<ssize_t>(size)) {
            return;
        }
        if (errno != ENOBUFS && errno != EAGAIN && errno != EINTR) {
            ++m_sendFailures;
            return;
        }
    }
}

void PacedSender::run() {
    while (!m_stop) {
        if (m_pending.load() == 0) {
            std::this_thread::yield(); // answers a request at once, as a real PU does
            continue;
        }
        m_pending.fetch_sub(1);
        const QByteArray& file = *m_file;
        const int count =
            file.isEmpty() ? 0 : static_cast<int>((file.size() + m_packetSize - 1) / m_packetSize);
        unsigned char header[16] = {};
        const std::int32_t fields[3] = {count, static_cast<std::int32_t>(file.size()), m_packetSize};
        for (int f = 0; f < 3; ++f) {
            for (int b = 0; b < 4; ++b) {
                header[f * 4 + b] =
                    static_cast<unsigned char>((static_cast<std::uint32_t>(fields[f]) >> (8 * b)) & 0xFF);
            }
        }
        const auto start = Clock::now();
        double sentBits = 0;
        sendOne(reinterpret_cast<const char*>(header), sizeof header);
        for (int i = 0; i < count; ++i) {
            const qsizetype offset = static_cast<qsizetype>(i) * m_packetSize;
            const std::size_t size =
                static_cast<std::size_t>(std::min<qsizetype>(m_packetSize, file.size() - offset));
            if (m_bps > 0) {
                sentBits += 8.0 * static_cast<double>(size);
                wait_until(start + std::chrono::duration_cast<Clock::duration>(
                                       std::chrono::duration<double>(sentBits / m_bps)));
            }
            sendOne(file.constData() + offset, size);
        }
    }
}

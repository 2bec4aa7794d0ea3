#include "SimClient.h"

#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace {

qint64 nowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

SimClient::~SimClient() {
    close();
}

bool SimClient::open(const QString& path) {
    close();
    m_fd = ::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_fd < 0) {
        return false;
    }
    termios t{};
    if (tcgetattr(m_fd, &t) != 0) {
        return false;
    }
    cfmakeraw(&t);
    tcsetattr(m_fd, TCSANOW, &t);
    tcflush(m_fd, TCIOFLUSH);
    return true;
}

void SimClient::close() {
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
}

bool SimClient::send(const QByteArray& bytes) {
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(m_fd, bytes.constData() + done, size_t(bytes.size() - done));
        if (n < 0) {
            pollfd p{m_fd, POLLOUT, 0};
            if (::poll(&p, 1, 2000) <= 0) {
                return false;
            }
            continue;
        }
        done += n;
    }
    return true;
}

QByteArray SimClient::readBurst(int firstMs, int silenceMs) {
    QByteArray out;
    qint64 deadline = nowMs() + firstMs;
    for (;;) {
        const int wait = int(std::max<qint64>(0, deadline - nowMs()));
        pollfd p{m_fd, POLLIN, 0};
        if (::poll(&p, 1, wait) <= 0) {
            return out;
        }
        char buf[4096];
        const ssize_t n = ::read(m_fd, buf, sizeof buf);
        if (n > 0) {
            out.append(buf, n);
            deadline = nowMs() + silenceMs;
        }
    }
}

QByteArray SimClient::exchange(const QByteArray& line, int firstMs) {
    if (!send(line + '\n')) {
        return QByteArray("<write failed>");
    }
    return readBurst(firstMs);
}

QByteArray SimClient::exchangeLine(const QByteArray& line, int timeoutMs) {
    if (!send(line + '\n')) {
        return QByteArray("<write failed>");
    }
    QByteArray out;
    const qint64 deadline = nowMs() + timeoutMs;
    while (!out.endsWith('\n')) {
        pollfd p{m_fd, POLLIN, 0};
        if (::poll(&p, 1, int(std::max<qint64>(0, deadline - nowMs()))) <= 0) {
            break;
        }
        char buf[4096];
        const ssize_t n = ::read(m_fd, buf, sizeof buf);
        if (n > 0) {
            out.append(buf, n);
        }
    }
    return out;
}

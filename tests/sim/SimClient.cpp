#include "SimClient.h"

#include <QDeadlineTimer>

#include <algorithm>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

SimClient::~SimClient() {
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

bool SimClient::open(const QString& path) {
    m_fd = ::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    termios t{};
    if (m_fd < 0 || tcgetattr(m_fd, &t) != 0) {
        return false;
    }
    cfmakeraw(&t);
    tcsetattr(m_fd, TCSANOW, &t);
    tcflush(m_fd, TCIOFLUSH);
    return true;
}

bool SimClient::send(const QByteArray& bytes) {
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(m_fd, bytes.constData() + done, size_t(bytes.size() - done));
        pollfd p{m_fd, POLLOUT, 0};
        if (n < 0 && ::poll(&p, 1, 2000) <= 0) {
            return false;
        }
        done += std::max<ssize_t>(n, 0);
    }
    return true;
}

QByteArray SimClient::readBurst(int firstMs, int silenceMs) {
    QByteArray out;
    QDeadlineTimer deadline(firstMs);
    for (;;) {
        pollfd p{m_fd, POLLIN, 0};
        if (::poll(&p, 1, int(deadline.remainingTime())) <= 0) {
            return out;
        }
        char buf[4096];
        const ssize_t n = ::read(m_fd, buf, sizeof buf);
        if (n > 0) {
            out.append(buf, n);
            deadline.setRemainingTime(silenceMs);
        }
    }
}

QByteArray SimClient::exchange(const QByteArray& line, int firstMs) {
    return send(line + '\n') ? readBurst(firstMs) : QByteArray("<write failed>");
}

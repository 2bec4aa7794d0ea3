#include "link/PosixSerialPort.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

std::string system_text(int err) {
    char buf[1024];
    // strerror_r (GNU form) may return its own static text instead of filling buf.
    const char* text = strerror_r(err, buf, sizeof buf);
    return text ? std::string(text) : std::string("Unknown error");
}

// A refused open of a serial device is nearly always a missing group membership; the text says
// which group, so that the operator can fix it without searching.
std::string permission_hint(const std::string& device) {
    std::string owner = "dialout";
    struct stat st {};
    if (::stat(device.c_str(), &st) == 0) {
        if (const struct group* g = ::getgrgid(st.st_gid); g && g->gr_name && st.st_gid != 0) {
            owner = g->gr_name;
        }
    }
    return " (add your user to the group \"" + owner + "\" that owns " + device +
           ", for example with \"sudo usermod -aG " + owner + " $USER\", then log in again)";
}

speed_t speed_constant(unsigned baud, bool& known) {
    known = true;
    switch (baud) {
    case 1200:
        return B1200;
    case 2400:
        return B2400;
    case 4800:
        return B4800;
    case 9600:
        return B9600;
    case 19200:
        return B19200;
    case 38400:
        return B38400;
    case 57600:
        return B57600;
    case 115200:
        return B115200;
    case 230400:
        return B230400;
    case 460800:
        return B460800;
    case 921600:
        return B921600;
    default:
        known = false;
        return B0;
    }
}

// poll() for one event, restarting after signals; returns >0 ready, 0 timed out, <0 failure.
int wait_for(int fd, short events, int timeoutMs, short& revents) {
    pollfd p{fd, events, 0};
    for (;;) {
        const int r = ::poll(&p, 1, timeoutMs);
        if (r < 0 && errno == EINTR) {
            continue;
        }
        revents = p.revents;
        return r;
    }
}

} // namespace

std::unique_ptr<SerialPort> make_system_serial_port() {
    return std::make_unique<PosixSerialPort>();
}

PosixSerialPort::~PosixSerialPort() {
    if (const int fd = m_fd.exchange(-1); fd >= 0) {
        ::close(fd);
    }
}

bool PosixSerialPort::fail(int err) {
    m_error = system_text(err);
    return false;
}

bool PosixSerialPort::open(const std::string& device) {
    if (m_fd >= 0) {
        close();
    }
    const int fd = ::open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        const int err = errno;
        fail(err);
        if (err == EACCES || err == EPERM) {
            m_error += permission_hint(device);
        }
        return false;
    }
    // Exclusive use: the lock keeps a second KelvoApp (or a terminal program) off the line, the
    // terminal flag keeps out other non-privileged openers.
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int err = errno == EWOULDBLOCK ? EBUSY : errno;
        ::close(fd);
        return fail(err);
    }
    ::ioctl(fd, TIOCEXCL);
    m_fd = fd;
    m_error.clear();
    return true;
}

bool PosixSerialPort::configure(unsigned baud) {
    const int fd = m_fd;
    if (fd < 0) {
        return fail(EBADF);
    }
    bool known = false;
    const speed_t speed = speed_constant(baud, known);
    if (!known) {
        return fail(EINVAL);
    }
    termios tio{};
    if (::tcgetattr(fd, &tio) != 0) {
        return fail(errno);
    }
    ::cfmakeraw(&tio);
    tio.c_cflag |= CLOCAL | CREAD;
    tio.c_cflag &= ~(CSIZE | PARENB | CSTOPB | CRTSCTS);
    tio.c_cflag |= CS8;
    tio.c_iflag &= ~(INPCK | IGNPAR | PARMRK | ISTRIP | IXON | IXOFF | IXANY);
    tio.c_cc[VMIN] = 0;
    tio.c_cc[VTIME] = 0;
    if (::cfsetispeed(&tio, speed) != 0 || ::cfsetospeed(&tio, speed) != 0) {
        return fail(errno);
    }
    if (::tcsetattr(fd, TCSANOW, &tio) != 0) {
        return fail(errno);
    }
    return true;
}

bool PosixSerialPort::setReadTimeouts(int firstByteMs, int interByteMs) {
    if (m_fd < 0) {
        return fail(EBADF);
    }
    if (firstByteMs < 0 || interByteMs < 0) {
        return fail(EINVAL);
    }
    m_firstByteMs = firstByteMs;
    m_interByteMs = interByteMs;
    return true;
}

bool PosixSerialPort::write(const char* data, std::size_t size, std::size_t& written) {
    written = 0;
    const int fd = m_fd;
    if (fd < 0) {
        return fail(EBADF);
    }
    const auto stallLimit = Clock::now() + kWriteStall;
    while (written < size) {
        const ssize_t n = ::write(fd, data + written, size - written);
        if (n > 0) {
            written += static_cast<std::size_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0 && errno != EAGAIN) {
            return fail(errno);
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(stallLimit - Clock::now());
        if (left.count() <= 0) {
            return fail(ETIMEDOUT);
        }
        short revents = 0;
        const int r = wait_for(fd, POLLOUT, static_cast<int>(left.count()), revents);
        if (r < 0) {
            return fail(errno);
        }
        if (r > 0 && (revents & (POLLERR | POLLNVAL))) {
            return fail(EIO);
        }
    }
    return true;
}

bool PosixSerialPort::read(char* buffer, std::size_t capacity, std::size_t& got) {
    got = 0;
    const int fd = m_fd;
    if (fd < 0) {
        return fail(EBADF);
    }
    if (capacity == 0) {
        return true;
    }
    // The whole read is bounded by the first-byte time, as the line's total read time-out is; a
    // stream that keeps flowing is simply continued by the next read.
    const auto deadline = Clock::now() + std::chrono::milliseconds(m_firstByteMs);
    short revents = 0;
    int r = wait_for(fd, POLLIN, m_firstByteMs, revents);
    if (r < 0) {
        return fail(errno);
    }
    if (r == 0) {
        return true;
    }
    if (revents & POLLNVAL) {
        return fail(EBADF);
    }
    for (;;) {
        const ssize_t n = ::read(fd, buffer + got, capacity - got);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            if (errno != EAGAIN) {
                const int err = errno;
                if (got > 0) {
                    break; // keep what came; the next read reports the failure
                }
                return fail(err);
            }
        } else if (n == 0) {
            if (got == 0) {
                return fail(EIO); // the other end hung up
            }
            break;
        } else {
            got += static_cast<std::size_t>(n);
            if (got == capacity) {
                break;
            }
        }
        int gap = m_interByteMs;
        if (m_firstByteMs > 0) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
            gap = static_cast<int>(std::max<long long>(0, std::min<long long>(gap, left)));
        }
        r = wait_for(fd, POLLIN, gap, revents);
        if (r <= 0 || (revents & POLLIN) == 0) {
            break;
        }
    }
    return true;
}

bool PosixSerialPort::purgeReceive() {
    const int fd = m_fd;
    if (fd < 0) {
        return fail(EBADF);
    }
    if (::tcflush(fd, TCIFLUSH) != 0) {
        return fail(errno);
    }
    return true;
}

bool PosixSerialPort::close() {
    const int fd = m_fd.exchange(-1); // never touched again, even if close reports an error
    if (fd < 0) {
        return fail(EBADF);
    }
    if (::close(fd) != 0) {
        return fail(errno);
    }
    return true;
}

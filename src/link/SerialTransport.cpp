#include "link/SerialTransport.h"

#include "base/Diagnostics.h"

#include <QByteArray>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>
#if defined(__linux__)
#include <linux/serial.h>
#elif defined(__APPLE__)
#include <IOKit/serial/ioss.h>
#endif

namespace {
using Clock = std::chrono::steady_clock;

struct Speed {
    speed_t code;
    int bitsPerSecond;
};
constexpr Speed kSpeeds[] = {{B1200, 1200},   {B2400, 2400},     {B4800, 4800},
                             {B9600, 9600},   {B19200, 19200},   {B38400, 38400},
                             {B57600, 57600}, {B115200, 115200}, {B230400, 230400}};

speed_t speedCode(int bitsPerSecond) {
    for (const Speed& s : kSpeeds)
        if (s.bitsPerSecond == bitsPerSecond)
            return s.code;
    return speed_t(bitsPerSecond); // cfsetspeed takes plain numbers too (glibc)
}

int speedValue(speed_t code) {
    for (const Speed& s : kSpeeds)
        if (s.code == code)
            return s.bitsPerSecond;
    return int(code);
}

int msUntil(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? int(left) : 0;
}
} // namespace

SerialTransport::~SerialTransport() {
    close();
}

bool SerialTransport::open(const QString& path) {
    close();
    m_path = path;
    m_error.clear();
    m_errno = 0;
    clearLostReason();

    // Raw 8-bit line, receiver on, modem lines ignored, RTS/CTS flow control
    // both ways (CRTSCTS covers both directions).
    std::memset(&m_sp, 0, sizeof m_sp);
    m_sp.c_cflag = CS8 | CREAD | CLOCAL | CRTSCTS;
    m_sp.c_cc[VEOF] = 4;
    m_sp.c_cc[VMIN] = 0;
    m_sp.c_cc[VTIME] = 0;
    ::cfsetspeed(&m_sp, speedCode(kDefaultBaud));

    const QByteArray native = path.toLocal8Bit();
    const int fd = ::open(native.constData(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        m_errno = errno;
        m_error = QStringLiteral("cannot open %1: %2")
                      .arg(path, QString::fromLocal8Bit(std::strerror(m_errno)));
        diag::print("failed to open %s\n", native.constData());
        return false;
    }
    if (::tcgetattr(fd, &m_oldSp) != 0) {
        m_errno = errno;
        m_error = QStringLiteral("%1 is not a serial port").arg(path);
        diag::print("failed to open %s\n", native.constData());
        ::close(fd);
        return false;
    }
    // RTS is asserted for adapters that need it; a pseudo-terminal has no
    // modem lines (ENOTTY), which is fine.
    int rts = TIOCM_RTS;
    (void)::ioctl(fd, TIOCMBIS, &rts);
    ::tcflush(fd, TCIFLUSH);
    if (::tcsetattr(fd, TCSANOW, &m_sp) != 0) {
        m_errno = errno;
        m_error = QStringLiteral("cannot set up %1: %2")
                      .arg(path, QString::fromLocal8Bit(std::strerror(m_errno)));
        ::close(fd);
        return false;
    }
    m_lowLatency = requestLowLatency(fd);
    m_fd.store(fd);
    return true;
}

// Linux: the serial driver's low-latency flag, which sets a USB adapter's
// latency timer to 1 ms. macOS: the receive latency of the serial family.
// Pseudo-terminals and other drivers have neither; that is no failure.
SerialTransport::LowLatency SerialTransport::requestLowLatency(int fd) {
#if defined(__linux__)
    serial_struct info{};
    if (::ioctl(fd, TIOCGSERIAL, &info) != 0)
        return LowLatency::Unavailable;
    if (info.flags & ASYNC_LOW_LATENCY)
        return LowLatency::On;
    info.flags |= ASYNC_LOW_LATENCY;
    if (::ioctl(fd, TIOCSSERIAL, &info) != 0)
        return LowLatency::Refused;
    serial_struct check{};
    if (::ioctl(fd, TIOCGSERIAL, &check) != 0 || !(check.flags & ASYNC_LOW_LATENCY))
        return LowLatency::Refused;
    return LowLatency::On;
#elif defined(__APPLE__)
    unsigned long microseconds = 1000;
    if (::ioctl(fd, IOSSDATALAT, &microseconds) != 0)
        return errno == ENOTTY ? LowLatency::Unavailable : LowLatency::Refused;
    return LowLatency::On;
#else
    (void)fd;
    return LowLatency::Unavailable;
#endif
}

QString SerialTransport::lowLatencyText(LowLatency state) {
    switch (state) {
    case LowLatency::On:
        return QStringLiteral("low latency: replies are passed on at once");
    case LowLatency::Unavailable:
        return QStringLiteral("no latency setting on this port (replies as the port gives them)");
    case LowLatency::Refused:
        return QStringLiteral("the adapter would not switch to low latency: each reply may "
                              "wait up to 16 ms longer");
    case LowLatency::Unknown:
        break;
    }
    return QString();
}

int SerialTransport::read(char* bytes, int maxBytes) {
    const int fd = m_fd.load();
    return fd < 0 ? kGone : readFd(fd, bytes, maxBytes);
}

int SerialTransport::write(const char* bytes, int length) {
    const int fd = m_fd.load();
    return fd < 0 ? kGone : writeFd(fd, bytes, length);
}

int SerialTransport::bytesAvailable() const {
    const int fd = m_fd.load();
    int count = 0;
    if (fd < 0 || ::ioctl(fd, FIONREAD, &count) != 0)
        return 0;
    return count;
}

void SerialTransport::discardInput() {
    const int fd = m_fd.load();
    if (fd >= 0)
        ::tcflush(fd, TCIFLUSH);
}

void SerialTransport::close() {
    const int fd = m_fd.exchange(-1);
    if (fd >= 0)
        ::close(fd);
}

void SerialTransport::setBaud(int bitsPerSecond) {
    ::cfsetspeed(&m_sp, speedCode(bitsPerSecond));
    const int fd = m_fd.load();
    if (fd >= 0)
        ::tcsetattr(fd, TCSANOW, &m_sp);
}

int SerialTransport::getBaud() const {
    return speedValue(::cfgetospeed(&m_sp));
}

QString SerialTransport::sendStringPolling(const QString& text) {
    const int fd = m_fd.load();
    if (fd <= 0)
        return QString();
    ::tcflush(fd, TCIFLUSH);
    const QByteArray out = text.toUtf8();
    if (::write(fd, out.constData(), size_t(out.size())) != out.size())
        return QString();

    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kPollingReplyMs);
    QByteArray reply;
    char buffer[kMaxReplyBytes];
    while (reply.size() < kMaxReplyBytes) {
        pollfd p{fd, POLLIN, 0};
        const int ready = ::poll(&p, 1, msUntil(deadline));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            break;
        const ssize_t n = ::read(fd, buffer, size_t(kMaxReplyBytes - reply.size()));
        if (n > 0) {
            reply.append(buffer, qsizetype(n));
            if (reply.contains("\r\n>"))
                break;
        } else if (n < 0 && errno == EAGAIN) {
            continue;
        } else {
            break; // hung up, or nothing although poll said so
        }
    }
    return QString::fromUtf8(reply);
}

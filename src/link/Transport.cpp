#include "link/Transport.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace {
bool peerGone(int error) {
    return error == EIO || error == ENXIO || error == ENODEV || error == EBADF ||
           error == ECONNRESET || error == EPIPE || error == ENOTCONN;
}
} // namespace

int Transport::readFd(int fd, char* bytes, int maxBytes) {
    const ssize_t n = ::read(fd, bytes, size_t(maxBytes));
    if (n > 0)
        return int(n);
    if (n == 0)
        return 0; // a hung-up terminal reads as end of file; poll() tells
    if (peerGone(errno)) {
        setLostReason(QString::fromLocal8Bit(std::strerror(errno)));
        return kGone;
    }
    return 0;
}

int Transport::writeFd(int fd, const char* bytes, int length) {
    const ssize_t n = ::write(fd, bytes, size_t(length));
    if (n >= 0)
        return int(n);
    if (peerGone(errno)) {
        setLostReason(QString::fromLocal8Bit(std::strerror(errno)));
        return kGone;
    }
    return 0;
}

QString Transport::lostReason() const {
    std::lock_guard<std::mutex> lock(m_reasonLock);
    return m_lostReason;
}

void Transport::setLostReason(const QString& reason) {
    std::lock_guard<std::mutex> lock(m_reasonLock);
    m_lostReason = reason;
}

#include "link/TcpTransport.h"

#include <QByteArray>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

TcpTransport::~TcpTransport() {
    close();
}

bool TcpTransport::connectTo(const QString& host, quint16 port, int timeoutMs) {
    close();
    m_error.clear();
    clearLostReason();
    m_name = QStringLiteral("%1:%2").arg(host).arg(port);

    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const QByteArray service = QByteArray::number(port);
    const int rc = ::getaddrinfo(host.toUtf8().constData(), service.constData(), &hints, &found);
    if (rc != 0) {
        m_error = QStringLiteral("cannot resolve %1: %2")
                      .arg(host, QString::fromLocal8Bit(::gai_strerror(rc)));
        return false;
    }
    for (addrinfo* a = found; a; a = a->ai_next) {
        const int fd =
            ::socket(a->ai_family, a->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, a->ai_protocol);
        if (fd < 0)
            continue;
        int error = 0;
        if (::connect(fd, a->ai_addr, a->ai_addrlen) != 0) {
            error = errno;
            if (error == EINPROGRESS) {
                pollfd p{fd, POLLOUT, 0};
                if (::poll(&p, 1, timeoutMs) == 1) {
                    socklen_t len = sizeof error;
                    ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &len);
                } else {
                    error = ETIMEDOUT;
                }
            }
        }
        if (error == 0) {
            // Commands are short and paced by replies: send each at once.
            int one = 1;
            ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
            m_fd.store(fd);
            break;
        }
        m_error = QStringLiteral("cannot connect to %1: %2")
                      .arg(m_name, QString::fromLocal8Bit(std::strerror(error)));
        ::close(fd);
    }
    ::freeaddrinfo(found);
    return m_fd.load() >= 0;
}

int TcpTransport::read(char* bytes, int maxBytes) {
    const int fd = m_fd.load();
    if (fd < 0)
        return kGone;
    const ssize_t n = ::recv(fd, bytes, size_t(maxBytes), 0);
    if (n == 0) { // orderly shutdown by the proxy
        setLostReason(QStringLiteral("connection closed"));
        return kGone;
    }
    if (n > 0)
        return int(n);
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)
        return 0;
    setLostReason(QString::fromLocal8Bit(std::strerror(errno)));
    return kGone;
}

int TcpTransport::write(const char* bytes, int length) {
    const int fd = m_fd.load();
    if (fd < 0)
        return kGone;
    const ssize_t n = ::send(fd, bytes, size_t(length), MSG_NOSIGNAL);
    if (n >= 0)
        return int(n);
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)
        return 0;
    setLostReason(QString::fromLocal8Bit(std::strerror(errno)));
    return kGone;
}

int TcpTransport::bytesAvailable() const {
    const int fd = m_fd.load();
    int count = 0;
    if (fd < 0 || ::ioctl(fd, FIONREAD, &count) != 0)
        return 0;
    return count;
}

void TcpTransport::discardInput() {
    char scratch[256];
    while (bytesAvailable() > 0 && read(scratch, sizeof scratch) > 0) {
    }
}

void TcpTransport::close() {
    const int fd = m_fd.exchange(-1);
    if (fd >= 0)
        ::close(fd);
}

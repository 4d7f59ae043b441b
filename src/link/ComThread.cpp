#include "link/ComThread.h"

#include "link/Alerts.h"
#include "link/Diagnostics.h"
#include "link/QueuedCalls.h"
#include "protocol/Commands.h"

#include <QFileInfo>
#include <QMetaObject>
#include <QRegularExpression>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/utsname.h>
#include <unistd.h>
#include <vector>

namespace {
using Clock = std::chrono::steady_clock;

// Chunks read in one pass before the next queued command gets its turn, so a
// chattering unit cannot starve the queue.
constexpr int kMaxChunksPerPass = 16;
// Reads that return nothing although poll reported input, in a row, before
// the port counts as gone (a hung-up tty reads as end of file).
constexpr int kMaxEmptyReads = 100;
// Longest a single command may wait for the port to take it (CTS held low).
constexpr int kWriteStallMs = 1000;
constexpr int kMaxPathBytes = 255;

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
    return speed_t(bitsPerSecond); // cfsetspeed takes plain numbers too (glibc, BSD)
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

// FTDI adapters: "tty.usbserial<suffix>" on the desktop system the unit ships
// for, "ttyUSB<n>" with the Linux ftdi_sio driver.
bool isAdapterName(const QString& name) {
    static const QRegularExpression linuxName(QStringLiteral("^ttyUSB[0-9]+$"));
    return name.contains(QLatin1String("tty.usbserial")) || linuxName.match(name).hasMatch();
}

bool portGone(int error) {
    return error == EIO || error == ENXIO || error == ENODEV || error == EBADF;
}

std::int64_t threadCpuNs(clockid_t clock) {
    timespec ts{};
    if (clock_gettime(clock, &ts) != 0)
        return -1;
    return std::int64_t(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}
} // namespace

ComThread::ComThread() {
    m_port = qEnvironmentVariable("QZ62_PORT");
}

ComThread::~ComThread() {
    stopThread();
    // The owner may be destroying the link from inside one of its calls, that
    // is from inside the mailbox's delivery: let the mailbox go later.
    if (m_toOwner) {
        m_toOwner->cancel();
        m_toOwner.release()->deleteLater();
    }
    closePort();
}

void ComThread::setSearchDirectory(const QString& directory) {
    m_searchDirectory = directory;
}

void ComThread::setPort(const QString& path) {
    m_port = path;
}

QString ComThread::driverDownloadUrl() {
    return QStringLiteral("https://ftdichip.com/drivers/vcp-drivers/");
}

bool ComThread::serialDriverPresent() {
#ifdef __linux__
    if (QFileInfo::exists(QStringLiteral("/sys/bus/usb-serial/drivers/ftdi_sio")) ||
        QFileInfo::exists(QStringLiteral("/sys/module/ftdi_sio")))
        return true;
    utsname un{};
    if (::uname(&un) != 0)
        return true;
    const QString modules =
        QStringLiteral("/lib/modules/%1").arg(QString::fromLocal8Bit(un.release));
    const QString serial = modules + QStringLiteral("/kernel/drivers/usb/serial/ftdi_sio.ko");
    for (const char* suffix : {"", ".xz", ".zst", ".gz"})
        if (QFileInfo::exists(serial + QLatin1String(suffix)))
            return true;
    return false;
#else
    // The desktop systems the unit ships for carry the adapter's driver
    // themselves; there is nothing to check.
    return true;
#endif
}

int ComThread::openPort(const QString& path) {
    const QByteArray native = path.toLocal8Bit();
    const int fd = ::open(native.constData(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        m_lastOpenError = QStringLiteral("cannot open %1: %2")
                              .arg(path, QString::fromLocal8Bit(std::strerror(errno)));
        diag::print("failed to open %s\n", native.constData());
        return -1;
    }
    if (::tcgetattr(fd, &m_oldSp) != 0) {
        m_lastOpenError = QStringLiteral("%1 is not a serial port").arg(path);
        diag::print("failed to open %s\n", native.constData());
        ::close(fd);
        return -1;
    }
    m_sp.c_oflag = 0;
    // RTS is asserted for adapters that need it; a pseudo-terminal has no
    // modem lines (ENOTTY), which is fine.
    int rts = TIOCM_RTS;
    (void)::ioctl(fd, TIOCMBIS, &rts);
    ::tcflush(fd, TCIFLUSH);
    if (::tcsetattr(fd, TCSANOW, &m_sp) != 0) {
        m_lastOpenError = QStringLiteral("cannot set up %1: %2")
                              .arg(path, QString::fromLocal8Bit(std::strerror(errno)));
        ::close(fd);
        return -1;
    }
    m_fd.store(fd);
    return fd;
}

bool ComThread::identify() {
    sendString(QString()); // reaches only the network link at this point
    for (int attempt = 0; attempt < kProbeTries; ++attempt) {
        if (sendStringPolling(cmd::identifyProbe()).contains(QLatin1String("C190")))
            return true;
    }
    return false;
}

void ComThread::closePort() {
    const int fd = m_fd.exchange(-1);
    if (fd >= 0)
        ::close(fd);
}

int ComThread::openUsbSerial() {
    stopThread();
    closePort();
    m_lastOpenError.clear();

    // Raw 8-bit line, receiver on, modem lines ignored, RTS/CTS flow control
    // both ways (CRTSCTS covers both directions), non-blocking reads.
    std::memset(&m_sp, 0, sizeof m_sp);
    m_sp.c_cflag = CS8 | CREAD | CLOCAL | CRTSCTS;
    m_sp.c_cc[VEOF] = 4;
    m_sp.c_cc[VMIN] = 0;
    m_sp.c_cc[VTIME] = 0;
    ::cfsetspeed(&m_sp, speedCode(kDefaultBaud));

    std::vector<QString> candidates;
    if (!m_port.isEmpty()) {
        candidates.push_back(m_port);
    } else {
        DIR* dir = ::opendir(m_searchDirectory.toLocal8Bit().constData());
        if (!dir)
            return -1;
        std::vector<QString> names;
        while (const dirent* entry = ::readdir(dir)) {
            const QString name = QString::fromLocal8Bit(entry->d_name);
            if (isAdapterName(name))
                names.push_back(name);
        }
        ::closedir(dir);
        // Name order, shorter first, so ttyUSB2 comes before ttyUSB10 and the
        // search does not depend on the directory's internal order.
        std::sort(names.begin(), names.end(), [](const QString& a, const QString& b) {
            return a.size() != b.size() ? a.size() < b.size() : a < b;
        });
        for (const QString& name : names) {
            const QString path = m_searchDirectory + QLatin1Char('/') + name;
            if (path.toLocal8Bit().size() <= kMaxPathBytes)
                candidates.push_back(path);
        }
    }

    for (const QString& path : candidates) {
        if (openPort(path) < 0)
            continue;
        if (identify()) {
            diag::print("found QZ-62 on port %s\n", path.toLocal8Bit().constData());
            m_com = m_port.isEmpty() ? QFileInfo(path).fileName() : path;
            m_lastOpenError.clear();
            return 0;
        }
        closePort();
    }

    // Only a search that found no adapter points at the driver; an explicit
    // port (a simulator, a known device) says nothing about it.
    if (m_port.isEmpty() && m_driverCheck && !serialDriverPresent())
        alerts::show(QStringLiteral("install USB driver found at ") + driverDownloadUrl());
    m_com = QStringLiteral("QZ62 not found");
    return -1;
}

void ComThread::startThread(QObject* parent) {
    stopThread();
    qRegisterMetaType<MsgClass>("MsgClass");
    const QMetaObject* meta = parent ? parent->metaObject() : nullptr;
    const bool hasMsgSlot = meta && meta->indexOfMethod("threadHasMsg(MsgClass)") >= 0;
    const bool hasLostSlot = meta && meta->indexOfMethod("threadLinkLost(QString)") >= 0;
    {
        std::lock_guard<std::mutex> lock(m_ioLock);
        m_txQueue.clear();
    }
    m_wake.drain();
    if (!m_toOwner || m_toOwner->target() != parent) {
        // Calls still queued for a previous owner go with their mailbox.
        if (m_toOwner)
            m_toOwner.release()->deleteLater();
        m_toOwner = std::make_unique<QueuedCalls>(parent);
    }
    m_abort.store(false);
    m_finalCpuNs.store(0);
    m_running.store(true);
    m_thread = std::thread(&ComThread::run, this, parent, hasMsgSlot, hasLostSlot);
}

void ComThread::stopThread() {
    if (!m_thread.joinable())
        return;
    m_abort.store(true);
    m_wake.wake();
    m_thread.join();
    m_running.store(false);
    std::lock_guard<std::mutex> lock(m_ioLock);
    m_txQueue.clear();
}

// Nothing is queued while the port is closed or the link thread is stopped.
void ComThread::enqueue(MsgClass message) {
    if (m_fd.load() < 0 || !m_running.load())
        return;
    {
        std::lock_guard<std::mutex> lock(m_ioLock);
        m_txQueue.push_back(std::move(message));
    }
    m_wake.wake();
}

void ComThread::sendString(const QString& command) {
    if (NetworkSender* network = m_network.load())
        if (network->sendStringToNetwork(command) >= 0)
            return;
    MsgClass message;
    message.txString(command);
    enqueue(std::move(message));
}

void ComThread::sendBytes(const QByteArray& bytes) {
    if (NetworkSender* network = m_network.load())
        if (network->sendBytesToNetwork(bytes) >= 0)
            return;
    MsgClass message;
    message.txBytes(bytes);
    enqueue(std::move(message));
}

int ComThread::txCount() const {
    std::lock_guard<std::mutex> lock(m_ioLock);
    return int(m_txQueue.size());
}

QString ComThread::sendStringPolling(const QString& text) {
    const int fd = m_fd.load();
    if (fd <= 0)
        return QString();
    ::tcflush(fd, TCIFLUSH);
    const QByteArray out = text.toUtf8();
    if (::write(fd, out.constData(), size_t(out.size())) != out.size())
        return QString();

    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kPollingReplyMs);
    QByteArray reply;
    char buffer[kReadChunkBytes];
    while (reply.size() < kReadChunkBytes) {
        pollfd p{fd, POLLIN, 0};
        const int ready = ::poll(&p, 1, msUntil(deadline));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            break;
        const ssize_t n = ::read(fd, buffer, size_t(kReadChunkBytes - reply.size()));
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

void ComThread::setBaud(int bitsPerSecond) {
    ::cfsetspeed(&m_sp, speedCode(bitsPerSecond));
    const int fd = m_fd.load();
    if (fd >= 0)
        ::tcsetattr(fd, TCSANOW, &m_sp);
}

int ComThread::getBaud() const {
    return speedValue(::cfgetospeed(&m_sp));
}

int ComThread::bytesAvailable() const {
    const int fd = m_fd.load();
    int count = 0;
    if (fd < 0 || ::ioctl(fd, FIONREAD, &count) != 0)
        return 0;
    return count;
}

std::chrono::nanoseconds ComThread::linkThreadCpuTime() const {
    if (m_running.load() && m_thread.joinable()) {
        clockid_t clock;
        if (pthread_getcpuclockid(const_cast<std::thread&>(m_thread).native_handle(), &clock) ==
            0) {
            const std::int64_t ns = threadCpuNs(clock);
            if (ns >= 0)
                return std::chrono::nanoseconds(ns);
        }
    }
    return std::chrono::nanoseconds(m_finalCpuNs.load());
}

// The link thread. Per pass: write at most one queued command and give the
// unit up to 300 ms to start answering; read what has arrived; then sleep in
// poll until the port has input, a command is queued or stop is asked for.
// Nothing is polled on a timer, so an idle link costs no CPU and a command or
// a reply is handled as soon as the kernel reports it.
void ComThread::run(QObject* parent, bool hasMsgSlot, bool hasLostSlot) {
    const int fd = m_fd.load();
    int counter = 0;
    int emptyReads = 0;
    QString lostReason;
    char buffer[kReadChunkBytes];

    const int wakeFd = m_wake.readFd();
    auto queueEmpty = [this] {
        std::lock_guard<std::mutex> lock(m_ioLock);
        return m_txQueue.empty();
    };
    auto post = [&](const char* bytes, ssize_t length) {
        MsgClass chunk;
        chunk.txBytes(bytes, int(length));
        chunk.text = QString::number(++counter);
        if (hasMsgSlot)
            m_toOwner->post([parent, chunk] {
                QMetaObject::invokeMethod(parent, "threadHasMsg", Qt::DirectConnection,
                                          Q_ARG(MsgClass, chunk));
            });
        else
            diag::print("parent does not respond to 'threadHasMsg:'\n");
    };
    // Writes one command; false when the port is gone.
    auto writeMessage = [&](const QByteArray& bytes) {
        qsizetype offset = 0;
        const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kWriteStallMs);
        while (offset < bytes.size() && !m_abort.load()) {
            const ssize_t n =
                ::write(fd, bytes.constData() + offset, size_t(bytes.size() - offset));
            if (n > 0) {
                offset += n;
                continue;
            }
            if (n < 0 && portGone(errno)) {
                lostReason = QString::fromLocal8Bit(std::strerror(errno));
                return false;
            }
            if (n < 0 && errno != EAGAIN && errno != EINTR)
                return true; // dropped; the unit's reply re-sets the controls anyway
            const int waitMs = msUntil(deadline);
            if (waitMs == 0)
                return true;
            pollfd fds[2] = {{fd, POLLOUT, 0}, {wakeFd, POLLIN, 0}};
            ::poll(fds, 2, waitMs);
            if (fds[1].revents)
                m_wake.drain();
            if (fds[0].revents & (POLLHUP | POLLERR | POLLNVAL)) {
                lostReason = QStringLiteral("port hung up");
                return false;
            }
        }
        return true;
    };
    // Reads what has arrived, at most kMaxChunksPerPass chunks; false when the
    // port is gone.
    auto readAvailable = [&] {
        for (int chunks = 0; chunks < kMaxChunksPerPass; ++chunks) {
            pollfd p{fd, POLLIN, 0};
            const int ready = ::poll(&p, 1, 0);
            if (ready < 0 && errno == EINTR)
                continue;
            if (ready <= 0)
                return true;
            if (p.revents & POLLNVAL) {
                lostReason = QStringLiteral("port closed");
                return false;
            }
            if (p.revents & POLLIN) {
                const ssize_t n = ::read(fd, buffer, sizeof buffer);
                if (n > 0) {
                    emptyReads = 0;
                    post(buffer, n);
                    continue;
                }
                if (n < 0 && portGone(errno)) {
                    lostReason = QString::fromLocal8Bit(std::strerror(errno));
                    return false;
                }
            }
            if (p.revents & (POLLHUP | POLLERR)) {
                lostReason = QStringLiteral("port hung up");
                return false;
            }
            if (++emptyReads > kMaxEmptyReads) {
                lostReason = QStringLiteral("end of file");
                return false;
            }
            return true;
        }
        return true;
    };

    while (!m_abort.load()) {
        if (fd < 0) { // no port: only wait to be stopped
            pollfd p{wakeFd, POLLIN, 0};
            ::poll(&p, 1, -1);
            m_wake.drain();
            continue;
        }
        std::optional<MsgClass> message;
        {
            std::lock_guard<std::mutex> lock(m_ioLock);
            if (!m_txQueue.empty()) {
                message = std::move(m_txQueue.front());
                m_txQueue.pop_front();
            }
        }
        if (message) {
            if (!writeMessage(message->buffer()))
                break;
            message.reset();
            const Clock::time_point deadline =
                Clock::now() + std::chrono::milliseconds(kReplyWaitMs);
            while (!m_abort.load()) {
                const int waitMs = msUntil(deadline);
                if (waitMs == 0)
                    break;
                pollfd fds[2] = {{fd, POLLIN, 0}, {wakeFd, POLLIN, 0}};
                if (::poll(fds, 2, waitMs) < 0 && errno != EINTR)
                    break;
                if (fds[1].revents)
                    m_wake.drain(); // a queued command waits for its turn
                if (fds[0].revents)
                    break;
            }
        }
        if (m_abort.load() || !readAvailable())
            break;
        if (queueEmpty()) {
            pollfd fds[2] = {{fd, POLLIN, 0}, {wakeFd, POLLIN, 0}};
            ::poll(fds, 2, -1);
            if (fds[1].revents)
                m_wake.drain();
        }
    }

    if (!lostReason.isEmpty()) {
        closePort();
        {
            std::lock_guard<std::mutex> lock(m_ioLock);
            m_txQueue.clear();
        }
        diag::print("link lost: %s\n", lostReason.toLocal8Bit().constData());
        if (hasLostSlot)
            m_toOwner->post([parent, lostReason] {
                QMetaObject::invokeMethod(parent, "threadLinkLost", Qt::DirectConnection,
                                          Q_ARG(QString, lostReason));
            });
        else
            diag::print("parent does not respond to 'threadLinkLost:'\n");
    }
    m_finalCpuNs.store(threadCpuNs(CLOCK_THREAD_CPUTIME_ID));
    m_running.store(false);
    diag::print("run() complete\n");
}

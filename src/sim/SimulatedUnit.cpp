#include "sim/SimulatedUnit.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pty.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

namespace {
constexpr int kReadBytes = 4096;

// A copy that shares no list storage with the serving thread's (Qt's shared
// lists detach with a relaxed reference count check, so handing out a shared
// copy would race with the next append).
template <typename T>
QList<T> unshared(const QList<T>& list) {
    QList<T> copy;
    copy.reserve(list.size());
    for (const T& item : list)
        copy.append(item);
    return copy;
}

void setNonBlocking(int fd) {
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
}

// poll with a timeout to the microsecond (the wire emulation needs better than
// poll's milliseconds); a negative timeout waits for ever.
int pollFor(pollfd* fds, nfds_t count, std::chrono::nanoseconds timeout) {
    if (timeout < std::chrono::nanoseconds::zero())
        return ::ppoll(fds, count, nullptr, nullptr);
    timespec ts{};
    ts.tv_sec = time_t(timeout.count() / 1000000000);
    ts.tv_nsec = long(timeout.count() % 1000000000);
    return ::ppoll(fds, count, &ts, nullptr);
}
} // namespace

SimulatedUnit::SimulatedUnit() = default;

SimulatedUnit::~SimulatedUnit() {
    stop();
}

bool SimulatedUnit::start() {
    if (m_running.load())
        return true;
    termios raw{};
    ::cfmakeraw(&raw);
    char name[PATH_MAX] = {};
    if (::openpty(&m_master, &m_slave, name, &raw, nullptr) != 0)
        return false;
    // The slave stays open here, so the master never sees a hang-up while the
    // host closes and re-opens the port.
    setNonBlocking(m_master);
    ::fcntl(m_slave, F_SETFD, FD_CLOEXEC);
    if (!m_wake.isOpen()) {
        ::close(m_master);
        ::close(m_slave);
        m_master = m_slave = -1;
        return false;
    }
    m_wake.drain(); // a wake-up left from an earlier run
    m_ptyPath = QString::fromLocal8Bit(name);
    m_scheduled.clear();
    m_wire.clear();
    m_inPending.clear();
    m_lastOutDone = m_lastInDone = Clock::now();
    m_stop.store(false);
    m_running.store(true);
    m_thread = std::thread(&SimulatedUnit::run, this);
    return true;
}

void SimulatedUnit::stop() {
    if (m_thread.joinable()) {
        m_stop.store(true);
        m_wake.wake();
        m_thread.join();
    }
    m_running.store(false);
    for (int* fd : {&m_master, &m_slave, &m_listen}) {
        if (*fd >= 0)
            ::close(*fd);
        *fd = -1;
    }
    for (Client& client : m_clients)
        ::close(client.fd);
    m_clients.clear();
    m_tcpPort = 0;
}

quint16 SimulatedUnit::listenTcp(quint16 port) {
    if (m_running.load() || m_listen >= 0)
        return m_tcpPort;
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return 0;
    const int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    socklen_t length = sizeof address;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(fd, 4) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        ::close(fd);
        return 0;
    }
    m_listen = fd;
    m_tcpPort = ntohs(address.sin_port);
    return m_tcpPort;
}

void SimulatedUnit::setFailIdentification(bool fail) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_protocol.setFailIdentification(fail);
}

void SimulatedUnit::setFirmwareVersion(const QString& version) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_protocol.setFirmwareVersion(version);
}

void SimulatedUnit::powerCycle() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_protocol.powerCycle();
}

void SimulatedUnit::setSettingsSize(int bytes) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_protocol.setSettingsSize(bytes);
}

void SimulatedUnit::setUnreadableRow(int address) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_protocol.setUnreadableRow(address);
}

void SimulatedUnit::sendRaw(const QByteArray& bytes) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_rawOut += bytes;
    }
    m_wake.wake();
}

QList<SimProtocol::Command> SimulatedUnit::commands() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return unshared(m_protocol.commands());
}

QStringList SimulatedUnit::commandLines() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    QStringList lines;
    for (const SimProtocol::Command& c : m_protocol.commands())
        lines << c.line;
    return lines;
}

QList<SimProtocol::Trigger> SimulatedUnit::triggers() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return unshared(m_protocol.triggers());
}

QStringList SimulatedUnit::sysexTexts() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return unshared(m_protocol.sysexTexts());
}

QString SimulatedUnit::setting(const QString& key) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_protocol.setting(key);
}

QString SimulatedUnit::window(int index) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_protocol.window(index);
}

QString SimulatedUnit::cueText() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_protocol.cueText();
}

int SimulatedUnit::inOutCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_protocol.inOutCount();
}

int SimulatedUnit::networkUpdatesDone() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_protocol.networkUpdatesDone();
}

int SimulatedUnit::networkUpdateRecords() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_protocol.networkUpdateRecords();
}

void SimulatedUnit::setBootFaults(const SimBootLoader::Faults& faults) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_protocol.bootLoader().setFaults(faults);
}

void SimulatedUnit::setFirmwareStartCommand(const QString& command) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_protocol.bootLoader().setFirmwareStartCommand(command);
}

void SimulatedUnit::setNetworkUpdateFaults(const SimNetworkUpdate::Faults& faults) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_protocol.setNetworkFaults(faults);
}

QByteArray SimulatedUnit::settingsArea() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    const QByteArray area = m_protocol.settingsArea();
    return QByteArray(area.constData(), area.size()); // not shared with the serving thread
}

QByteArray SimulatedUnit::bootLoaderBytes() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    const QByteArray loader = m_protocol.bootLoader().loader();
    return QByteArray(loader.constData(), loader.size());
}

QStringList SimulatedUnit::bootRecords() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    QStringList copy;
    for (const QString& r : m_protocol.bootLoader().records())
        copy << QString(r.constData(), r.size());
    return copy;
}

QList<QByteArray> SimulatedUnit::firmwareTransmissions() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    QList<QByteArray> copy;
    for (const QByteArray& t : m_protocol.bootLoader().transmissions())
        copy << QByteArray(t.constData(), t.size());
    return copy;
}

UnitSnapshot SimulatedUnit::snapshot() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_protocol.snapshot();
}

void SimulatedUnit::setChangeListener(std::function<void()> listener) {
    std::lock_guard<std::mutex> lock(m_listenerLock);
    m_changeListener = std::move(listener);
}

void SimulatedUnit::notifyChanges() {
    std::uint64_t changes = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        changes = m_protocol.changeCount();
    }
    if (changes == m_changesTold)
        return;
    m_changesTold = changes;
    std::lock_guard<std::mutex> lock(m_listenerLock);
    if (m_changeListener)
        m_changeListener();
}

void SimulatedUnit::clearRecord() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_protocol.clearRecord();
}

SimulatedUnit::Clock::duration SimulatedUnit::byteTime() const {
    const int baud = m_wireBaud.load();
    if (baud <= 0)
        return Clock::duration::zero();
    // One start bit, eight data bits, one stop bit.
    return std::chrono::duration_cast<Clock::duration>(std::chrono::nanoseconds(10000000000LL) /
                                                       baud);
}

void SimulatedUnit::schedule(QByteArray bytes, Clock::time_point when, int channel) {
    if (bytes.isEmpty())
        return;
    m_scheduled.push_back({when, std::move(bytes), channel});
}

void SimulatedUnit::flushClient(Client& client) {
    while (!client.pending.isEmpty()) {
        const ssize_t n = ::send(client.fd, client.pending.constData(),
                                 size_t(client.pending.size()), MSG_NOSIGNAL);
        if (n <= 0)
            return; // full (poll waits for room) or gone (the read side notices)
        client.pending.remove(0, qsizetype(n));
    }
}

void SimulatedUnit::serveNetwork(const std::vector<pollfd>& fds, std::size_t first) {
    // fds[first] is the listening socket, then one entry per client in order.
    const Clock::time_point now = Clock::now();
    const Clock::duration delay = std::chrono::milliseconds(m_replyDelayMs.load());
    char buffer[kReadBytes];
    std::vector<int> closed;
    for (std::size_t i = 0; i < m_clients.size() && first + 1 + i < fds.size(); ++i) {
        Client& client = m_clients[i];
        const short revents = fds[first + 1 + i].revents;
        if (revents & POLLOUT)
            flushClient(client);
        if (!(revents & (POLLIN | POLLHUP | POLLERR)))
            continue;
        const ssize_t n = ::recv(client.fd, buffer, sizeof buffer, 0);
        if (n > 0) {
            QByteArray answer;
            bool hangUp = false;
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                answer = m_protocol.feed(QByteArray(buffer, qsizetype(n)), now, client.channel);
                hangUp = m_protocol.takeHangUp(client.channel);
            }
            if (hangUp)
                closed.push_back(client.channel);
            else if (!m_silent.load())
                schedule(std::move(answer), now + delay, client.channel);
        } else if (n == 0 || (errno != EAGAIN && errno != EINTR)) {
            closed.push_back(client.channel);
        }
    }
    for (int channel : closed) {
        auto it = std::find_if(m_clients.begin(), m_clients.end(),
                               [channel](const Client& c) { return c.channel == channel; });
        ::close(it->fd);
        m_clients.erase(it);
        std::lock_guard<std::mutex> lock(m_mutex);
        m_protocol.dropChannel(channel);
    }
    if (fds[first].revents & POLLIN) {
        const int fd = ::accept4(m_listen, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd >= 0) {
            const int on = 1;
            ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            m_clients.push_back({fd, m_nextChannel++, {}});
        }
    }
}

void SimulatedUnit::pumpInput(Clock::time_point now) {
    const Clock::duration step = byteTime();
    const Clock::duration delay = std::chrono::milliseconds(m_replyDelayMs.load());
    while (!m_inPending.isEmpty() && m_inNextDue <= now) {
        // Each byte reaches the unit when its last bit is in.
        qsizetype count = 1;
        if (step > Clock::duration::zero())
            count = std::min<qsizetype>(m_inPending.size(), 1 + (now - m_inNextDue) / step);
        else
            count = m_inPending.size();
        for (qsizetype i = 0; i < count; ++i) {
            const Clock::time_point arrived = m_inNextDue + step * i;
            QByteArray answer;
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                answer = m_protocol.feed(m_inPending.mid(i, 1), arrived);
            }
            if (!m_silent.load())
                schedule(std::move(answer), arrived + delay);
        }
        m_lastInDone = m_inNextDue + step * (count - 1);
        m_inPending.remove(0, count);
        m_inNextDue = m_lastInDone + step;
    }
}

void SimulatedUnit::pumpOutput(Clock::time_point now) {
    const Clock::duration step = byteTime();
    while (!m_scheduled.empty() && m_scheduled.front().due <= now) {
        Scheduled& next = m_scheduled.front();
        if (next.channel == SimProtocol::kSerialChannel) {
            if (m_wire.isEmpty())
                m_wireNextDue = std::max(next.due, m_lastOutDone) + step;
            m_wire += next.bytes;
        } else {
            for (Client& client : m_clients) {
                if (client.channel == next.channel) {
                    client.pending += next.bytes;
                    flushClient(client);
                }
            }
        }
        m_scheduled.pop_front();
    }
    pumpAdapter(now);
    if (m_wire.isEmpty() || m_wireNextDue > now)
        return;
    qsizetype count = m_wire.size();
    if (step > Clock::duration::zero())
        count = std::min<qsizetype>(count, 1 + (now - m_wireNextDue) / step);
    const int holdMs = m_adapterHoldMs.load();
    if (holdMs > 0) {
        if (m_held.isEmpty())
            m_heldDue = m_wireNextDue + std::chrono::milliseconds(holdMs);
        m_held += m_wire.left(count);
    }
    const ssize_t written =
        holdMs > 0 ? ssize_t(count) : ::write(m_master, m_wire.constData(), size_t(count));
    if (written <= 0)
        return; // the host's input is full; poll waits for room
    m_lastOutDone = m_wireNextDue + step * (written - 1);
    m_wireNextDue = m_lastOutDone + step;
    m_wire.remove(0, qsizetype(written));
    pumpAdapter(now);
}

// A full USB packet (62 bytes of data) goes at once; less waits for the timer.
void SimulatedUnit::pumpAdapter(Clock::time_point now) {
    constexpr qsizetype kPacketBytes = 62;
    if (m_held.isEmpty() || (m_heldDue > now && m_held.size() < kPacketBytes))
        return;
    const ssize_t written = ::write(m_master, m_held.constData(), size_t(m_held.size()));
    if (written > 0)
        m_held.remove(0, qsizetype(written));
    if (!m_held.isEmpty())
        m_heldDue = now;
}

void SimulatedUnit::run() {
    char buffer[kReadBytes];
    while (!m_stop.load()) {
        Clock::time_point now = Clock::now();
        {
            QByteArray raw;
            SimProtocol::Output timed;
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                raw.swap(m_rawOut);
                timed = m_protocol.tick(now);
            }
            schedule(std::move(raw), now);
            if (!m_silent.load())
                schedule(std::move(timed.bytes), now, timed.channel);
        }
        pumpInput(now);
        notifyChanges();
        pumpOutput(now);

        // Sleep until the next thing falls due.
        std::optional<Clock::time_point> due;
        auto consider = [&due](Clock::time_point t) { due = due ? std::min(*due, t) : t; };
        if (!m_inPending.isEmpty())
            consider(m_inNextDue);
        if (!m_scheduled.empty())
            consider(m_scheduled.front().due);
        if (!m_held.isEmpty())
            consider(m_heldDue);
        const bool blockedOutput = !m_wire.isEmpty() && m_wireNextDue <= now;
        if (!m_wire.isEmpty() && !blockedOutput)
            consider(m_wireNextDue);
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (auto deadline = m_protocol.nextDeadline())
                consider(*deadline);
        }
        std::vector<pollfd> fds = {{m_master, short(POLLIN | (blockedOutput ? POLLOUT : 0)), 0},
                                   {m_wake.readFd(), POLLIN, 0}};
        const std::size_t network = fds.size();
        if (m_listen >= 0) {
            fds.push_back({m_listen, POLLIN, 0});
            for (const Client& client : m_clients)
                fds.push_back(
                    {client.fd, short(POLLIN | (client.pending.isEmpty() ? 0 : POLLOUT)), 0});
        }
        const std::chrono::nanoseconds timeout =
            due ? std::max(std::chrono::nanoseconds::zero(),
                           std::chrono::duration_cast<std::chrono::nanoseconds>(*due - now))
                : std::chrono::nanoseconds(-1);
        if (pollFor(fds.data(), nfds_t(fds.size()), timeout) < 0 && errno != EINTR)
            break;
        if (m_listen >= 0) {
            serveNetwork(fds, network);
            notifyChanges();
        }
        if (fds[1].revents)
            m_wake.drain();
        if (fds[0].revents & POLLIN) {
            const ssize_t n = ::read(m_master, buffer, sizeof buffer);
            if (n > 0) {
                const Clock::time_point arrived = Clock::now();
                if (m_inPending.isEmpty())
                    m_inNextDue = std::max(arrived, m_lastInDone) + byteTime();
                m_inPending.append(buffer, qsizetype(n));
            }
        }
    }
    m_running.store(false);
}

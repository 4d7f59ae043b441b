#pragma once

// A port and a clock the test plays, for the link worker's error paths.
#include "base/WakePipe.h"
#include "link/Transport.h"
#include "link/internal/LinkWorker.h"

#include <QByteArray>
#include <QString>
#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace linktest {

// Time that moves only when the test says. poll() sleeps for real until one
// of the descriptors is ready or the clock has been moved past its timeout.
class ManualClock final : public LinkClock {
public:
    TimePoint now() const override {
        std::lock_guard<std::mutex> lock(m_lock);
        return m_now;
    }

    int poll(pollfd* fds, int count, int timeoutMs) override {
        if (timeoutMs == 0)
            return ::poll(fds, nfds_t(count), 0);
        std::vector<pollfd> all(fds, fds + count);
        all.push_back({m_moved.readFd(), POLLIN, 0});
        std::unique_lock<std::mutex> lock(m_lock);
        const TimePoint deadline = m_now + std::chrono::milliseconds(timeoutMs);
        for (;;) {
            if (timeoutMs > 0 && m_now >= deadline)
                return 0;
            m_asleepAt = m_moves;
            m_asleep = true;
            m_changed.notify_all();
            lock.unlock();
            const int n = ::poll(all.data(), nfds_t(all.size()), -1);
            m_moved.drain();
            lock.lock();
            m_asleep = false;
            int ready = 0;
            for (int i = 0; i < count; ++i)
                ready += (fds[i].revents = all[std::size_t(i)].revents) != 0;
            if (n < 0 || ready > 0)
                return n < 0 ? n : ready;
        }
    }

    // Waits until the link thread sleeps in poll() having seen every move.
    bool waitUntilAsleep() {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, std::chrono::seconds(5),
                                  [this] { return m_asleep && m_asleepAt == m_moves; });
    }
    // Moves the clock once the link thread sleeps, so its deadline is set.
    bool advanceMs(int ms) {
        if (!waitUntilAsleep())
            return false;
        {
            std::lock_guard<std::mutex> lock(m_lock);
            m_now += std::chrono::milliseconds(ms);
            ++m_moves;
        }
        m_moved.wake();
        return true;
    }

private:
    mutable std::mutex m_lock;
    std::condition_variable m_changed;
    TimePoint m_now = TimePoint() + std::chrono::hours(1);
    int m_moves = 0;
    int m_asleepAt = -1;
    bool m_asleep = false;
    WakePipe m_moved;
};

// A port whose far end is the test: bytes "from the unit" are written into
// it, what the link writes is recorded, and writes and reads fail, stall or
// hang up when told. The descriptor the link polls is one end of a socket
// pair, so readiness is real: input is there when the unit sent some, and a
// full port (filled for real) polls as not writable until it takes bytes
// again.
class FakeTransport final : public Transport {
public:
    FakeTransport() {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) == 0) {
            int small = 4096; // quick to fill
            ::setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
            m_fd = ends[0];
            m_unit = ends[1];
        }
    }
    ~FakeTransport() override {
        close();
        if (m_unit >= 0)
            ::close(m_unit);
    }
    FakeTransport(const FakeTransport&) = delete;
    FakeTransport& operator=(const FakeTransport&) = delete;

    int pollFd() const override {
        std::lock_guard<std::mutex> lock(m_lock);
        return m_fd;
    }
    int read(char* bytes, int maxBytes) override {
        std::lock_guard<std::mutex> lock(m_lock);
        if (!m_readFailure.isEmpty()) {
            setLostReason(m_readFailure);
            return kGone;
        }
        if (m_readsNothing)
            return 0;
        return m_fd < 0 ? kGone : readFd(m_fd, bytes, maxBytes);
    }
    int write(const char* bytes, int length) override {
        std::lock_guard<std::mutex> lock(m_lock);
        if (m_fd < 0)
            return kGone;
        if (m_failAfter == 0) {
            setLostReason(m_writeFailure);
            return kGone;
        }
        if (m_room == 0)
            return 0;
        int n = length;
        if (m_failAfter > 0) {
            n = std::min(n, m_failAfter);
            m_failAfter -= n;
        }
        if (m_room > 0) {
            n = std::min(n, m_room);
            m_room -= n;
            if (m_room == 0)
                fill();
        }
        m_written.append(bytes, n);
        return n;
    }
    int bytesAvailable() const override {
        std::lock_guard<std::mutex> lock(m_lock);
        int count = 0;
        return m_fd >= 0 && ::ioctl(m_fd, FIONREAD, &count) == 0 ? count : 0;
    }
    void discardInput() override {}
    void close() override {
        std::lock_guard<std::mutex> lock(m_lock);
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
    }
    QString name() const override { return QStringLiteral("fake"); }

    // --- the test's side ---
    void unitSends(const QByteArray& bytes) {
        (void)!::write(m_unit, bytes.constData(), std::size_t(bytes.size()));
    }
    // The far end goes away: the port polls as hung up and reads end of file.
    void hangUp() {
        std::lock_guard<std::mutex> lock(m_lock);
        ::close(m_unit);
        m_unit = -1;
    }
    // The port takes this many more bytes, then is full (flow control).
    void takeOnly(int bytes) {
        std::lock_guard<std::mutex> lock(m_lock);
        m_room = bytes;
        if (m_room == 0)
            fill();
    }
    // The port takes bytes again.
    void takeAll() {
        std::lock_guard<std::mutex> lock(m_lock);
        m_room = -1;
        char scratch[4096];
        while (::read(m_unit, scratch, sizeof scratch) > 0) {
        }
    }
    // After this many more bytes, writes fail for the reason.
    void failWritesAfter(int bytes, const QString& reason) {
        std::lock_guard<std::mutex> lock(m_lock);
        m_failAfter = bytes;
        m_writeFailure = reason;
    }
    void failReads(const QString& reason) {
        std::lock_guard<std::mutex> lock(m_lock);
        m_readFailure = reason;
    }
    // Reads give nothing although the port polls as readable.
    void readNothing() {
        std::lock_guard<std::mutex> lock(m_lock);
        m_readsNothing = true;
    }
    QByteArray written() const {
        std::lock_guard<std::mutex> lock(m_lock);
        return m_written;
    }

private:
    // Fills the socket until it takes no more, so it polls as not writable.
    void fill() {
        const QByteArray junk(4096, 'j');
        while (::send(m_fd, junk.constData(), std::size_t(junk.size()), MSG_NOSIGNAL) > 0) {
        }
    }

    mutable std::mutex m_lock;
    int m_fd = -1;
    int m_unit = -1;
    int m_room = -1;      // bytes the port takes before it is full; -1 any
    int m_failAfter = -1; // bytes before writes fail; -1 never
    QString m_writeFailure;
    QString m_readFailure;
    bool m_readsNothing = false;
    QByteArray m_written;
};

} // namespace linktest

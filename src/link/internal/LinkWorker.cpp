#include "link/internal/LinkWorker.h"

#include "base/Diagnostics.h"
#include "base/QueuedCalls.h"
#include "link/LinkListener.h"
#include "link/Transport.h"

#include <cerrno>
#include <ctime>
#include <optional>
#include <poll.h>
#include <pthread.h>

namespace {
using Clock = std::chrono::steady_clock;

// Chunks read in one pass before the next queued command gets its turn, so a
// chattering unit cannot starve the queue.
constexpr int kMaxChunksPerPass = 16;
// Reads that return nothing although poll reported input, in a row, before
// the port counts as gone (a hung-up tty reads as end of file).
constexpr int kMaxEmptyReads = 100;
// How long one write waits for the port to take bytes (CTS held low) before
// the thread reads and handles stop requests again; the rest is kept and
// finished first on the next pass.
constexpr int kWriteStallMs = 1000;

int msUntil(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? int(left) : 0;
}

std::int64_t threadCpuNs(clockid_t clock) {
    timespec ts{};
    if (clock_gettime(clock, &ts) != 0)
        return -1;
    return std::int64_t(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}
} // namespace

LinkWorker::~LinkWorker() {
    stop();
}

void LinkWorker::start(Transport* transport, LinkListener* listener, QueuedCalls* toOwner) {
    stop();
    {
        std::lock_guard<std::mutex> lock(m_ioLock);
        m_commands.clear();
        m_priority.clear();
    }
    // A line the previous run left half-written is ended, so the unit sees
    // the first command of this run on a line of its own.
    {
        std::lock_guard<std::mutex> write(m_writeLock);
        if (m_unsentStarted)
            m_unsent = QByteArrayLiteral("\r\n");
        else
            m_unsent.clear();
        m_unsentStarted = false;
        m_transport = transport && transport->isOpen() ? transport : nullptr;
    }
    m_wake.drain();
    m_abort.store(false);
    m_finalCpuNs.store(0);
    m_running.store(true);
    m_thread = std::thread(&LinkWorker::run, this, transport, listener, toOwner);
}

void LinkWorker::stop() {
    if (!m_thread.joinable())
        return;
    m_abort.store(true);
    m_wake.wake();
    m_thread.join();
    m_running.store(false);
    {
        std::lock_guard<std::mutex> write(m_writeLock);
        m_transport = nullptr;
    }
    std::lock_guard<std::mutex> lock(m_ioLock);
    m_commands.clear();
    m_priority.clear();
}

void LinkWorker::queueCommand(const QByteArray& framed) {
    if (!m_running.load())
        return;
    {
        std::lock_guard<std::mutex> lock(m_ioLock);
        m_commands.push_back(framed);
    }
    m_wake.wake();
}

void LinkWorker::sendNow(const QByteArray& raw) {
    if (!m_running.load() || raw.isEmpty())
        return;
    // Straight from the caller's thread when the port is free: nothing being
    // written, nothing waiting in the lane. try_lock: a caller never waits
    // for the link thread.
    {
        std::unique_lock<std::mutex> write(m_writeLock, std::try_to_lock);
        if (write.owns_lock() && m_unsent.isEmpty() && m_transport) {
            bool laneEmpty = false;
            {
                std::lock_guard<std::mutex> queue(m_ioLock);
                laneEmpty = m_priority.empty();
            }
            if (laneEmpty) {
                const int n = m_transport->write(raw.constData(), int(raw.size()));
                if (n == int(raw.size()))
                    return;
                if (n >= 0) { // the link thread finishes it
                    m_unsent = raw.mid(n);
                    m_unsentStarted = n > 0;
                    m_wake.wake();
                    return;
                }
                // Gone: the link thread finds out on its side.
            }
        }
    }
    {
        std::lock_guard<std::mutex> lock(m_ioLock);
        m_priority.push_back(raw);
    }
    m_wake.wake();
}

int LinkWorker::queuedCount() const {
    std::lock_guard<std::mutex> lock(m_ioLock);
    return int(m_commands.size() + m_priority.size());
}

std::chrono::nanoseconds LinkWorker::cpuTime() const {
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

// Writes bytes after whatever is still being written; what the port does not
// take within the stall time stays in m_unsent.
LinkWorker::WriteResult LinkWorker::write(Transport& transport, const QByteArray& bytes) {
    {
        std::lock_guard<std::mutex> lock(m_writeLock);
        if (m_unsent.isEmpty())
            m_unsentStarted = false;
        m_unsent += bytes;
    }
    return finishUnsent(transport);
}

bool LinkWorker::hasUnsent() {
    std::lock_guard<std::mutex> lock(m_writeLock);
    return !m_unsent.isEmpty();
}

// Writes under the write lock, waits for the port without it.
LinkWorker::WriteResult LinkWorker::finishUnsent(Transport& transport) {
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kWriteStallMs);
    while (!m_abort.load()) {
        {
            std::lock_guard<std::mutex> lock(m_writeLock);
            if (m_unsent.isEmpty())
                return WriteResult::Done;
            const int n = transport.write(m_unsent.constData(), int(m_unsent.size()));
            if (n == Transport::kGone)
                return WriteResult::Gone;
            if (n > 0) {
                m_unsent.remove(0, n);
                m_unsentStarted = !m_unsent.isEmpty();
                continue;
            }
        }
        const int waitMs = msUntil(deadline);
        if (waitMs == 0)
            return WriteResult::Stalled;
        pollfd fds[2] = {{transport.pollFd(), POLLOUT, 0}, {m_wake.readFd(), POLLIN, 0}};
        ::poll(fds, 2, waitMs);
        if (fds[1].revents)
            m_wake.drain(); // bytes to send wait until this line is out
        if (fds[0].revents & (POLLHUP | POLLERR | POLLNVAL))
            return WriteResult::Gone;
    }
    return hasUnsent() ? WriteResult::Stalled : WriteResult::Done;
}

LinkWorker::WriteResult LinkWorker::writePriority(Transport& transport) {
    for (;;) {
        const WriteResult r = finishUnsent(transport);
        if (r != WriteResult::Done)
            return r;
        // Taken from the queue and made the line being written in one step,
        // so a caller writing directly (sendNow) cannot overtake it.
        std::lock_guard<std::mutex> write(m_writeLock);
        if (!m_unsent.isEmpty())
            continue; // a caller's write the port did not take whole
        std::lock_guard<std::mutex> queue(m_ioLock);
        if (m_priority.empty())
            return WriteResult::Done;
        m_unsent = std::move(m_priority.front());
        m_unsentStarted = false;
        m_priority.pop_front();
    }
}

// Per pass: finish a stalled write, send the priority lane, write at most one
// queued command and give the unit up to 300 ms to start answering (sending
// priority bytes meanwhile), read what has arrived, then sleep in poll until
// the port has input, something is to be sent or stop is asked for. Nothing
// runs on a timer, so an idle link costs no CPU.
void LinkWorker::run(Transport* transport, LinkListener* listener, QueuedCalls* toOwner) {
    int counter = 0;
    int emptyReads = 0;
    QString lostReason;
    char buffer[kReadChunkBytes];
    const int fd = transport ? transport->pollFd() : -1;
    const int wakeFd = m_wake.readFd();

    auto post = [&](const char* bytes, int length) {
        MsgClass chunk;
        chunk.txBytes(bytes, length);
        chunk.text = QString::number(++counter);
        if (listener)
            toOwner->post([listener, chunk] { listener->threadHasMsg(chunk); });
        else
            diag::print("parent does not respond to 'threadHasMsg:'\n");
    };
    auto gone = [&](const QString& fallback) {
        lostReason = transport->lostReason().isEmpty() ? fallback : transport->lostReason();
    };
    // Reads what has arrived, at most kMaxChunksPerPass chunks; false when the
    // transport is gone.
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
                const int n = transport->read(buffer, sizeof buffer);
                if (n > 0) {
                    emptyReads = 0;
                    post(buffer, n);
                    continue;
                }
                if (n == Transport::kGone) {
                    gone(QStringLiteral("port hung up"));
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
    auto idle = [&] {
        std::lock_guard<std::mutex> lock(m_ioLock);
        return m_commands.empty() && m_priority.empty();
    };

    while (!m_abort.load()) {
        if (fd < 0) { // no port: only wait to be stopped
            pollfd p{wakeFd, POLLIN, 0};
            ::poll(&p, 1, -1);
            m_wake.drain();
            continue;
        }
        WriteResult written = writePriority(*transport);
        if (written == WriteResult::Gone) {
            gone(QStringLiteral("port hung up"));
            break;
        }
        std::optional<QByteArray> command;
        if (written == WriteResult::Done) {
            std::lock_guard<std::mutex> lock(m_ioLock);
            if (!m_commands.empty()) {
                command = std::move(m_commands.front());
                m_commands.pop_front();
            }
        }
        if (command) {
            written = write(*transport, *command);
            if (written == WriteResult::Gone) {
                gone(QStringLiteral("port hung up"));
                break;
            }
            const Clock::time_point deadline =
                Clock::now() + std::chrono::milliseconds(kReplyWaitMs);
            while (!m_abort.load() && written == WriteResult::Done) {
                const int waitMs = msUntil(deadline);
                if (waitMs == 0)
                    break;
                pollfd fds[2] = {{fd, POLLIN, 0}, {wakeFd, POLLIN, 0}};
                if (::poll(fds, 2, waitMs) < 0 && errno != EINTR)
                    break;
                if (fds[1].revents) {
                    m_wake.drain();
                    // The priority lane does not wait behind a reply; queued
                    // commands do.
                    written = writePriority(*transport);
                    if (written == WriteResult::Gone)
                        break;
                }
                if (fds[0].revents)
                    break;
            }
            if (written == WriteResult::Gone) {
                gone(QStringLiteral("port hung up"));
                break;
            }
        }
        if (m_abort.load() || !readAvailable())
            break;
        if (hasUnsent()) {
            // The port holds back a line: wait until it takes bytes again.
            pollfd fds[3] = {{fd, POLLIN, 0}, {wakeFd, POLLIN, 0}, {fd, POLLOUT, 0}};
            ::poll(fds, 3, kWriteStallMs);
            if (fds[1].revents)
                m_wake.drain();
        } else if (idle()) {
            pollfd fds[2] = {{fd, POLLIN, 0}, {wakeFd, POLLIN, 0}};
            ::poll(fds, 2, -1);
            if (fds[1].revents)
                m_wake.drain();
        }
    }

    if (!lostReason.isEmpty()) {
        {
            std::lock_guard<std::mutex> write(m_writeLock);
            m_transport = nullptr;
            transport->close();
        }
        {
            std::lock_guard<std::mutex> lock(m_ioLock);
            m_commands.clear();
            m_priority.clear();
        }
        diag::print("link lost: %s\n", lostReason.toLocal8Bit().constData());
        if (listener)
            toOwner->post([listener, lostReason] { listener->threadLinkLost(lostReason); });
        else
            diag::print("parent does not respond to 'threadLinkLost:'\n");
    }
    m_finalCpuNs.store(threadCpuNs(CLOCK_THREAD_CPUTIME_ID));
    m_running.store(false);
    diag::print("run() complete\n");
}

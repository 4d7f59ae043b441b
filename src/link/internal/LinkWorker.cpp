#include "link/internal/LinkWorker.h"

#include "base/Diagnostics.h"
#include "base/QueuedCalls.h"
#include "base/Realtime.h"
#include "link/LinkListener.h"
#include "link/Transport.h"

#include <cerrno>
#include <ctime>
#include <poll.h>
#include <pthread.h>

namespace {
std::int64_t threadCpuNs(clockid_t clock) {
    timespec ts{};
    if (clock_gettime(clock, &ts) != 0)
        return -1;
    return std::int64_t(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

QString reasonOr(const Transport& transport, const char* fallback) {
    const QString reason = transport.lostReason();
    return reason.isEmpty() ? QString::fromLatin1(fallback) : reason;
}
} // namespace

// --- the clock ---

LinkClock::TimePoint LinkClock::now() const {
    return std::chrono::steady_clock::now();
}

int LinkClock::poll(pollfd* fds, int count, int timeoutMs) {
    return ::poll(fds, nfds_t(count), timeoutMs);
}

LinkClock& LinkClock::system() {
    static LinkClock clock;
    return clock;
}

// --- the owner's side ---

LinkWorker::LinkWorker(LinkClock* clock) : m_clock(clock ? *clock : LinkClock::system()) {}

LinkWorker::~LinkWorker() {
    stop();
}

void LinkWorker::start(Transport* transport, LinkListener* listener, QueuedCalls* toOwner) {
    stop();
    clearQueues();
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
    Session session;
    session.transport = transport;
    session.listener = listener;
    session.toOwner = toOwner;
    session.fd = transport ? transport->pollFd() : -1;
    m_thread = std::thread(&LinkWorker::run, this, std::move(session));
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
    clearQueues();
}

void LinkWorker::queueCommand(const QByteArray& framed) {
    enqueue({framed, true});
}

void LinkWorker::queueBytes(const QByteArray& raw) {
    if (!raw.isEmpty())
        enqueue({raw, false});
}

void LinkWorker::enqueue(Queued queued) {
    if (!m_running.load())
        return;
    {
        std::lock_guard<std::mutex> lock(m_ioLock);
        if (!m_running.load())
            return; // the run ended meanwhile
        m_commands.push_back(std::move(queued));
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
                    m_timingDeferred.fetch_add(1, std::memory_order_relaxed);
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
        if (!m_running.load())
            return; // the run ended meanwhile
        m_priority.push_back(raw);
    }
    m_timingDeferred.fetch_add(1, std::memory_order_relaxed);
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

// --- the link thread ---

void LinkWorker::run(Session session) {
    // It writes the timing path's bytes that the caller could not.
    realtime::raiseCurrentThread("link", 40);
    if (session.fd < 0)
        waitForStop(); // no port
    else
        while (!m_abort.load() && pass(session)) {
        }
    m_finalCpuNs.store(threadCpuNs(CLOCK_THREAD_CPUTIME_ID));
    // Emptied and marked ended in one step, so a command sent meanwhile is
    // either dropped with the queue or refused, never left behind.
    {
        std::lock_guard<std::mutex> lock(m_ioLock);
        m_commands.clear();
        m_priority.clear();
        m_running.store(false);
    }
    if (!session.lostReason.isEmpty())
        linkLost(session);
    diag::print("run() complete\n");
}

// One pass: finish a stalled write, send the priority lane, write at most one
// queued command and give the unit up to 300 ms to start answering (sending
// priority bytes meanwhile), read what has arrived, then sleep in poll until
// the port has input, something is to be sent or stop is asked for. Nothing
// runs on a timer, so an idle link costs no CPU. False when the thread is to
// end: stop was asked for, or the transport went away (s.lostReason says why).
bool LinkWorker::pass(Session& s) {
    WriteResult written = writePriority(*s.transport);
    if (written == WriteResult::Done)
        written = sendNextCommand(s);
    if (written == WriteResult::Gone) {
        s.lostReason = reasonOr(*s.transport, "port hung up");
        return false;
    }
    if (m_abort.load() || !readAvailable(s))
        return false;
    sleepUntilNeeded(s);
    return true;
}

void LinkWorker::waitForStop() {
    while (!m_abort.load()) {
        pollfd p{m_wake.readFd(), POLLIN, 0};
        m_clock.poll(&p, 1, -1);
        m_wake.drain();
    }
}

// The oldest queued command, then the wait for its reply (raw bytes have
// none). Done when nothing was queued.
LinkWorker::WriteResult LinkWorker::sendNextCommand(Session& s) {
    const std::optional<Queued> command = takeCommand();
    if (!command)
        return WriteResult::Done;
    const WriteResult written = write(*s.transport, command->bytes);
    return written == WriteResult::Done && command->awaitsReply ? awaitReply(s) : written;
}

// Up to kReplyWaitMs for the first reply bytes. The priority lane does not
// wait behind a reply; queued commands do.
LinkWorker::WriteResult LinkWorker::awaitReply(Session& s) {
    const LinkClock::TimePoint deadline = m_clock.now() + std::chrono::milliseconds(kReplyWaitMs);
    WriteResult written = WriteResult::Done;
    while (!m_abort.load() && written == WriteResult::Done) {
        const int waitMs = msUntil(deadline);
        if (waitMs == 0)
            break;
        pollfd fds[2] = {{s.fd, POLLIN, 0}, {m_wake.readFd(), POLLIN, 0}};
        if (pollAndDrain(fds, 2, waitMs) < 0 && errno != EINTR)
            break;
        if (fds[1].revents)
            written = writePriority(*s.transport);
        if (fds[0].revents)
            break;
    }
    return written;
}

// Reads what has arrived, at most kMaxChunksPerPass chunks; false when the
// transport is gone.
bool LinkWorker::readAvailable(Session& s) {
    char buffer[kReadChunkBytes];
    for (int chunks = 0; chunks < kMaxChunksPerPass; ++chunks) {
        pollfd p{s.fd, POLLIN, 0};
        const int ready = m_clock.poll(&p, 1, 0);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return true;
        if (p.revents & POLLNVAL) {
            s.lostReason = QStringLiteral("port closed");
            return false;
        }
        if (p.revents & POLLIN) {
            const int n = s.transport->read(buffer, sizeof buffer);
            if (n > 0) {
                s.emptyReads = 0;
                handOver(s, buffer, n);
                continue;
            }
            if (n == Transport::kGone) {
                s.lostReason = reasonOr(*s.transport, "port hung up");
                return false;
            }
        }
        if (p.revents & (POLLHUP | POLLERR)) {
            s.lostReason = QStringLiteral("port hung up");
            return false;
        }
        if (++s.emptyReads > kMaxEmptyReads) {
            s.lostReason = QStringLiteral("end of file");
            return false;
        }
        return true;
    }
    return true;
}

// A received chunk, numbered, to the listener on its own thread.
void LinkWorker::handOver(Session& s, const char* bytes, int length) {
    MsgClass chunk;
    chunk.txBytes(bytes, length);
    chunk.text = QString::number(++s.chunks);
    if (LinkListener* listener = s.listener)
        s.toOwner->post([listener, chunk] { listener->threadHasMsg(chunk); });
    else
        diag::print("parent does not respond to 'threadHasMsg:'\n");
}

// Until the port has input or something is to be sent; while the port holds
// back a line, until it takes bytes again (or the stall time has passed).
void LinkWorker::sleepUntilNeeded(const Session& s) {
    if (hasUnsent()) {
        pollfd fds[3] = {{s.fd, POLLIN, 0}, {m_wake.readFd(), POLLIN, 0}, {s.fd, POLLOUT, 0}};
        pollAndDrain(fds, 3, kWriteStallMs);
    } else if (queuesEmpty()) {
        pollfd fds[2] = {{s.fd, POLLIN, 0}, {m_wake.readFd(), POLLIN, 0}};
        pollAndDrain(fds, 2, -1);
    }
}

// Once the run has ended: the transport is closed and the listener is told.
void LinkWorker::linkLost(Session& s) {
    {
        std::lock_guard<std::mutex> write(m_writeLock);
        m_transport = nullptr;
        s.transport->close();
    }
    const QString reason = s.lostReason;
    diag::print("link lost: %s\n", reason.toLocal8Bit().constData());
    if (LinkListener* listener = s.listener)
        s.toOwner->post([listener, reason] { listener->threadLinkLost(reason); });
    else
        diag::print("parent does not respond to 'threadLinkLost:'\n");
}

int LinkWorker::pollAndDrain(pollfd* fds, int count, int timeoutMs) {
    const int ready = m_clock.poll(fds, count, timeoutMs);
    if (fds[1].revents)
        m_wake.drain();
    return ready;
}

int LinkWorker::msUntil(LinkClock::TimePoint deadline) const {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - m_clock.now()).count();
    return left > 0 ? int(left) : 0;
}

// --- writing ---

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

// Writes under the write lock, waits for the port without it. Bytes to send
// that arrive meanwhile wait until this line is out.
LinkWorker::WriteResult LinkWorker::finishUnsent(Transport& transport) {
    const LinkClock::TimePoint deadline = m_clock.now() + std::chrono::milliseconds(kWriteStallMs);
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
        pollAndDrain(fds, 2, waitMs);
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

std::optional<LinkWorker::Queued> LinkWorker::takeCommand() {
    std::lock_guard<std::mutex> lock(m_ioLock);
    if (m_commands.empty())
        return std::nullopt;
    Queued command = std::move(m_commands.front());
    m_commands.pop_front();
    return command;
}

bool LinkWorker::hasUnsent() {
    std::lock_guard<std::mutex> lock(m_writeLock);
    return !m_unsent.isEmpty();
}

bool LinkWorker::queuesEmpty() const {
    std::lock_guard<std::mutex> lock(m_ioLock);
    return m_commands.empty() && m_priority.empty();
}

void LinkWorker::clearQueues() {
    std::lock_guard<std::mutex> lock(m_ioLock);
    m_commands.clear();
    m_priority.clear();
}

#pragma once

#include "base/WakePipe.h"
#include "protocol/MsgClass.h"

#include <QByteArray>
#include <QString>
#include <atomic>
#include <chrono>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

class LinkListener;
class QueuedCalls;
class Transport;
struct pollfd;

// Where the link thread reads the time and how it sleeps: the steady clock and
// poll(). A test hands the worker a clock it moves by hand, so the waits for a
// reply and for a stalled port end when the test says, not after real time.
class LinkClock {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    virtual ~LinkClock() = default;
    virtual TimePoint now() const;
    // As poll(2), with the timeout in this clock's milliseconds (-1: none).
    virtual int poll(pollfd* fds, int count, int timeoutMs);

    // The one the link uses.
    static LinkClock& system();
};

// The link thread. It owns nothing but its queues: the transport and the
// owner's mailbox are lent to it between start() and stop().
//
// Commands are paced by the unit's replies: one queued command per pass, then
// up to 300 ms for the first reply bytes before the next (the unit has no
// input buffer to speak of). Queued raw bytes keep their place among the
// commands but wait for no reply after them. The timing path's bytes (cue
// triggers and texts) take the priority lane: they are written at once, by
// the caller
// itself when the port is free or by the thread as soon as it wakes, ahead of
// queued commands and even while a command waits for its reply, in the order
// they were given, and nothing waits for a reply after them. A write
// the port does not take at once is always completed before anything else is
// written, so no line ever lands inside another; one that a stop cut short is
// ended with CR LF when the thread starts again.
//
// Every chunk read (at most 255 bytes) goes to the listener through the
// mailbox. When the transport goes away the thread closes it, tells the
// listener and ends.
class LinkWorker {
public:
    static constexpr int kReadChunkBytes = 255;
    static constexpr int kReplyWaitMs = 300;
    // Chunks read in one pass before the next queued command gets its turn,
    // so a chattering unit cannot starve the queue.
    static constexpr int kMaxChunksPerPass = 16;
    // Reads that return nothing although poll reported input, in a row,
    // before the port counts as gone (a hung-up tty reads as end of file).
    static constexpr int kMaxEmptyReads = 100;
    // How long one write waits for the port to take bytes (CTS held low)
    // before the thread reads and handles stop requests again; the rest is
    // kept and finished first on the next pass.
    static constexpr int kWriteStallMs = 1000;

    // The clock must outlive the worker; null means the system's.
    explicit LinkWorker(LinkClock* clock = nullptr);
    ~LinkWorker();
    LinkWorker(const LinkWorker&) = delete;
    LinkWorker& operator=(const LinkWorker&) = delete;

    // Starts the thread with empty queues. listener may be null (chunks are
    // then noted on standard output and dropped).
    void start(Transport* transport, LinkListener* listener, QueuedCalls* toOwner);
    // Asks the thread to finish and waits for it (woken at once, so this
    // returns within a write). Whatever is still queued is lost. No-op when
    // not running.
    void stop();
    bool isRunning() const { return m_running.load(); }

    // Any thread; dropped when the thread is not running. Neither blocks
    // beyond a short queue lock, neither waits for the unit.
    // A framed command, written in its turn and then given up to 300 ms for
    // its reply.
    void queueCommand(const QByteArray& framed);
    // Raw bytes in their turn behind the queued commands; no reply awaited.
    void queueBytes(const QByteArray& raw);
    // The priority lane.
    void sendNow(const QByteArray& raw);
    int queuedCount() const;
    // Timing-path sends the caller could not write itself (the port was
    // busy): the link thread wrote them when it woke.
    std::uint64_t timingDeferred() const { return m_timingDeferred.load(); }

    // CPU time the thread has used (its final figure once it ended).
    std::chrono::nanoseconds cpuTime() const;

private:
    enum class WriteResult { Done, Stalled, Gone };
    struct Queued {
        QByteArray bytes;
        bool awaitsReply = true;
    };

    // One run of the thread: what start() lent it and what it has found out.
    struct Session {
        Transport* transport = nullptr;
        LinkListener* listener = nullptr;
        QueuedCalls* toOwner = nullptr;
        int fd = -1;
        int chunks = 0;     // received chunks handed over, for their labels
        int emptyReads = 0; // in a row
        QString lostReason; // set when the transport went away
    };

    void run(Session session);
    bool pass(Session& s);
    void waitForStop();
    WriteResult sendNextCommand(Session& s);
    WriteResult awaitReply(Session& s);
    bool readAvailable(Session& s);
    void handOver(Session& s, const char* bytes, int length);
    void sleepUntilNeeded(const Session& s);
    void linkLost(Session& s);
    // Waits in poll and empties the wake-up pipe when it was what woke it.
    // The pipe is the second descriptor.
    int pollAndDrain(pollfd* fds, int count, int timeoutMs);
    int msUntil(LinkClock::TimePoint deadline) const;

    WriteResult write(Transport& transport, const QByteArray& bytes);
    WriteResult finishUnsent(Transport& transport);
    WriteResult writePriority(Transport& transport);
    void enqueue(Queued queued);
    std::optional<Queued> takeCommand();
    bool hasUnsent();
    bool queuesEmpty() const;
    void clearQueues();

    LinkClock& m_clock;
    std::atomic<bool> m_abort{false};
    std::atomic<bool> m_running{false};
    std::atomic<std::int64_t> m_finalCpuNs{0};

    mutable std::mutex m_ioLock; // guards the two queues only
    std::deque<Queued> m_commands;
    std::deque<QByteArray> m_priority;
    std::atomic<std::uint64_t> m_timingDeferred{0};

    // Guards every write to the transport and the three below; held only
    // around non-blocking writes, never while waiting. Taken before m_ioLock.
    std::mutex m_writeLock;
    Transport* m_transport = nullptr; // while running and open
    // The message being written (the rest of a stalled write), and whether
    // part of it went out already.
    QByteArray m_unsent;
    bool m_unsentStarted = false;
    WakePipe m_wake; // wakes the thread for bytes to send or to stop
    std::thread m_thread;
};

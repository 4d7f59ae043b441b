#pragma once

#include "base/WakePipe.h"
#include "protocol/MsgClass.h"

#include <QByteArray>
#include <QString>
#include <atomic>
#include <chrono>
#include <deque>
#include <mutex>
#include <thread>

class LinkListener;
class QueuedCalls;
class Transport;

// The link thread. It owns nothing but its queues: the transport and the
// owner's mailbox are lent to it between start() and stop().
//
// Commands are paced by the unit's replies: one queued command per pass, then
// up to 300 ms for the first reply bytes before the next (the unit has no
// input buffer to speak of). Raw bytes (MIDI triggers, system-exclusive cue
// text) take the priority lane: they are written at once, by the caller
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

    LinkWorker() = default;
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
    void queueCommand(const QByteArray& framed);
    void sendNow(const QByteArray& raw);
    int queuedCount() const;

    // CPU time the thread has used (its final figure once it ended).
    std::chrono::nanoseconds cpuTime() const;

private:
    enum class WriteResult { Done, Stalled, Gone };

    void run(Transport* transport, LinkListener* listener, QueuedCalls* toOwner);
    WriteResult write(Transport& transport, const QByteArray& bytes);
    WriteResult finishUnsent(Transport& transport);
    WriteResult writePriority(Transport& transport);
    bool hasUnsent();

    std::atomic<bool> m_abort{false};
    std::atomic<bool> m_running{false};
    std::atomic<std::int64_t> m_finalCpuNs{0};

    mutable std::mutex m_ioLock; // guards the two queues only
    std::deque<QByteArray> m_commands;
    std::deque<QByteArray> m_priority;

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

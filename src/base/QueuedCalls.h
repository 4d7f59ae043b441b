#pragma once

#include "base/WakePipe.h"

#include <QObject>
#include <deque>
#include <functional>
#include <mutex>

class QSocketNotifier;

// Calls from a worker thread to an object on that object's own thread: queued,
// run in posting order (also when a call opens a nested event loop), never
// waited for.
//
// The calls and their data travel through a std::mutex-guarded list, and the
// worker wakes the target's thread by writing a byte to a pipe that the
// thread's event loop watches. The worker never touches Qt's event queue, so
// the hand-over is plain to ThreadSanitizer even with a Qt that is not built
// for it (whose internal locking it cannot see).
//
// Create it on the target's thread (with no target: on the thread that
// creates it); it must outlive the workers that post to it. Calls still pending when it is
// destroyed are dropped.
class QueuedCalls final : public QObject {
    Q_OBJECT
public:
    explicit QueuedCalls(QObject* target);
    ~QueuedCalls() override;

    // Any thread.
    void post(std::function<void()> call);
    // Drops the calls not yet run (their target is going away).
    void cancel();

    QObject* target() const { return m_target; }

private:
    void deliver();

    QObject* m_target;
    WakePipe m_wake; // destroyed after the notifier that watches it
    QSocketNotifier* m_notifier = nullptr;
    std::mutex m_lock; // guards m_calls
    std::deque<std::function<void()>> m_calls;
};

#pragma once

#include <QObject>
#include <functional>
#include <mutex>
#include <vector>

// Calls from a worker thread to an object on that object's own thread: queued,
// run in posting order, never waited for.
//
// The calls and their data travel through a std::mutex-guarded list; only an
// argument-free wake-up goes through the event queue. That keeps every byte a
// worker hands over visibly synchronised for ThreadSanitizer, which cannot see
// inside the event queue of an uninstrumented Qt (a queued call with
// arguments reads, on the receiving thread, memory the worker allocated).
//
// Create it on the target's thread; it must outlive the workers that post to
// it. Calls still pending when it is destroyed are dropped.
class QueuedCalls final : public QObject {
    Q_OBJECT
public:
    explicit QueuedCalls(QObject* target);

    // Any thread.
    void post(std::function<void()> call);

    QObject* target() const { return m_target; }

private:
    Q_INVOKABLE void deliver();

    QObject* m_target;
    std::mutex m_lock; // guards m_calls
    std::vector<std::function<void()>> m_calls;
};

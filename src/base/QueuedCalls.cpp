#include "base/QueuedCalls.h"

#include <QSocketNotifier>
#include <QThread>

QueuedCalls::QueuedCalls(QObject* target) : m_target(target) {
    if (m_wake.isOpen()) {
        m_notifier = new QSocketNotifier(m_wake.readFd(), QSocketNotifier::Read, this);
        connect(m_notifier, &QSocketNotifier::activated, this, &QueuedCalls::deliver);
    }
    if (target)
        moveToThread(target->thread());
}

QueuedCalls::~QueuedCalls() {
    delete m_notifier;
}

void QueuedCalls::post(std::function<void()> call) {
    bool wake = false;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        wake = m_calls.empty();
        m_calls.push_back(std::move(call));
    }
    // One wake-up per batch: a delivery already signalled takes this call too.
    if (wake)
        m_wake.wake();
}

void QueuedCalls::cancel() {
    std::lock_guard<std::mutex> lock(m_lock);
    m_calls.clear();
}

// One call at a time, taken from the front under the lock: a call that opens
// a nested event loop (a modal alert) lets that loop deliver the next calls in
// order, and this loop then goes on with whatever is still left, so no call
// ever overtakes an older one.
void QueuedCalls::deliver() {
    m_wake.drain();
    for (;;) {
        std::function<void()> call;
        bool more = false;
        {
            std::lock_guard<std::mutex> lock(m_lock);
            if (m_calls.empty())
                return;
            call = std::move(m_calls.front());
            m_calls.pop_front();
            more = !m_calls.empty();
        }
        if (more)
            m_wake.wake(); // a nested event loop inside call() goes on with the rest
        call();
    }
}

#include "link/QueuedCalls.h"

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

void QueuedCalls::deliver() {
    m_wake.drain();
    std::vector<std::function<void()>> calls;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        calls.swap(m_calls);
    }
    for (const std::function<void()>& call : calls)
        call();
}

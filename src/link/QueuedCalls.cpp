#include "link/QueuedCalls.h"

#include <QMetaObject>
#include <QThread>

QueuedCalls::QueuedCalls(QObject* target) : m_target(target) {
    if (target)
        moveToThread(target->thread());
}

void QueuedCalls::post(std::function<void()> call) {
    bool wake = false;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        wake = m_calls.empty();
        m_calls.push_back(std::move(call));
    }
    // One wake-up per batch: a deliver() already queued takes this call too.
    if (wake)
        QMetaObject::invokeMethod(this, "deliver", Qt::QueuedConnection);
}

void QueuedCalls::deliver() {
    std::vector<std::function<void()>> calls;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        calls.swap(m_calls);
    }
    for (const std::function<void()>& call : calls)
        call();
}

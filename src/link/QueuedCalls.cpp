#include "link/QueuedCalls.h"

#include <QSocketNotifier>
#include <QThread>
#include <fcntl.h>
#include <unistd.h>

QueuedCalls::QueuedCalls(QObject* target) : m_target(target) {
    int fds[2];
    if (::pipe(fds) == 0) {
        for (int fd : fds) {
            ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
            ::fcntl(fd, F_SETFD, FD_CLOEXEC);
        }
        m_wakeRead = fds[0];
        m_wakeWrite = fds[1];
        m_notifier = new QSocketNotifier(m_wakeRead, QSocketNotifier::Read, this);
        connect(m_notifier, &QSocketNotifier::activated, this, &QueuedCalls::deliver);
    }
    if (target)
        moveToThread(target->thread());
}

QueuedCalls::~QueuedCalls() {
    delete m_notifier;
    if (m_wakeRead >= 0)
        ::close(m_wakeRead);
    if (m_wakeWrite >= 0)
        ::close(m_wakeWrite);
}

void QueuedCalls::post(std::function<void()> call) {
    bool wake = false;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        wake = m_calls.empty();
        m_calls.push_back(std::move(call));
    }
    // One wake-up per batch: a delivery already signalled takes this call too.
    if (wake && m_wakeWrite >= 0) {
        const char byte = 1;
        (void)!::write(m_wakeWrite, &byte, 1);
    }
}

void QueuedCalls::cancel() {
    std::lock_guard<std::mutex> lock(m_lock);
    m_calls.clear();
}

void QueuedCalls::deliver() {
    char scratch[64];
    while (::read(m_wakeRead, scratch, sizeof scratch) > 0) {
    }
    std::vector<std::function<void()>> calls;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        calls.swap(m_calls);
    }
    for (const std::function<void()>& call : calls)
        call();
}

#include "update/UpdateEngine.h"

#include "base/Diagnostics.h"
#include "base/QueuedCalls.h"
#include "link/Transport.h"

#include <cerrno>
#include <chrono>
#include <poll.h>

namespace {
using Clock = std::chrono::steady_clock;

int msLeft(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? int(left) : 0;
}

constexpr short kHangUp = POLLHUP | POLLERR | POLLNVAL;

// poll() on one descriptor until it is ready for `events`, hangs up, or the
// time is up (0).
short pollFor(int fd, short events, int timeoutMs) {
    if (fd < 0)
        return POLLNVAL;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        pollfd p{fd, events, 0};
        const int n = ::poll(&p, 1, msLeft(deadline));
        if (n > 0)
            return p.revents;
        if (n == 0 || errno != EINTR)
            return 0;
    }
}
} // namespace

UpdateEngine::UpdateEngine() = default;

UpdateEngine::~UpdateEngine() {
    stopThread();
}

int UpdateEngine::fd() const {
    return m_port ? m_port->pollFd() : -1;
}

int UpdateEngine::bytesAvailable() const {
    return m_port ? m_port->bytesAvailable() : 0;
}

int UpdateEngine::startThread(UpdateListener* owner) {
    if (m_thread.joinable() && !m_running.load())
        m_thread.join();
    if (m_thread.joinable() || fd() < 0 || !hasWork())
        return -1;
    if (!m_toOwner)
        m_toOwner = std::make_unique<QueuedCalls>(nullptr);
    else
        m_toOwner->cancel(); // nothing of an earlier run is left to say
    m_owner = owner;
    m_abort.store(false);
    m_running.store(true);
    m_thread = std::thread(&UpdateEngine::body, this);
    return 0;
}

void UpdateEngine::stopThread() {
    if (!m_thread.joinable())
        return;
    m_abort.store(true);
    m_thread.join();
    m_running.store(false);
}

void UpdateEngine::body() {
    m_portGone = false;
    const Progress final = run();
    if (UpdateListener* owner = m_owner)
        m_toOwner->post([owner, final] { owner->threadUpdateComplete(final); });
    else
        diag::print("parent does not respond to 'threadUpdateComplete:'\n");
    m_running.store(false);
}

void UpdateEngine::report(const QString& msg, int percent) {
    UpdateListener* owner = m_owner;
    if (!owner) {
        diag::print("parent does not respond to 'threadHasProgress:'\n");
        return;
    }
    const Progress progress{msg, percent};
    m_toOwner->post([owner, progress] { owner->threadHasProgress(progress); });
}

Progress UpdateEngine::end(UpdateStatus status, const QString& msg) const {
    const bool lost =
        m_portGone && status != UpdateStatus::Success && status != UpdateStatus::Aborted;
    return {msg, 0, lost ? UpdateStatus::LinkLost : status};
}

short UpdateEngine::pollPort(short events, int timeoutMs) {
    const short ready = pollFor(fd(), events, timeoutMs);
    if (ready & kHangUp)
        m_portGone = true;
    return ready;
}

bool UpdateEngine::writeAll(const QByteArray& bytes) {
    qsizetype done = 0;
    while (done < bytes.size()) {
        const int n = m_port->write(bytes.constData() + done, int(bytes.size() - done));
        if (n == Transport::kGone) {
            m_portGone = true;
            return false;
        }
        if (n > 0) {
            done += n;
            continue;
        }
        // The port takes nothing now (flow control): wait for room.
        const short ready = pollPort(POLLOUT, 1000);
        if (!(ready & POLLOUT) || (ready & kHangUp))
            return false;
    }
    return true;
}

bool UpdateEngine::waitReadable(int timeoutMs) {
    return pollPort(POLLIN, timeoutMs) != 0;
}

int UpdateEngine::readByte(int timeoutMs) {
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        char byte = 0;
        const int n = m_port->read(&byte, 1);
        if (n == 1)
            return static_cast<unsigned char>(byte);
        // A hung-up terminal reads as nothing and polls as ready at once.
        if (n == Transport::kGone)
            m_portGone = true;
        if (n == Transport::kGone || Clock::now() >= deadline)
            return -1;
        const short ready = pollPort(POLLIN, msLeft(deadline));
        if (ready == 0)
            return -1;
        if (ready & kHangUp) // a last byte may still be there
            return m_port->read(&byte, 1) == 1 ? static_cast<unsigned char>(byte) : -1;
    }
}

QByteArray UpdateEngine::readWaiting(int maxBytes) {
    QByteArray bytes(maxBytes, '\0');
    const int n = maxBytes > 0 ? m_port->read(bytes.data(), maxBytes) : 0;
    if (n == Transport::kGone)
        m_portGone = true;
    bytes.resize(n > 0 ? n : 0);
    return bytes;
}

void UpdateEngine::discardInput() {
    m_port->discardInput();
}

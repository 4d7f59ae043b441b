#include "overlay/PreviewWorker.h"

#include "base/Diagnostics.h"
#include "base/QueuedCalls.h"

#include <QPainter>
#include <QTransform>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {
constexpr std::size_t kCacheLineBytes = 64;
} // namespace

PreviewWorker::PreviewWorker() = default;

PreviewWorker::~PreviewWorker() {
    // Subclasses stop the thread in their own destructor, while render() is
    // still theirs; this is the last resort.
    stopThread();
}

QImage PreviewWorker::newCanvas() {
    // On a cache-line boundary: the fills of the whole picture then run at
    // full speed wherever the heap would have put it (the heap's own
    // placement made a frame up to a third slower, by chance). One plain
    // block with room to move the start, so the heap reuses it as it would
    // the picture's own.
    constexpr std::size_t kLineBytes = std::size_t(kCanvasWidth) * 4;
    void* block = std::malloc(kLineBytes * kCanvasHeight + kCacheLineBytes);
    if (!block)
        throw std::bad_alloc();
    const auto at = reinterpret_cast<std::uintptr_t>(block);
    auto* bits = reinterpret_cast<uchar*>((at + kCacheLineBytes - 1) & ~(kCacheLineBytes - 1));
    QImage image(
        bits, kCanvasWidth, kCanvasHeight, qsizetype(kLineBytes),
        QImage::Format_ARGB32_Premultiplied, [](void* p) { std::free(p); }, block);
    image.fill(Qt::black);
    return image;
}

void PreviewWorker::originBottomLeft(QPainter& painter) {
    painter.setTransform(QTransform(1, 0, 0, -1, 0, kCanvasHeight));
}

void PreviewWorker::startThread(Parent parent) {
    if (m_thread.joinable() || m_abort.load())
        return;
    m_draw.store(kRedraw);
    m_thread = std::thread([this, parent = std::move(parent)] { run(parent); });
}

void PreviewWorker::stopThread() {
    if (!m_thread.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(m_wakeLock);
        m_abort.store(true);
    }
    m_wake.notify_all();
    m_thread.join();
}

void PreviewWorker::setDraw(int code) {
    {
        std::lock_guard<std::mutex> lock(m_wakeLock);
        m_draw.store(code);
    }
    m_wake.notify_all();
}

void PreviewWorker::play() {
    {
        std::lock_guard<std::mutex> lock(m_wakeLock);
        m_playRequested.store(true);
    }
    m_wake.notify_all();
}

std::optional<double> PreviewWorker::playTime() {
    const auto now = std::chrono::steady_clock::now();
    if (m_playRequested.exchange(false))
        m_playStart = now;
    if (!m_playStart)
        return std::nullopt;
    const double elapsedMs = std::chrono::duration<double, std::milli>(now - *m_playStart).count();
    if (elapsedMs <= playLengthMs())
        return elapsedMs;
    m_playStart.reset(); // played out: this pass paints the still picture
    return std::nullopt;
}

void PreviewWorker::run(Parent parent) {
    int countdown = 0;
    int txCode = kIdle;
    std::unique_lock<std::mutex> lock(m_wakeLock);
    while (!m_abort.load()) {
        if (!hasWork(countdown)) {
            m_wake.wait(lock, [this] { return m_abort.load() || hasWork(0); });
            continue;
        }
        lock.unlock();
        pass(parent, countdown, txCode);
        lock.lock();
        // A pass a tick: requests arriving meanwhile wait for the next one,
        // so the countdown keeps its pace; only abort cuts the tick short.
        m_wake.wait_for(lock, kPass, [this] { return m_abort.load(); });
    }
    lock.unlock();
    finished();
}

void PreviewWorker::pass(const Parent& parent, int& countdown, int& txCode) {
    const int request = m_draw.exchange(kIdle);
    const bool playing = m_playStart || m_playRequested.load();
    const std::optional<double> playAt = playTime();
    bool restarted = false;
    if (request != kIdle || playing) {
        if (request != kIdle && request != kRedraw) {
            // Counted from the next pass: the request may have waited up to
            // a pass already, and the unit must not get the command sooner
            // than ten full passes after the last change.
            countdown = kCountdownPasses;
            txCode = request;
            restarted = true;
        } else if (request == kRedraw && redrawCancelsTransmit()) {
            txCode = kIdle;
        }
        QImage image = render(playAt);
        if (parent.calls && parent.threadNeedsDisplay) {
            parent.calls->post([display = parent.threadNeedsDisplay, image = std::move(image)] {
                display(image);
            });
        } else {
            diag::print("parent does not respond to 'threadNeedsDisplay:'\n");
        }
    }
    if (countdown != 0 && !restarted) {
        if (countdown == 1 && txCode != kIdle) {
            if (parent.calls && parent.threadNeedsTx) {
                parent.calls->post([tx = parent.threadNeedsTx, code = txCode] { tx(code); });
            } else {
                diag::print("parent does not respond to 'threadNeedsTx:'\n");
            }
        }
        --countdown;
    }
}

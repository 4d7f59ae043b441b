#pragma once

#include <QImage>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

class QPainter;
class QueuedCalls;

// The thread behind an overlay editor's preview. The editor hands the
// renderer its settings (PreviewRenderer below) and posts a request with
// setDraw(); the worker paints a fresh 1920 x 1080 picture (origin at the bottom left)
// within one pass and hands it to the editor. Requests that change what the
// unit shows also start a countdown of ten 33 ms passes, restarted by every
// further request; when it runs out the editor is told to transmit, so a drag
// reaches the unit as one command about a third of a second after it stops.
//
// Request codes: 0 nothing to do, 2 redraw only, 1 (and the annunciator's
// 3, 4, 5) redraw and transmit. The code that started the countdown is what
// threadNeedsTx receives.
//
// play() shows what the unit does when the effect is fired: the worker paints
// it a pass at a time, from the time elapsed since the call, until it has
// played out, and then the still picture again.
//
// An idle worker sleeps until a request arrives; it ticks at 33 ms only while
// a request, a countdown or a play is pending. It reaches its owner only through the
// owner's QueuedCalls, never waiting for it.
class PreviewWorker {
public:
    static constexpr int kIdle = 0;
    static constexpr int kRedrawAndTransmit = 1;
    static constexpr int kRedraw = 2;
    static constexpr int kCountdownPasses = 10;
    static constexpr std::chrono::milliseconds kPass{33};
    static constexpr int kCanvasWidth = 1920;
    static constexpr int kCanvasHeight = 1080;

    // The owner's side. Both calls run on the owner's thread, in order.
    struct Parent {
        QueuedCalls* calls = nullptr;
        std::function<void(const QImage&)> threadNeedsDisplay;
        std::function<void(int code)> threadNeedsTx;
    };

    PreviewWorker();
    virtual ~PreviewWorker();
    PreviewWorker(const PreviewWorker&) = delete;
    PreviewWorker& operator=(const PreviewWorker&) = delete;

    // Once: the first pass paints without transmitting.
    void startThread(Parent parent);
    // Wakes the worker, lets it finish its pass and joins it. A stopped
    // worker is not restarted.
    void stopThread();
    bool isRunning() const { return m_thread.joinable(); }

    void setDraw(int code);
    // Plays the effect once from now (again from the start when it is
    // already playing).
    void play();
    int draw() const { return m_draw.load(); }
    bool abort() const { return m_abort.load(); }

    // Subclasses that paint before the thread exists (benchmarks, tests):
    // the still picture, or the effect elapsedMs after it was fired.
    QImage renderNow(std::optional<double> elapsedMs = std::nullopt) { return render(elapsedMs); }

protected:
    // Worker thread: one picture from a copy of the settings; still, or
    // elapsedMs into a play.
    virtual QImage render(std::optional<double> elapsedMs) = 0;
    // How long a play lasts with the current settings; 0: nothing to play.
    virtual double playLengthMs() const { return 0; }
    // Does a redraw-only request that arrives during a countdown cancel the
    // transmit it was waiting for? The annunciator says yes; the streamer
    // and punch keep their transmit.
    virtual bool redrawCancelsTransmit() const { return false; }
    // Worker thread, once the loop has ended.
    virtual void finished() {}
    // An opaque black image of the canvas size.
    static QImage newCanvas();
    // Puts the painter's origin at the bottom left with y going up, so
    // renderers work in the unit's coordinates; the image's rows still come
    // out top first, ready for display (the one flip).
    static void originBottomLeft(QPainter& painter);

private:
    void run(Parent parent);
    void pass(const Parent& parent, int& countdown, int& txCode);
    // Worker thread: how far into a play this pass is, if one runs.
    std::optional<double> playTime();
    bool hasWork(int countdown) const {
        return countdown != 0 || m_draw.load() != kIdle || m_playRequested.load() || m_playStart;
    }

    std::mutex m_wakeLock; // guards the sleep, not the values
    std::condition_variable m_wake;
    std::atomic<int> m_draw{kIdle};
    std::atomic<bool> m_abort{false};
    std::atomic<bool> m_playRequested{false};
    std::optional<std::chrono::steady_clock::time_point> m_playStart; // worker thread only
    std::thread m_thread;
};

// A preview worker whose owner hands over everything a picture needs as one
// value: setDraw() copies it under the lock and then posts the request, and
// render() takes its own copy under the same lock as a frame starts. Neither
// side sees half an update, and the lock is never held across a paint.
template <typename Settings>
class PreviewRenderer : public PreviewWorker {
public:
    using PreviewWorker::setDraw;
    // The settings for the next picture, then the request (kRedraw, ...).
    void setDraw(const Settings& settings, int code) {
        setSettings(settings);
        setDraw(code);
    }
    void setSettings(const Settings& settings) {
        std::lock_guard<std::mutex> lock(m_settingsLock);
        m_settings = settings;
    }
    Settings settings() const {
        std::lock_guard<std::mutex> lock(m_settingsLock);
        return m_settings;
    }

private:
    mutable std::mutex m_settingsLock;
    Settings m_settings{};
};

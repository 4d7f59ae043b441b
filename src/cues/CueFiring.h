#pragma once

#include "midi/TimecodeListener.h"

#include <QByteArray>
#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

class CommandSink;
class CueSheet;
class QObject;
class QueuedCalls;

// What the MIDI thread needs to fire a sheet's cues, copied from the sheet on
// the main thread and never changed afterwards.
struct CueFiringSnapshot {
    struct Row {
        // In time as frames since midnight for each timecode type 0..3
        // (0 when the row's in time is not usable).
        std::array<int, 4> inFrames{};
        // The cue's text frame for the unit (F0 20 01 ... F7).
        QByteArray sysex;
    };
    std::vector<Row> rows;
    int streamerDuration = 100;
    // Row selected when the snapshot was taken (-1 none).
    int selection = -1;

    static std::unique_ptr<CueFiringSnapshot> of(const CueSheet& sheet);
};

// Fires a cue sheet's cues from MIDI Time Code on the thread that receives
// it, without ever waiting for the main thread: the rows are walked as the
// sheet walks them (cuewalk::walk), and for each cue due the unit gets the
// trigger Note On 90 77 40 and then the cue's text. The row selection that
// follows the timecode (the next cue to come) is handed to the main thread
// afterwards.
//
// The main thread publishes a new snapshot whenever the rows, their order or
// the streamer duration change; the MIDI thread picks it up at its next event.
// The hand-over is two atomic pointer slots, so neither side ever blocks.
//
// A cue fires once for one pass over its frame: a time that wobbles back onto
// a frame already fired (quarter frames out of order) does not fire it again;
// a locate more than a couple of frames away and back does.
class CueFiring final : public TimecodeListener {
public:
    // `mainThread` is an object living on the main thread; selection changes
    // are delivered on its thread.
    explicit CueFiring(QObject* mainThread);
    // No thread may be inside mtcEvent any more.
    ~CueFiring();
    CueFiring(const CueFiring&) = delete;
    CueFiring& operator=(const CueFiring&) = delete;

    // --- main thread ---
    void publish(const CueSheet& sheet) { publish(CueFiringSnapshot::of(sheet)); }
    void publish(std::unique_ptr<CueFiringSnapshot> snapshot);
    // The user selected a row; the next timecode walks from there.
    void setSelectionIndex(int row) { m_requestedSelection.store(row); }
    // Where triggers and texts go; null sends nothing. Must outlive its use.
    void setCommandSink(CommandSink* sink) { m_sink.store(sink); }
    // Called on the main thread with the row the timecode has reached
    // (-1 once the last cue is past), whenever it changes.
    void setSelectionHandler(std::function<void(int)> handler) {
        m_onSelection = std::move(handler);
    }

    // --- the MIDI thread ---
    // Four bytes: hours with the rate code in bits 5-6, minutes, seconds, frames.
    void mtcEvent(const mtcframe::Frame& mtc) override;
    void mtcEvent(const QByteArray& mtc);

    // Cues fired so far (any thread).
    std::int64_t firedCount() const { return m_fired.load(std::memory_order_relaxed); }

private:
    void adoptPublished();
    // Whether `now` was fired in the current pass; forgets frames the time
    // has left. Called on every event.
    bool firedThisPass(int now, int type);
    void rememberFired(int now);

    std::unique_ptr<QueuedCalls> m_toMain;
    std::function<void(int)> m_onSelection; // main thread
    std::atomic<CommandSink*> m_sink{nullptr};
    std::atomic<CueFiringSnapshot*> m_pending{nullptr}; // published, not yet taken
    std::atomic<CueFiringSnapshot*> m_retired{nullptr}; // taken over, for the main thread to free
    std::atomic<int> m_requestedSelection;
    std::atomic<std::int64_t> m_fired{0};

    // MIDI thread only.
    CueFiringSnapshot* m_current = nullptr;
    int m_selection = -1;
    int m_postedSelection = -2;
    int m_passType = -1;
    int m_passCount = 0;
    std::array<int, 8> m_passFrames{}; // frames fired lately, this pass
};

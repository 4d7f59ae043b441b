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
// the main thread. Only the fired marks change afterwards.
struct CueFiringSnapshot {
    // A row not fired in the current pass.
    static constexpr int kNotFired = -1;
    // Fired by hand before any time code came.
    static constexpr int kFiredBeforeTimecode = -2;

    struct Row {
        // In time as frames since midnight for each timecode type 0..3
        // (cuewalk::kNoInTime when the row's in time is not usable).
        std::array<int, 4> inFrames{-1, -1, -1, -1};
        // The cue's text frame for the unit (F0 20 01 ... F7).
        QByteArray sysex;
    };
    std::vector<Row> rows;
    int streamerDuration = 100;
    // Row selected when the snapshot was taken (-1 none).
    int selection = -1;
    // Per row, the time (frames) at which it fired in the current pass, or
    // kNotFired. The MIDI thread and Fire Next on the main thread both claim
    // a row here before sending it, so a cue is never sent twice in a pass.
    std::unique_ptr<std::atomic<int>[]> firedAt;

    explicit CueFiringSnapshot(std::size_t rowCount = 0);
    static std::unique_ptr<CueFiringSnapshot> of(const CueSheet& sheet);
    // Takes over the fired marks of `older` for the rows that are the same
    // (same place, same times); marks already set here stay.
    void keepFiredFrom(const CueFiringSnapshot& older);
    bool fired(int row) const;
};

// Fires a cue sheet's cues from MIDI Time Code on the thread that receives
// it, without ever waiting for the main thread: the rows are walked as the
// sheet walks them (cuewalk::walk), and for each cue due the unit gets the
// trigger Note On 90 77 40 and then the cue's text, on the link's lane for
// timing bytes. Where the timecode has got to (the selection, the cues fired)
// is handed to the main thread afterwards.
//
// The main thread publishes a new snapshot whenever the rows, their order or
// the streamer duration change; the MIDI thread picks it up at its next event.
// The hand-over is two atomic pointer slots, so neither side ever blocks.
//
// A cue fires once per pass. Within a forward pass nothing fires twice: a
// time that steps back up to a couple of frames (quarter frames assembled
// out of order) is the same pass. A new pass starts after a full-frame
// message (a locate), when the time comes back from a stop to an earlier
// time however short the jump, and when running time jumps back further than
// that jitter; then the cues ahead may fire again.
class CueFiring final : public TimecodeListener {
public:
    // Where the timecode has got to, as the main thread sees it.
    struct Progress {
        int selection = -1; // the next cue's row by in time (-1: none ahead)
        int next = -1;      // the next row still to fire (-1: none)
        int current = -1;   // the row fired last (-1: none yet)
    };

    // `mainThread` is an object living on the main thread; progress is
    // delivered on its thread.
    explicit CueFiring(QObject* mainThread);
    // No thread may be inside mtcEvent any more.
    ~CueFiring() override;
    CueFiring(const CueFiring&) = delete;
    CueFiring& operator=(const CueFiring&) = delete;

    // --- main thread ---
    void publish(const CueSheet& sheet) { publish(CueFiringSnapshot::of(sheet)); }
    // `sameSheet`: the rows fired in this pass stay fired where they are
    // unchanged; false for another sheet.
    void publish(std::unique_ptr<CueFiringSnapshot> snapshot, bool sameSheet = true);
    // The user selected a row; the next timecode walks from there.
    void setSelectionIndex(int row);
    // Where triggers and texts go; null sends nothing. Must outlive its use.
    void setCommandSink(CommandSink* sink) { m_sink.store(sink); }
    // Held: the timecode moves on but no trigger or text is sent for it.
    void setHeld(bool held) { m_held.store(held); }
    bool held() const { return m_held.load(); }
    // Sends the next cue still to fire (trigger and text) now, as if its
    // frame had come: it counts as fired for this pass. The row, or -1 when
    // no cue is ahead.
    int fireNext();
    Progress progress() const { return m_progress; }
    // Called on the main thread whenever the progress changes.
    void setProgressHandler(std::function<void(const Progress&)> handler) {
        m_onProgress = std::move(handler);
    }
    // The rows of the snapshot published last (null before any).
    const CueFiringSnapshot* published() const { return m_latest; }

    // --- the MIDI thread ---
    // Four bytes: hours with the rate code in bits 5-6, minutes, seconds, frames.
    void mtcEvent(const mtcframe::Frame& mtc) override;
    // The same at a given moment (steady clock, nanoseconds).
    void mtcEvent(const mtcframe::Frame& mtc, std::int64_t atNs);
    void mtcEvent(const QByteArray& mtc);
    void locate(const mtcframe::Frame& mtc) override;

    // Cues fired so far, by the timecode or by hand (any thread).
    std::int64_t firedCount() const { return m_fired.load(std::memory_order_relaxed); }

private:
    void adoptPublished();
    void startPass(CueFiringSnapshot& snapshot);
    bool restarts(int now, int type, std::int64_t atNs) const;
    void forgetLeft(CueFiringSnapshot& snapshot, int now, int type, int lead);
    void send(const CueFiringSnapshot::Row& row);
    void post(int selection, std::array<int, 4> fired, int firedCount, bool restarted);
    void updateProgress(int selection, int current);

    std::unique_ptr<QueuedCalls> m_toMain;
    std::function<void(const Progress&)> m_onProgress; // main thread
    Progress m_progress;                               // main thread
    CueFiringSnapshot* m_latest = nullptr;             // main thread
    std::atomic<CommandSink*> m_sink{nullptr};
    std::atomic<CueFiringSnapshot*> m_pending{nullptr}; // published, not yet taken
    std::atomic<CueFiringSnapshot*> m_retired{nullptr}; // taken over, for the main thread to free
    std::atomic<int> m_requestedSelection;
    std::atomic<std::int64_t> m_fired{0};
    std::atomic<bool> m_held{false};
    std::atomic<bool> m_sameSheetPending{true};
    // The last time and rate the MIDI thread saw (-1: none yet), for Fire Next.
    std::atomic<int> m_lastNow{-1};
    std::atomic<int> m_lastType{-1};

    // MIDI thread only.
    CueFiringSnapshot* m_current = nullptr;
    int m_selection = -1;
    int m_postedSelection = -2;
    int m_passType = -1;
    bool m_locatePending = false;
    int m_prevNow = -1;
    std::int64_t m_prevAtNs = 0;
};

#pragma once

#include "overlay/DrawStreamerThread.h"
#include "overlay/DrawThread.h"
#include "protocol/UnitSnapshot.h"

#include <QImage>
#include <QRect>
#include <QString>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

class QPainter;

// A unit whose picture can be shown: the simulated unit, seen from the
// output window through an adapter of the program that owns both.
class UnitOutputSource {
public:
    virtual ~UnitOutputSource() = default;
    // What the unit holds now (a copy: any thread may read it).
    virtual UnitSnapshot snapshot() const = 0;
    // Called, on any thread and without waiting, when the snapshot changed;
    // the receiver posts to its own thread. Empty to stop.
    virtual void setChangeHandler(std::function<void()> onChange) = 0;
};

// What a unit with these settings keys over the picture, frame by frame: the
// streamers and punches its triggers started, the annunciator, the timecode
// counter, the text and bar/beat lines, the masking, over a test picture.
// Streamers and punches are painted by the preview renderers themselves.
//
// Triggers: notes 124-127 run streamer 0-3 and 120-123 flash punch 0-3, each
// restarting its own channel. Note 119 (a cue's trigger) follows the "X" pop
// settings: pop streamer runs streamer 0, restarting it; pop streamer
// accumulate runs streamer 0 beside the ones still running; pop punch
// flashes punch 0 at the streamer's end (at once when no streamer runs). With
// the streamer end punch ("A" bit 2) every streamer flashes the punch of its
// channel as it reaches its end bar.
//
// Time: every frame is drawn for the time since each trigger, counted in
// whole frames of the unit's video rate, so a late frame skips ahead and a
// streamer takes exactly its duration. Main thread only.
class UnitScene {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr int kWidth = PreviewWorker::kCanvasWidth;
    static constexpr int kHeight = PreviewWorker::kCanvasHeight;

    struct Effect {
        enum class Kind { Streamer, Punch } kind = Kind::Streamer;
        int channel = 0;
        Clock::time_point start; // the trigger (a streamer's delay follows)
        bool accumulates = false;
    };

    // Takes the unit's settings, and starts what its new triggers fire.
    void update(const UnitSnapshot& unit);
    // "HH:MM:SS:FF" from MIDI Time Code, for the counter.
    void setTimecode(const QString& timecode) { m_timecode = timecode; }
    // The still shown under the masking; a null image shows colour bars.
    void setPicture(const QImage& picture);

    // Frames a second of the unit's picture, from its video settings.
    double frameRate() const;
    // The effect's time at `now`, counted in whole frames (milliseconds).
    double frameTimeMs(Clock::time_point start, Clock::time_point now) const;
    // Paints the frame at `now` into `target` (any size; 16:9 expected).
    void paint(QPainter& painter, const QRect& target, Clock::time_point now) const;
    // Forgets effects that have played out by `now`; the start of the next
    // frame while something plays, nothing when the picture stands still.
    std::optional<Clock::time_point> advance(Clock::time_point now);

    // The looks the settings give, in canvas units (origin bottom left).
    DrawStreamerThread::Settings streamerLook(int channel) const;
    DrawThread::Settings punchLook(int channel) const;
    const std::vector<Effect>& effects() const { return m_effects; }

private:
    void fire(const UnitSnapshot::Trigger& trigger);
    void startStreamer(int channel, Clock::time_point at, bool accumulates);
    void startPunch(int channel, Clock::time_point at);
    double lengthMs(const Effect& e) const;
    unsigned setting(const char* key, int field, int base = 16) const;
    void paintPicture(QPainter& painter, const QRect& target) const;
    void paintMasking(QPainter& painter) const;
    void paintEffects(QPainter& painter, Clock::time_point now) const;
    void paintText(QPainter& painter) const;

    UnitSnapshot m_unit;
    std::uint64_t m_seenTriggers = 0;
    std::vector<Effect> m_effects;
    QString m_timecode = QStringLiteral("00:00:00:00");
    QImage m_picture;
    mutable QImage m_scaled; // m_picture at the last target size
};

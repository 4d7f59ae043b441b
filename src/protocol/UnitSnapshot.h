#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <array>
#include <chrono>
#include <cstdint>

// What a unit holds that decides its picture, as the host sent it: each
// setting's arguments as its query answers them ("C" -> "0 28 0 64 0 ff ff
// 0"), the four text windows ("r" arguments: fontPoint x y color index), the
// texts it was last sent, and its most recent MIDI triggers with the time
// each arrived. A plain value: copied out of the unit, read anywhere.
struct UnitSnapshot {
    using Clock = std::chrono::steady_clock;
    struct Trigger {
        int note = 0;
        int velocity = 0;
        Clock::time_point time;
        bool operator==(const Trigger&) const = default;
    };
    // The unit keeps this many triggers for its picture; older ones have
    // long finished playing.
    static constexpr int kKeptTriggers = 64;

    QMap<QString, QString> settings;
    std::array<QString, 4> windows;
    QString textLine;        // the text line: the last of "s", "V" and a cue text message
    QString counterText;     // the bar/beat line ("V2")
    QList<Trigger> triggers; // oldest first
    // Triggers ever received: the last in `triggers` is number triggerCount - 1.
    std::uint64_t triggerCount = 0;
};

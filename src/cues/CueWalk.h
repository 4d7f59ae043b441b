#pragma once

#include "timecode/TcCalculator.h"

#include <array>

// How a cue sheet follows MIDI Time Code: at every received time, which row
// is the next cue to come and which cues fire. The sheet on its own thread
// and the firing on the MIDI thread both walk their rows with this, the one
// on the in times' strings, the other on frame counts worked out beforehand.
namespace cuewalk {

// Several cues may share a frame: this many rows from the next cue on are
// looked at.
inline constexpr int kRowsLookedAt = 4;

// Frames between a cue's trigger and its in time: the streamer's duration
// (fiftieths of a second) at the type's nominal frame rate.
inline int leadFrames(int streamerDuration, int type) {
    return streamerDuration * TcCalculator::frameRate(type) / 50;
}

// In time of a row that has none usable (an unset "---" or a broken time):
// such a row sorts as midnight and never fires.
inline constexpr int kNoInTime = -1;

// The frame on which a cue at `inFrames` fires: its in time less the lead,
// taken round the clock at the type's rate, so that a cue just after midnight
// fires on the evening before.
inline int dueFrame(int inFrames, int lead, int type) {
    const int day = TcCalculator::framesPerDay(type);
    const int due = (inFrames - lead) % day;
    return due < 0 ? due + day : due;
}

struct Step {
    // The next cue to come; -1 once the last one is past.
    int selection = -1;
    // The rows that fire now, in table order.
    int fireCount = 0;
    std::array<int, kRowsLookedAt> fire{};
};

// One received time `now` (frames of `type`) over `rowCount` rows;
// `inFrames(row)` gives a row's in time in frames of the type (kNoInTime when
// it is not a valid timecode). From `selection` the walk goes back while the rows
// are not earlier than now, then forward past every row not later than now
// (both taken round the clock): the row reached is the next cue. Of it and
// the rows after it, at most kRowsLookedAt, those whose due frame (dueFrame)
// is exactly now fire: there is no tolerance. Without rows nothing changes.
template <typename InFrames>
Step walk(int rowCount, int selection, int now, int type, int lead, const InFrames& inFrames) {
    Step step;
    step.selection = selection;
    if (rowCount <= 0)
        return step;
    auto order = [&](int row) {
        const int in = inFrames(row);
        return TcCalculator::compareFrames(now, in == kNoInTime ? 0 : in, type);
    };
    int index = selection >= rowCount ? rowCount - 1 : selection;
    while (index >= 1 && order(index) <= 0)
        --index;
    if (index < 0)
        index = 0;
    while (index < rowCount && order(index) >= 0)
        ++index;
    step.selection = index < rowCount ? index : -1;
    for (int row = index; row < rowCount && row < index + kRowsLookedAt; ++row) {
        const int in = inFrames(row);
        if (in != kNoInTime && now == dueFrame(in, lead, type))
            step.fire[size_t(step.fireCount++)] = row;
    }
    return step;
}

} // namespace cuewalk

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

struct Step {
    // The next cue to come; -1 once the last one is past.
    int selection = -1;
    // The rows that fire now, in table order.
    int fireCount = 0;
    std::array<int, kRowsLookedAt> fire{};
};

// One received time `now` (frames of `type`) over `rowCount` rows;
// `inFrames(row)` gives a row's in time in frames of the type (0 when it is
// not a valid timecode). From `selection` the walk goes back while the rows
// are not earlier than now, then forward past every row not later than now
// (both taken round the clock): the row reached is the next cue. Of it and
// the rows after it, at most kRowsLookedAt, those whose in time less `lead`
// is exactly now fire: there is no tolerance. Without rows nothing changes.
template <typename InFrames>
Step walk(int rowCount, int selection, int now, int type, int lead, const InFrames& inFrames) {
    Step step;
    step.selection = selection;
    if (rowCount <= 0)
        return step;
    auto order = [&](int row) { return TcCalculator::compareFrames(now, inFrames(row), type); };
    int index = selection >= rowCount ? rowCount - 1 : selection;
    while (index >= 1 && order(index) <= 0)
        --index;
    if (index < 0)
        index = 0;
    while (index < rowCount && order(index) >= 0)
        ++index;
    step.selection = index < rowCount ? index : -1;
    for (int row = index; row < rowCount && row < index + kRowsLookedAt; ++row) {
        if (now == inFrames(row) - lead)
            step.fire[size_t(step.fireCount++)] = row;
    }
    return step;
}

} // namespace cuewalk

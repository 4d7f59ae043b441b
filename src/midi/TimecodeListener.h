#pragma once

#include "timecode/MtcFrame.h"

// Takes every timecode step of the MIDI input, on the MIDI thread, as it is
// assembled: it must never wait for the main thread or a lock it holds.
class TimecodeListener {
public:
    virtual ~TimecodeListener() = default;
    virtual void mtcEvent(const mtcframe::Frame& mtc) = 0;
    // The source jumped to `mtc` (a full-frame message): no step, but what
    // follows is a new pass over the times ahead.
    virtual void locate(const mtcframe::Frame& /*mtc*/) {}
};

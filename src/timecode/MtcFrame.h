#pragma once

#include <QString>
#include <array>
#include <cstdint>

// One MIDI Time Code frame as it travels in quarter frames and full-frame
// messages: hours with the rate code in bits 5-6, minutes, seconds, frames.
// Rate codes are the timecode types: 0 = 24, 1 = 25, 2 = 30 drop frame,
// 3 = 30.
namespace mtcframe {

using Frame = std::array<std::uint8_t, 4>;

inline constexpr int kHours = 0;
inline constexpr int kMinutes = 1;
inline constexpr int kSeconds = 2;
inline constexpr int kFrames = 3;
inline constexpr std::uint8_t kRateMask = 0x60;

inline int rateCode(const Frame& frame) {
    return (frame[kHours] & kRateMask) >> 5;
}

// One frame step as the unit counts it. At the 30 drop-frame rate the unit
// overwrites the hours byte with 2 at most second boundaries (the next two
// steps carry a wrong time until the hours pieces come again); with
// exactDropFrame the step counts 29.97 drop frame properly instead, skipping
// frames 0 and 1 at each minute but every tenth. Other rates are not affected.
void step(Frame& frame, bool exactDropFrame);

// Frames since midnight at the frame's own rate; -1 when its fields are not
// those of a valid timecode.
int framesSinceMidnight(const Frame& frame);

// "HH:MM:SS:FF" (hours without the rate bits).
QString format(const Frame& frame);

} // namespace mtcframe

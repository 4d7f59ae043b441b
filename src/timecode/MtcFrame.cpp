#include "timecode/MtcFrame.h"

#include "timecode/TcCalculator.h"

#include <cstdio>

namespace mtcframe {
namespace {
constexpr std::uint8_t kRate24 = 0x00;
constexpr std::uint8_t kRate25 = 0x20;
constexpr std::uint8_t kRate30Drop = 0x40;
} // namespace

void step(Frame& mtc, bool exactDropFrame) {
    const std::uint8_t rate = mtc[kHours] & kRateMask;
    const bool exact = exactDropFrame && rate == kRate30Drop;
    const int limit = rate == kRate25 ? 25 : (rate == kRate24 ? 24 : 30);
    mtc[kFrames] = std::uint8_t(mtc[kFrames] + 1);
    if (mtc[kFrames] < limit)
        return;
    mtc[kFrames] = 0;
    mtc[kSeconds] = std::uint8_t(mtc[kSeconds] + 1);
    if (rate == kRate30Drop && mtc[kSeconds] % 10 != 0 && !exact)
        mtc[kHours] = 2; // hours and rate overwritten: the unit's drop-frame handling
    if (mtc[kSeconds] >= 60) {
        mtc[kSeconds] = 0;
        mtc[kMinutes] = std::uint8_t(mtc[kMinutes] + 1);
        if (mtc[kMinutes] >= 60) {
            mtc[kMinutes] = 0;
            const int hours = ((mtc[kHours] & 0x1F) + 1) % 24;
            mtc[kHours] = std::uint8_t((mtc[kHours] & 0xE0) | hours);
        }
    }
    // 29.97 drop frame: frame numbers 0 and 1 do not exist at the start of a
    // minute, except every tenth minute.
    if (exact && mtc[kSeconds] == 0 && mtc[kMinutes] % 10 != 0)
        mtc[kFrames] = 2;
}

int framesSinceMidnight(const Frame& mtc) {
    return TcCalculator::fieldsToFrames(mtc[kHours] & 0x1F, mtc[kMinutes], mtc[kSeconds],
                                        mtc[kFrames], rateCode(mtc));
}

QString format(const Frame& mtc) {
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d:%02d", mtc[kHours] & 0x1F, mtc[kMinutes],
                  mtc[kSeconds], mtc[kFrames]);
    return QString::fromLatin1(text);
}

} // namespace mtcframe

// The 7/8 coding of system-exclusive data, the unit's character set and the
// timecode readers: any bytes decode without reading past their end, coding
// then decoding gives the bytes back, every text has a form for the unit, and
// every timecode the readers find converts to frames and back.
#include "FuzzSupport.h"

#include "cues/CueListImporter.h"
#include "protocol/Coding78.h"
#include "timecode/TCFormatter.h"
#include "timecode/TcCalculator.h"

#include <cstring>

namespace {

void checkCoding(const QByteArray& bytes) {
    coding78::decode78(bytes);
    const QByteArray coded = coding78::encode78(bytes);
    for (char c : coded)
        fuzzsupport::check((static_cast<unsigned char>(c) & 0x80) == 0, "coded byte not 7-bit");
    fuzzsupport::check(coding78::decode78(coded) == bytes.left(coding78::kMaxInputBytes),
                       "7/8 coding does not invert");
}

// The unit's character set: one byte for every character (three for an
// ellipsis), a "?" for each one counted as missing.
void checkUnitText(const QString& text) {
    int substituted = 0;
    const QByteArray latin1 = coding78::latin1ForUnit(text, &substituted);
    fuzzsupport::check(latin1.count('?') >= substituted, "substitutions not marked");
    fuzzsupport::check(latin1.size() <= 3 * text.size(), "unit text too long");
    fuzzsupport::check(coding78::unitText(text) == QString::fromLatin1(latin1), "forms differ");
    fuzzsupport::check(coding78::unshowableCharacters(text).isEmpty() == (substituted == 0),
                       "unshowable characters and substitutions disagree");
}

void checkTimecodes(const QString& text, std::int32_t frames) {
    const TcCalculator tcc;
    CueListImporter::containsTimecode(text);
    CueListImporter::cueItemFromLine(text);
    TCFormatter::stringForObjectValue(TCFormatter::objectValueForString(text));
    TCFormatter::stringForObjectValue(text);

    const QString first = tcc.findFirstTc(text);
    if (!first.isNull()) {
        fuzzsupport::check(tcc.isTc(first), "found timecode not a timecode");
        // Frames 00-29 are all valid at 30 fps, so type 3 converts both ways.
        fuzzsupport::check(tcc.binaryToTc(tcc.tcToBinary(first, 3), 3) == first,
                           "timecode does not convert back");
    }
    for (int type = 0; type < 4; ++type) {
        const int day = TcCalculator::framesPerDay(type);
        const QString tc = tcc.binaryToTc(frames, type);
        const int inDay = int(((std::int64_t(frames) % day) + day) % day);
        if (type != 2)
            fuzzsupport::check(tcc.tcToBinary(tcc.binaryToTc(inDay, type), type) == inDay,
                               "frame count does not convert back");
        const QString labels = tcc.framesToTc(frames, type);
        fuzzsupport::check(tcc.isTc(labels) && tcc.tcToBinary(labels, type) == inDay,
                           "framesToTc does not invert tcToBinary");
        const QString other = tcc.binaryToTc(frames / 3, type);
        fuzzsupport::check(tcc.compareTc(tc, other, type) == -tcc.compareTc(other, tc, type),
                           "timecode comparison not antisymmetric");
        tcc.subtractTc(tc, text.left(11), type);
        tcc.tcToBinary(text.left(11), type);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzsupport::quietProcess();
    std::int32_t frames = 0;
    if (size >= sizeof frames)
        std::memcpy(&frames, data, sizeof frames);
    checkCoding(fuzzsupport::bytes(data, size));
    checkUnitText(fuzzsupport::text(data, size));
    checkTimecodes(fuzzsupport::text(data, size), frames);
    return 0;
}

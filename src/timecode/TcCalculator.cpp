#include "timecode/TcCalculator.h"

#include "base/PosixRegex.h"

#include <cstdint>
#include <cstdio>

namespace {

constexpr int kDropFramesPerHour = 107892;
constexpr int kDropFramesPerTenMinutes = 17982;
constexpr int kDropFramesPerMinute = 1798;
constexpr int kSecondsPerDay = 24 * 3600;

} // namespace

const PosixRegex& TcCalculator::timecodePattern(bool acceptDropSeparator) {
    // An escaped colon is a plain colon to regcomp.
    static const PosixRegex strict(
        "(([2][0-3])|([0-1][0-9]))\\:[0-5][0-9]\\:[0-5][0-9]\\:[0-2][0-9]");
    static const PosixRegex lenient(
        "(([2][0-3])|([0-1][0-9]))\\:[0-5][0-9]\\:[0-5][0-9][:;][0-2][0-9]");
    return acceptDropSeparator ? lenient : strict;
}

int TcCalculator::framesPerDay(int type) {
    // Drop frame skips two frame numbers in 54 of every 60 minutes.
    return type == 2 ? kDropFramesPerHour * 24 : frameRate(type) * kSecondsPerDay;
}

int TcCalculator::frameRate(int type) {
    switch (type) {
    case 0:
        return 24;
    case 1:
        return 25;
    default:
        return 30;
    }
}

QString TcCalculator::formatTc(int hours, int minutes, int seconds, int frames) {
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "%02d:%02d:%02d:%02d", hours, minutes, seconds, frames);
    return QString::fromLatin1(buffer);
}

bool TcCalculator::isTc(const QString& tc) const {
    // Only an 11-character string can be a timecode; the length check comes
    // first so that the pattern runs only on candidates.
    return tc.size() == 11 && timecodePattern().search(tc.toUtf8());
}

QString TcCalculator::findFirstTc(const QString& text) const {
    const QByteArray utf8 = text.toUtf8();
    int start = 0;
    if (!timecodePattern().search(utf8, 0, &start, nullptr))
        return QString();
    // The pattern is plain ASCII, so its 11 bytes are 11 characters.
    return QString::fromUtf8(utf8.mid(start, 11));
}

namespace {
// A string that passed isTc is exactly the 11 characters the pattern
// matched, so its four fields sit at fixed places between the colons.
int field(const QString& tc, int at) {
    return (tc[at].unicode() - u'0') * 10 + (tc[at + 1].unicode() - u'0');
}
} // namespace

int TcCalculator::hrsToBinary(const QString& tc) const {
    if (!isTc(tc))
        return 0;
    return field(tc, 0);
}

int TcCalculator::tcToBinary(const QString& tc, int type) const {
    return framesIfTc(tc, type).value_or(0);
}

std::optional<int> TcCalculator::framesIfTc(const QString& tc, int type) const {
    if (!isTc(tc))
        return std::nullopt;
    return fieldsToFrames(field(tc, 0), field(tc, 3), field(tc, 6), field(tc, 9), type);
}

int TcCalculator::fieldsToFrames(int hours, int minutes, int seconds, int frames, int type) {
    if (hours < 0 || hours > 23 || minutes < 0 || minutes > 59 || seconds < 0 || seconds > 59 ||
        frames < 0 || frames > 29)
        return -1;
    if (type == 2) {
        // Two frame numbers are skipped at the start of every minute except
        // minutes 00, 10, 20, 30, 40 and 50.
        return frames + seconds * 30 + minutes * 30 * 60 + hours * 30 * 3600 - hours * 108 -
               (minutes / 10) * 18 - (minutes % 10) * 2;
    }
    const int rate = frameRate(type);
    return frames + seconds * rate + minutes * rate * 60 + hours * rate * 3600;
}

QString TcCalculator::binaryToTc(int frames, int type) const {
    const int day = framesPerDay(type);
    int v = frames;
    while (v < 0)
        v += day;
    while (v > day) // exactly one day stays and prints as 24:00:00:00
        v -= day;

    int16_t hours = 0;
    int16_t minutes = 0;
    int16_t seconds = 0;
    int16_t frameField = 0;
    if (type == 2) {
        hours = int16_t(v / kDropFramesPerHour);
        const int r = v % kDropFramesPerHour;
        minutes = int16_t((10 * r) / kDropFramesPerTenMinutes +
                          (r % kDropFramesPerTenMinutes) / kDropFramesPerMinute);
        const int q = (r % kDropFramesPerTenMinutes) % kDropFramesPerMinute;
        seconds = int16_t(q / 30);
        frameField = int16_t(q % 30);
    } else {
        const int rate = frameRate(type);
        hours = int16_t(v / (rate * 3600));
        v %= rate * 3600;
        minutes = int16_t(v / (rate * 60));
        v %= rate * 60;
        seconds = int16_t(v / rate);
        frameField = int16_t(v % rate);
    }
    return formatTc(hours, minutes, seconds, frameField);
}

QString TcCalculator::framesToTc(int frames, int type) const {
    const int day = framesPerDay(type);
    int v = int(((std::int64_t(frames) % day) + day) % day);
    int rate = frameRate(type);
    if (type == 2) {
        // Put back the two labels each minute skips, except every tenth.
        const int tens = v / kDropFramesPerTenMinutes;
        const int rest = v % kDropFramesPerTenMinutes;
        v += 18 * tens + (rest < 2 ? 0 : 2 * ((rest - 2) / kDropFramesPerMinute));
        rate = 30;
    }
    return formatTc(v / (rate * 3600), v / (rate * 60) % 60, v / rate % 60, v % rate);
}

QString TcCalculator::subtractTc(const QString& a, const QString& b, int type) const {
    return binaryToTc(tcToBinary(b, type) - tcToBinary(a, type), type);
}

int TcCalculator::compareFrames(int a, int b, int type) {
    const int h = framesPerDay(type) / 2;
    int d = a - b;
    while (d > h)
        d -= 2 * h;
    while (d < -h)
        d += 2 * h;
    return d > 0 ? 1 : (d < 0 ? -1 : 0);
}

int TcCalculator::compareTc(const QString& a, const QString& b, int type) const {
    return compareFrames(tcToBinary(a, type), tcToBinary(b, type), type);
}

QString TcCalculator::rateName(int type) {
    switch (type) {
    case 0:
        return QStringLiteral("24 fps");
    case 1:
        return QStringLiteral("25 fps");
    case 2:
        return QStringLiteral("29.97 fps drop");
    default:
        return QStringLiteral("30 fps");
    }
}

QString TcCalculator::problemAtRate(const QString& tc, int type) {
    const bool shaped = tc.size() == 11 && tc[2] == u':' && tc[5] == u':' && tc[8] == u':';
    for (int at = 0; shaped && at < 11; at += 3) {
        if (tc[at] < u'0' || tc[at] > u'9' || tc[at + 1] < u'0' || tc[at + 1] > u'9')
            return QStringLiteral("%1 is not a timecode of the digits 0 to 9").arg(tc);
    }
    if (!shaped)
        return QStringLiteral("%1 is not a timecode (HH:MM:SS:FF)").arg(tc);
    const int hours = field(tc, 0);
    const int minutes = field(tc, 3);
    const int seconds = field(tc, 6);
    const int frames = field(tc, 9);
    const auto twoDigits = [](int value) { return QString::number(value).rightJustified(2, u'0'); };
    if (hours > 23)
        return QStringLiteral("hour %1 does not exist (00 to 23)").arg(twoDigits(hours));
    if (minutes > 59)
        return QStringLiteral("minute %1 does not exist (00 to 59)").arg(twoDigits(minutes));
    if (seconds > 59)
        return QStringLiteral("second %1 does not exist (00 to 59)").arg(twoDigits(seconds));
    const int rate = frameRate(type);
    if (frames >= rate)
        return QStringLiteral("frame %1 does not exist at %2 (00 to %3)")
            .arg(twoDigits(frames), rateName(type), twoDigits(rate - 1));
    // Drop frame skips frame numbers 00 and 01 at the start of every minute
    // except minutes 00, 10, 20, 30, 40 and 50.
    if (type == 2 && seconds == 0 && frames < 2 && minutes % 10 != 0)
        return QStringLiteral("frame %1 of minute %2 is skipped at %3 (only each tenth minute "
                              "starts at frame 00)")
            .arg(twoDigits(frames), twoDigits(minutes), rateName(type));
    return QString();
}

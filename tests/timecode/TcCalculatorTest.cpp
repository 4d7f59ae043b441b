#include "timecode/TcCalculator.h"
#include "timecode/TCFormatter.h"

#include <gtest/gtest.h>

namespace {

const TcCalculator tcc;

TEST(TcCalculator, IsTcAcceptsOnlyElevenCharacterTimecodes) {
    // Frames are not checked against the rate (29 is fine at any type).
    const std::pair<const char*, bool> cases[] = {
        {"23:59:59:29", true},  {"19:00:00:00", true},   {"24:00:00:00", false},
        {"23:60:00:00", false}, {"23:00:00:30", false},  {"1:00:00:00", false},
        {"01:00:00;00", false}, {" 01:00:00:00", false}, {"ab01:00:00:0", false}};
    for (const auto& [text, valid] : cases)
        EXPECT_EQ(tcc.isTc(QString::fromUtf8(text)), valid) << text;
}

TEST(TcCalculator, FindFirstTcTakesTheFirstMatchAnywhere) {
    // nullptr: nothing found (a null string); the last one follows multi-byte text.
    const std::pair<const char*, const char*> cases[] = {
        {"cue 1 at 01:00:00:00 start", "01:00:00:00"},
        {"01:02:03:04 then 05:06:07:08", "01:02:03:04"},
        {"24:00:00:00 and 23:00:00:00", "23:00:00:00"},
        {"drop 01:00:00;12", nullptr},
        {"no time here", nullptr},
        {"\xc3\xa9l\xc3\xa9ment 10:20:30:00 \xe2\x80\x94", "10:20:30:00"}};
    for (const auto& [text, found] : cases) {
        const QString got = tcc.findFirstTc(QString::fromUtf8(text));
        EXPECT_TRUE(found ? got == QLatin1String(found) : got.isNull())
            << text << ": " << qPrintable(got);
    }
}

struct ConversionCase {
    const char* tc;
    int type;
    int frames;
};

TEST(TcCalculator, TcToBinaryForAllTypes) {
    // Non-drop types also invert below; drop frame is counted the long way.
    const ConversionCase cases[] = {
        {"01:00:00:00", 0, 86400}, {"01:00:00:00", 1, 90000},  {"01:00:00:00", 3, 108000},
        {"00:01:00:02", 2, 1800},  {"01:00:00:00", 2, 107892}, {"01:00:00:00", 7, 108000},
        {"01:00:00;00", 3, 0},     {"24:00:00:00", 3, 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(tcc.tcToBinary(QString::fromLatin1(c.tc), c.type), c.frames)
            << c.tc << " type " << c.type;
}

// Drop-frame counting done the long way: every minute has 1800 frame
// numbers, of which the first two are skipped unless the minute is a
// multiple of ten.
int dropFrameCount(int hours, int minutes, int seconds, int frames) {
    int count = 0;
    for (int m = 0; m < hours * 60 + minutes; ++m)
        count += (m % 10 == 0) ? 1800 : 1798;
    const int numberInMinute = seconds * 30 + frames;
    const int skipped = (minutes % 10 == 0) ? 0 : 2;
    return count + numberInMinute - skipped;
}

TEST(TcCalculator, DropFrameCountMatchesCountingForEveryMinuteOfADay) {
    for (int h = 0; h < 24; ++h) {
        for (int m = 0; m < 60; ++m) {
            for (const int frame : {2, 29}) {
                const QString tc = QString::asprintf("%02d:%02d:%02d:%02d", h, m, 0, frame);
                ASSERT_EQ(tcc.tcToBinary(tc, 2), dropFrameCount(h, m, 0, frame)) << qPrintable(tc);
            }
            const QString last = QString::asprintf("%02d:%02d:59:29", h, m);
            ASSERT_EQ(tcc.tcToBinary(last, 2), dropFrameCount(h, m, 59, 29)) << qPrintable(last);
        }
    }
    EXPECT_EQ(dropFrameCount(24, 0, 0, 0), TcCalculator::framesPerDay(2));
}

TEST(TcCalculator, BinaryToTc) {
    // Non-drop rolls over after one day (exactly one day is kept). Drop
    // frame uses the unit's decomposition, which does not invert the count:
    // -1 is the last frame of the day as the unit's counter shows it.
    const ConversionCase cases[] = {{"23:59:59:23", 0, -1},      {"24:00:00:00", 0, 2073600},
                                    {"00:00:00:01", 0, 2073601}, {"23:59:59:23", 0, -2073601},
                                    {"00:01:00:00", 2, 1798},    {"00:10:00:00", 2, 17982},
                                    {"00:02:00:02", 2, 1800},    {"00:09:00:00", 2, 8990},
                                    {"24:00:00:00", 2, 2589408}, {"23:69:00:01", 2, -1}};
    for (const auto& c : cases)
        EXPECT_EQ(tcc.binaryToTc(c.frames, c.type), QString::fromLatin1(c.tc))
            << c.frames << " type " << c.type;
}

TEST(TcCalculator, NonDropConversionsInvert) {
    for (const int type : {0, 1, 3}) {
        const int day = TcCalculator::framesPerDay(type);
        for (int frames = 0; frames < day; frames += 997) {
            const QString tc = tcc.binaryToTc(frames, type);
            ASSERT_TRUE(tcc.isTc(tc)) << qPrintable(tc);
            ASSERT_EQ(tcc.tcToBinary(tc, type), frames) << qPrintable(tc);
        }
    }
}

TEST(TcCalculator, CompareAndSubtractModuloOneDayAndHours) {
    // Exactly half a day ahead is still later; past half a day, earlier.
    const struct {
        const char *a, *b;
        int type, compare;
    } compares[] = {{"00:00:01:00", "23:59:59:00", 0, 1},  {"23:59:59:00", "00:00:01:00", 0, -1},
                    {"01:00:00:00", "01:00:00:00", 3, 0},  {"13:00:00:00", "01:00:00:00", 3, 1},
                    {"13:00:00:01", "01:00:00:00", 3, -1}, {"00:00:00:00", "12:00:00:00", 2, -1},
                    {"00:00:00:00", "12:00:00:01", 2, 1},  {"bad", "00:00:00:00", 0, 0}};
    for (const auto& c : compares)
        EXPECT_EQ(tcc.compareTc(QString::fromLatin1(c.a), QString::fromLatin1(c.b), c.type),
                  c.compare)
            << c.a << " vs " << c.b << " type " << c.type;

    // subtractTc(a, b) is b minus a
    const char* subtracts[][4] = {{"23:59:00:00", "00:01:00:00", "3", "00:02:00:00"},
                                  {"00:01:00:00", "23:59:00:00", "3", "23:58:00:00"},
                                  {"01:00:00:00", "01:00:00:00", "0", "00:00:00:00"}};
    for (const auto& [a, b, type, difference] : subtracts)
        EXPECT_EQ(tcc.subtractTc(a, b, QByteArray(type).toInt()), QLatin1String(difference)) << a;
    // Hours of valid timecodes only.
    for (const auto& [tc, hours] :
         {std::pair{"23:00:00:00", 23}, {"09:59:00:00", 9}, {"---", 0}, {"23:00:00;00", 0}})
        EXPECT_EQ(tcc.hrsToBinary(tc), hours) << tc;
}

TEST(TCFormatter, DisplayAndEntryForms) {
    const struct {
        const char* typed;
        const char* display;
        const char* entry;
    } cases[] = {
        {"1:2:3:4", "00:00:12:34", "00001234"},     {"", "---", "00000000"},
        {"00:00:00:00", "---", "00000000"},         {"123456789", "23:45:67:89", "23456789"},
        {"01:00:00;12", "01:00:00:12", "01000012"}, {"IN: 01:02:03:04", "01:02:03:04", "01020304"},
    };
    for (const auto& c : cases) {
        const QString typed = QString::fromUtf8(c.typed);
        EXPECT_EQ(TCFormatter::stringForObjectValue(typed), QString::fromLatin1(c.display))
            << c.typed;
        EXPECT_EQ(TCFormatter::objectValueForString(typed), QString::fromLatin1(c.entry))
            << c.typed;
    }
    EXPECT_TRUE(TCFormatter::stringForObjectValue(QVariant(42)).isNull());
    EXPECT_EQ(TCFormatter::stringForObjectValue(QVariant(QStringLiteral("1"))),
              QStringLiteral("00:00:00:01"));
}

// A time exists at a rate when every field is in range for it; drop frame
// also skips frames 00 and 01 at the start of each minute but every tenth.
TEST(TcCalculator, TimesThatDoNotExistAtTheRate) {
    const struct {
        const char* tc;
        int type;
        const char* problem; // part of the reason; empty: the time exists
    } cases[] = {
        {"23:59:59:23", 0, ""},
        {"01:00:00:24", 0, "frame 24 does not exist at 24 fps (00 to 23)"},
        {"01:00:00:24", 1, ""},
        {"01:00:00:25", 1, "frame 25 does not exist at 25 fps"},
        {"01:00:00:45", 3, "frame 45 does not exist at 30 fps (00 to 29)"},
        {"25:99:99:99", 3, "hour 25 does not exist (00 to 23)"},
        {"01:60:00:00", 3, "minute 60"},
        {"01:00:60:00", 3, "second 60"},
        {"01:01:00:00", 2, "frame 00 of minute 01 is skipped at 29.97 fps drop"},
        {"01:01:00:01", 2, "frame 01 of minute 01"},
        {"01:01:00:02", 2, ""},
        {"01:10:00:00", 2, ""},
        {"01:01:00:00", 3, ""},
        {"01:01:01:00", 2, ""},
        {"01:00:00;00", 3, "not a timecode"},
        {"1:00:00:00", 3, "not a timecode"},
        {"\xd9\xa0\xd9\xa1:00:00:00", 3, "digits 0 to 9"}, // Arabic-Indic digits
    };
    for (const auto& c : cases) {
        const QString problem = TcCalculator::problemAtRate(QString::fromUtf8(c.tc), c.type);
        if (*c.problem == 0)
            EXPECT_TRUE(problem.isEmpty())
                << c.tc << " type " << c.type << ": " << problem.toStdString();
        else
            EXPECT_TRUE(problem.contains(QString::fromUtf8(c.problem)))
                << c.tc << " type " << c.type << ": " << problem.toStdString();
    }
}

} // namespace

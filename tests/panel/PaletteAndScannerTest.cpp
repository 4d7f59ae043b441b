#include "PanelTestSupport.h"
#include "panel/BarsPalette.h"
#include "protocol/ReplyScanner.h"
#include "panel/VideoStandards.h"

#include <gtest/gtest.h>

TEST(BarsPalette, IndexIsTheOverlayColourCode) {
    // code: bit 0 blue off, bit 1 red off, bit 2 green off.
    const struct {
        const char* name;
        QColor color;
    } rows[] = {
        {"white", Qt::white},    {"yellow", Qt::yellow}, {"cyan", Qt::cyan}, {"green", Qt::green},
        {"purple", Qt::magenta}, {"red", Qt::red},       {"blue", Qt::blue}, {"black", Qt::black},
    };
    for (int code = 0; code < barspalette::kCount; ++code) {
        SCOPED_TRACE(code);
        EXPECT_EQ(barspalette::name(code), rows[code].name);
        EXPECT_EQ(barspalette::color(code), rows[code].color);
        EXPECT_EQ(barspalette::codeForName(rows[code].name), code);
        EXPECT_EQ(barspalette::codeForColor(rows[code].color), code);
    }
    EXPECT_FALSE(barspalette::color(8).isValid());
    EXPECT_EQ(barspalette::codeForName("orange"), -1);
    // Any colour lands on the nearest of the eight: a primary below half is off.
    EXPECT_EQ(barspalette::codeForColor(QColor(250, 140, 10)), 1); // orange -> yellow
    EXPECT_EQ(barspalette::codeForColor(QColor(120, 120, 120)), 7);
}

TEST(ReplyScanner, FieldsAsTheUnitWritesThem) {
    struct Case {
        const char* line;
        bool hex;
        QList<int> values; // fields read before the first that is not a number
        bool atEnd;
    };
    const Case cases[] = {
        {"H 10 20  30", false, {10, 20, 30}, true},
        {"J -3 x", false, {-3}, false},
        {"A e", true, {14}, true},
        {"C 0x1F ff", true, {31, 255}, true},
        {"G 0x", true, {0}, false}, // "0" then a stray "x"
        {"J 99999999999", false, {2147483647}, true},
        {"A ffffffffff", true, {-1}, true},
        {"M", false, {}, true},
        {"M  ", false, {}, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        ReplyScanner scan(QString::fromLatin1(c.line));
        QList<int> values;
        int v = 0;
        while (c.hex ? scan.scanHexInt(v) : scan.scanInt(v))
            values << v;
        EXPECT_EQ(values, c.values);
        EXPECT_EQ(scan.atEnd(), c.atEnd);
    }
}

TEST(VideoStandards, SixteenStandardsEndingWithGeneratorOff) {
    EXPECT_EQ(videostandards::names().at(15), "GENERATOR_OFF");
    EXPECT_EQ(videostandards::displayName(15), "Generator off");
    EXPECT_EQ(videostandards::displayName(3), "1080i / 1080sF 25 Hz (SMPTE 274M)");
    EXPECT_EQ(videostandards::displayName(16), "");
}

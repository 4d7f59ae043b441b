// The MIDI parser and the frame step on the examples the unit's users rely
// on.
#include "midi/MidiParser.h"

#include <gtest/gtest.h>
#include <random>

namespace {

struct Recorder : MidiParser::Listener {
    int steps = 0;
    QString shown;
    QByteArray sent;
    void mtcEvent(const MidiParser::Mtc&) override { ++steps; }
    void showTcDigits(const MidiParser::Mtc& mtc) override { shown = mtcframe::format(mtc); }
    void txMidi(const QByteArray& bytes) override { sent += bytes; }
};

struct ParserCase {
    const char* name;
    const char* input; // hex
    const char* sent;  // hex, to the destination
    int steps;
    const char* shown; // last counter text, "" when never shown
};

TEST(MidiParser, Messages) {
    const QByteArray afterEndless = "f0" + QByteArray(1000, '1') + "f7900000";
    const ParserCase cases[] = {
        {"ping answered", "900000", "90007f", 0, ""},
        {"other channel ignored, parser reset", "9100000000", "", 0, ""},
        {"running status", "90000000000001", "90007f90007f", 0, ""},
        {"real-time byte ends the message", "9000f800", "", 0, ""},
        {"first half steps at piece 0 and 3", "f100f110f120f130", "", 2, "00:00:00:01"},
        {"second half steps at piece 7", "f100f110f120f130f140f150f160f170", "", 3, "00:00:00:02"},
        {"missed piece 3 made up at piece 4", "f100f110f120f140f150f160f170", "", 3, "00:00:00:02"},
        {"full frame of device 7F ignored", "f07f7f010121020304f7", "", 0, ""},
        {"full frame shown, not stepped", "f07f01010121020304f7", "", 0, "01:02:03:04"},
        {"endless sysex, then a ping", afterEndless.constData(), "90007f", 0, ""},
    };
    for (const ParserCase& c : cases) {
        SCOPED_TRACE(c.name);
        Recorder recorder;
        MidiParser parser(&recorder);
        parser.decodeData(QByteArray::fromHex(c.input));
        EXPECT_EQ(recorder.sent.toHex(), QByteArray(c.sent));
        EXPECT_EQ(recorder.steps, c.steps);
        EXPECT_EQ(recorder.shown.toStdString(), c.shown);
    }
}

TEST(MidiParser, GarbageNeverStopsIt) {
    std::mt19937 random(11);
    Recorder recorder;
    MidiParser parser(&recorder);
    for (int i = 0; i < 200000; ++i)
        parser.rxMidiByte(std::uint8_t(random()));
    recorder.sent.clear();
    parser.decodeData(QByteArray::fromHex("f7900000"));
    EXPECT_EQ(recorder.sent.toHex(), QByteArray("90007f"));
}

TEST(MidiParser, HuiZoneAndDigits) {
    MidiParser parser;
    parser.decodeData(QByteArray::fromHex("b00c16b02c42b02c45"));
    EXPECT_EQ(parser.zone(), 22);
    EXPECT_EQ(parser.midiDisplayFmt(), 0x24);
    parser.decodeData(QByteArray::fromHex("b02c02b00c01b02c40"));
    EXPECT_EQ(parser.midiDisplayFmt(), 0x20); // bit 2 cleared; zone 1 changes nothing
    parser.decodeData(QByteArray::fromHex("f0000066050011010203f7"));
    EXPECT_EQ(parser.tcDigits()[7], 1);
    EXPECT_EQ(parser.tcDigits()[5], 3);
}

struct StepCase {
    MidiParser::Mtc in;
    bool exact;
    MidiParser::Mtc out;
};

TEST(MidiParser, FrameStep) {
    const StepCase cases[] = {
        {{0x20, 0, 59, 24}, false, {0x20, 1, 0, 0}},  // 25 fps into the next minute
        {{0x17, 59, 59, 23}, false, {0x00, 0, 0, 0}}, // 24 fps past midnight, rate kept
        {{0x60, 59, 59, 29}, false, {0x61, 0, 0, 0}}, // 30 fps into the next hour
        {{0x40, 0, 0, 29}, false, {0x02, 0, 1, 0}},   // drop frame: hours byte becomes 2
        {{0x41, 0, 9, 29}, false, {0x41, 0, 10, 0}},  // ... but not on a tenth second
        {{0x41, 0, 0, 29}, true, {0x41, 0, 1, 0}},    // exact: hours byte kept
        {{0x41, 0, 59, 29}, true, {0x41, 1, 0, 2}},   // exact: frames 0 and 1 skipped
        {{0x41, 9, 59, 29}, true, {0x41, 10, 0, 0}},  // ... except every tenth minute
        {{0x20, 0, 0, 3}, true, {0x20, 0, 0, 4}},     // exact changes nothing at 25
    };
    for (const StepCase& c : cases) {
        MidiParser::Mtc mtc = c.in;
        mtcframe::step(mtc, c.exact);
        EXPECT_EQ(mtc, c.out) << mtcframe::format(c.in).toStdString() << " exact " << c.exact;
    }
}

} // namespace

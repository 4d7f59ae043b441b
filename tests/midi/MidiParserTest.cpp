// The MIDI parser and the frame step on the examples the unit's users rely
// on, and the cue firing against the cue sheet's own decision.
#include "midi/MidiParser.h"
#include "cues/CueFiring.h"
#include "cues/CueSheet.h"
#include "protocol/CommandSink.h"

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

// Records what the cue firing and the cue sheet send, in order.
struct SentBytes : CommandSink {
    QByteArray bytes;
    void sendString(const QString& command) override { bytes += command.toLatin1() + '\n'; }
    void sendBytes(const QByteArray& b) override { bytes += b; }
    int txCount() const override { return 0; }
};

QByteArray mtcOf(int type, int frames) {
    const TcCalculator tcc;
    const QString tc = tcc.binaryToTc(frames, type);
    const char bytes[4] = {char((type << 5) | tc.left(2).toInt()), char(tc.mid(3, 2).toInt()),
                           char(tc.mid(6, 2).toInt()), char(tc.mid(9, 2).toInt())};
    return QByteArray(bytes, 4);
}

// The MIDI thread's decision equals the sheet's own on random sheets and
// times: the same rows fire, in the same order, with the same bytes.
TEST(CueFiring, DecidesAsTheSheet) {
    std::mt19937 random(7);
    const TcCalculator tcc;
    QObject mainThread;
    for (int round = 0; round < 200; ++round) {
        const int type = int(random() % 4);
        CueSheet sheet;
        sheet.setStepperStreamerDuration(int(random() % 120));
        const int start = 3600 * 30;
        for (int i = int(random() % 12); i > 0; --i) {
            CueItem item = CueItem::blank();
            item.cueId = QString::number(i);
            item.cueText = QStringLiteral("cue %1").arg(i);
            item.cueIn = tcc.binaryToTc(start + int(random() % 400), type);
            sheet.addObject(item);
        }
        sheet.OnSort();
        SentBytes bySheet;
        SentBytes byFiring;
        sheet.setComThread(&bySheet);
        CueFiring firing(&mainThread);
        firing.setCommandSink(&byFiring);
        firing.publish(sheet);
        for (int step = 0; step < 40; ++step) {
            // Mostly forwards, sometimes a jump: sheet and firing walk alike.
            const int now = start - 200 + int(random() % 700);
            const QByteArray mtc = mtcOf(type, now);
            sheet.mtcEvent(mtc);
            firing.mtcEvent(mtc);
            firing.mtcEvent(mtcOf(type, now + 10)); // leaves the pass
            sheet.mtcEvent(mtcOf(type, now + 10));
        }
        EXPECT_EQ(byFiring.bytes.toHex(), bySheet.bytes.toHex()) << "round " << round;
    }
}

TEST(CueFiring, OncePerPassOverAFrame) {
    QObject mainThread;
    CueSheet sheet;
    CueItem item;
    item.cueIn = QStringLiteral("01:00:10:00");
    sheet.addObject(item);
    SentBytes sent;
    CueFiring firing(&mainThread);
    firing.setCommandSink(&sent);
    firing.publish(sheet);
    const int due = 3600 * 30 + 10 * 30 - 60; // lead 60 frames at 30 fps
    // Wobbling over the frame fires once; a locate away and back fires again.
    for (const int offset : {-1, 0, 1, 0, -1, 0, 2, 0, -100, 0})
        firing.mtcEvent(mtcOf(3, due + offset));
    EXPECT_EQ(firing.firedCount(), 2);
    EXPECT_TRUE(sent.bytes.startsWith(QByteArray::fromHex("907740f02001")));
}

} // namespace

#include "midi/MidiTrack.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <ostream>

void PrintTo(const QString& text, std::ostream* os) {
    *os << '"' << text.toStdString() << '"';
}

namespace {

QByteArray hex(const char* text) {
    return QByteArray::fromHex(text);
}

CueItem cue(const QString& id, const QString& in, const QString& text) {
    CueItem item;
    item.cueId = id;
    item.cueIn = in;
    item.cueText = text;
    return item;
}

struct Exported {
    QByteArray bytes;
    QByteArray log;
};

Exported exportCues(const QList<CueItem>& cues, const QString& start, int type, double offset,
                    bool text, bool pulldown, bool cueId) {
    MidiTrack track;
    Exported out;
    track.setLogSink([&out](const QByteArray& t) { out.log += t; });
    out.bytes = track.exportMidi(cues, start, type, offset, text, pulldown, cueId);
    return out;
}

const QByteArray kHeader = "MThd" + hex("00000006"
                                        "0001"
                                        "0001"
                                        "2580");
const QByteArray kNames = hex("00ff0309") + "Cue track" + hex("00ff0405") + "QZ-62";

TEST(MidiExportTest, WritesTheCueFileByteForByte) {
    // 24 fps (800 ticks a frame), start 01:00:00:00, one cue a second later:
    // delta 19200 (81 96 00). Offset 0.5 s = 12 frames: 00:00:00:12, hour
    // byte 0x00. Text only: "s Hi" = 73 20 48 69, one group, high byte 00.
    const Exported first = exportCues({cue("1", "01:00:01:00", "Hi")},
                                      QStringLiteral("01:00:00:00"), 0, 0.5, true, false, false);
    EXPECT_EQ(first.log, QByteArray("MIDI offset: 00:00:00:12\n"));
    const QByteArray firstTrack = hex("00ff5405"
                                      "0000000c00") +
                                  hex("00ff5103"
                                      "07a120") +
                                  kNames + hex("00ff050b") + "01:00:00:00" +
                                  hex("819600"
                                      "907740") +
                                  hex("00f008"
                                      "2001"
                                      "7320486900"
                                      "f7") +
                                  hex("8620"
                                      "907700") +
                                  hex("00ff2f00");
    ASSERT_EQ(firstTrack.size(), 0x4f);
    EXPECT_EQ(first.bytes.toHex(), (kHeader + "MTrk" + hex("0000004f") + firstTrack).toHex());

    // 30 fps (640 ticks), pulldown (500500 us = 07 A3 14), offset 0.5 s = 15
    // frames with the rate code 3 in the hour byte (0x60). The start is not
    // a timecode, so 00:00:00:00. No text: notes only. The second cue is
    // earlier than the end of the first note: 6400 - 20000 = -13600, written
    // as the 32-bit pattern FFFFCAE0 in four groups: FF FF 95 60.
    const Exported second = exportCues({cue("a", "00:00:01:00", "x"), cue("b", "00000010", "y")},
                                       QStringLiteral("1:00:00:00"), 3, 0.5, false, true, false);
    EXPECT_EQ(second.log, QByteArray("MIDI offset: 00:00:00:15\n"));
    const QByteArray secondTrack = hex("00ff5405"
                                       "6000000f00") +
                                   hex("00ff5103"
                                       "07a314") +
                                   kNames + hex("00ff050b") + "00:00:00:00" +
                                   hex("819600"
                                       "907740") +
                                   hex("8620"
                                       "907700") +
                                   hex("ffff9560"
                                       "907740") +
                                   hex("8620"
                                       "907700") +
                                   hex("00ff2f00");
    ASSERT_EQ(secondTrack.size(), 0x50);
    EXPECT_EQ(second.bytes.toHex(), (kHeader + "MTrk" + hex("00000050") + secondTrack).toHex());
}

TEST(MidiExportTest, NothingForNoCuesOrAnUnknownType) {
    EXPECT_TRUE(
        exportCues({}, QStringLiteral("01:00:00:00"), 3, 0, true, false, true).bytes.isEmpty());
    const Exported bad = exportCues({cue("1", "01:00:01:00", "x")}, QStringLiteral("01:00:00:00"),
                                    4, 0, true, false, true);
    EXPECT_TRUE(bad.bytes.isEmpty());
    EXPECT_TRUE(bad.log.isEmpty());
}

struct OffsetCase {
    int type;
    double seconds;
    const char* timecode;
    const char* smpteBytes; // hour byte, minutes, seconds, frames, hundredths
};

TEST(MidiExportTest, WritesTheStreamerOffsetAsSmpteOffset) {
    const OffsetCase cases[] = {
        {3, 0.5, "00:00:00:15", "6000000f00"},
        {0, 0.5, "00:00:00:12", "0000000c00"},
        // 25 fps: 12.5 frames, 50 hundredths.
        {1, 0.5, "00:00:00:12", "2000000c32"},
        {2, 0.5, "00:00:00:15", "4000000f00"},
        {0, 0.0, "00:00:00:00", "0000000000"},
        // 3725.25 s at 24 fps = 89406 frames = 01:02:05:06.
        {0, 3725.25, "01:02:05:06", "0102050600"},
        // A negative offset wraps into the day before; the hundredths of
        // -15.46875 frames are -46, shown as 54. Hours 23 with rate code 3
        // make the hour byte 0x77.
        {3, -0.515625, "23:59:59:15", "773b3b0f36"},
    };
    for (const OffsetCase& c : cases) {
        SCOPED_TRACE(c.timecode);
        const Exported out =
            exportCues({cue("1", "01:00:01:00", "x")}, QStringLiteral("01:00:00:00"), c.type,
                       c.seconds, true, false, true);
        EXPECT_EQ(out.log, QByteArray("MIDI offset: ") + c.timecode + "\n");
        // The SMPTE offset is the first event of the track.
        EXPECT_EQ(out.bytes.mid(22, 4).toHex(), QByteArray("00ff5405"));
        EXPECT_EQ(out.bytes.mid(26, 5).toHex(), QByteArray(c.smpteBytes));
    }
}

struct FirstDeltaCase {
    int type;
    const char* start;
    const char* in;
    const char* delta;
};

TEST(MidiExportTest, PlacesCuesRelativeToTheStart) {
    const FirstDeltaCase cases[] = {
        {0, "01:00:00:00", "01:00:01:00", "819600"}, // 24 frames * 800
        {1, "01:00:00:00", "01:00:01:00", "819600"}, // 25 frames * 768
        {3, "01:00:00:00", "01:00:01:00", "819600"}, // 30 frames * 640
        {3, "01:00:00:00", "01:00:00:01", "8500"},   // 640
        {0, "01:00:00:00", "01:00:00:00", "00"},
        // The cue window's 8-digit entry form works as well.
        {0, "01:00:00:00", "01000002", "8c40"}, // 1600
        // An unset in time counts as frame 0, a long way before the start.
        {0, "00:00:00:01", "00000000", "fffff960"}, // -800
        // An invalid start counts as 00:00:00:00.
        {0, "garbage", "00:00:00:01", "8620"},
    };
    for (const FirstDeltaCase& c : cases) {
        SCOPED_TRACE(c.in);
        const Exported out = exportCues({cue("1", c.in, "x")}, QString::fromLatin1(c.start), c.type,
                                        0, false, false, false);
        // Header 14, track header 8, offset 9, tempo 7, names 22, lyric 15.
        const QByteArray delta = hex(c.delta);
        EXPECT_EQ(out.bytes.mid(75, delta.size()).toHex(), QByteArray(c.delta));
        EXPECT_EQ(out.bytes.mid(75 + delta.size(), 3).toHex(), QByteArray("907740"));
    }
}

TEST(MidiExportTest, WritesASettingsMessageFile) {
    MidiTrack track;
    QByteArray log;
    track.setLogSink([&log](const QByteArray& t) { log += t; });
    const QByteArray bytes =
        track.exportMidiSysex(QStringLiteral(" f0 05 7e 7F 0x09 101 f7 zz 33"));
    EXPECT_EQ(log, QByteArray("MIDI offset: 00:00:00:00\n"));
    // The numbers up to the first thing that is not one, each as its low
    // byte (0x101 gives 01); no length is inserted.
    const QByteArray events = hex("00ff5405"
                                  "6000000000") +
                              hex("00ff5103"
                                  "07a120") +
                              hex("00ff030b") + "sysex track" + hex("00ff0405") + "QZ-62" +
                              hex("00ff050b") + "00:00:00:00" +
                              hex("00"
                                  "f0057e7f0901f7") +
                              hex("00ff2f00");
    EXPECT_EQ(bytes.toHex(), (kHeader + "MTrk" + hex("00000043") + events).toHex());
    ASSERT_EQ(events.size(), 0x43);
}

// Reads a file with Debian's python3-mido and prints what a sequencer sees:
// absolute ticks, the tempo, the SMPTE offset, notes, and sysex bodies
// decoded from 7/8 by a decoder of its own.
const char* kMidoScript = R"(
import sys, mido
f = mido.MidiFile(sys.argv[1])
print('file', f.type, len(f.tracks), f.ticks_per_beat)
def decode78(d):
    out = []
    for s in range(0, len(d), 8):
        block = d[s:s + 8]
        high = block[-1]
        for i, b in enumerate(block[:-1]):
            out.append(b | (0x80 if high >> i & 1 else 0))
    return bytes(out)
tick = 0
for m in f.tracks[0]:
    tick += m.time
    if m.type == 'set_tempo':
        print('tempo', tick, m.tempo)
    elif m.type == 'smpte_offset':
        # The raw bytes: hour byte 0rrhhhhh (rate code, hours), then minutes,
        # seconds, frames, hundredths.
        b = m.bytes()[3:]
        print('smpte', tick, b[0] >> 5, b[0] & 0x1f, b[1], b[2], b[3], b[4])
    elif m.type == 'note_on':
        print('note', tick, m.channel, m.note, m.velocity)
    elif m.type == 'sysex':
        d = list(m.data)
        print('sysex', tick, d[0], d[1], decode78(d[2:]).decode('latin-1'))
    elif m.type in ('track_name', 'instrument_name'):
        print(m.type, tick, m.name)
    elif m.type == 'lyrics':
        print('lyrics', tick, m.text)
    else:
        print(m.type, tick)
)";

QStringList readWithMido(const QString& path) {
    QTemporaryDir dir;
    const QString script = dir.filePath(QStringLiteral("read.py"));
    QFile file(script);
    if (!file.open(QIODevice::WriteOnly) || file.write(kMidoScript) < 0)
        return {};
    file.close();
    QProcess python;
    python.start(QStringLiteral("/usr/bin/python3"), {script, path});
    if (!python.waitForFinished(30000) || python.exitCode() != 0)
        return {QString::fromUtf8(python.readAllStandardError())};
    QStringList lines = QString::fromUtf8(python.readAllStandardOutput()).split(QLatin1Char('\n'));
    lines.removeAll(QString());
    return lines;
}

TEST(MidiExportTest, ASequencerReadsTheCues) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("cues.mid"));
    // 25 fps: 768 ticks a frame. Offset -2 s = -50 frames: 23:59:58:00 in
    // the day before. Cue times relative to 10:00:00:00: 50 frames (38400
    // ticks), 112 frames (86016), 1500 frames (1152000). The last has no
    // text but its identifier.
    const QList<CueItem> cues = {
        cue("A1", "10:00:02:00", "First cue"),
        cue("A2", "10:00:04:12", QStringLiteral("Caf\u00e9 ") + QString(250, u'z')),
        cue("A4", "10:01:00:00", QString())};
    MidiTrack track;
    track.setLogSink([](const QByteArray&) {});
    ASSERT_TRUE(
        track.onExportMidi(path, cues, QStringLiteral("10:00:00:00"), 1, -2.0, true, true, true));
    const QString longText = (QStringLiteral("s A2\\nCaf\u00e9 ") + QString(250, u'z')).left(217);
    const QStringList expected = {
        "file 1 1 9600",
        "smpte 0 1 23 59 58 0 0",
        "tempo 0 500500",
        "track_name 0 Cue track",
        "instrument_name 0 QZ-62",
        "lyrics 0 10:00:00:00",
        "note 38400 0 119 64",
        "sysex 38400 32 1 s A1\\nFirst cue",
        "note 39200 0 119 0",
        "note 86016 0 119 64",
        "sysex 86016 32 1 " + longText,
        "note 86816 0 119 0",
        "note 1152000 0 119 64",
        "sysex 1152000 32 1 s A4\\n",
        "note 1152800 0 119 0",
        "end_of_track 1152800",
    };
    EXPECT_EQ(readWithMido(path), expected);
}

TEST(MidiExportTest, ASequencerReadsTheSettingsMessage) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("settings.mid"));
    MidiTrack track;
    track.setLogSink([](const QByteArray&) {});
    ASSERT_TRUE(track.onExportMidiSysex(path, QStringLiteral("f0 05 7e 7f 09 01 f7")));
    QProcess midicsv;
    midicsv.start(QStringLiteral("midicsv"), {path});
    ASSERT_TRUE(midicsv.waitForFinished(30000));
    EXPECT_EQ(midicsv.exitCode(), 0);
    const QStringList lines = QString::fromLatin1(midicsv.readAllStandardOutput())
                                  .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    EXPECT_TRUE(lines.contains(QStringLiteral("1, 0, SMPTE_offset, 96, 0, 0, 0, 0")));
    EXPECT_TRUE(lines.contains(QStringLiteral("1, 0, Tempo, 500000")));
    EXPECT_TRUE(lines.contains(QStringLiteral("1, 0, Title_t, \"sysex track\"")));
    EXPECT_TRUE(lines.contains(QStringLiteral("1, 0, System_exclusive, 5, 126, 127, 9, 1, 247")));
}

TEST(MidiExportTest, TheReaderLogsAnExportedFile) {
    const Exported out = exportCues({cue("7", "01:00:01:00", "Go")}, QStringLiteral("01:00:00:00"),
                                    0, 0.5, true, false, true);
    MidiTrack reader;
    QByteArray log;
    reader.setLogSink([&log](const QByteArray& t) { log += t; });
    reader.importMidi(out.bytes);
    QStringList lines = QString::fromLatin1(log).split(QLatin1Char('\n'));
    lines = lines.mid(lines.indexOf(QStringLiteral("chunk ID: MThd size: 6")));
    const QStringList expected = {
        "chunk ID: MThd size: 6",
        "format: 1 tracks: 1 timeDivision: 9600",
        "chunk ID: MTrk size: 52",
        "meta event, delta: 0 type: 84",
        "smpte offset: 00:00:00:12:00 fps: 0",
        "meta event, delta: 0 type: 81",
        "microseconds per quarter note: 500000 beats per minute: 120",
        "meta event, delta: 0 type: 3 string: Cue track",
        "meta event, delta: 0 type: 4 string: QZ-62",
        "meta event, delta: 0 type: 5 string: 01:00:00:00",
        "delta: 19200 note on: 119 64",
        "system exclusive, size: 11 mfg: 20",
        "",
        "73 20 37 5c 6e 47 6f ",
        "midi rx: s 7\\nGo",
        "delta: 800 note on: 119 0",
        "meta event, delta: 0 type: 47",
        "",
    };
    EXPECT_EQ(lines, expected);
}

} // namespace

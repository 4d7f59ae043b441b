// The cue file as written, as a sequencer library reads it, and through qz62ctl.
#include "cues/CueMidiExport.h"
#include "midi/MidiFileReader.h"
#include "midi/MidiTrack.h"

#include "support/FilesAndTools.h"

#include <QDir>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

CueItem cue(const QString& in, const QString& text, const QString& id = "-") {
    CueItem item;
    item.cueId = id;
    item.cueIn = in;
    item.cueText = text;
    return item;
}

// The file's bytes, with the "MIDI offset" line in log.
QByteArray exportCues(const QList<CueItem>& cues, const QString& start, int type, double offset,
                      bool text, bool pulldown, bool cueId, QByteArray* log = nullptr) {
    MidiTrack track;
    track.setLogSink([log](const QByteArray& t) {
        if (log)
            *log += t;
    });
    return cuemidi::exportMidi(track, cues, start, type, offset, text, pulldown, cueId);
}

const QByteArray kHead = hex("4d546864 00000006 0001 0001 2580");
const QByteArray kNames =
    hex("00ff0309") + "Cue track" + hex("00ff0405") + "QZ-62" + hex("00ff050b");

TEST(MidiExportTest, WritesTheCueFileByteForByte) {
    // 24 fps, 800 ticks a frame: a cue 1 s after the start is 19200 ticks
    // (81 96 00) away. 0.5 s is 12 frames: 00:00:00:12, hour byte 0. Text
    // only: "s Hi" = 73 20 48 69 and the high-bit byte 00.
    QByteArray log;
    QByteArray bytes =
        exportCues({cue("01:00:01:00", "Hi")}, "01:00:00:00", 0, 0.5, true, false, false, &log);
    EXPECT_EQ(log, "MIDI offset: 00:00:00:12\n");
    EXPECT_EQ(bytes.toHex(),
              (kHead + hex("4d54726b 0000004f 00ff5405 000000 0c00 00ff5103 07a120") + kNames +
               "01:00:00:00" + hex("819600 907740 00f008 2001 7320486900 f7") +
               hex("8620 907700 00ff2f00"))
                  .toHex());

    // 30 fps (640 ticks), pulldown tempo 500500 (07 A3 14), 15 frames with
    // rate code 3 (hour byte 0x60). A drop-frame ";" in the start reads as
    // ":". Notes only. The second cue is earlier than the first: it goes
    // with the first, whose note ends there.
    bytes = exportCues({cue("00:00:01:00", "x"), cue("00000010", "y")}, " 00:00:00;00", 3, 0.5,
                       false, true, false, &log);
    EXPECT_EQ(bytes.toHex(),
              (kHead + hex("4d54726b 0000004c 00ff5405 600000 0f00 00ff5103 07a314") + kNames +
               "00:00:00:00" + hex("819600 907740 00 907700") +
               hex("00 907740 8620 907700 00ff2f00"))
                  .toHex());

    // Nothing for no cues, a timecode type the unit does not know or a start
    // that is not a timecode (which is said, not taken as midnight).
    EXPECT_TRUE(exportCues({}, "01:00:00:00", 3, 0, true, false, true).isEmpty());
    EXPECT_TRUE(
        exportCues({cue("01:00:00:00", "x")}, "01:00:00:00", 4, 0, true, false, true).isEmpty());
    for (const char* start : {"", "1:00:00:00", "01:00:00.00", "24:00:00:00"}) {
        MidiTrack track;
        QString error;
        EXPECT_FALSE(cuemidi::onExportMidi(track, "/nonexistent/x.mid", {cue("01:00:00:00", "x")},
                                           start, 3, 0, true, false, true, &error));
        EXPECT_TRUE(track.lastExportReport().unreadableStart) << start;
        EXPECT_EQ(error, QStringLiteral("the start \"%1\" is not a timecode (HH:MM:SS:FF)")
                             .arg(QLatin1String(start)));
    }

    // The settings message file: the hex numbers up to the first non-number,
    // each as its low byte (0x101 gives 01), no length inserted.
    MidiTrack track;
    track.setLogSink([](const QByteArray&) {});
    EXPECT_EQ(track.exportMidiSysex(" f0 05 7e 7F 0x09 101 f7 zz 33").toHex(),
              (kHead + hex("4d54726b 00000043 00ff5405 6000000000 00ff5103 07a120 00ff030b") +
               "sysex track" + hex("00ff0405") + "QZ-62" + hex("00ff050b") + "00:00:00:00" +
               hex("00 f0057e7f0901f7 00ff2f00"))
                  .toHex());
}

TEST(MidiExportTest, WritesTheStreamerOffset) {
    // -0.515625 s at 30 fps is -15.46875 frames: the day before, hundredths
    // -46 shown as 54, hours 23 with rate code 3 (0x77).
    const struct {
        int type;
        double seconds;
        const char *timecode, *smpte;
    } offsets[] = {{1, 0.5, "00:00:00:12", "2000000c32"},
                   {0, 3725.25, "01:02:05:06", "0102050600"},
                   {3, -0.515625, "23:59:59:15", "773b3b0f36"}};
    for (const auto& c : offsets) {
        QByteArray log;
        const QByteArray bytes = exportCues({cue("01:00:01:00", "x")}, "01:00:00:00", c.type,
                                            c.seconds, true, false, true, &log);
        EXPECT_EQ(log, "MIDI offset: " + QByteArray(c.timecode) + "\n");
        EXPECT_EQ(bytes.mid(22, 9).toHex(), "00ff5405" + QByteArray(c.smpte));
    }
}

// Time never runs back: the note events as (delta, velocity), and what the
// export says it moved.
TEST(MidiExportTest, PlacesCuesSoTimeNeverRunsBack) {
    const struct {
        int type;
        const char *start, *first, *second;
        const char* notes; // delta/velocity of each note event
        int moved, shortened;
    } cases[] = {
        // before the start: at the start, and its note ends at the next cue
        {0, "01:00:00:00", "00:59:00:00", "01:00:00:00", "0/64 0/0 0/64 800/0", 1, 1},
        // 20 s across midnight: the next day, not a day back
        {0, "23:59:50:00", "23:59:59:00", "00:00:10:00", "172800/64 800/0 210400/64 800/0", 0, 0},
        // out of order within the day: placed with the cue ahead of it
        {0, "01:00:00:00", "01:00:10:00", "01:00:05:00", "192000/64 0/0 0/64 800/0", 1, 1},
        // one 30 fps frame (640 ticks) apart: the first note is cut short
        {3, "01:00:00:00", "01:00:00:00", "01:00:00:01", "0/64 640/0 0/64 800/0", 0, 1}};
    for (const auto& c : cases) {
        MidiTrack track;
        MidiFileReader reader;
        QByteArray log;
        reader.setLogSink([&log](const QByteArray& t) { log += t; });
        reader.importMidi(cuemidi::exportMidi(track, {cue(c.first, ""), cue(c.second, "")}, c.start,
                                              c.type, 0, false, false, false));
        QStringList notes;
        for (const QByteArray& line : log.split('\n')) {
            int delta = 0, note = 0, velocity = 0;
            if (std::sscanf(line.constData(), "delta: %d note on: %d %d", &delta, &note,
                            &velocity) == 3)
                notes << QStringLiteral("%1/%2").arg(delta).arg(velocity);
        }
        EXPECT_EQ(notes.join(' '), QLatin1String(c.notes)) << c.first << " " << c.second;
        EXPECT_EQ(track.lastExportReport().movedCues, c.moved) << c.first << " " << c.second;
        EXPECT_EQ(track.lastExportReport().shortenedNotes, c.shortened) << c.first;
    }
}

// What a sequencer sees, read by Debian's python3-mido with a 7/8 decoder
// of its own: absolute ticks, tempo, the raw SMPTE offset, notes, texts.
const char* kMidoScript = R"(
import sys, mido
f = mido.MidiFile(sys.argv[1])
print('file', f.type, len(f.tracks), f.ticks_per_beat)
tick = 0
for m in f.tracks[0]:
    tick += m.time
    if m.type == 'smpte_offset':
        b = m.bytes()[3:]
        print('smpte', tick, b[0] >> 5, b[0] & 0x1f, b[1], b[2], b[3], b[4])
    elif m.type == 'set_tempo':
        print('tempo', tick, m.tempo)
    elif m.type == 'note_on':
        print('note', tick, m.channel, m.note, m.velocity)
    elif m.type == 'sysex':
        d, text = list(m.data), []
        for s in range(2, len(d), 8):
            block = d[s:s + 8]
            text += [b | (0x80 if block[-1] >> i & 1 else 0) for i, b in enumerate(block[:-1])]
        print('sysex', tick, d[0], d[1], bytes(text).decode('latin-1'))
    else:
        print(m.type, tick, getattr(m, 'name', getattr(m, 'text', '')))
)";

TEST(MidiExportTest, ASequencerReadsTheCues) {
    QTemporaryDir dir;
    const QString path = dir.filePath("cues.mid"), script = dir.filePath("read.py");
    ASSERT_TRUE(writeFile(script, kMidoScript));
    // 25 fps (768 ticks a frame) from 10:00:00:00: 50, 112 and 1500 frames;
    // A0 before the start goes at the start, A3 shares A2's time (A2's note
    // ends there). -2 s is -50 frames: 23:59:58:00 of the day before, rate
    // code 1.
    const QString longText = QStringLiteral("Caf\u00e9 ") + QString(250, u'z');
    MidiTrack track;
    track.setLogSink([](const QByteArray&) {});
    ASSERT_TRUE(cuemidi::onExportMidi(
        track, path,
        {cue("09:59:59:00", "Early", "A0"), cue("10:00:02:00", "First cue", "A1"),
         cue("10:00:04:12", longText, "A2"), cue("10:00:04:12", "Same", "A3"),
         cue("10:01:00:00", "", "A4")},
        "10:00:00:00", 1, -2.0, true, true, true));
    const ToolOutput o = runTool("/usr/bin/python3", {script, path});
    EXPECT_EQ(QString::fromUtf8(o.out).split('\n', Qt::SkipEmptyParts),
              QStringList({"file 1 1 9600",
                           "smpte 0 1 23 59 58 0 0",
                           "tempo 0 500500",
                           "track_name 0 Cue track",
                           "instrument_name 0 QZ-62",
                           "lyrics 0 10:00:00:00",
                           "note 0 0 119 64",
                           "sysex 0 32 1 s A0\\nEarly",
                           "note 800 0 119 0",
                           "note 38400 0 119 64",
                           "sysex 38400 32 1 s A1\\nFirst cue",
                           "note 39200 0 119 0",
                           "note 86016 0 119 64",
                           "sysex 86016 32 1 " + ("s A2\\n" + longText).left(217),
                           "note 86016 0 119 0",
                           "note 86016 0 119 64",
                           "sysex 86016 32 1 s A3\\nSame",
                           "note 86816 0 119 0",
                           "note 1152000 0 119 64",
                           "sysex 1152000 32 1 s A4\\n",
                           "note 1152800 0 119 0",
                           "end_of_track 1152800 "}))
        << o.err.toStdString();
}

const QByteArray kSheetHead = ";duplicate\t1\n;midnight\t1\n;text\t1\n;cueId\t0\n;pulldown\t0\n"
                              ";start\t01:00:00:00\n;tctype\t0\n";

TEST(MidiExportTest, CommandLineExportsTheSortedSheet) {
    QTemporaryDir dir;
    const QString sheet = dir.filePath("sheet.txt"), out = dir.filePath("cues.mid");
    // The cue window sorts (dropping the second of equal times) before it
    // exports; options override the header.
    const struct {
        QByteArray rows;
        QStringList options;
        QByteArray expected, log;
    } cases[] = {
        {"2\t01:00:05:00\t---\tWorld\t\n1\t01:00:01:00\t---\tHello\t\n1b\t01:00:01:00\t---\tx\t\n",
         {},
         exportCues({cue("01:00:01:00", "Hello"), cue("01:00:05:00", "World")}, "01:00:00:00", 0, 0,
                    true, false, false),
         "MIDI offset: 00:00:00:00\n"},
        {"1\t01:00:01:00\t---\tHello\t\n",
         {"--tctype", "3", "--start", "01:00:00:10", "--offset", "0.5", "--pulldown", "--no-text"},
         exportCues({cue("01:00:01:00", "Hello")}, "01:00:00:10", 3, 0.5, false, true, false),
         "MIDI offset: 00:00:00:15\n"}};
    for (const auto& c : cases) {
        ASSERT_TRUE(writeFile(sheet, kSheetHead + c.rows));
        const ToolOutput o = qz62ctl(QStringList{"export-midi", sheet, "-o", out} + c.options);
        EXPECT_EQ(o.exitCode, 0) << o.err.toStdString();
        EXPECT_EQ(o.out, c.log);
        EXPECT_EQ(readFile(out).toHex(), c.expected.toHex());
    }
    // dump-midi prints the reader's log.
    QByteArray log;
    MidiFileReader reader;
    reader.setLogSink([&log](const QByteArray& t) { log += t; });
    reader.importMidi(readFile(out));
    const ToolOutput dump = qz62ctl({"dump-midi", out});
    EXPECT_EQ(dump.exitCode, 0);
    EXPECT_EQ(dump.out, log);
}

TEST(MidiExportTest, CommandLineSaysWhatItChanged) {
    // A Windows-1252 sheet (E9 is é, 80 is €, which Latin-1 lacks) written
    // to standard output: the report goes to standard error, off the file.
    QTemporaryDir dir;
    const QString sheet = dir.filePath("sheet.txt");
    ASSERT_TRUE(writeFile(sheet, kSheetHead + "1\t00:59:00:00\t---\tCaf\xe9\t\n"
                                              "2\t01:00:01:00\t---\t\x80 5\t\n"));
    const ToolOutput o = qz62ctl({"export-midi", sheet, "-o", "/proc/self/fd/1"});
    EXPECT_EQ(o.exitCode, 0) << o.err.toStdString();
    EXPECT_EQ(o.out.toHex(), exportCues({cue("00:59:00:00", QStringLiteral("Caf\u00e9")),
                                         cue("01:00:01:00", QStringLiteral("\u20ac 5"))},
                                        "01:00:00:00", 0, 0, true, false, false)
                                 .toHex());
    for (const char* said :
         {"read as Windows-1252",
          "cue 2 at 01:00:01:00: the unit cannot show \xe2\x80\x9c\xe2\x82\xac\xe2\x80\x9d: "
          "written as \xe2\x80\x9c?\xe2\x80\x9d",
          "1 cue(s) placed later", "MIDI offset: 00:00:00:00"})
        EXPECT_TRUE(o.err.contains(said)) << said << " in " << o.err.toStdString();

    // dump-midi logs what it could read, then says what is wrong.
    const QByteArray whole =
        exportCues({cue("01:00:01:00", "x")}, "01:00:00:00", 0, 0, true, false, false);
    const std::pair<QByteArray, int> files[] = {
        {whole, 0}, {whole.left(whole.size() - 5), 1}, {"01:00:00:00 Go\n", 2}, {"", 2}};
    for (const auto& [bytes, status] : files) {
        ASSERT_TRUE(writeFile(sheet, bytes));
        const ToolOutput dump = qz62ctl({"dump-midi", sheet});
        EXPECT_EQ(dump.exitCode, status) << dump.err.toStdString();
        EXPECT_TRUE(dump.out.startsWith('\n'));
        EXPECT_EQ(dump.err.startsWith("qz62ctl: dump-midi: "), status != 0);
    }
}

TEST(MidiExportTest, CommandLineRefusesBadInputWithoutWriting) {
    QTemporaryDir dir;
    const QString sheet = dir.filePath("sheet.txt"), out = dir.filePath("cues.mid");
    const QString missing = dir.filePath("missing.txt"), noDir = dir.filePath("no/dir/cues.mid");
    const QByteArray good = kSheetHead + "1\t01:00:01:00\t---\tHello\t\n";
    const QStringList exportTo = {"export-midi", sheet, "-o", out};
    const struct {
        QByteArray sheet;
        QStringList args;
        QString named; // what the one-line message names
    } cases[] = {
        {good, exportTo + QStringList{"--tctype", "5"}, "'5'"},
        {good, exportTo + QStringList{"--offset", "inf"}, "'inf'"},
        {good, exportTo + QStringList{"--offset", "1e12"}, "'1e12'"},
        {good, exportTo + QStringList{"--start", "24:00:00:00"}, "'24:00:00:00'"},
        {good, exportTo + QStringList{"--offset"}, "--offset"},
        {good, exportTo + QStringList{"--loud"}, "'--loud'"},
        {kSheetHead, exportTo, "no cues"},
        {QByteArray(kSheetHead).replace("01:00:00:00", "1:00") + "1\t01:00:01:00\t---\tHello\t\n",
         exportTo, "the start '1:00' is not a timecode"},
        {good, exportTo + QStringList{"-o", noDir}, noDir},
        {good, exportTo + QStringList{"-o", out, missing}, "more than one"},
        {good, {"export-midi", missing, "-o", out}, missing},
        {good, {"export-midi", sheet}, ""},
        {good, {"dump-midi", missing}, missing},
        {good, {"dump-midi"}, ""}};
    for (const auto& c : cases) {
        ASSERT_TRUE(writeFile(sheet, c.sheet));
        ASSERT_TRUE(writeFile(out, "earlier file"));
        EXPECT_TRUE(refused(qz62ctl(c.args), c.named)) << c.args.join(' ').toStdString();
        EXPECT_EQ(readFile(out), "earlier file");
    }
    EXPECT_FALSE(QFile::exists(noDir));
    // No temporary files left behind.
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 2);
}

} // namespace

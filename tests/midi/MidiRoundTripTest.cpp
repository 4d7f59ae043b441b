// Cue files back as rows: what the export wrote comes back at its times,
// however far apart, and files written elsewhere are read by their own
// tempo, start and frame rate.
#include "cues/CueMidiExport.h"
#include "cues/CueSheet.h"
#include "midi/MidiFileReader.h"
#include "midi/MidiTrack.h"

#include "support/CueTestSupport.h"
#include "support/FilesAndTools.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

CueSheetSettings settings(int type, bool text, bool cueId, bool pulldown = false,
                          const char* start = "01:00:00:00") {
    CueSheetSettings s;
    s.tctype = type;
    s.text = text;
    s.cueId = cueId;
    s.pulldown = pulldown;
    s.start = QLatin1String(start);
    return s;
}

QByteArray exportRows(const QList<CueItem>& rows, const CueSheetSettings& s) {
    MidiTrack track;
    track.setLogSink([](const QByteArray&) {});
    return cuemidi::exportMidi(track, rows, s.start, s.tctype, -1.5, s.text, s.pulldown, s.cueId);
}

std::optional<cuemidi::FileRows> importBytes(const QByteArray& bytes, const CueSheetSettings& s,
                                             QString* error = nullptr) {
    MidiFileReader reader;
    reader.setLogging(false);
    return cuemidi::readRows(reader, bytes, s, error);
}

// Gaps of 2^28 ticks and more (3 h 53 min at 19200 ticks a second) are
// bridged, read back by Debian's python3-mido: every cue of a sheet over 23
// hours lands on its frame, from a start written in drop-frame notation.
TEST(MidiRoundTrip, LongGapsLandOnTheirFrames) {
    QTemporaryDir dir;
    const QString path = dir.filePath("day.mid"), script = dir.filePath("ticks.py");
    ASSERT_TRUE(writeFile(script, "import sys, mido\n"
                                  "tick = 0\n"
                                  "for m in mido.MidiFile(sys.argv[1]).tracks[0]:\n"
                                  "    tick += m.time\n"
                                  "    if m.type == 'note_on' and m.velocity:\n"
                                  "        print(tick)\n"));
    const QStringList times = {"01:00:01:00", "05:00:00:00", "12:00:00:13", "23:59:59:24"};
    QList<CueItem> rows;
    for (const QString& in : times)
        rows << cueRow("", qPrintable(in), "", "", "");
    MidiTrack track;
    track.setLogSink([](const QByteArray&) {});
    ASSERT_TRUE(cuemidi::onExportMidi(track, path, rows, "01:00:00;00", 1, 0, false, false, false));
    const ToolOutput o = runTool("/usr/bin/python3", {script, path});
    const TcCalculator tcc;
    QStringList expected;
    for (const QString& in : times)
        expected << QString::number((qint64(tcc.tcToBinary(in, 1)) - 25 * 3600) * 768);
    EXPECT_EQ(QString::fromUtf8(o.out).split('\n', Qt::SkipEmptyParts), expected)
        << o.err.toStdString();
}

// A sheet exported and imported with the same options gives back its in
// times exactly, and identifiers and texts as they were exported (a text
// needing "?" comes back with it, a long one cut where the file cut it).
TEST(MidiRoundTrip, ExportedSheetsComeBackAsRows) {
    const QString longText(300, u'y');
    const struct {
        const char* name;
        CueSheetSettings options;
        QList<CueItem> rows;
        QList<CueItem> back; // identifier, in time and text of each row
    } cases[] = {
        {"24 fps, identifier and text",
         settings(0, true, true),
         {cueRow("1M1\t", "01:00:00:00", "01:00:02:00", "Main title", "n"),
          cueRow("1M2", "01:00:10:05", "",
                 "Caf\xc3\xa9 \xe2\x82\xac"
                 "5",
                 ""),
          cueRow("", "01:59:59:23", "", "no id", "")},
         {cueRow("1M1", "01:00:00:00", "", "Main title", ""),
          cueRow("1M2", "01:00:10:05", "", "Caf\xc3\xa9 ?5", ""),
          cueRow("", "01:59:59:23", "", "no id", "")}},
        {"drop frame with pulldown, from a drop-frame start",
         settings(2, true, true, true, "00:59:00;00"),
         {cueRow("A", "00:59:59:29", "", "a", ""), cueRow("B", "01:01:00:02", "", "b", ""),
          cueRow("C", "01:10:00:00", "", "c", ""), cueRow("D", "05:09:59:29", "", "d", "")},
         {cueRow("A", "00:59:59:29", "", "a", ""), cueRow("B", "01:01:00:02", "", "b", ""),
          cueRow("C", "01:10:00:00", "", "c", ""), cueRow("D", "05:09:59:29", "", "d", "")}},
        {"25 fps, text only: an escape in it stays",
         settings(1, true, false),
         {cueRow("X", "10:00:00:00", "", "Hello\\nWorld", "")},
         {cueRow("", "10:00:00:00", "", "Hello\\nWorld", "")}},
        {"30 fps, identifiers only, across midnight and half a day apart",
         settings(3, false, true, false, "22:00:00:00"),
         {cueRow("late", "23:59:59:29", "", "t", ""), cueRow("next", "00:00:10:00", "", "t", ""),
          cueRow("noon", "11:00:00:00", "", "t", "")},
         {cueRow("late", "23:59:59:29", "", "", ""), cueRow("next", "00:00:10:00", "", "", ""),
          cueRow("noon", "11:00:00:00", "", "", "")}},
        {"a text longer than a file holds",
         settings(3, true, true),
         {cueRow("L", "01:00:00:00", "", qPrintable(longText), "")},
         {cueRow("L", "01:00:00:00", "", qPrintable(longText.left(212)), "")}},
    };
    for (const auto& c : cases) {
        QString error;
        const std::optional<cuemidi::FileRows> read =
            importBytes(exportRows(c.rows, c.options), c.options, &error);
        ASSERT_TRUE(read) << c.name << ": " << error.toStdString();
        EXPECT_EQ(read->rows, c.back) << c.name;
        EXPECT_TRUE(read->startFromFile) << c.name;
        EXPECT_EQ(read->tcType, c.options.tctype) << c.name;
        EXPECT_EQ(read->pulldown, c.options.pulldown) << c.name;
        EXPECT_TRUE(read->damage.isEmpty()) << c.name;
    }
}

QByteArray fileWith(const QByteArray& division, const QByteArray& events) {
    const auto n = quint32(events.size());
    return "MThd" + hex("000000060001 0001") + division + "MTrk" + char(n >> 24) + char(n >> 16) +
           char(n >> 8) + char(n) + events;
}

// Files written elsewhere: their tempo, their start and frame rate or the
// sheet's, triggers on any channel, text messages that are not cue texts.
TEST(MidiRoundTrip, FilesFromElsewhere) {
    const QByteArray lyric = hex("00ff050b") + "02:00:00:00";
    const QByteArray note = hex("907740"), text = hex("00f007 2001 732041 00 f7"); // "s A"
    const struct {
        const char* name;
        QByteArray file;
        QStringList in; // in time and text of each row
        bool startFromFile;
        const char* damage;
    } cases[] = {
        {"no start: the sheet's, at its 25 fps; 120 bpm at 480 ticks a beat: 1 s, 3 s",
         fileWith(hex("01e0"), hex("00ff0301") + "x" + hex("8740") + note + text +
                                   hex("8f00 9b7740") + hex("00f003 2002f7")),
         {"01:00:01:00 A", "01:00:03:00 "},
         false,
         ""},
        {"its start and rate, a tempo of 60 bpm from the second cue on",
         fileWith(hex("2580"), lyric + hex("00ff5405 2000000000") + hex("00") + note +
                                   hex("00ff5103 0f4240") + hex("8f00") + note + text),
         {"02:00:00:00 ", "02:00:00:05 A"},
         true,
         ""},
        {"frames for ticks: 25 fps at 40 ticks a frame",
         fileWith(hex("e728"), lyric + hex("00ff5405 2000000000") + hex("8310") + note),
         {"02:00:00:10 "},
         true,
         ""},
        {"cut short after the first cue",
         fileWith(hex("2580"), lyric + hex("00") + note + text + hex("00 9077")),
         {"02:00:00:00 A"},
         true,
         "the track ends inside an event"},
    };
    for (const auto& c : cases) {
        QString error;
        const std::optional<cuemidi::FileRows> read =
            importBytes(c.file, settings(1, true, false), &error);
        ASSERT_TRUE(read) << c.name << ": " << error.toStdString();
        QStringList rows;
        for (const CueItem& row : read->rows)
            rows << row.cueIn + u' ' + row.cueText;
        EXPECT_EQ(rows, c.in) << c.name;
        EXPECT_EQ(read->startFromFile, c.startFromFile) << c.name;
        EXPECT_TRUE(read->damage.contains(QLatin1String(c.damage))) << c.name;
    }
    // Nothing without a start to count from, or from what is not a MIDI file.
    QString error;
    EXPECT_FALSE(importBytes(fileWith(hex("2580"), hex("00") + note),
                             settings(1, true, true, false, ""), &error));
    EXPECT_EQ(error, QStringLiteral("the file names no start and the sheet's start \"\" is not a "
                                    "timecode (HH:MM:SS:FF)"));
    EXPECT_FALSE(importBytes("01:00:00:00 Go\n", settings(1, true, true), &error));
    EXPECT_EQ(error, QStringLiteral("no MThd header chunk: not a MIDI file"));
}

// qz62ctl import reads MIDI files too, and says what it read.
TEST(MidiRoundTrip, CommandLineImportsAFile) {
    QTemporaryDir dir;
    const QString path = dir.filePath("reel.mid");
    ASSERT_TRUE(writeFile(path, exportRows({cueRow("7M1", "01:00:04:00", "", "Sting", "")},
                                           settings(1, true, true, true))));
    const ToolOutput o = qz62ctl({"import", path, "--tctype", "1"});
    EXPECT_EQ(o.exitCode, 0) << o.err.toStdString();
    EXPECT_TRUE(o.out.endsWith("\n7M1\t01:00:04:00\t---\tSting\t\n")) << o.out.toStdString();
    EXPECT_EQ(o.err, "qz62ctl: import: " + path.toUtf8() +
                         ": 1 cue, counted from 01:00:00:00 at 25 fps, pulldown\n");
}

} // namespace

// Event writers and the file reader's log.
#include "midi/MidiTrack.h"
#include "midi/MidiFileReader.h"
#include "protocol/Coding78.h"

#include "support/FilesAndTools.h"

#include <gtest/gtest.h>
#include <memory>

namespace {

using testsupport::hex;
using Verdict = MidiFileReader::ReadVerdict;

// Everything the reader logs, and the lines from the first chunk on.
struct Logged {
    MidiFileReader reader;
    QByteArray text;
    Logged() {
        reader.setLogSink([this](const QByteArray& t) { text += t; });
    }
    QStringList chunkLines() const {
        const QString all = QString::fromLatin1(text);
        const qsizetype first = all.indexOf(QLatin1String("chunk ID:"));
        return first < 0 ? QStringList() : all.mid(first).split('\n', Qt::SkipEmptyParts);
    }
};

TEST(MidiTrackTest, WritesVariableLengthValuesAndMetaEvents) {
    // Four groups at most: bit 28 and up are lost; a negative value is its
    // 32-bit pattern (-800 = FFFFFCE0: groups 60, 79, 7F, 7F from the low end).
    // clang-format off
    const std::pair<int, const char*> values[] = {
        {127, "7f"}, {128, "8100"}, {19200, "819600"}, {-800, "fffff960"},
        {0x0FFFFFFF, "ffffff7f"}, {0x10000000, "80808000"}};
    // clang-format on
    for (const auto& [value, bytes] : values) {
        QByteArray data;
        MidiTrack::writeVarLenValue(data, value);
        EXPECT_EQ(data.toHex(), hex(bytes).toHex()) << value;
    }
    // The length is one byte holding the character count, and that many
    // bytes of the UTF-8 form follow (é: 1 character, 1 of its 2 bytes).
    const std::pair<QString, QByteArray> metas[] = {
        {"Cue track", hex("8148ff0309") + "Cue track"},
        {QStringLiteral("\u00e9"), hex("8148ff0301c3")},
        {QString(130, u'a'), hex("8148ff0382") + QByteArray(130, 'a')},
        {QString(300, u'b'), hex("8148ff032c") + QByteArray(300, 'b')}};
    for (const auto& [text, bytes] : metas) {
        QByteArray data;
        MidiTrack::writeMetaDataString(data, 200, 3, text);
        EXPECT_EQ(data.toHex(), bytes.toHex()) << text.size();
    }
}

TEST(MidiTrackTest, WritesCueNoteAndTextMessage) {
    // "s A" = 73 20 41: one group, no high bits, body 20 01 73 20 41 00 F7;
    // é (E9) is 69 with bit 2 set in the high-bit byte. A character without
    // a Latin-1 form goes as "?" (3F), one for a character beyond the basic
    // plane too; typographic punctuation as its plain form.
    const struct {
        QString text;
        const char* bytes;
        int substituted;
    } cases[] = {
        {QString(), "00907740", 0},
        {"A", "00907740 00f007 2001732041 00f7", 0},
        {QStringLiteral("\u00e9"), "00907740 00f007 2001732069 04f7", 0},
        {QStringLiteral("\u20ac"), "00907740 00f007 200173203f 00f7", 1},
        {QStringLiteral("\u2019\u00a0\u2026"), "00907740 00f00b 2001 732027202e2e2e 00 f7", 0},
        {QStringLiteral("\u201c\u2014\u20ac\U0001F3B5"), "00907740 00f00a 2001 7320222d3f3f 00 f7",
         2}};
    for (const auto& c : cases) {
        QByteArray data;
        EXPECT_EQ(MidiTrack::writeCue(data, 0, c.text), c.substituted) << c.bytes;
        EXPECT_EQ(data.toHex(), hex(c.bytes).toHex());
    }
    // "s " plus 300 characters is cut to 217 bytes: 248 coded, a body of 251.
    QByteArray data;
    MidiTrack::writeCue(data, 0, QString(300, u'x'));
    ASSERT_EQ(data.size(), 4 + 4 + 251);
    EXPECT_EQ(data.mid(4, 4).toHex(), QByteArray("00f0817b"));
    EXPECT_EQ(coding78::decode78(data.mid(10, 248)), "s " + QByteArray(215, 'x'));
}

TEST(MidiTrackTest, LogsSystemExclusiveMessagesAndDumps) {
    // 17 bytes: a line break before the first and before the seventeenth.
    const std::pair<const char*, const char*> cases[] = {
        {"437f0001f7", "system exclusive, size: 5 mfg: 43\n"},
        {"2001732069 04f7",
         "system exclusive, size: 7 mfg: 20\n\n73 20 e9 \nmidi rx: s \xc3\xa9\n"},
        {"2001 61616161616161 00 61616161616161 00 626262 00 f7",
         "system exclusive, size: 23 mfg: 20\n\n61 61 61 61 61 61 61 61 61 61 61 61 61 61 62 62 "
         "\n62 \nmidi rx: aaaaaaaaaaaaaabbb\n"}};
    for (const auto& [message, log] : cases) {
        Logged logged;
        logged.reader.decodeSysexData(hex(message));
        EXPECT_EQ(logged.text.toStdString(), std::string(log));
    }
    // Blanks and control bytes show as dots; the last line, even a full one,
    // gets no character column.
    Logged logged;
    logged.reader.importMidi(hex("00200a41424344454647484949494949") + "0123456789abcdef");
    EXPECT_TRUE(logged.text.startsWith(
        "\n0000: 00 20 0a 41 42 43 44 45 \t46 47 48 49 49 49 49 49 ...ABCDE\tFGHIIIII\n"
        "0010: 30 31 32 33 34 35 36 37 \t38 39 61 62 63 64 65 66 \n"));
}

// Reads bytes held in a block of exactly their size (a QByteArray has a
// terminating zero behind it), so the sanitizer builds catch a read one byte
// past the end.
MidiFileReader::ReadReport importExact(MidiFileReader& reader, const QByteArray& bytes) {
    const auto exact = std::make_unique<char[]>(size_t(bytes.size()));
    std::copy_n(bytes.constData(), bytes.size(), exact.get());
    return reader.importMidi(QByteArray::fromRawData(exact.get(), bytes.size()));
}

QByteArray fileWith(const QByteArray& events) {
    const auto n = quint32(events.size());
    return "MThd" + hex("00000006000100012580") + "MTrk" + char(n >> 24) + char(n >> 16) +
           char(n >> 8) + char(n) + events;
}

const QByteArray kEvents = hex("00ff5405 6100000f32 00ff5103 07a120 00ff0309") + "Cue track" +
                           hex("00ff00020007 00ff7f0100 819600907740") +
                           hex("00f007 2001732041 00f7 8620907700 00b00764 00ff2f00");

const QStringList kEventLog = {"chunk ID: MThd size: 6",
                               "format: 1 tracks: 1 timeDivision: 9600",
                               "chunk ID: MTrk size: 45",
                               "meta event, delta: 0 type: 84",
                               "smpte offset: 01:00:00:15:50 fps: 3",
                               "meta event, delta: 0 type: 81",
                               "microseconds per quarter note: 500000 beats per minute: 120",
                               "meta event, delta: 0 type: 3 string: Cue track",
                               "meta event, delta: 0 sequence number: 7",
                               "meta event, delta: 0 type: 127",
                               "delta: 19200 note on: 119 64",
                               "system exclusive, size: 7 mfg: 20",
                               "73 20 41 ",
                               "midi rx: s A",
                               "delta: 800 note on: 119 0", // the controller after it is skipped
                               "meta event, delta: 0 type: 47"};

TEST(MidiTrackTest, LogsChunksAndEventsOfWholeAndCutFiles) {
    Logged logged;
    EXPECT_EQ(logged.reader.importMidi(fileWith(kEvents)).verdict, Verdict::Complete);
    EXPECT_EQ(logged.chunkLines(), kEventLog);
    EXPECT_EQ(logged.reader.timeDivision(), 9600);
    // Cut anywhere, a file logs the events before the cut and nothing else,
    // and says it is damaged.
    const QByteArray whole = fileWith(kEvents);
    for (int cut = 22; cut < whole.size(); ++cut) {
        Logged part;
        EXPECT_EQ(importExact(part.reader, whole.left(cut)).verdict, Verdict::Damaged) << cut;
        const QStringList lines = part.chunkLines();
        EXPECT_EQ(lines, kEventLog.first(lines.size())) << cut;
    }
    // A line longer than any buffer comes out whole.
    const QByteArray longText(250, 'n');
    Logged longLine;
    longLine.reader.importMidi(fileWith(hex("00ff03fa") + longText + hex("00ff2f00")));
    EXPECT_EQ(longLine.chunkLines().value(3),
              "meta event, delta: 0 type: 3 string: " + QString::fromLatin1(longText));
    // Not a MIDI file at all: logged all the same.
    for (const QByteArray& notMidi : {QByteArray(), QByteArray("cue list\n01:00:00:00 Go\n")}) {
        Logged text;
        EXPECT_EQ(text.reader.importMidi(notMidi).verdict, Verdict::NotMidi);
        EXPECT_TRUE(text.text.startsWith("\n")) << notMidi.constData();
    }
}

TEST(MidiTrackTest, DamagedTracksStopTheChunk) {
    const QStringList note = {"delta: 0 note on: 119 64"};
    const struct {
        const char* events;
        QStringList log;
        Verdict verdict;
    } cases[] = {
        {"00907740 107700", note, Verdict::Damaged}, // no running status
        {"00c005 00ff2f00", {}, Verdict::Damaged},   // program change: 3 bytes skipped, misread
        {"00f8 00ff2f00", {}, Verdict::Damaged},     // other system messages end the chunk
        {"00f07f 2001f7", {}, Verdict::Damaged},     // sysex longer than the chunk
        {"00ff0320 616263", {}, Verdict::Damaged},   // meta text longer than the chunk
        {"00ff5402 6100 00ff5103 000000",
         {"meta event, delta: 0 type: 84", "meta event, delta: 0 type: 81"},
         Verdict::Complete},
        {"8fffffff7f 907740", {"delta: -1 note on: 119 64"}, Verdict::Complete}};
    for (const auto& c : cases) {
        Logged logged;
        EXPECT_EQ(importExact(logged.reader, fileWith(hex(c.events))).verdict, c.verdict)
            << c.events;
        EXPECT_EQ(logged.chunkLines().mid(3), c.log) << c.events;
    }
    // A size beyond the file, a header too short for its fields, an unknown
    // chunk, trailing bytes too few for a chunk header.
    Logged odd;
    EXPECT_EQ(odd.reader
                  .importMidi("MThd" + hex("000000020001") + "XFIL" + hex("0000000100") + "MTrk" +
                              hex("ffffffff 00907740") + "MTr")
                  .verdict,
              Verdict::Damaged);
    EXPECT_EQ(odd.chunkLines(),
              QStringList({"chunk ID: MThd size: 2", "chunk ID: XFIL size: 1",
                           "chunk ID: MTrk size: ffffffff", "delta: 0 note on: 119 64"}));
}

} // namespace

#include "midi/MidiTrack.h"

#include <QRandomGenerator>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <ostream>

void PrintTo(const QString& text, std::ostream* os) {
    *os << '"' << text.toStdString() << '"';
}

namespace {

QByteArray hex(const char* text) {
    return QByteArray::fromHex(text);
}

// The log a MidiTrack writes, captured.
struct CapturedLog {
    MidiTrack track;
    QByteArray text;
    CapturedLog() {
        track.setLogSink([this](const QByteArray& t) { text += t; });
    }
    // Lines from the first chunk line on (the hex dump comes before it).
    QStringList chunkLines() const {
        const QStringList all = QString::fromLatin1(text).split(QLatin1Char('\n'));
        qsizetype first = 0;
        while (first < all.size() && !all.at(first).startsWith(QLatin1String("chunk ID:")))
            ++first;
        QStringList lines = all.mid(first);
        if (!lines.isEmpty() && lines.last().isEmpty())
            lines.removeLast();
        return lines;
    }
};

struct VarLenCase {
    int value;
    const char* bytes;
};

const VarLenCase kVarLenCases[] = {
    {0, "00"},
    {127, "7f"},
    {128, "8100"},
    {800, "8620"},
    {16384, "818000"},
    {19200, "819600"}, // one second at 9600 ticks per quarter, 120 bpm
    {0x0FFFFFFF, "ffffff7f"},
    // Four groups at most: bit 28 and above are lost.
    {0x10000000, "80808000"},
    {0x7FFFFFFF, "ffffff7f"},
    // Negative deltas go out as their 32-bit pattern, cut to four groups:
    // -800 = FFFFFCE0, groups 60, 79, 7F, 7F from the low end.
    {-1, "ffffff7f"},
    {-800, "fffff960"},
};

TEST(MidiTrackTest, WritesVariableLengthValues) {
    for (const VarLenCase& c : kVarLenCases) {
        SCOPED_TRACE(c.value);
        QByteArray data = "x";
        MidiTrack::writeVarLenValue(data, c.value);
        EXPECT_EQ(data.mid(1).toHex(), QByteArray(c.bytes));
    }
}

struct MetaCase {
    int delta;
    int type;
    QString text;
    QByteArray bytes;
};

TEST(MidiTrackTest, WritesMetaEventsWithCharacterCountLength) {
    const MetaCase cases[] = {
        {0, 3, QStringLiteral("Cue track"), hex("00ff0309") + "Cue track"},
        {200, 5, QStringLiteral("01:00:00:00"), hex("8148ff050b") + "01:00:00:00"},
        {0, 1, QString(), hex("00ff0100")},
        // One character, two bytes in UTF-8: the length byte says 1 and one
        // byte is copied.
        {0, 1, QStringLiteral("\u00e9"), hex("00ff0101c3")},
        // 130 characters: one length byte 0x82 (not a variable-length
        // quantity), all 130 bytes copied.
        {0, 1, QString(130, u'a'), hex("00ff0182") + QByteArray(130, 'a')},
        // 300 characters: the length byte keeps the low 8 bits (0x2C).
        {0, 1, QString(300, u'b'), hex("00ff012c") + QByteArray(300, 'b')},
    };
    for (const MetaCase& c : cases) {
        SCOPED_TRACE(c.text.size());
        QByteArray data;
        MidiTrack::writeMetaDataString(data, c.delta, c.type, c.text);
        EXPECT_EQ(data.toHex(), c.bytes.toHex());
    }
}

struct CueCase {
    int delta;
    QString text;
    const char* bytes;
};

TEST(MidiTrackTest, WritesCueNoteAndTextMessage) {
    const CueCase cases[] = {
        {0, QString(), "00907740"},
        // "s A" = 73 20 41, one group with no high bits: 73 20 41 00; body
        // 20 01 73 20 41 00 F7 is 7 bytes.
        {19200, QStringLiteral("A"),
         "819600907740"
         "00f007"
         "2001732041"
         "00f7"},
        // é (E9) goes out as 69 with bit 2 in the high-bit byte.
        {0, QStringLiteral("\u00e9"),
         "00907740"
         "00f007"
         "2001732069"
         "04f7"},
        // No Latin-1 form: the message carries nothing.
        {0, QStringLiteral("\u20ac"),
         "00907740"
         "00f003"
         "2001f7"},
        // A negative delta keeps its 32-bit pattern.
        {-1, QString(), "ffffff7f907740"},
    };
    for (const CueCase& c : cases) {
        SCOPED_TRACE(c.bytes);
        QByteArray data;
        MidiTrack::writeCue(data, c.delta, c.text);
        EXPECT_EQ(data.toHex(), QByteArray(c.bytes));
    }
}

TEST(MidiTrackTest, CutsCueTextAt217Characters) {
    // "s " plus 300 characters is cut to 217 bytes: 31 full groups of 7, 248
    // coded bytes, a body of 251 (F0 length 81 7B).
    QByteArray data;
    MidiTrack::writeCue(data, 0, QString(300, u'x'));
    ASSERT_EQ(data.size(), 4 + 2 + 2 + 251);
    EXPECT_EQ(data.mid(4, 4).toHex(), QByteArray("00f0817b"));
    const QByteArray body = data.mid(8);
    EXPECT_EQ(body.left(2), hex("2001"));
    EXPECT_EQ(static_cast<unsigned char>(body.back()), 0xF7);
    EXPECT_EQ(MidiTrack::decode78(body.mid(2, body.size() - 3)), "s " + QByteArray(215, 'x'));
}

struct CueTextCase {
    QString id;
    QString text;
    bool textIncluded;
    bool cueIdIncluded;
    QString expected;
};

TEST(MidiTrackTest, BuildsCueText) {
    const QString priv = QString(QChar(0xF8FF)) + QChar(0xF001);
    const CueTextCase cases[] = {
        // Backslash and n: the unit's line-break escape, not a newline.
        {"12", "Hello", true, true, QStringLiteral("12\\nHello")},
        {"12", "Hello", true, false, QStringLiteral("Hello")},
        {"12", "Hello", false, true, QStringLiteral("12")},
        {"12", "Hello", false, false, QString()},
        // Leading private-use symbols go, blanks stay (nothing is trimmed).
        {priv + "12 ", priv + " Hello ", true, true, QStringLiteral("12 \\n Hello ")},
        // U+F000 itself is kept; only codes above it are symbols.
        {QString(QChar(0xF000)) + "7", "", true, true, QString(QChar(0xF000)) + "7\\n"},
        {"", "", true, true, QStringLiteral("\\n")},
    };
    for (const CueTextCase& c : cases) {
        SCOPED_TRACE(c.expected.toStdString());
        CueItem item;
        item.cueId = c.id;
        item.cueText = c.text;
        EXPECT_EQ(MidiTrack::cueItemText(item, c.textIncluded, c.cueIdIncluded), c.expected);
    }
}

struct Coding78Case {
    const char* plain;
    const char* coded;
};

TEST(MidiTrackTest, CodesSevenEight) {
    const Coding78Case cases[] = {
        {"", ""},
        {"c1", "4101"},
        {"80010203040506ff", "0001020304050601"
                             "7f01"}, // 8 bytes: a full group and one
        {"800102030405ff", "000102030405"
                           "7f41"},
        {"7f7f7f7f7f7f7f", "7f7f7f7f7f7f7f00"},
        {"ffffffffffffffff", "7f7f7f7f7f7f7f7f"
                             "7f01"},
    };
    for (const Coding78Case& c : cases) {
        SCOPED_TRACE(c.plain);
        EXPECT_EQ(MidiTrack::encode78(hex(c.plain)).toHex(), QByteArray(c.coded));
        EXPECT_EQ(MidiTrack::decode78(hex(c.coded)).toHex(), QByteArray(c.plain));
    }
}

TEST(MidiTrackTest, SevenEightCutsAt217Bytes) {
    // The document's self-test: 256 bytes in, 248 coded, 217 back.
    QByteArray all(256, '\0');
    for (int i = 0; i < 256; ++i)
        all[i] = char(i);
    const QByteArray coded = MidiTrack::encode78(all);
    EXPECT_EQ(coded.size(), 248);
    for (const char b : coded)
        EXPECT_EQ(b & 0x80, 0);
    const QByteArray back = MidiTrack::decode78(coded);
    EXPECT_EQ(back.size(), 217);
    EXPECT_EQ(back, all.left(217));
}

TEST(MidiTrackTest, LogsSystemExclusiveMessages) {
    struct Case {
        const char* message;
        const char* log;
    };
    const Case cases[] = {
        {"20017320410"
         "0f7",
         "system exclusive, size: 7 mfg: 20\n\n73 20 41 \nmidi rx: s A\n"},
        // Another maker's message: only the first line.
        {"437f0001f7", "system exclusive, size: 5 mfg: 43\n"},
        {"2002f7", "system exclusive, size: 3 mfg: 20\n"},
        {"2001f7", "system exclusive, size: 3 mfg: 20\n\nmidi rx: \n"},
        // Latin-1 é prints in UTF-8.
        {"2001732069"
         "04f7",
         "system exclusive, size: 7 mfg: 20\n\n73 20 e9 \nmidi rx: s \xc3\xa9\n"},
        // 17 bytes: a line break before the first and the seventeenth.
        {"2001"
         "61616161616161"
         "00"
         "61616161616161"
         "00"
         "626262"
         "00"
         "f7",
         "system exclusive, size: 23 mfg: 20\n"
         "\n61 61 61 61 61 61 61 61 61 61 61 61 61 61 62 62 \n62 \n"
         "midi rx: aaaaaaaaaaaaaabbb\n"},
        {"", "system exclusive, size: 0 mfg: 0\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        CapturedLog log;
        log.track.decodeSysexData(hex(c.message));
        EXPECT_EQ(log.text.toStdString(), std::string(c.log));
    }
}

TEST(MidiTrackTest, DumpsBytesInLinesOfSixteen) {
    CapturedLog log;
    log.track.importMidi("ABCDEFGHIJKLMNOPQ R");
    const QByteArray dump =
        "\n0000: 41 42 43 44 45 46 47 48 \t49 4a 4b 4c 4d 4e 4f 50 ABCDEFGH\tIJKLMNOP"
        "\n0010: 51 20 52 \n";
    EXPECT_TRUE(log.text.startsWith(dump)) << log.text.toStdString();
    // Blanks and control bytes show as dots; the last line, even when full,
    // has no character column.
    CapturedLog second;
    second.track.importMidi(hex("00200a41424344454647484949494949") + "0123456789abcdef");
    EXPECT_TRUE(second.text.startsWith("\n0000: 00 20 0a 41 42 43 44 45 \t46 47 48 49 49 49 49 49 "
                                       "...ABCDE\tFGHIIIII\n0010: 30 31 32 33 34 35 36 37 \t38 39 "
                                       "61 62 63 64 65 66 \n"));
    CapturedLog empty;
    empty.track.importMidi(QByteArray());
    EXPECT_EQ(empty.text, QByteArray("\n"));
}

// Bytes on a heap block of exactly their size (no terminating zero as a
// QByteArray has), so the sanitizer builds catch a read one byte past the end.
class ExactBuffer {
public:
    explicit ExactBuffer(const QByteArray& bytes)
        : m_size(bytes.size()), m_data(new char[size_t(std::max<qsizetype>(m_size, 1))]) {
        std::copy_n(bytes.constData(), m_size, m_data.get());
    }
    QByteArray bytes() const { return QByteArray::fromRawData(m_data.get(), m_size); }

private:
    qsizetype m_size;
    std::unique_ptr<char[]> m_data;
};

QByteArray header() {
    return "MThd" + hex("00000006"
                        "0001"
                        "0001"
                        "2580");
}

QByteArray trackChunk(const QByteArray& events) {
    QByteArray chunk = "MTrk";
    const auto n = quint32(events.size());
    chunk.append(char(n >> 24)).append(char(n >> 16)).append(char(n >> 8)).append(char(n));
    return chunk + events;
}

const QByteArray kEvents = hex("00ff5405"
                               "6100000f32") // SMPTE offset 01:00:00:15.50, 30 fps
                           + hex("00ff5103"
                                 "07a120")                 // 500000 us per quarter
                           + hex("00ff0309") + "Cue track" //
                           + hex("00ff0002"
                                 "0007") // sequence number 7
                           + hex("00ff7f01"
                                 "00") // sequencer-specific
                           + hex("819600"
                                 "907740") // 19200 ticks, cue note
                           + hex("00f007"
                                 "2001732041"
                                 "00f7") //
                           + hex("8620"
                                 "907700") // note end 800 ticks later
                           + hex("00"
                                 "b00764") // a controller, skipped
                           + hex("00ff2f00");

const QStringList kEventLog = {
    "meta event, delta: 0 type: 84",
    "smpte offset: 01:00:00:15:50 fps: 3",
    "meta event, delta: 0 type: 81",
    "microseconds per quarter note: 500000 beats per minute: 120",
    "meta event, delta: 0 type: 3 string: Cue track",
    "meta event, delta: 0 sequence number: 7",
    "meta event, delta: 0 type: 127",
    "delta: 19200 note on: 119 64",
    "system exclusive, size: 7 mfg: 20",
    "",
    "73 20 41 ",
    "midi rx: s A",
    "delta: 800 note on: 119 0",
    "meta event, delta: 0 type: 47",
};

TEST(MidiTrackTest, LogsChunksAndEvents) {
    ASSERT_EQ(kEvents.size(), 0x45);
    CapturedLog log;
    log.track.importMidi(header() + trackChunk(kEvents));
    const QStringList expected =
        QStringList{"chunk ID: MThd size: 6", "format: 1 tracks: 1 timeDivision: 9600",
                    "chunk ID: MTrk size: 45"} +
        kEventLog;
    EXPECT_EQ(log.chunkLines(), expected);
    EXPECT_EQ(log.track.format(), 1);
    EXPECT_EQ(log.track.numberOfTracks(), 1);
    EXPECT_EQ(log.track.timeDivision(), 9600);
}

struct DamagedTrackCase {
    const char* name;
    QByteArray events;
    QStringList log; // event lines
};

TEST(MidiTrackTest, DamagedTracksStopTheChunk) {
    const DamagedTrackCase cases[] = {
        // Running status is not supported: a data byte where a status
        // should be ends the chunk.
        {"running status",
         hex("00907740"
             "107700"
             "00ff2f00"),
         {"delta: 0 note on: 119 64"}},
        // Program change has two bytes but three are skipped: the next
        // delta is eaten and the chunk ends on what follows.
        {"program change",
         hex("00c005"
             "00ff2f00"),
         {}},
        {"system message",
         hex("00f8"
             "00ff2f00"),
         {}},
        {"escaped sysex",
         hex("00f70100"
             "00ff2f00"),
         {}},
        {"endless delta",
         hex("00907740"
             "808080808080"),
         {"delta: 0 note on: 119 64"}},
        {"note cut short",
         hex("00907740"
             "009077"),
         {"delta: 0 note on: 119 64"}},
        {"sysex too long",
         hex("00f07f"
             "2001f7"),
         {}},
        {"sysex length cut", hex("00f081"), {}},
        {"meta too long",
         hex("00ff0320"
             "abc"),
         {}},
        {"meta cut", hex("00ff"), {}},
        // Offset and tempo too short for their fields: only the event line.
        {"short offset",
         hex("00ff5402"
             "6100"
             "00ff5100"),
         {"meta event, delta: 0 type: 84", "meta event, delta: 0 type: 81"}},
        // A zero tempo has no beats per minute.
        {"zero tempo",
         hex("00ff5103"
             "000000"),
         {"meta event, delta: 0 type: 81"}},
        {"negative delta",
         hex("ffffff7f"
             "907740"),
         {"delta: 268435455 note on: 119 64"}},
        {"long delta",
         hex("8fffffff7f"
             "907740"),
         {"delta: -1 note on: 119 64"}},
    };
    for (const DamagedTrackCase& c : cases) {
        SCOPED_TRACE(c.name);
        CapturedLog log;
        log.track.importMidi(header() + trackChunk(c.events));
        const QStringList lines = log.chunkLines();
        ASSERT_GE(lines.size(), 3);
        EXPECT_EQ(lines.mid(3), c.log);
    }
}

TEST(MidiTrackTest, TruncatedFilesLogAPrefixOfTheWhole) {
    // A cut anywhere leaves the events before the cut and nothing invented;
    // nothing is read past the end (the sanitizer builds check that).
    const QByteArray whole = header() + trackChunk(kEvents);
    for (int cut = 0; cut < whole.size(); ++cut) {
        SCOPED_TRACE(cut);
        const ExactBuffer part(whole.left(cut));
        CapturedLog log;
        log.track.importMidi(part.bytes());
        const QStringList lines = log.chunkLines();
        if (cut < 8) {
            EXPECT_TRUE(lines.isEmpty());
            continue;
        }
        EXPECT_EQ(lines.value(0), "chunk ID: MThd size: 6");
        if (cut < 14) {
            EXPECT_EQ(lines.size(), 1);
            continue;
        }
        const QStringList events = lines.mid(3);
        EXPECT_EQ(events, kEventLog.first(events.size()));
        // A sysex line comes with its body lines or not at all.
        if (events.contains("system exclusive, size: 7 mfg: 20")) {
            EXPECT_TRUE(events.contains("midi rx: s A"));
        }
    }
}

TEST(MidiTrackTest, OversizedChunksStopAtTheFileEnd) {
    QByteArray file = header();
    file += "MTrk" + hex("ffffffff") +
            hex("00907740"
                "00907740");
    CapturedLog log;
    log.track.importMidi(file);
    EXPECT_EQ(log.chunkLines(),
              QStringList({"chunk ID: MThd size: 6", "format: 1 tracks: 1 timeDivision: 9600",
                           "chunk ID: MTrk size: ffffffff", "delta: 0 note on: 119 64",
                           "delta: 0 note on: 119 64"}));

    // A header chunk too short for its fields, an unknown chunk, and a few
    // trailing bytes that cannot hold a chunk header.
    CapturedLog second;
    second.track.importMidi("MThd" +
                            hex("00000002"
                                "0001") +
                            "XFIL" +
                            hex("00000001"
                                "00") +
                            "MTr");
    EXPECT_EQ(second.chunkLines(),
              QStringList({"chunk ID: MThd size: 2", "chunk ID: XFIL size: 1"}));
}

TEST(MidiTrackTest, RandomTracksNeverReadOutside) {
    // Random track bodies behind a valid header: whatever is logged, the
    // reader returns (and the sanitizer builds see no stray reads).
    QRandomGenerator random(4242);
    for (int round = 0; round < 2000; ++round) {
        QByteArray events(int(random.bounded(1, 64)), '\0');
        for (char& b : events) {
            // Mostly event starts, so the walk gets somewhere.
            static const unsigned char kPick[] = {0x00, 0x90, 0xF0, 0xFF, 0x54, 0x51,
                                                  0x03, 0x81, 0x7F, 0x05, 0xF7};
            b = random.bounded(3) == 0 ? char(random.bounded(256))
                                       : char(kPick[random.bounded(int(sizeof kPick))]);
        }
        QByteArray file = header() + trackChunk(events);
        file.truncate(int(random.bounded(14, int(file.size()) + 1)));
        const ExactBuffer exact(file);
        CapturedLog log;
        log.track.importMidi(exact.bytes());
        EXPECT_TRUE(log.text.startsWith('\n'));
    }
}

} // namespace

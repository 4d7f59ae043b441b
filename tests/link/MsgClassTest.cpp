#include "link/MsgClass.h"

#include <gtest/gtest.h>

namespace {

QByteArray sysex(const QByteArray& body) {
    return QByteArray(1, char(0xF0)) + body + QByteArray(1, char(0xF7));
}

MsgClass chunk(const QByteArray& bytes) {
    MsgClass m;
    m.txBytes(bytes);
    return m;
}

struct FrameCase {
    const char* name;
    QString command;
    QByteArray wire;
};

TEST(MsgClass, FramesOutgoingCommands) {
    const QString long300(300, QLatin1Char('a'));
    const QString exact252(252, QLatin1Char('b'));
    const FrameCase cases[] = {
        {"plain", QStringLiteral("X 5"), "X 5\r\n"},
        {"query", QStringLiteral("C"), "C\r\n"},
        {"embedded CR LF removed", QStringLiteral("s one\r\ntwo\n"), "s onetwo\r\n"},
        {"300 characters cut to 251", long300, QByteArray(251, 'a') + "\r\n"},
        {"252 characters sent whole", exact252, QByteArray(252, 'b') + "\r\n"},
        {"253 characters cut to 251", QString(253, QLatin1Char('c')),
         QByteArray(251, 'c') + "\r\n"},
        {"CR LF do not count towards the length",
         QString(252, QLatin1Char('d')) + QStringLiteral("\r\n"), QByteArray(252, 'd') + "\r\n"},
        {"Latin-1", QStringLiteral("s caf\u00e9"), "s caf\xe9\r\n"},
        {"empty", QString(), "\r\n"},
    };
    for (const FrameCase& c : cases) {
        MsgClass m;
        m.txString(c.command);
        EXPECT_EQ(m.buffer(), c.wire) << c.name;
    }
}

TEST(MsgClass, RawBytesAndAppendKeepBytesUnchanged) {
    MsgClass m;
    m.txBytes(QByteArray("\x90\x77\x40", 3));
    MsgClass other;
    m.append(other); // empty: nothing
    other.txBytes("\r\n", 2);
    m.append(other);
    EXPECT_EQ(m.buffer(), QByteArray("\x90\x77\x40\r\n", 5));
    EXPECT_EQ(m.text, QStringLiteral("a message"));
}

struct DrainCase {
    const char* name;
    std::vector<QByteArray> chunks;
    std::vector<QStringList> results; // one per chunk
    QByteArray held;                  // what stays in the buffer at the end
};

TEST(MsgClass, DrainCutsLinesAndSystemExclusive) {
    const QByteArray f0("\xF0", 1);
    const QByteArray ex = sysex("\x01\x02");
    const QString exText = QString::fromUtf8(ex) + QLatin1Char('\n');
    const DrainCase cases[] = {
        {"line and prompt; the prompt stays until the next line",
         {"abc\r\n>", "X 1\r\n"},
         {{"abc"}, {"X 1"}},
         ""},
        {"line split over chunks", {"H 1 ", "2\r", "\n"}, {{}, {}, {"H 1 2"}}, ""},
        {"line then system exclusive", {"OK\r\n" + ex}, {{"OK", exText}}, ""},
        {"system exclusive at the front, then a line", {ex + "X 5\r\n"}, {{exText, "X 5"}}, ""},
        {"text before F0 is delivered without CR LF", {"ab" + ex}, {{"ab", exText}}, ""},
        {"open F0 swallows later text until F7",
         {f0 + "\x01", "abc\r\n", "\xF7Q 1\r\n"},
         {{}, {}, {QString::fromUtf8(f0 + "\x01" + "abc\r\n\xF7") + "\n", "Q 1"}},
         ""},
        {"prompts, CR LF and '>' edges trimmed", {">>X 1>\r\n\r\n>\r\n"}, {{"X 1"}}, ""},
        {"incomplete line stays", {"C 0 28"}, {{}}, "C 0 28"},
        {"UTF-8 in", {"s caf\xc3\xa9\r\n"}, {{QStringLiteral("s caf\u00e9")}}, ""},
        {"lone CR is not a line end", {"a\rb\r\n"}, {{"a\rb"}}, ""},
    };
    for (const DrainCase& c : cases) {
        MsgClass buffer;
        for (std::size_t i = 0; i < c.chunks.size(); ++i)
            EXPECT_EQ(buffer.drain(chunk(c.chunks[i])), c.results[i]) << c.name << " chunk " << i;
        EXPECT_EQ(buffer.buffer(), c.held) << c.name;
    }
}

TEST(MsgClass, RemoveStringAndRemoveMidiOnTheirOwn) {
    MsgClass m;
    EXPECT_FALSE(m.removeString().has_value());
    m.txBytes(sysex("\x01") + "X 1\r\n");
    // F0 at the front: an empty string, buffer untouched.
    const auto front = m.removeString();
    ASSERT_TRUE(front.has_value());
    EXPECT_TRUE(front->isEmpty());
    EXPECT_EQ(m.buffer().size(), 8);
    EXPECT_EQ(m.removeMidi(), sysex("\x01"));
    EXPECT_FALSE(m.removeMidi().has_value()); // only at the front
    EXPECT_EQ(m.removeString(), QStringLiteral("X 1"));
}

TEST(MsgClass, HeldBytesStayBounded) {
    struct Case {
        const char* name;
        QByteArray garbage;
        QByteArray after;
        QStringList expected; // from `after`
    };
    const Case cases[] = {
        {"endless line", QByteArray(20000, 'y'), "\r\nQ 0\r\n", {"Q 0"}},
        {"never-closed F0", QByteArray("\xF0", 1) + QByteArray(20000, 'z'), "\r\nQ 1\r\n", {"Q 1"}},
        {"never-closed F0 with lines inside",
         QByteArray("\xF0", 1) + QByteArray(3000, 'z') + "\r\nX 1\r\n" + QByteArray(2000, 'z') +
             "\r\npart",
         "ial\r\n",
         {"partial"}},
    };
    for (const Case& c : cases) {
        MsgClass buffer;
        for (qsizetype at = 0; at < c.garbage.size(); at += 255) {
            buffer.drain(chunk(c.garbage.mid(at, 255)));
            ASSERT_LE(buffer.buffer().size(), MsgClass::kMaxHeldBytes) << c.name;
        }
        // Whatever is left of the garbage, the stream resynchronises at the
        // next line end.
        QStringList lines = buffer.drain(chunk(c.after));
        if (lines.size() > c.expected.size())
            lines = lines.mid(lines.size() - c.expected.size());
        EXPECT_EQ(lines, c.expected) << c.name;
    }
}

} // namespace

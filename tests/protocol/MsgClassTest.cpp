#include "protocol/MsgClass.h"

#include <gtest/gtest.h>

namespace {

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
    const FrameCase cases[] = {
        {"plain", QStringLiteral("X 5"), "X 5\r\n"},
        {"embedded CR LF removed", QStringLiteral("s one\r\ntwo\n"), "s onetwo\r\n"},
        {"252 characters sent whole", QString(252, QLatin1Char('b')),
         QByteArray(252, 'b') + "\r\n"},
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
}

struct DrainCase {
    const char* name;
    std::vector<QByteArray> chunks;
    std::vector<QStringList> results; // one per chunk
    QByteArray held;                  // what stays in the buffer at the end
    MsgClass::LineEnd lineEnd = MsgClass::LineEnd::CrLf;
};

TEST(MsgClass, DrainCutsLinesAndSystemExclusive) {
    const QByteArray f0("\xF0", 1);
    const QByteArray ex("\xF0\x01\x02\xF7", 4);
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
        {"lines before F0 stay apart", {"X 1\r\nQ 1\r\n" + ex}, {{"X 1", "Q 1", exText}}, ""},
        {"open F0 swallows later text until F7",
         {f0 + "\x01", "abc\r\n", "\xF7Q 1\r\n"},
         {{}, {}, {QString::fromUtf8(f0 + "\x01" + "abc\r\n\xF7") + "\n", "Q 1"}},
         ""},
        {"prompts, CR LF and '>' edges trimmed", {">>X 1>\r\n\r\n>\r\n"}, {{"X 1"}}, ""},
        {"incomplete line stays", {"C 0 28"}, {{}}, "C 0 28"},
        {"UTF-8 in", {"s caf\xc3\xa9\r\n"}, {{QStringLiteral("s caf\u00e9")}}, ""},
        {"lone CR is not a line end", {"a\rb\r\n"}, {{"a\rb"}}, ""},
        // A network proxy may end its lines with LF alone.
        {"LF alone or CR LF end a proxy's lines",
         {"X 1\nQ 1\r\n>", "u 5\n" + ex + "S\n"},
         {{"X 1", "Q 1"}, {"u 5", exText, "S"}},
         "",
         MsgClass::LineEnd::Lf},
        {"a proxy's line waits for its LF",
         {"H 1 2\r", "\n"},
         {{}, {"H 1 2"}},
         "",
         MsgClass::LineEnd::Lf},
    };
    for (const DrainCase& c : cases) {
        MsgClass buffer(c.lineEnd);
        for (std::size_t i = 0; i < c.chunks.size(); ++i)
            EXPECT_EQ(buffer.drain(chunk(c.chunks[i])), c.results[i]) << c.name << " chunk " << i;
        EXPECT_EQ(buffer.buffer(), c.held) << c.name;
    }
}

} // namespace

#include "protocol/Commands.h"

#include <gtest/gtest.h>

namespace {

struct FormatCase {
    QString sent;
    const char* expected;
};

// The commands the panel tests do not already see on the wire, and the
// formatting edges: hexadecimal, negative numbers, empty text, raw framing.
TEST(Commands, CommandsHaveTheirExactForm) {
    const FormatCase cases[] = {
        {cmd::identifyProbe(), "B\r\n"},
        {cmd::updateStart(), "A 1"},
        {cmd::stateRead(0xfc30), "j fc30"},
        {cmd::networkUpdateStart(), " u 0\n"},
        {cmd::clearText(), "V"},
        {cmd::sampleText(), "V Sample Text"},
        {cmd::sampleCounter(), "V2 Protools counter"},
        {cmd::clearCounter(), "V2 "},
        {cmd::rate(0xa), "A a"},
        {cmd::streamer({0, 0x28, 0, 100, 0, 255, 255, 0}), "C 0 28 0 64 0 ff ff 0"},
        {cmd::punch({0, 0x7f, 0x7f, 0x40, 12, 100, 2, 1}), "E 0 7f 7f 40 c 64 2 1"},
        {cmd::masking(-1, 0, 0, 0, 0), "H -1 0 0 0 0"},
        {cmd::delayTrim(-25), "J -25"},
        {cmd::annunciator(2), "U 2"},
        {cmd::inOut(QStringLiteral("01:00:00:00"), QString()), "f 01:00:00:00 "},
        {cmd::tcDisplay(2), "m 2"},
        {cmd::counterDisplay(3), "n 3"},
        {cmd::window(48, 10, 245, 112, 1), "r 48 10 245 112 1"},
        {cmd::cueText(QStringLiteral("Bar 12 %d\\nhit")), "s Bar 12 %d\\nhit"},
        {cmd::annunciatorColors(0xffffffffu, 0, 0x17), "t ffffffff 0 17"},
    };
    for (const FormatCase& c : cases)
        EXPECT_EQ(c.sent, QString::fromLatin1(c.expected));
}

struct ReplyCase {
    const char* raw;
    char letter; // 0: not a reply
    const char* line;
};

TEST(Commands, RecognisesReplyLines) {
    const ReplyCase cases[] = {
        {"X 5", 'X', "X 5"},
        {"H 10 10 0 0 50", 'H', "H 10 10 0 0 50"},
        {"H", 'H', "H"},
        {">C 0 28 0 64 0 ff ff 0\r\n", 'C', "C 0 28 0 64 0 ff ff 0"},
        {"  >>k fc00 30 3.32.6>  ", 'k', "k fc00 30 3.32.6"},
        {"Hello", 0, ""},
        {"# comment", 0, ""},
        {"#", 0, ""},
        {"", 0, ""},
        {" \r\n> ", 0, ""},
        {">", 0, ""},
        {"> X 1", 0, ""}, // the blank is inside after trimming '>' only
    };
    for (const ReplyCase& c : cases) {
        const auto reply = cmd::recogniseReply(QString::fromLatin1(c.raw));
        if (c.letter == 0) {
            EXPECT_FALSE(reply.has_value()) << c.raw;
            continue;
        }
        ASSERT_TRUE(reply.has_value()) << c.raw;
        EXPECT_EQ(reply->letter, c.letter) << c.raw;
        EXPECT_EQ(reply->line, QString::fromLatin1(c.line)) << c.raw;
    }
}

} // namespace

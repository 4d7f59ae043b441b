#include "panel/Commands.h"

#include <gtest/gtest.h>

namespace {

struct FormatCase {
    QString sent;
    const char* expected;
};

TEST(Commands, EveryCommandHasItsExactForm) {
    const FormatCase cases[] = {
        {cmd::query('C'), "C"},
        {cmd::query('z'), "z"},
        {cmd::identifyProbe(), "B\r\n"},
        {cmd::updateStart(), "A 1"},
        {cmd::generatorOff(), "M 15"},
        {cmd::ping(), "ping"},
        {cmd::resetFlash(), "w 1"},
        {cmd::streamerFields(), "l"},
        {cmd::stateQuery(), "k"},
        {cmd::stateRead(0xfc00), "j fc00"},
        {cmd::stateRead(0xfc30), "j fc30"},
        {cmd::windowQuery(3), "r 3"},
        {cmd::inOutStart(), "h 0"},
        {cmd::networkUpdateStart(), " u 0\n"},
        {cmd::clearText(), "V"},
        {cmd::sampleText(), "V Sample Text"},
        {cmd::sampleCounter(), "V2 Protools counter"},
        {cmd::clearCounter(), "V2 "},
        {cmd::rate(0xa), "A a"},
        {cmd::streamer({0, 0x28, 0, 100, 0, 255, 255, 0}), "C 0 28 0 64 0 ff ff 0"},
        {cmd::punch({0, 0x7f, 0x7f, 0x40, 12, 100, 2, 1}), "E 0 7f 7f 40 c 64 2 1"},
        {cmd::barsAndGray(3), "G 3"},
        {cmd::masking(10, 10, 0, 0, 50), "H 10 10 0 0 50"},
        {cmd::masking(-1, 0, 0, 0, 0), "H -1 0 0 0 0"},
        {cmd::delayTrim(-25), "J -25"},
        {cmd::sdiGenerator(7), "M 7"},
        {cmd::hdmiTiming(true), "N 1"},
        {cmd::hdmiTiming(false), "N 0"},
        {cmd::bypass(1), "Q 1"},
        {cmd::annunciator(2), "U 2"},
        {cmd::popEnables(13), "X 13"},
        {cmd::colorSpace(4), "Y 4"},
        {cmd::inOut(QStringLiteral("01:00:00:00"), QStringLiteral("01:00:05:12")),
         "f 01:00:00:00 01:00:05:12"},
        {cmd::inOut(QStringLiteral("01:00:00:00"), QString()), "f 01:00:00:00 "},
        {cmd::tcDisplay(2), "m 2"},
        {cmd::counterDisplay(3), "n 3"},
        {cmd::window(48, 10, 245, 112, 1), "r 48 10 245 112 1"},
        {cmd::cueText(QStringLiteral("Bar 12 %d\\nhit")), "s Bar 12 %d\\nhit"},
        {cmd::annunciatorColors(0x70, 0x17, 0xff), "t 70 17 ff"},
        {cmd::annunciatorColors(0xffffffffu, 0, 0), "t ffffffff 0 0"},
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
        {"QZ62A C190 firmware 3.32.6", 0, ""},
        {"ping", 0, ""},
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

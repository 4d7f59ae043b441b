#include "protocol/Commands.h"

#include <gtest/gtest.h>

namespace {

// The formatting rules, not the table: hexadecimal of a negative number is its
// 32-bit pattern, decimals keep their sign, text goes out as it is.
TEST(Commands, FormatsFollowTheUnitsNumberRules) {
    EXPECT_EQ(cmd::annunciatorColors(0xffffffffu, 0, 0x17), QStringLiteral("t ffffffff 0 17"));
    EXPECT_EQ(cmd::rate(-1), QStringLiteral("A ffffffff"));
    EXPECT_EQ(cmd::masking(-1, 0, 0, 0, 0), QStringLiteral("H -1 0 0 0 0"));
    EXPECT_EQ(cmd::cueText(QStringLiteral("Bar 12 %d")), QStringLiteral("s Bar 12 %d"));
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

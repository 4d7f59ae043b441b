// What the unit is sent as MIDI: the 7/8 coding, the text frame around it,
// and how much of a cue's text goes over the link and into a MIDI file.
#include "protocol/MidiMessages.h"
#include "protocol/Coding78.h"

#include <gtest/gtest.h>

namespace {

TEST(MidiMessages, CodesSevenEight) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"c1", "4101"},
        {"800102030405ff", "000102030405 7f41"},
        {"80010203040506ff", "00010203040506 01 7f01"}}; // a full group and one byte
    for (const auto& [plain, coded] : cases) {
        const QByteArray bytes = QByteArray::fromHex(plain);
        EXPECT_EQ(coding78::encode78(bytes).toHex(), QByteArray::fromHex(coded).toHex()) << plain;
        EXPECT_EQ(coding78::decode78(QByteArray::fromHex(coded)).toHex(), bytes.toHex()) << plain;
    }
    // At most 217 bytes are coded; the rest is cut silently.
    const QByteArray long300(300, 'x');
    EXPECT_EQ(coding78::decode78(coding78::encode78(long300)), long300.left(217));
}

TEST(MidiMessages, TextFrameBytes) {
    const std::pair<QString, const char*> cases[] = {
        {QStringLiteral("s A"), "f0200173204100f7"},
        {QString::fromUtf8("s \xc3\xa9"), "f0200173206904f7"},     // 0xE9: 0x69, bit 2 of the group
        {QString::fromUtf8("s \xe2\x80\x98"), "f0200173202700f7"}, // a curly quote as '
        {QString::fromUtf8("s \xce\xa9"), "f02001f7"}};            // not Latin-1: no payload
    for (const auto& [command, frame] : cases)
        EXPECT_EQ(midimsg::textSysex(command).toHex(), QByteArray(frame)) << qPrintable(command);
    EXPECT_EQ(midimsg::cueTextSysex(QStringLiteral("A")).toHex(), QByteArray("f0200173204100f7"));
}

TEST(MidiMessages, CueTextCuts) {
    // Over the link a command up to 250 characters stays whole, a longer one
    // keeps 249; a MIDI file carries at most 217. "s " counts in both.
    const struct {
        int textChars;
        int linkChars, fileChars;
    } cases[] = {{10, 12, 12},    {215, 217, 217}, {216, 218, 217}, {247, 249, 217},
                 {248, 250, 217}, {249, 249, 217}, {300, 249, 217}};
    for (const auto& c : cases) {
        const QString text(c.textChars, u'x');
        const QString link = midimsg::linkCueCommand(text);
        EXPECT_EQ(link.size(), c.linkChars) << c.textChars;
        EXPECT_TRUE(link.startsWith(QLatin1String("s x"))) << c.textChars;
        EXPECT_EQ(midimsg::fileCueCommand(text).size(), c.fileChars) << c.textChars;
    }
}

} // namespace

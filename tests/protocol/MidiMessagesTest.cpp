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
        {QString::fromUtf8("s \xce\xa9"), "f020017320 3f00 f7"}};  // not Latin-1: "?"
    for (const auto& [command, frame] : cases)
        EXPECT_EQ(midimsg::textSysex(command).toHex(), QByteArray::fromHex(frame).toHex())
            << qPrintable(command);
    EXPECT_EQ(midimsg::cueTextSysex(QStringLiteral("A")).toHex(), QByteArray("f0200173204100f7"));
}

// What the unit gets for a text: Latin-1 as it is, typographic punctuation
// as its plain form, "?" for each character with no Latin-1 form (one for a
// character beyond the basic plane, or a lone half of one).
TEST(MidiMessages, TextInTheUnitsCharacterSet) {
    const struct {
        QString text;
        QByteArray latin1;
        int substituted;
        QString unshowable;
    } cases[] = {
        {"", "", 0, ""},
        {QStringLiteral("Caf\u00e9 \u201cit\u2019s\u201d\u2026"), "Caf\xe9 \"it's\"...", 0, ""},
        {QStringLiteral("Price \u20ac5 \u2014 \u20ac6"), "Price ?5 - ?6", 2, "\u20ac"},
        {QStringLiteral("\u266a Source \U0001F3B5\u00a0\u0413"), "? Source ? ?", 3,
         QStringLiteral("\u266a\U0001F3B5\u0413")},
        {QString(QChar(0xDC00)) + "x", "?x", 1, QString(QChar(0xDC00))}};
    for (const auto& c : cases) {
        int substituted = -1;
        EXPECT_EQ(coding78::latin1ForUnit(c.text, &substituted), c.latin1) << qPrintable(c.text);
        EXPECT_EQ(substituted, c.substituted) << qPrintable(c.text);
        EXPECT_EQ(coding78::unitText(c.text), QString::fromLatin1(c.latin1));
        EXPECT_EQ(coding78::unshowableCharacters(c.text), c.unshowable) << qPrintable(c.text);
    }
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

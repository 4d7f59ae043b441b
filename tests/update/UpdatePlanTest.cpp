// What an update checks before anything is sent: the unit's settings read
// back row by row, and the image built around them.
#include "update/MicroImage.h"
#include "update/SettingsAreaReader.h"

#include "support/AlertsAndWaiting.h"

#include <gtest/gtest.h>

namespace {

using State = SettingsAreaReader::State;

// A dump line of the row at address: its bytes are address's low byte + i.
QString row(unsigned address, int bytes = 16) {
    QString line = QStringLiteral("j %1").arg(address, 0, 16);
    for (int i = 0; i < bytes; ++i)
        line += QStringLiteral(" %1").arg((address + unsigned(i)) & 0xff, 2, 16, QLatin1Char('0'));
    return line;
}

TEST(SettingsAreaReader, AsksForEveryRowTheUnitReportsAndKeepsOnlyWholeOnes) {
    const struct {
        const char* name;
        QStringList replies;  // after "k" went out
        QStringList commands; // what the reader asked for
        State state;
        const char* problem; // part of problem(), empty when none
    } cases[] = {
        {"three rows, each after its echo",
         {"k", "k fc00 30 3.32.6", "j fc00", row(0xfc00), "j fc10", row(0xfc10), row(0xfc20)},
         {"j fc00", "j fc10", "j fc20"},
         State::Done,
         ""},
        {"a size of 0x40 is four rows",
         {"k fc00 40 3.32.6", row(0xfc00), row(0xfc10), row(0xfc20), row(0xfc30)},
         {"j fc00", "j fc10", "j fc20", "j fc30"},
         State::Done,
         ""},
        {"a part row counts whole",
         {"k fc00 11 3.32.6", row(0xfc00), row(0xfc10)},
         {"j fc00", "j fc10"},
         State::Done,
         ""},
        {"a row never answered",
         {"k fc00 30 3.32.6", row(0xfc00), row(0xfc20)},
         {"j fc00", "j fc10", "j fc20"},
         State::AwaitingRows,
         "no good answer to \"j fc10\""},
        {"a row cut short",
         {"k fc00 20 3.32.6", row(0xfc00), row(0xfc10, 12)},
         {"j fc00", "j fc10"},
         State::AwaitingRows,
         "\"j fc10\""},
        {"a row of nothing but ff is read like any other",
         {"k fc00 10 3.32.6", "j fc00 ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff"},
         {"j fc00"},
         State::Done,
         ""},
        {"no settings to keep", {"k fc00 0 3.32.6"}, {}, State::Done, ""},
        {"no size given", {"k fc00 3.32.6"}, {}, State::Done, ""},
        {"settings elsewhere", {"k fd00 30 3.32.6"}, {}, State::Refused, "at fd00, not at fc00"},
        {"more than the area", {"k fc00 120 3.32.6"}, {}, State::Refused, "288 bytes"},
        {"no answer to k", {"k", "A 1"}, {}, State::AwaitingSize, "no answer to \"k\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SettingsAreaReader reader;
        QStringList asked;
        for (const QString& line : c.replies)
            asked += reader.takeReply(line);
        EXPECT_EQ(asked, c.commands);
        EXPECT_EQ(reader.state(), c.state);
        EXPECT_TRUE(reader.problem().contains(QLatin1String(c.problem)))
            << reader.problem().toStdString();
        EXPECT_EQ(reader.problem().isEmpty(), c.state == State::Done);
    }
}

TEST(SettingsAreaReader, StartsOverAndIgnoresRowsOutsideTheArea) {
    SettingsAreaReader reader;
    reader.takeReply("k fc00 20 3.32.6");
    reader.takeReply(row(0xfc00));
    reader.takeReply(row(0xfc08)); // not a row boundary
    reader.takeReply(row(0xfc30)); // past the size
    EXPECT_EQ(reader.state(), State::AwaitingRows);
    reader.reset();
    EXPECT_EQ(reader.takeReply("k fc00 10 3.32.6"), QStringList{"j fc00"});
    reader.takeReply(row(0xfc00));
    EXPECT_TRUE(reader.done());
    EXPECT_EQ(reader.area().bytes.left(2), QByteArray::fromHex("0001"));
    EXPECT_EQ(reader.summary(), "The unit's settings (16 bytes at fc00) are kept.");
}

TEST(MicroImage, PutsTheSettingsReadOverTheFilesAndCountsTheProgram) {
    const QString fileRow = QStringLiteral("S113FC00000102030405060708090A0B0C0D0E0F78");
    const QString program = QStringLiteral("S1138000000102030405060708090A0B0C0D0E0FF4");
    SettingsAreaReader whole;
    whole.takeReply("k fc00 10 3.32.6");
    whole.takeReply("j fc00 40 41 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f");
    SettingsAreaReader none;
    none.takeReply("k fc00 0 3.32.6");
    SettingsAreaReader missing;
    missing.takeReply("k fc00 10 3.32.6");
    const struct {
        const char* name;
        const SettingsAreaReader& reader;
        bool kept;
    } cases[] = {
        {"read whole", whole, true}, {"none", none, false}, {"row missing", missing, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const MicroImage image =
            prepareMicroImage({program, fileRow, "S9030000FC"}, c.reader.area());
        EXPECT_EQ(image.settingsKept, c.kept);
        EXPECT_EQ(image.programRecords, 1);
        EXPECT_EQ(image.records.value(1),
                  c.kept ? "S113FC00404142434445464748494A4B4C4D4E4F78" : fileRow);
    }
}

} // namespace

// The cue sheet's sends, end to end: the real link thread on a pseudo-terminal
// against the simulated unit, which records commands, triggers and texts.
#include "cues/CueFiring.h"
#include "cues/CueMidiExport.h"
#include "cues/CueSheet.h"
#include "link/ComThread.h"
#include "protocol/Commands.h"
#include "sim/SimulatedUnit.h"
#include "support/CueTestSupport.h"
#include "support/LinkTestSupport.h"

#include <gtest/gtest.h>
#include <memory>

namespace {

using linktest::waitFor;

QByteArray mtc(int type, int hours, int minutes, int seconds, int frames) {
    const char bytes[4] = {char((type << 5) | hours), char(minutes), char(seconds), char(frames)};
    return QByteArray(bytes, 4);
}

class CueSend : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_sim = std::make_unique<SimulatedUnit>();
        ASSERT_TRUE(s_sim->start());
        s_owner = std::make_unique<linktest::Receiver>();
        s_link = std::make_unique<ComThread>();
        s_link->setDriverCheckEnabled(false);
        s_link->setPort(s_sim->ptyPath());
        ASSERT_EQ(linktest::openWithRetries(*s_link), 0);
        s_link->startThread(s_owner.get());
    }
    static void TearDownTestSuite() {
        s_link.reset();
        s_owner.reset();
        s_sim.reset();
    }

    void SetUp() override {
        ASSERT_TRUE(s_sim && s_link);
        sync();
        s_sim->clearRecord();
        m_sheet.setComThread(s_link.get());
    }

    // Everything sent so far has reached the unit once its answer to a
    // marker command, sent last, has come back.
    void sync() {
        const int before = int(s_sim->commandLines().size());
        s_link->sendString(cmd::ping());
        ASSERT_TRUE(waitFor(
            [&] {
                const QStringList lines = s_sim->commandLines();
                return lines.size() > before && lines.last() == QLatin1String("ping");
            },
            5000));
        ASSERT_TRUE(waitFor([] { return s_link->txCount() == 0; }, 5000));
    }
    QStringList commandsBeforeSync() {
        QStringList lines = s_sim->commandLines();
        lines.removeAll(QStringLiteral("ping"));
        return lines;
    }

    static std::unique_ptr<SimulatedUnit> s_sim;
    static std::unique_ptr<linktest::Receiver> s_owner;
    static std::unique_ptr<ComThread> s_link;
    CueSheet m_sheet;
};

std::unique_ptr<SimulatedUnit> CueSend::s_sim;
std::unique_ptr<linktest::Receiver> CueSend::s_owner;
std::unique_ptr<ComThread> CueSend::s_link;

TEST_F(CueSend, InOutListStopsAtTheFirstUnusableInTime) {
    m_sheet.addObject(cueRow("1", "01:00:00:00", "01:00:05:00", "a", ""));
    m_sheet.addObject(cueRow("2", "01001000", "", "b", ""));        // entry form, no out
    m_sheet.addObject(cueRow("3", "01:00:12:00", "soon", "c", "")); // unusable out time
    m_sheet.addObject(cueRow("4", "", "01:00:30:00", "d", ""));     // no in time: the end
    m_sheet.addObject(cueRow("5", "01:00:40:00", "01:00:41:00", "e", ""));
    EXPECT_EQ(m_sheet.onTxInOuts(), 3);
    EXPECT_EQ(m_sheet.inOutPairsSent(), 3);
    sync();
    EXPECT_EQ(commandsBeforeSync(), (QStringList{"h 0", "f 01:00:00:00 01:00:05:00",
                                                 "f 01:00:10:00 ", "f 01:00:12:00 "}));
}

TEST_F(CueSend, SelectedCueTextAndClear) {
    m_sheet.addObject(cueRow("12", "01:00:00:00", "", "Hello", ""));
    // Curly quotes go as plain ones (the link sends Latin-1).
    m_sheet.addObject(
        cueRow("13", "01:00:01:00", "", "Caf\xc3\xa9 \xe2\x80\x9cit\xe2\x80\x99s\xe2\x80\x9d", ""));
    m_sheet.tableViewSelectionDidChange(1);
    m_sheet.settings().cueId = false;
    m_sheet.sendCueItemText(m_sheet.rows()[0]);
    m_sheet.tableViewSelectionDidChange(-1); // nothing selected: nothing sent
    m_sheet.onClearText();
    sync();
    EXPECT_EQ(commandsBeforeSync(),
              (QStringList{QString::fromUtf8("s 13\\nCaf\xc3\xa9 \"it's\""), "s Hello", "V"}));
}

TEST_F(CueSend, WithoutAUnitNothingIsSent) {
    m_sheet.setComThread(nullptr);
    m_sheet.addObject(cueRow("1", "01:00:10:00", "", "A", ""));
    EXPECT_EQ(m_sheet.onTxInOuts(), 0);
    m_sheet.onClearText();
    m_sheet.tableViewSelectionDidChange(0);
    m_sheet.sendTriggerAndText(m_sheet.rows()[0], 64);
    m_sheet.mtcEvent(mtc(3, 1, 0, 8, 0)); // the cue's frame
    sync();
    EXPECT_TRUE(commandsBeforeSync().isEmpty());
    EXPECT_TRUE(s_sim->triggers().isEmpty());
}

TEST_F(CueSend, TriggerThenTextAsSystemExclusive) {
    const QString longText(300, u'x');
    m_sheet.addObject(cueRow("12", "01:00:00:00", "", "Hello", ""));
    m_sheet.addObject(cueRow("", "01:00:00:00", "", qPrintable(longText), ""));
    m_sheet.addObject(cueRow("\xce\xa9", "01:00:00:00", "", "Omega", "")); // not Latin-1: "?"
    for (const CueItem& row : m_sheet.rows())
        m_sheet.sendTriggerAndText(row, 64);
    sync();
    ASSERT_EQ(s_sim->triggers().size(), 3);
    for (const auto& trigger : s_sim->triggers()) {
        EXPECT_EQ(trigger.note, 0x77);
        EXPECT_EQ(trigger.velocity, 64);
    }
    // The 7/8 coding carries at most 217 bytes of the command.
    EXPECT_EQ(s_sim->sysexTexts(),
              (QStringList{"s 12\\nHello", (QStringLiteral("s \\n") + longText).left(217),
                           "s ?\\nOmega"}));
}

// The selection, the firing (on the sheet's thread and from the MIDI
// thread's copy) and the MIDI file carry the same text for a row: trimmed
// (an identifier read from a sheet ends in a tab), symbol glyphs removed,
// typographic punctuation plain, "?" for each character Latin-1 lacks. The
// link's frame cuts a command at 251 characters, the firing at 249 and the
// 7/8 coding and the file at 217.
TEST_F(CueSend, EveryPathCarriesTheSameText) {
    const QString longText(300, u'x');
    const struct {
        CueItem row;
        QString unitText;
    } cases[] = {{cueRow("1M1\t", "01:00:10:00", "",
                         " Price \xe2\x82\xac"
                         "5 ",
                         ""),
                  "1M1\\nPrice ?5"},
                 {cueRow("\xef\x82\xb7 2", "01:00:11:00", "",
                         "\xe2\x99\xaa Source music \xe2\x80\x9cin\xe2\x80\x9d\xe2\x80\xa6", ""),
                  "2\\n? Source music \"in\"..."},
                 {cueRow("3", "01:00:12:00", "", qPrintable(longText), ""), "3\\n" + longText}};
    MidiTrack track;
    track.setLogSink([](const QByteArray&) {});
    MidiFileReader file;
    file.setLogging(false);
    for (const auto& c : cases)
        m_sheet.addObject(c.row);
    file.importMidi(
        cuemidi::exportMidi(track, m_sheet.rows(), "01:00:00:00", 3, 0, true, false, true));
    const std::unique_ptr<CueFiringSnapshot> snapshot = CueFiringSnapshot::of(m_sheet);
    for (int i = 0; i < m_sheet.count(); ++i) {
        const QString command = "s " + cases[i].unitText;
        s_sim->clearRecord();
        m_sheet.tableViewSelectionDidChange(i);
        m_sheet.sendTriggerAndText(m_sheet.rows()[i], 64);
        s_link->sendBytes(snapshot->rows[size_t(i)].sysex);
        sync();
        EXPECT_EQ(commandsBeforeSync(), QStringList{command.left(251)}) << i;
        EXPECT_EQ(s_sim->sysexTexts(), QStringList(2, command.left(217))) << i;
        EXPECT_EQ("s " + file.fileCues().cues.value(i).text, command.left(217)) << i;
    }
}

TEST_F(CueSend, TimecodeFiresOnTheExactFrameOnly) {
    const struct {
        const char* name;
        int type;
        const char* cueIn;
        int hours, minutes, seconds, frames; // the cue's in time less the lead
    } cases[] = {
        {"30 fps, lead 60", 3, "01:00:10:00", 1, 0, 8, 0},
        {"24 fps, lead 48", 0, "01:00:10:00", 1, 0, 8, 0},
        {"drop frame across a minute", 2, "00:01:00:04", 0, 0, 58, 2},
    };
    for (const auto& c : cases) {
        s_sim->clearRecord();
        CueSheet sheet;
        sheet.setComThread(s_link.get());
        sheet.addObject(cueRow("1", "00:00:01:00", "", "earlier", ""));
        sheet.addObject(cueRow("2", c.cueIn, "", "fire", ""));
        sheet.mtcEvent(mtc(c.type, c.hours, c.minutes, c.seconds, c.frames - 1));
        sheet.mtcEvent(mtc(c.type, c.hours, c.minutes, c.seconds, c.frames + 1));
        sync();
        EXPECT_TRUE(s_sim->triggers().isEmpty()) << c.name;
        sheet.mtcEvent(mtc(c.type, c.hours, c.minutes, c.seconds, c.frames));
        EXPECT_EQ(sheet.selectionIndex(), 1) << c.name;
        sync();
        EXPECT_EQ(s_sim->triggers().size(), 1) << c.name;
        EXPECT_EQ(s_sim->sysexTexts(), QStringList{"s 2\\nfire"}) << c.name;
    }
}

TEST_F(CueSend, AtMostFourRowsFireTogether) {
    for (int i = 0; i < 5; ++i)
        m_sheet.addObject(cueRow(qPrintable(QString::number(i)), "01:00:10:00", "", "same", ""));
    m_sheet.settings().text = false;
    m_sheet.mtcEvent(mtc(3, 1, 0, 8, 0));
    sync();
    EXPECT_EQ(s_sim->triggers().size(), 4);
    EXPECT_EQ(s_sim->sysexTexts(), (QStringList{"s 0", "s 1", "s 2", "s 3"}));
}

} // namespace

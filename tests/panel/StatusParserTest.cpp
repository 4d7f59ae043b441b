#include "panel/StatusParser.h"
#include "PanelTestSupport.h"
#include "panel/InhibitPing.h"

#include <QSignalSpy>
#include <functional>
#include <gtest/gtest.h>

namespace {

// A state unlike the defaults, so a reply that touches the wrong setting shows.
PanelState baseline() {
    PanelState s;
    s.rateCell = 1;
    s.priorityCell = 1;
    s.streamerEndPunch = false;
    s.bars = true;
    s.grayScale = false;
    s.masking = {9, 9, 9, 9, 9};
    s.popStreamerAccum = false;
    s.popPunch = true;
    s.popStreamer = false;
    s.popCell = 0;
    s.sdiGenerator = 3;
    s.bypass = true;
    s.delayTrimSteps = 7;
    s.colorSpaceRow = 1;
    return s;
}

struct ParserFixture {
    ParserFixture() : streamer(log), punch(log), annunciator(log), cue(log) {
        parser.setStreamerReceiver(&streamer);
        parser.setPunchReceiver(&punch);
        parser.setAnnunciatorReceiver(&annunciator);
        parser.setCueDocument(&cue);
        parser.mutableState() = baseline();
    }
    QStringList log;
    StreamerRecorder streamer;
    PunchRecorder punch;
    AnnunciatorRecorder annunciator;
    CueRecorder cue;
    StatusParser parser;
};

struct Row {
    Row(const char* l, std::function<void(PanelState&)> c, QStringList calls = {},
        const char* p = "")
        : line(l), change(std::move(c)), calls(std::move(calls)), printed(p) {}
    const char* line;
    std::function<void(PanelState&)> change; // what the reply must change
    QStringList calls;                       // what the editors must receive
    const char* printed;                     // what goes to standard output
};

void none(PanelState&) {}

} // namespace

TEST(StatusParser, EachReplySetsWhatItCarriesAndNothingElse) {
    const std::vector<Row> rows = {
        {"X 13",
         [](PanelState& s) {
             s.popStreamerAccum = true;
             s.popPunch = false;
             s.popStreamer = true;
             s.popCell = 1;
         }},
        {"X 22",
         [](PanelState& s) {
             s.popPunch = true;
             s.popStreamer = true;
             s.popCell = 2;
         }},
        {"X 24", [](PanelState& s) { s.popCell = 3, s.popPunch = false; }},
        {"A 6",
         [](PanelState& s) {
             s.rateCell = 2;
             s.streamerEndPunch = true;
         }},
        {"A e",
         [](PanelState& s) {
             s.rateCell = 2;
             s.streamerEndPunch = true;
             s.priorityCell = 0;
         }},
        {"A 3", [](PanelState& s) { s.rateCell = 2; }},
        {"A 8",
         [](PanelState& s) {
             s.rateCell = 0;
             s.priorityCell = 0;
         }},
        // "G" and "Y" come back in hexadecimal.
        {"G a", [](PanelState& s) { s.bars = false, s.grayScale = true; }},
        {"G 10", [](PanelState& s) { s.bars = false; }},
        {"Y 10", [](PanelState& s) { s.colorSpaceRow = 16; }},
        {"Y", none},
        {"J 25", [](PanelState& s) { s.delayTrimSteps = 25; }},
        {"H 10 20 30 40 50",
         [](PanelState& s) {
             s.masking = {10, 20, 30, 40, 50};
         }},
        // A short report repeats its last field.
        {"H 1 2",
         [](PanelState& s) {
             s.masking = {1, 2, 2, 2, 2};
         }},
        {"H", none},
        {"M 5", [](PanelState& s) { s.sdiGenerator = 5; }},
        {"M", none},
        {"M 16", none},
        {"Q 0", [](PanelState& s) { s.bypass = false; }},
        {"Q 2", none},
        // Prompts and blanks around a line are not part of it.
        {"  >A 6>\r\n",
         [](PanelState& s) {
             s.rateCell = 2;
             s.streamerEndPunch = true;
         }},
        {">>J 50 >", [](PanelState& s) { s.delayTrimSteps = 50; }},
        {"> \t", none},
        // Not replies: echoed commands, banners, comments, ignored letters.
        {"Hello", none},
        {"ping", none},
        {"V2 Protools counter", none},
        {"# X 13", none},
        {"B QZ62A C190", none},
        {"V Sample Text", none},
        {"s cue text", none},
        {"w 1", none},
        {"Z 1", none, {}, "unknown command: Z\n"},
        {"N 1", none, {}, "unknown command: N\n"},
        // The editors' lines go to the editors, whole.
        {"C 0 28 0 64 0 ff ff 0",
         none,
         {"streamer.fromString: C 0 28 0 64 0 ff ff 0", "cue.setOffset: -1.5",
          "cue.setStepperStreamerDuration: 75"}},
        {"E 1 2 3", none, {"punch.fromString: E 1 2 3"}},
        {"U 1", none, {"ann.fromString: U 1"}},
        {"m 2", none, {"ann.tcFromString: m 2"}},
        {"n 3", none, {"ann.comFromString: n 3"}},
        {"t 1 2 3", none, {"ann.annunciatorColorsFromString: t 1 2 3"}},
        {"r 0 1 2 3 4", none, {"ann.windowFromArray: 0 1 2 3 4"}},
        {"r 2", none, {"ann.windowFromArray: 2"}},
        {"r", none},
        {"z 10 20 30 40", none, {"ann.pointsFromArray: 10 20 30 40"}},
        {"z x", none},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.line);
        ParserFixture f;
        PanelState expected = baseline();
        row.change(expected);
        testing::internal::CaptureStdout();
        f.parser.processRxString(QString::fromLatin1(row.line));
        const std::string printed = testing::internal::GetCapturedStdout();
        EXPECT_EQ(f.parser.state(), expected);
        EXPECT_EQ(f.log, row.calls);
        EXPECT_EQ(printed, row.printed);
        EXPECT_FALSE(f.parser.progress().visible);
    }
}

TEST(StatusParser, ChangedNamesTheGroupOfTheReply) {
    const std::vector<std::pair<const char*, PanelGroup>> rows = {
        {"A 6", PanelGroup::Rate},
        {"G 1", PanelGroup::BarsAndGray},
        {"H 1", PanelGroup::Masking},
        {"X 1", PanelGroup::PopEnables},
        {"M 1", PanelGroup::SdiGenerator},
        {"Q 1", PanelGroup::Bypass},
        {"J 1", PanelGroup::DelayTrim},
        {"Y 1", PanelGroup::ColorSpace},
        {"k fc00 100", PanelGroup::UnitMemory},
    };
    for (const auto& [line, group] : rows) {
        SCOPED_TRACE(line);
        StatusParser parser;
        QSignalSpy spy(&parser, &StatusParser::changed);
        parser.processRxString(QString::fromLatin1(line));
        ASSERT_EQ(spy.count(), 1);
        EXPECT_EQ(spy.at(0).at(0).value<PanelGroup>(), group);
    }
}

TEST(StatusParser, FirmwareVersionCheck) {
    struct Case {
        const char* line;
        bool alert;
        const char* printed;
        const char* version;
    };
    const Case cases[] = {
        {"k 0 0 3.32.5", true, "3.32.5 3.32.6\n", "3.32.5"},
        {"k 0 0 3.32.6", false, "3.32.6 3.32.6\n", "3.32.6"},
        {"k 0 0 3.33.0", false, "3.33.0 3.32.6\n", "3.33.0"},
        // Two-digit components compare as numbers, not as text.
        {"k 0 0 3.4.10", true, "3.4.10 3.32.6\n", "3.4.10"},
        {"k fc00 100 10.0.0", false, "10.0.0 3.32.6\n", "10.0.0"},
        // No version in the reply: nothing to compare.
        {"k fc00 100", false, "", ""},
        {"k fc00 100 v3", false, "", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        RecordingPresenter alerts;
        StatusParser parser;
        testing::internal::CaptureStdout();
        parser.processRxString(QString::fromLatin1(c.line));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.printed);
        EXPECT_EQ(alerts.shown,
                  c.alert ? QStringList{"update micro to 3.32.6 or greater"} : QStringList{});
        EXPECT_EQ(parser.memory().firmwareVersion, QString::fromLatin1(c.version));
    }
}

TEST(StatusParser, StateMemoryFromKAndJReplies) {
    StatusParser parser;
    testing::internal::CaptureStdout();
    parser.processRxString("j fc00 1 2 3 4 5 6 7 8 9 a b c d e f 10");
    parser.processRxString("k fc00 40 3.32.6");
    // "k" starts a fresh read of the settings area.
    EXPECT_EQ(parser.memory().stateAddress, 0xfc00u);
    EXPECT_EQ(parser.memory().stateSize, 0x40u);
    for (auto b : parser.memory().stateBuffer)
        ASSERT_EQ(b, 0xff);

    parser.processRxString("j fc10 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f");
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(parser.memory().stateBuffer[0x10 + i], i);
    EXPECT_EQ(parser.memory().stateBuffer[0x0f], 0xff);
    EXPECT_EQ(parser.memory().stateBuffer[0x20], 0xff);

    // Outside the settings area: kept out.
    const UnitMemory before = parser.memory();
    parser.processRxString("j fd00 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11");
    parser.processRxString("j fbf0 22 22 22 22 22 22 22 22 22 22 22 22 22 22 22 22");
    EXPECT_EQ(parser.memory(), before);

    // A record at the end of the area does not run past it.
    parser.processRxString("j fcf8 33 33 33 33 33 33 33 33 44 44 44 44 44 44 44 44");
    EXPECT_EQ(parser.memory().stateBuffer[0xf8], 0x33);
    EXPECT_EQ(parser.memory().stateBuffer[0xff], 0x33);

    // A short record repeats its last byte.
    parser.processRxString("j fc20 5 6");
    EXPECT_EQ(parser.memory().stateBuffer[0x20], 5);
    EXPECT_EQ(parser.memory().stateBuffer[0x21], 6);
    EXPECT_EQ(parser.memory().stateBuffer[0x2f], 6);
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_NE(printed.find("j fc10 00 01"), std::string::npos);
}

TEST(StatusParser, InOutTransferProgress) {
    StatusParser parser;
    QSignalSpy tab(&parser, &StatusParser::showUnitTab);
    parser.setFMax(3);

    parser.processRxString("f");
    EXPECT_TRUE(parser.progress().visible);
    EXPECT_EQ(parser.progress().label, "0 items in queue");
    EXPECT_EQ(tab.count(), 1);
    EXPECT_EQ(parser.progressDowncount(), 50);

    parser.processRxString("h 2");
    EXPECT_EQ(parser.progress().label, "2 of 3 items sent, try again");
    parser.processRxString("h 0");
    EXPECT_EQ(parser.progress().label, "2 of 3 items sent, try again");
    parser.processRxString("h 3");
    EXPECT_EQ(parser.progress().label, "success!");
    EXPECT_EQ(parser.progress().value, 100);

    // Hidden five seconds (50 ticks) after the last item.
    for (int tick = 0; tick < 49; ++tick)
        parser.tickProgress();
    EXPECT_TRUE(parser.progress().visible);
    parser.tickProgress();
    EXPECT_FALSE(parser.progress().visible);
    parser.tickProgress();
    EXPECT_EQ(parser.progressDowncount(), 0);
}

TEST(StatusParser, NetworkUpdateProgressAndEnd) {
    RecordingPresenter alerts;
    StatusParser parser;
    QSignalSpy tab(&parser, &StatusParser::showUnitTab);
    inhibitPing = true;

    // Without a record count the count itself is scaled.
    parser.processRxString("u 0");
    EXPECT_TRUE(alerts.shown.isEmpty()); // nothing was showing
    EXPECT_FALSE(inhibitPing);

    inhibitPing = true;
    parser.setProgressMaxCount(200);
    parser.processRxString("u 50");
    EXPECT_TRUE(parser.progress().visible);
    EXPECT_EQ(parser.progress().maximum, 100);
    EXPECT_EQ(parser.progress().value, 25);
    EXPECT_EQ(tab.count(), 1);
    EXPECT_TRUE(inhibitPing);

    parser.processRxString("u 0");
    EXPECT_EQ(alerts.shown,
              QStringList{"close the GUI, wait for QZ62A reset to finish, restart GUI"});
    EXPECT_FALSE(parser.progress().visible);
    EXPECT_FALSE(inhibitPing);

    inhibitPing = true;
    testing::internal::CaptureStdout();
    parser.processRxString("S");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "got S response\n");
    EXPECT_FALSE(inhibitPing);
}

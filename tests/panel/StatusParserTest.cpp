#include "panel/StatusParser.h"
#include "panel/InhibitPing.h"
#include "panel/PanelSettings.h"
#include "protocol/CommandSink.h"
#include "support/PanelTestSupport.h"

#include <QSignalSpy>
#include <algorithm>
#include <functional>
#include <gtest/gtest.h>

namespace {

// A state unlike the defaults, so a reply that touches the wrong setting shows.
const PanelState kBaseline{.rateCell = 1,
                           .priorityCell = 1,
                           .bars = true,
                           .masking = {9, 9, 9, 9, 9},
                           .popPunch = true,
                           .sdiGenerator = 3,
                           .bypass = true,
                           .delayTrimSteps = 7,
                           .colorSpaceRow = 1};

struct ParserFixture {
    ParserFixture() : streamer(log), punch(log), annunciator(log), cue(log) {
        parser.setStreamerReceiver(&streamer);
        parser.setPunchReceiver(&punch);
        parser.setAnnunciatorReceiver(&annunciator);
        parser.setCueDocument(&cue);
        parser.mutableState() = kBaseline;
    }
    QStringList log;
    StreamerRecorder streamer;
    PunchRecorder punch;
    AnnunciatorRecorder annunciator;
    CueRecorder cue;
    StatusParser parser;
};

struct Row {
    const char* line;
    std::function<void(PanelState&)> change; // what the reply must change
    QStringList calls = {};                  // what the editors must receive
    const char* printed = "";                // what goes to standard output
};

void none(PanelState&) {}

} // namespace

TEST(StatusParser, EachReplySetsWhatItCarriesAndNothingElse) {
    using S = PanelState;
    const std::vector<Row> rows = {
        {"X 13",
         [](S& s) {
             s.popStreamerAccum = s.popStreamer = true, s.popPunch = false, s.popCell = 1;
         }},
        {"X 22", [](S& s) { s.popPunch = s.popStreamer = true, s.popCell = 2; }},
        {"X 24", [](S& s) { s.popCell = 3, s.popPunch = false; }},
        {"A e", [](S& s) { s.rateCell = 2, s.streamerEndPunch = true, s.priorityCell = 0; }},
        {"A 3", [](S& s) { s.rateCell = 2; }},
        {"A 8", [](S& s) { s.rateCell = 0, s.priorityCell = 0; }},
        // "G" and "Y" come back in hexadecimal.
        {"G a", [](S& s) { s.bars = false, s.grayScale = true; }},
        {"G 10", [](S& s) { s.bars = false; }},
        {"Y 10", [](S& s) { s.colorSpaceRow = 16; }},
        {"Y", none},
        {"J 25", [](S& s) { s.delayTrimSteps = 25; }},
        {"H 10 20 30 40 50",
         [](S& s) {
             s.masking = {10, 20, 30, 40, 50};
         }},
        // A short report repeats its last field.
        {"H 1 2",
         [](S& s) {
             s.masking = {1, 2, 2, 2, 2};
         }},
        {"H", none},
        {"M 5", [](S& s) { s.sdiGenerator = 5; }},
        {"M", none},
        {"M 16", none},
        {"Q 0", [](S& s) { s.bypass = false; }},
        {"Q 2", none},
        // Prompts and blanks around a line are not part of it.
        {"  >A 6>\r\n", [](S& s) { s.rateCell = 2, s.streamerEndPunch = true; }},
        // Echoed commands, banners and letters the panel does not follow.
        {"V2 Protools counter", none},
        {"B QZ62A C190", none},
        {"s cue text", none},
        {"w 1", none},
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
        PanelState expected = kBaseline;
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
        RecordingPrompts alerts;
        StatusParser parser;
        parser.setPrompts(&alerts);
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
    UnitMemory expected{{}, 0xfc00, 0x40, "3.32.6"};
    expected.stateBuffer.fill(0xff);
    EXPECT_EQ(parser.memory(), expected);
    const char* const records[] = {
        "j fc10 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f",
        // Outside the settings area: kept out.
        "j fd00 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11 11",
        "j fbf0 22 22 22 22 22 22 22 22 22 22 22 22 22 22 22 22",
        // A record at the end of the area does not run past it.
        "j fcf8 33 33 33 33 33 33 33 33 44 44 44 44 44 44 44 44",
        // A short record repeats its last byte.
        "j fc20 5 6",
    };
    std::string printed = "j fc00 1 2 3 4 5 6 7 8 9 a b c d e f 10\n3.32.6 3.32.6\n";
    for (const char* line : records) {
        parser.processRxString(line);
        printed += std::string(line) + "\n";
    }
    for (int i = 0; i < 16; ++i)
        expected.stateBuffer[0x10 + i] = std::uint8_t(i);
    std::fill_n(&expected.stateBuffer[0xf8], 8, 0x33);
    expected.stateBuffer[0x20] = 5;
    std::fill_n(&expected.stateBuffer[0x21], 15, 6);
    EXPECT_EQ(parser.memory(), expected);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
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
    RecordingPrompts alerts;
    StatusParser parser;
    parser.setPrompts(&alerts);
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

// A panel core that nobody gave prompts to never opens a window: its alerts
// go to the log, and its questions are answered "cancel", so the FLASH reset
// sends nothing.
TEST(StatusParser, WithoutPromptsAlertsAreLoggedAndQuestionsCancelled) {
    struct Sink : CommandSink {
        void sendString(const QString& command) override { sent << command; }
        void sendBytes(const QByteArray&) override {}
        void sendTimingBytes(const QByteArray&) override {}
        int txCount() const override { return 0; }
        QStringList sent;
    } sink;
    StatusParser parser;
    PanelSettings settings(parser);
    settings.setCommandSink(&sink);
    testing::internal::CaptureStdout();
    parser.processRxString("k 0 0 3.32.5");
    settings.onButtonResetFlash();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              QStringLiteral("alert: update micro to 3.32.6 or greater\n3.32.5 3.32.6\n"
                             "alert: %1\n")
                  .arg(QLatin1String(PanelSettings::kResetFlashQuestion))
                  .toStdString());
    EXPECT_TRUE(sink.sent.isEmpty());
}

// A unit that never answers one query locks only that group: its controls
// neither change nor send, while every group the unit reported works.
// Asking for every setting again locks them all until the answers come.
TEST(StatusParser, AGroupTakesChangesOnceTheUnitHasReportedIt) {
    struct Sink : CommandSink {
        void sendString(const QString& command) override { sent << command; }
        void sendBytes(const QByteArray&) override {}
        void sendTimingBytes(const QByteArray&) override {}
        int txCount() const override { return 0; }
        QStringList sent;
    } sink;
    StatusParser parser;
    PanelSettings settings(parser);
    settings.setCommandSink(&sink);
    settings.getInitValues();
    for (const char* reply : {"A a", "G 0", "J 0", "M 15", "Q 0", "X 12", "Y 0"})
        parser.processRxString(QLatin1String(reply));
    sink.sent.clear();
    auto change = [&] {
        settings.onTextBoxMasking(Mask::Top, 5);
        settings.onCheckBoxBars(true);
        settings.onCheckBoxBypass(true);
    };
    change();
    EXPECT_EQ(sink.sent, (QStringList{"G 1", "Q 1"}));
    EXPECT_FALSE(parser.isRead(PanelGroup::Masking));
    EXPECT_EQ(parser.state().masking[0], 0);

    parser.processRxString("H 1 2 3 4 5");
    sink.sent.clear();
    change();
    EXPECT_EQ(sink.sent, (QStringList{"H 5 2 3 4 5", "G 1", "Q 1"}));

    settings.getInitValues();
    sink.sent.clear();
    change();
    EXPECT_TRUE(sink.sent.isEmpty());
}

// The take in the application: one armed sheet fires whatever window is in
// front, the counters show the rate and whether time code runs, the armed
// window warns about the incoming time code, Hold and Fire Next, the take
// view. Time code is fed to the MIDI controller as a MIDI thread would.
#include "app/CueWindows.h"
#include "app/MainWindow.h"
#include "app/TakeControl.h"
#include "cues/CueDocument.h"
#include "cues/view/CueTableView.h"
#include "cues/view/CueWindow.h"
#include "cues/view/TakeView.h"
#include "midi/MidiController.h"
#include "midi/MtcGenerator.h"
#include "midi/view/MidiView.h"
#include "overlay/view/MonitorView.h"
#include "support/FilesAndTools.h"
#include "support/PanelTestSupport.h"

#include <QLabel>
#include <QPushButton>
#include <chrono>

using testsupport::Scratch;

namespace {

QByteArray sheetText(int tctype, const QString& prefix) {
    return QStringLiteral(";tctype\t%1\n"
                          "%2-1\t01:00:10:00\t---\t%2 first\t\n"
                          "%2-2\t01:00:20:00\t---\t%2 second\t\n")
        .arg(tctype)
        .arg(prefix)
        .toUtf8();
}

// A sequencer playing into the controller from `start`, as the MIDI thread
// would deliver it.
struct Source {
    MidiController* midi;
    MtcGenerator generator;
    Source(MidiController* m, int type, int h, int mi, int s, int f)
        : midi(m), generator(type, h, mi, s, f) {
        send(generator.fullFrame());
    }
    void send(const QByteArray& bytes) {
        midi->decodeData(reinterpret_cast<const std::uint8_t*>(bytes.constData()),
                         std::size_t(bytes.size()));
    }
    void play(int frames) {
        for (int i = 0; i < 4 * frames; ++i)
            send(generator.nextQuarterFrame());
    }
};

std::int64_t steadyNowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace

TEST(Take, OneArmedSheetUntilTheUserArmsAnother) {
    Scratch scratch;
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    App app(sim.ptyPath());
    ASSERT_TRUE(startUpSent(sim));
    CueWindows* cues = app.window.cueWindows();
    TakeControl* take = cues->take();
    CueWindow* reel1 = cues->open(scratch.write("reel1.txt", sheetText(3, "A")));
    ASSERT_NE(reel1, nullptr);
    EXPECT_TRUE(reel1->isArmed()) << "the first sheet opened is armed";
    EXPECT_EQ(app.window.followingText(), QStringLiteral("Following reel1.txt"));

    // A second sheet in front leaves the first armed: its cue fires.
    CueWindow* reel2 = cues->open(scratch.write("reel2.txt", sheetText(3, "B")));
    EXPECT_EQ(cues->front(), reel2);
    EXPECT_FALSE(reel2->isArmed());
    EXPECT_EQ(take->armed(), reel1);
    sim.clearRecord();
    // Due at 01:00:08:00: 01:00:10:00 less the 60-frame lead.
    Source source(app.window.midiView()->controller(), 3, 1, 0, 7, 0);
    source.play(45);
    MidiController* midi = app.window.midiView()->controller();
    ASSERT_TRUE(QTest::qWaitFor([&] { return midi->timecodeRunning(); }, kWaitMs));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !sim.sysexTexts().isEmpty(); }, kWaitMs));
    EXPECT_TRUE(sim.sysexTexts().first().contains(QStringLiteral("A first")));

    // The streamer's lead from a status report reaches every sheet.
    app.controller().parser().processRxString(QStringLiteral("C 0 28 0 96 0 ff ff 0"));
    const int duration = app.window.monitorView()->editor().streamerDuration();
    EXPECT_NE(duration, 100);
    for (CueWindow* w : {reel1, reel2})
        EXPECT_EQ(w->document()->sheet().stepperStreamerDuration(), duration);

    // Arming another is the user's: its button, or Cues > Arm This Sheet.
    reel2->findChild<QPushButton*>(QStringLiteral("buttonArm"))->click();
    EXPECT_TRUE(reel2->isArmed());
    EXPECT_FALSE(reel1->isArmed());
    EXPECT_EQ(app.window.followingText(), QStringLiteral("Following reel2.txt"));

    // Closing the armed sheet disarms it and says so; a new sheet is not
    // armed until time code starts from stopped, which arms the front one.
    ASSERT_TRUE(reel2->close());
    QCoreApplication::processEvents();
    EXPECT_EQ(take->armed(), nullptr);
    EXPECT_TRUE(app.window.followingText().contains(QStringLiteral("reel2.txt was closed")));
    CueWindow* reel3 = cues->open(scratch.write("reel3.txt", sheetText(3, "C")));
    EXPECT_FALSE(reel3->isArmed());
    midi->checkStopped(steadyNowNs() + 1'000'000'000);
    ASSERT_FALSE(midi->timecodeRunning());
    source.play(1);
    ASSERT_TRUE(QTest::qWaitFor([&] { return midi->timecodeRunning(); }, kWaitMs));
    EXPECT_EQ(take->armed(), reel3);
}

// The counters say the rate and whether time code runs; the armed window
// warns when the rate is not the sheet's and when drop frame arrives while
// it is not counted exactly, with a button that turns exact counting on.
TEST(Take, CountersAndTimecodeWarnings) {
    Scratch scratch;
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    App app(sim.ptyPath());
    CueWindows* cues = app.window.cueWindows();
    CueWindow* reel1 = cues->open(scratch.write("reel1.txt", sheetText(3, "A")));
    CueWindow* other = cues->open(scratch.write("reel2.txt", sheetText(3, "B")));
    MidiController* midi = app.window.midiView()->controller();
    midi->setExactDropFrame(false);
    QLabel* state = app.window.midiView()->stateLabel();
    auto* rate = reel1->findChild<QLabel*>(QStringLiteral("labelTimecodeRate"));
    const struct {
        int type;
        QString state;
        QString warning; // a part of it; empty: none
        bool button;
    } cases[] = {
        {3, "30 fps \u00b7 running", "", false},
        {1, "25 fps \u00b7 running", "Time code arrives at 25 fps", false},
        {2, "29.97 drop fps \u00b7 running", "frames 00 and 01", true},
    };
    for (const auto& c : cases) {
        Source source(midi, c.type, 1, 0, 0, 0);
        // Played on while waiting: a slow build must not see it stop.
        ASSERT_TRUE(QTest::qWaitFor(
            [&] {
                source.play(1);
                return state->text() == c.state && rate->text().contains(QStringLiteral("running"));
            },
            kWaitMs))
            << state->text().toStdString();
        EXPECT_EQ(reel1->timecodeWarning().isEmpty(), c.warning.isEmpty()) << c.type;
        EXPECT_TRUE(reel1->timecodeWarning().contains(c.warning))
            << reel1->timecodeWarning().toStdString();
        EXPECT_TRUE(other->timecodeWarning().isEmpty()) << "only the armed sheet warns";
        auto* button = reel1->findChild<QPushButton*>(QStringLiteral("buttonTimecodeWarning"));
        EXPECT_EQ(!button->isHidden(), c.button) << c.type;
    }
    if (qEnvironmentVariableIsSet("QZ62_TAKE_SHOTS")) {
        reel1->grab().save(qEnvironmentVariable("QZ62_TAKE_SHOTS") + "/armed-warning.png");
        app.window.grab().save(qEnvironmentVariable("QZ62_TAKE_SHOTS") + "/main-running.png");
    }
    reel1->findChild<QPushButton*>(QStringLiteral("buttonTimecodeWarning"))->click();
    EXPECT_TRUE(midi->exactDropFrame());
    EXPECT_TRUE(app.window.midiView()->exactDropFrameAction() == nullptr ||
                app.window.midiView()->exactDropFrameAction()->isChecked());
    EXPECT_FALSE(reel1->timecodeWarning().contains(QStringLiteral("frames 00 and 01")));

    // No quarter frame for longer than two frames: stopped, greyed out.
    midi->checkStopped(steadyNowNs() + 100'000'000);
    EXPECT_EQ(state->text(), QStringLiteral("29.97 drop fps \u00b7 stopped"));
    EXPECT_TRUE(rate->text().contains(QStringLiteral("stopped")));
}

// Hold sends nothing for the time code while the counters run; Fire Next
// sends the next cue at once, and the take view shows the current and next
// cue with the countdown.
TEST(Take, HoldFireNextAndTheTakeView) {
    Scratch scratch;
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    App app(sim.ptyPath());
    ASSERT_TRUE(startUpSent(sim));
    CueWindow* reel1 = app.window.cueWindows()->open(scratch.write("reel1.txt", sheetText(3, "A")));
    TakeView* view = app.window.showTakeView();
    ASSERT_NE(view, nullptr);
    view->hide();
    auto text = [&](const char* name) { return view->findChild<QLabel*>(name)->text(); };
    EXPECT_EQ(text("takeSheet"), QStringLiteral("reel1.txt"));
    EXPECT_EQ(text("takeNextId"), QStringLiteral("A-1"));

    sim.clearRecord();
    reel1->findChild<QPushButton*>(QStringLiteral("buttonHold"))->click();
    EXPECT_EQ(text("takeState"), QStringLiteral("HOLD: nothing is sent"));
    // Across the first cue's frame (01:00:08:00) to 01:00:09:00.
    Source source(app.window.midiView()->controller(), 3, 1, 0, 7, 0);
    source.play(60);
    ASSERT_TRUE(QTest::qWaitFor([&] { return view->timecodeText() >= "01:00:08:20"; }, kWaitMs))
        << view->timecodeText().toStdString();
    EXPECT_TRUE(sim.triggers().isEmpty()) << "held";
    EXPECT_TRUE(text("takeCountdown").endsWith(QStringLiteral(" fr")));

    // Fire Next while held: the first cue goes now and counts as fired.
    reel1->findChild<QPushButton*>(QStringLiteral("buttonFireNext"))->click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !sim.sysexTexts().isEmpty(); }, kWaitMs));
    EXPECT_TRUE(sim.sysexTexts().first().contains(QStringLiteral("A first")));
    EXPECT_EQ(text("takeCurrentId"), QStringLiteral("A-1"));
    EXPECT_EQ(text("takeNextId"), QStringLiteral("A-2"));
    if (qEnvironmentVariableIsSet("QZ62_TAKE_SHOTS")) {
        view->resize(1920, 1080);
        view->grab().save(qEnvironmentVariable("QZ62_TAKE_SHOTS") + "/take-held.png");
        reel1->grab().save(qEnvironmentVariable("QZ62_TAKE_SHOTS") + "/armed-held.png");
    }
    reel1->findChild<QPushButton*>(QStringLiteral("buttonHold"))->click();
    EXPECT_NE(text("takeState"), QStringLiteral("HOLD: nothing is sent"));
}

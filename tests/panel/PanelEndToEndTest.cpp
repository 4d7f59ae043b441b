#include "Version.h"
#include "link/ComThread.h"
#include "overlay/view/AnnunciatorView.h"
#include "overlay/view/MonitorView.h"
#include "overlay/view/PunchView.h"
#include "panel/InhibitPing.h"
#include "protocol/Commands.h"
#include "support/PanelTestSupport.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>
#include <QProgressBar>
#include <QRadioButton>
#include <QTabWidget>
#include <ctime>

namespace {

double processCpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

const QString kTitlePrefix = QStringLiteral("QZ62A version %1-").arg(qz62::kAppVersion);

} // namespace

TEST(PanelEndToEnd, StartsReadsTheUnitAndFollowsIt) {
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    App app(sim.ptyPath());

    ASSERT_EQ(app.controller().linkState(), PanelController::LinkState::Connected);
    EXPECT_TRUE(app.controller().comThread()->isRunning());
    EXPECT_EQ(app.window.windowTitle(), kTitlePrefix + sim.ptyPath());
    EXPECT_TRUE(app.window.statusText().contains("Unit connected on " + sim.ptyPath()));

    // Identification, then the start-up queries in order.
    ASSERT_TRUE(startUpSent(sim));
    QStringList lines = withoutPings(sim.commandLines());
    while (!lines.isEmpty() && lines.first() == "B" && lines.size() > kInitCommands.size())
        lines.removeFirst();
    EXPECT_EQ(lines, kInitCommands);

    // Every control shows what the unit reported.
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return app.find<QLabel>("labelFirmware")->text().startsWith("3.32.6"); }, kWaitMs));
    QTest::qWait(100);
    app.expectControls(
        {"radioButtonRefAuto", "radioButtonHdmi", "checkBoxPopStreamer", "radioLtcEnable"},
        {"checkBoxStreamerEndPunch", "checkBoxBars", "checkBoxBypass", "checkBoxPopStreamerAccum",
         "checkBoxPopPunch"},
        {{"textBoxMaskingTop", 10},
         {"stepperMaskingBottom", 10},
         {"textBoxMaskingTransparency", 50},
         {"comboBoxSdiGenerator", 15},
         {"stepperDelayTrim", 0},
         {"myColorSpaceComboBox", 0}});
    EXPECT_TRUE(app.alerts.shown.isEmpty());

    // Closing the window takes every part down: the cue windows, MIDI, the
    // editors' preview workers and the link; nothing more reaches the unit.
    app.window.close();
    EXPECT_EQ(app.window.cueWindows(), nullptr);
    EXPECT_EQ(app.window.midiView(), nullptr);
    EXPECT_FALSE(app.window.monitorView()->editor().thread()->isRunning());
    EXPECT_FALSE(app.window.punchView()->editor().thread()->isRunning());
    EXPECT_FALSE(app.window.annunciatorView()->editor().thread()->isRunning());
    EXPECT_EQ(app.controller().comThread(), nullptr);
    EXPECT_EQ(app.controller().linkState(), PanelController::LinkState::Closed);
    const int count = int(sim.commandLines().size());
    app.controller().timer_service();
    app.find<QCheckBox>("checkBoxBypass")->click();
    QTest::qWait(100);
    EXPECT_EQ(sim.commandLines().size(), count);
}

TEST(PanelEndToEnd, KeepAliveEveryFiftyTicksUnlessInhibited) {
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    App app(sim.ptyPath());
    ASSERT_TRUE(startUpSent(sim));
    auto pings = [&] { return sim.commandLines().count("ping"); };

    // First tick pings, then every 50th: ticks 1, 52 and 103 of 150.
    for (int tick = 0; tick < 150; ++tick)
        app.controller().timer_service();
    EXPECT_TRUE(QTest::qWaitFor([&] { return pings() == 3; }, kWaitMs)) << pings();

    inhibitPing = true;
    for (int tick = 0; tick < 200; ++tick)
        app.controller().timer_service();
    QTest::qWait(100);
    EXPECT_EQ(pings(), 3);

    // The unit's "S" lets the keep-alive go again: one ping in any 51 ticks.
    app.controller().threadHasString("S");
    EXPECT_FALSE(inhibitPing);
    for (int tick = 0; tick < 51; ++tick)
        app.controller().timer_service();
    EXPECT_TRUE(QTest::qWaitFor([&] { return pings() == 4; }, kWaitMs)) << pings();
    QTest::qWait(100);
    EXPECT_EQ(pings(), 4);
}

TEST(PanelEndToEnd, TimerDrivesTheKeepAlive) {
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    App app(sim.ptyPath(), 2); // 50 ticks = 100 ms
    EXPECT_TRUE(QTest::qWaitFor([&] { return sim.commandLines().count("ping") >= 3; }, kWaitMs));
    inhibitPing = false;
}

TEST(PanelEndToEnd, InOutListShowsProgressOnTheUnitTab) {
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    App app(sim.ptyPath());
    ASSERT_TRUE(startUpSent(sim));
    QTabWidget* tabs = app.window.panel()->tabView();
    tabs->setCurrentIndex(0);
    QProgressBar* bar = app.find<QProgressBar>("progressBarUpdate");
    QLabel* label = app.find<QLabel>("labelUpdate");
    EXPECT_FALSE(bar->isVisibleTo(&app.window));

    app.controller().parser().setFMax(2);
    ComThread* link = app.controller().comThread();
    link->sendString(cmd::inOutStart());
    link->sendString(cmd::inOut("01:00:00:00", "01:00:05:00"));
    link->sendString(cmd::inOut("01:00:10:00", "01:00:15:00"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return bar->isVisibleTo(&app.window); }, kWaitMs));
    EXPECT_EQ(tabs->currentIndex(), qz62View::kUnitTab);
    EXPECT_TRUE(label->isVisibleTo(&app.window));
    EXPECT_TRUE(QTest::qWaitFor([&] { return label->text() == "success!"; }, kWaitMs))
        << label->text().toStdString();
    EXPECT_EQ(bar->value(), bar->maximum());

    // Hidden 50 ticks after the last pair.
    for (int tick = 0; tick < 50; ++tick)
        app.controller().timer_service();
    EXPECT_FALSE(bar->isVisibleTo(&app.window));
    EXPECT_FALSE(label->isVisibleTo(&app.window));
}

TEST(PanelEndToEnd, UnpluggedUnitShowsAsGoneAndNothingSpins) {
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    App app(sim.ptyPath());
    ASSERT_TRUE(startUpSent(sim));

    sim.unplug();
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return app.controller().linkState() == PanelController::LinkState::Lost; }, kWaitMs));
    EXPECT_TRUE(app.window.statusText().contains("Unit lost"));
    EXPECT_TRUE(app.window.panel()->linkStateText().contains("Unit lost"));
    EXPECT_EQ(app.window.windowTitle(), kTitlePrefix + "QZ-62A lost");
    EXPECT_FALSE(app.controller().comThread()->isRunning());

    // Idle with no unit: the controls still work and cost nothing.
    app.find<QCheckBox>("checkBoxBars")->click();
    const double cpuBefore = processCpuSeconds();
    QTest::qWait(300);
    EXPECT_LT(processCpuSeconds() - cpuBefore, 0.15);
}

TEST(PanelEndToEnd, NoUnitShowsNotFoundUntilConnectFindsIt) {
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    sim.setSilent(true);
    App app(sim.ptyPath());
    EXPECT_EQ(app.controller().linkState(), PanelController::LinkState::NotFound);
    EXPECT_EQ(app.window.windowTitle(), kTitlePrefix + "QZ-62A not found");
    EXPECT_TRUE(app.window.statusText().contains("No unit found"));
    EXPECT_FALSE(app.controller().comThread()->isRunning());
    // Only the identification reached the silent unit.
    EXPECT_EQ(sim.commandLines().count("B"), sim.commandLines().size());
    // Nothing was read: every settings group says so and takes no changes;
    // the Fire buttons work.
    const char* const groups[] = {"groupReference", "groupMasking", "groupPops"};
    const char* const settings[] = {"radioButtonRefAuto", "textBoxMaskingTop",
                                    "checkBoxPopPunch",   "colorWellStreamer0",
                                    "textDurationFrames", "radioAnnunciatorRehearse"};
    for (const char* name : groups)
        EXPECT_TRUE(app.find<QGroupBox>(name)->title().endsWith("not read from the unit")) << name;
    for (const char* name : settings)
        EXPECT_FALSE(app.find<QWidget>(name)->isEnabled()) << name;
    EXPECT_TRUE(app.find<QWidget>("buttonStreamer0")->isEnabled());

    sim.setSilent(false);
    EXPECT_TRUE(app.controller().reconnect());
    EXPECT_EQ(app.controller().linkState(), PanelController::LinkState::Connected);
    EXPECT_EQ(app.window.windowTitle(), kTitlePrefix + sim.ptyPath());
    EXPECT_TRUE(startUpSent(sim));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return app.find<QWidget>("radioAnnunciatorRehearse")->isEnabled(); }, kWaitMs));
    for (const char* name : groups)
        EXPECT_FALSE(app.find<QGroupBox>(name)->title().contains("not read")) << name;
    for (const char* name : settings)
        EXPECT_TRUE(app.find<QWidget>(name)->isEnabled()) << name;
}

TEST(PanelEndToEnd, RepliesStayInOrderWhileAnAlertIsOpen) {
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    sim.setFirmwareVersion(QStringLiteral("3.32.5")); // "k" brings up the update alert
    App app(sim.ptyPath());
    app.alerts.modalMs = 400;
    QStringList log;
    QObject::connect(&app.controller(), &PanelController::rxLine,
                     [&](const QString& line) { log << line; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return log.contains("t 70 70 70"); }, kWaitMs));
    EXPECT_EQ(app.alerts.shown, QStringList{"update micro to 3.32.6 or greater"});
    // Every reply after "k" arrived while the alert was open, and still
    // comes after it.
    auto firstStarting = [&](const char* prefix) {
        for (qsizetype i = 0; i < log.size(); ++i)
            if (log[i].startsWith(QLatin1String(prefix)))
                return i;
        return qsizetype(-1);
    };
    EXPECT_LT(firstStarting("Y "), firstStarting("k "));
    EXPECT_LT(firstStarting("k "), firstStarting("m "));
    EXPECT_LT(firstStarting("m "), firstStarting("t "));
}

TEST(PanelEndToEnd, BannerGivesTheReasonAPortCannotBeOpened) {
    App app(QStringLiteral("/dev/qz62-no-such-port"));
    EXPECT_EQ(app.controller().linkState(), PanelController::LinkState::NotFound);
    const QString text = app.window.panel()->linkStateText();
    EXPECT_TRUE(text.contains("cannot open /dev/qz62-no-such-port")) << text.toStdString();
    EXPECT_FALSE(text.contains("cable")) << text.toStdString();
}

TEST(PanelEndToEnd, SilentUnitIsNotAnsweringUntilItSpeaksAgain) {
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    App app(sim.ptyPath(), 2); // a ping every 100 ms
    ASSERT_TRUE(startUpSent(sim));
    ASSERT_TRUE(QTest::qWaitFor([&] { return sim.commandLines().count("ping") >= 1; }, kWaitMs));
    sim.setSilent(true);
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return app.controller().linkState() == PanelController::LinkState::NotAnswering; },
        kWaitMs));
    EXPECT_GE(app.controller().unansweredPings(), PanelController::kUnansweredPings);
    EXPECT_TRUE(app.window.panel()->linkStateText().contains("not answering"));
    EXPECT_EQ(app.window.windowTitle(), kTitlePrefix + sim.ptyPath() + " (not answering)");

    sim.clearRecord();
    sim.setSilent(false);
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return app.controller().linkState() == PanelController::LinkState::Connected; },
        kWaitMs));
    // Every setting is read again.
    EXPECT_TRUE(startUpSent(sim));
    inhibitPing = false;
}

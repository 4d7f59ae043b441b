#include "PanelTestSupport.h"
#include "Version.h"
#include "app/MainWindow.h"
#include "link/ComThread.h"
#include "panel/Commands.h"
#include "panel/InhibitPing.h"
#include "sim/SimulatedUnit.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QProgressBar>
#include <QRadioButton>
#include <QSlider>
#include <QSpinBox>
#include <QTabWidget>
#include <QTest>
#include <ctime>
#include <gtest/gtest.h>

namespace {

constexpr int kWaitMs = 5000;
constexpr int kQuietTickMs = 3600 * 1000;

double processCpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

struct App {
    explicit App(const QString& port, int tickMs = kQuietTickMs) {
        PanelOptions options;
        options.explicitPort = port;
        options.tickIntervalMs = tickMs;
        // Not shown: painting would bring in Qt's raster worker threads, which
        // the thread checker cannot see through; visibility is checked with
        // isVisibleTo().
        window.panel()->awakeFromNib(options);
    }
    PanelController& controller() { return window.panel()->controller(); }
    template <typename T>
    T* find(const char* name) {
        T* w = window.findChild<T*>(QString::fromLatin1(name));
        EXPECT_NE(w, nullptr) << name;
        return w;
    }
    RecordingPresenter alerts;
    MainWindow window;
};

const QString kTitlePrefix = QStringLiteral("QZ62A version %1-").arg(qz62::kAppVersion);

} // namespace

TEST(PanelEndToEnd, StartsReadsTheUnitAndFollowsIt) {
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    App app(sim.ptyPath());

    ASSERT_EQ(app.controller().linkState(), PanelController::LinkState::Connected);
    EXPECT_TRUE(app.controller().comThread()->isRunning());
    EXPECT_EQ(app.window.windowTitle(), kTitlePrefix + "QZ-62A not found");
    EXPECT_TRUE(app.window.statusText().contains("Unit connected on " + sim.ptyPath()));

    // Identification, then the start-up queries in order.
    ASSERT_TRUE(QTest::qWaitFor([&] { return sim.commandLines().contains("t"); }, kWaitMs));
    QStringList lines = withoutPings(sim.commandLines());
    while (!lines.isEmpty() && lines.first() == "B" && lines.size() > kInitCommands.size())
        lines.removeFirst();
    EXPECT_EQ(lines, kInitCommands);

    // Every control shows what the unit reported.
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return app.find<QLabel>("labelFirmware")->text().startsWith("3.32.6"); }, kWaitMs));
    QTest::qWait(100);
    EXPECT_TRUE(app.find<QRadioButton>("radioButtonRefAuto")->isChecked());
    EXPECT_TRUE(app.find<QRadioButton>("radioButtonHdmi")->isChecked());
    EXPECT_FALSE(app.find<QCheckBox>("checkBoxStreamerEndPunch")->isChecked());
    EXPECT_FALSE(app.find<QCheckBox>("checkBoxBars")->isChecked());
    EXPECT_EQ(app.find<QSpinBox>("textBoxMaskingTop")->value(), 10);
    EXPECT_EQ(app.find<QSlider>("stepperMaskingBottom")->value(), 10);
    EXPECT_EQ(app.find<QSpinBox>("textBoxMaskingTransparency")->value(), 50);
    EXPECT_TRUE(app.find<QCheckBox>("checkBoxPopStreamerAccum")->isChecked());
    EXPECT_TRUE(app.find<QRadioButton>("radioLtcEnable")->isChecked());
    EXPECT_EQ(app.find<QComboBox>("comboBoxSdiGenerator")->currentIndex(), 15);
    EXPECT_FALSE(app.find<QCheckBox>("checkBoxBypass")->isChecked());
    EXPECT_EQ(app.find<QSpinBox>("stepperDelayTrim")->value(), 0);
    EXPECT_EQ(app.find<QComboBox>("myColorSpaceComboBox")->currentIndex(), 0);
    EXPECT_TRUE(app.alerts.shown.isEmpty());

    // Changing a control changes the unit.
    app.find<QCheckBox>("checkBoxBars")->click();
    QSpinBox* top = app.find<QSpinBox>("textBoxMaskingTop");
    top->setFocus();
    top->selectAll();
    QTest::keyClicks(top, "20");
    QTest::keyClick(top, Qt::Key_Return);
    app.find<QRadioButton>("radioMtcEnable")->click();
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            return sim.setting("G") == "1" && sim.setting("H") == "20 10 0 0 50" &&
                   sim.setting("X") == "21";
        },
        kWaitMs))
        << sim.setting("G").toStdString() << " / " << sim.setting("H").toStdString() << " / "
        << sim.setting("X").toStdString();

    // Closing the window stops the link; nothing more reaches the unit.
    ComThread* link = app.controller().comThread();
    ASSERT_TRUE(link->isRunning());
    app.window.close();
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
    ASSERT_TRUE(QTest::qWaitFor([&] { return sim.commandLines().contains("t"); }, kWaitMs));
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
    ASSERT_TRUE(QTest::qWaitFor([&] { return sim.commandLines().contains("t"); }, kWaitMs));
    QTabWidget* tabs = app.window.panel()->tabView();
    tabs->setCurrentIndex(0);
    QProgressBar* bar = app.find<QProgressBar>("progressBarUpdate");
    EXPECT_FALSE(bar->isVisibleTo(&app.window));

    app.controller().parser().setFMax(2);
    ComThread* link = app.controller().comThread();
    link->sendString(cmd::inOutStart());
    link->sendString(cmd::inOut("01:00:00:00", "01:00:05:00"));
    link->sendString(cmd::inOut("01:00:10:00", "01:00:15:00"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return bar->isVisibleTo(&app.window); }, kWaitMs));
    EXPECT_EQ(tabs->currentIndex(), qz62View::kUnitTab);
    QLabel* label = app.find<QLabel>("labelUpdate");
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
    ASSERT_TRUE(QTest::qWaitFor([&] { return sim.commandLines().contains("t"); }, kWaitMs));

    sim.unplug();
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return app.controller().linkState() == PanelController::LinkState::Lost; }, kWaitMs));
    EXPECT_TRUE(app.window.statusText().contains("Unit lost"));
    EXPECT_TRUE(app.window.panel()->linkStateText().contains("Unit lost"));
    EXPECT_FALSE(app.controller().comThread()->isRunning());

    // Idle with no unit: the controls still work and cost nothing.
    app.find<QCheckBox>("checkBoxBars")->click();
    const double cpuBefore = processCpuSeconds();
    QTest::qWait(300);
    EXPECT_LT(processCpuSeconds() - cpuBefore, 0.15);
}

TEST(PanelEndToEnd, NoUnitShowsNotFound) {
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    sim.setSilent(true);
    App app(sim.ptyPath());
    EXPECT_EQ(app.controller().linkState(), PanelController::LinkState::NotFound);
    EXPECT_EQ(app.window.windowTitle(), kTitlePrefix + "QZ-62A not found");
    EXPECT_TRUE(app.window.statusText().contains("No unit found"));
    EXPECT_FALSE(app.controller().comThread()->isRunning());
    // Only the identification reached the silent unit.
    for (const QString& line : sim.commandLines())
        EXPECT_EQ(line, "B");

    // Plugged in later: Connect finds it and reads it.
    sim.setSilent(false);
    EXPECT_TRUE(app.controller().reconnect());
    EXPECT_EQ(app.controller().linkState(), PanelController::LinkState::Connected);
    EXPECT_TRUE(QTest::qWaitFor([&] { return sim.commandLines().contains("t"); }, kWaitMs));
}

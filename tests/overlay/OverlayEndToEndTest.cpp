#include "PanelTestSupport.h"
#include "overlay/ColorWell.h"
#include "overlay/PreviewCanvas.h"

#include <QApplication>
#include <QMenu>
#include <QMouseEvent>
#include <QSlider>
#include <chrono>

namespace {

using Clock = SimulatedUnit::Clock;
using std::chrono::duration_cast;
using std::chrono::milliseconds;

QList<SimProtocol::Command> commandsStarting(const SimulatedUnit& sim, const char* prefix) {
    QList<SimProtocol::Command> out;
    for (const SimProtocol::Command& c : sim.commands()) {
        if (c.line.startsWith(QLatin1String(prefix)))
            out << c;
    }
    return out;
}

// The application on the simulated unit, started and settled.
struct Started {
    Started() {
        EXPECT_TRUE(sim.start());
        app = std::make_unique<App>(sim.ptyPath());
        EXPECT_TRUE(startUpSent(sim));
        EXPECT_TRUE(QTest::qWaitFor([&] { return app->value("sliderPunchSize") == 64; }, kWaitMs));
        QTest::qWait(600); // the start-up pictures' countdowns send nothing
        sim.clearRecord();
    }
    SimulatedUnit sim;
    std::unique_ptr<App> app;
};

TEST(OverlayEndToEnd, ChangesReachTheUnitAsCommands) {
    Started s;
    auto& sim = s.sim;
    App& app = *s.app;

    // A drag through 50 values: one "C", a third of a second after the last.
    auto* top = app.find<QSlider>("sliderStreamerTop");
    Clock::time_point last;
    for (int v = 200; v < 250; ++v) {
        top->setValue(v);
        last = Clock::now();
        QTest::qWait(5);
    }
    ASSERT_TRUE(QTest::qWaitFor([&] { return !commandsStarting(sim, "C ").isEmpty(); }, kWaitMs));
    QTest::qWait(700);
    const auto sent = commandsStarting(sim, "C ");
    ASSERT_EQ(sent.size(), 1);
    EXPECT_EQ(sent.first().line, "C 0 28 0 64 0 f9 ff 0");
    const auto delayMs = duration_cast<milliseconds>(sent.first().time - last).count();
    EXPECT_GE(delayMs, 330);
    EXPECT_LE(delayMs, 600); // 400 normally; the slack is for a loaded machine

    // Streamer 2 turns red: "C" and note 126 at once, the preview untouched.
    sim.clearRecord();
    auto* canvas = app.find<PreviewCanvas>("streamerPreview");
    // The unit echoes the command, which repaints the same picture.
    const QImage picture = canvas->image();
    const Clock::time_point chosen = Clock::now();
    app.find<ColorWell>("colorWellStreamer2")->menu()->actions().at(5)->trigger();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !sim.triggers().isEmpty(); }, kWaitMs));
    const auto colour = commandsStarting(sim, "C ");
    ASSERT_EQ(colour.size(), 1);
    EXPECT_EQ(colour.first().line, "C 140 28 0 64 0 f9 ff 0");
    EXPECT_LT(duration_cast<milliseconds>(colour.first().time - chosen).count(), 300);
    EXPECT_EQ(sim.triggers().first().note, 126);
    EXPECT_EQ(sim.triggers().first().velocity, 64);
    QTest::qWait(100);
    EXPECT_TRUE(canvas->image() == picture);

    // Typed seconds go out once typing is done, as fiftieths; letters leave
    // the last good value, and Enter sends it again.
    auto* seconds = app.find<QDoubleSpinBox>("textStreamerDuration");
    for (const char* typed : {"0.5", "abc"}) {
        // The unit's echo of the last command lands first: a report cancels
        // an edit's pending transmit, as it re-sets the controls.
        QTest::qWait(300);
        sim.clearRecord();
        QTest::keyClick(seconds, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(seconds, QString::fromLatin1(typed));
        QTest::keyClick(seconds, Qt::Key_Return);
        ASSERT_TRUE(
            QTest::qWaitFor([&] { return !commandsStarting(sim, "C ").isEmpty(); }, kWaitMs))
            << typed;
        EXPECT_EQ(commandsStarting(sim, "C ").first().line, "C 140 28 0 19 0 f9 ff 0") << typed;
        EXPECT_EQ(app.value("stepperStreamerDuration"), 25) << typed;
    }

    // A click at the punch preview's top left corner, size 64: x 8, y 15.
    sim.clearRecord();
    auto* punch = app.find<PreviewCanvas>("punchPreview");
    punch->resize(480, 270);
    const QPointF corner = punch->pictureRect().topLeft();
    QMouseEvent press(QEvent::MouseButtonPress, corner, punch->mapToGlobal(corner), Qt::LeftButton,
                      Qt::LeftButton, {});
    QApplication::sendEvent(punch, &press);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !commandsStarting(sim, "E ").isEmpty(); }, kWaitMs));
    EXPECT_EQ(commandsStarting(sim, "E ").first().line, "E 0 8 f 40 c 64 2 1");
}

// What the unit reports lands in the controls, clamped to their ranges, and
// nothing goes back.
TEST(OverlayEndToEnd, ReportsLandInTheControlsWithoutEcho) {
    Started s;
    struct Case {
        const char* report;
        std::vector<std::pair<const char*, double>> values;
    };
    const Case cases[] = {
        {"C 1ff 28",
         {{"sliderStreamerTop", 40},
          {"sliderStreamerWidth", 40},
          {"stepperStreamerDuration", 40},
          {"textStreamerDelay", 0.8},
          {"sliderStreamerBottom", 215}}},
        {"C 7fff 1ff 0 ffff", {{"sliderStreamerWidth", 255}, {"stepperStreamerDuration", 1500}}},
        {"E 7000 0 0 0", {{"sliderPunchSize", 0}, {"textDurationFrames", 12}}},
        {"E 1ffff 100 100 1ff fff fff fff ff",
         {{"sliderPunchSize", 255},
          {"textDurationFrames", 250},
          {"repeatSeconds", 1000},
          {"textRepeatSeconds", 10},
          {"textRepeatCount", 99}}},
    };
    for (const Case& c : cases) {
        s.sim.sendRaw(QByteArray(c.report) + "\r\n>");
        const auto& [first, expected] = c.values.front();
        EXPECT_TRUE(QTest::qWaitFor([&] { return s.app->value(first) == expected; }, kWaitMs))
            << c.report;
        for (const auto& [name, value] : c.values)
            EXPECT_DOUBLE_EQ(s.app->value(name), value) << c.report << " " << name;
    }
    EXPECT_EQ(s.app->find<ColorWell>("colorWellEndBar")->code(), 7);
    s.app->expectControls({"checkBoxRev0", "checkBoxRev1", "checkBoxRev2", "checkBoxRev3"}, {}, {});
    QTest::qWait(700);
    EXPECT_TRUE(commandsStarting(s.sim, "C ").isEmpty());
    EXPECT_TRUE(commandsStarting(s.sim, "E ").isEmpty());
}

} // namespace

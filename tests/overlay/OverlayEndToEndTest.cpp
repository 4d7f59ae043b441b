#include "overlay/view/AnnunciatorView.h"
#include "overlay/view/ColorWell.h"
#include "overlay/view/PreviewCanvas.h"
#include "support/PanelTestSupport.h"

#include <QApplication>
#include <QMenu>
#include <QMouseEvent>
#include <QRadioButton>
#include <QSlider>
#include <chrono>
#include <functional>

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

    // Streamer 2 turns red: "C" and note 126 at once, the note after the
    // "C" (the unit fires the streamer in its new colour), the preview
    // untouched.
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
    EXPECT_GE(sim.triggers().first().time, colour.first().time);
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

// What the unit reports lands in the controls, and nothing goes back; values
// beyond a control's usual range are shown and, with the next change, sent
// back as they were.
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
        {"C 7fff 1ff 0 ffff",
         {{"sliderStreamerWidth", 255},
          {"stepperStreamerDuration", 65535},
          {"textStreamerDelay", 1310.7}}},
        {"E 7000 0 0 0", {{"sliderPunchSize", 0}, {"textDurationFrames", 12}}},
        {"E 1ffff 100 100 1ff fff fff fff ff",
         {{"sliderPunchSize", 255},
          {"textDurationFrames", 4095},
          {"repeatSeconds", 4095},
          {"textRepeatSeconds", 40.95},
          {"textRepeatCount", 4095},
          {"punchPositionX", 221},
          {"punchPositionY", 194}}},
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

    s.app->find<QAbstractButton>("checkBoxBeepsEnable")->click();
    s.app->find<ColorWell>("colorWellEndBar")->menu()->actions().at(0)->trigger();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !commandsStarting(s.sim, "E ").isEmpty(); }, kWaitMs));
    EXPECT_EQ(commandsStarting(s.sim, "E ").first().line, "E ffff dd c2 ff fff fff fff d");
    ASSERT_TRUE(QTest::qWaitFor([&] { return !commandsStarting(s.sim, "C ").isEmpty(); }, kWaitMs));
    EXPECT_EQ(commandsStarting(s.sim, "C ").first().line, "C fff 1ff 0 ffff ffff ff ff ff");
}

} // namespace

namespace {

// A mouse event on the preview at a canvas point (pixels, origin at the
// bottom left).
void mouseAt(PreviewCanvas* canvas, QEvent::Type type, const QPointF& canvasPoint) {
    const QRectF r = canvas->pictureRect();
    const QPointF at(r.left() + canvasPoint.x() / 1920 * r.width(),
                     r.top() + (1 - canvasPoint.y() / 1080) * r.height());
    const Qt::MouseButtons held =
        type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::MouseButtons(Qt::LeftButton);
    QMouseEvent event(type, at, canvas->mapToGlobal(at), Qt::LeftButton, held, {});
    QApplication::sendEvent(canvas, &event);
}

// Dragging the timecode counter sends its place once, after the drag, then
// switches the counter on; choosing Record sends "U 2".
TEST(OverlayEndToEnd, AnnunciatorDragReachesTheUnitOnce) {
    Started s;
    auto& sim = s.sim;
    App& app = *s.app;
    auto* view = app.window.annunciatorView();
    const DrawAnnunciatorThread* renderer = view->editor().thread();
    s.sim.sendRaw("m 0\r\n>");
    ASSERT_TRUE(QTest::qWaitFor([&] { return app.value("comboBoxAnnunciatorLtc") == 0; }, kWaitMs));
    const QRectF tc = renderer->tcRect();
    ASSERT_GT(tc.width(), 0);
    QTest::qWait(600);
    sim.clearRecord();

    auto* canvas = view->canvas();
    canvas->resize(960, 540); // one widget pixel, two canvas pixels
    const QPointF from = tc.center();
    const QPointF to(960, 540);
    mouseAt(canvas, QEvent::MouseButtonPress, from);
    for (int step = 1; step <= 20; ++step) {
        mouseAt(canvas, QEvent::MouseMove, from + (to - from) * step / 20.0);
        QTest::qWait(5);
    }
    mouseAt(canvas, QEvent::MouseButtonRelease, to);
    EXPECT_FALSE(view->editor().dragItem());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !commandsStarting(sim, "m ").isEmpty(); }, kWaitMs));
    QTest::qWait(500);
    const QStringList sent = withoutPings(sim.commandLines());
    ASSERT_EQ(sent.size(), 2) << sent.join(" | ").toStdString();
    // The counter's centre at the middle: its top-left corner half its size
    // up and to the left, in 1/255 of the picture.
    const int x = int((960 - tc.width() / 2) * 255 / 1920);
    const int y = int(255 - (540 + tc.height() / 2) * 255 / 1080);
    EXPECT_EQ(sent.at(0), QStringLiteral("r 32 %1 %2 112 3").arg(x).arg(y));
    EXPECT_EQ(sent.at(1), "m 1");
    EXPECT_EQ(sim.window(3), sent.at(0).mid(2));
    EXPECT_EQ(app.value("comboBoxAnnunciatorLtc"), 1);

    sim.clearRecord();
    app.find<QRadioButton>("radioAnnunciatorRecord")->click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !commandsStarting(sim, "U ").isEmpty(); }, kWaitMs));
    EXPECT_EQ(commandsStarting(sim, "U ").first().line, "U 2");
    // The unit's echo is the report the guard drops.
    ASSERT_TRUE(QTest::qWaitFor([&] { return !view->editor().skipEcho(); }, kWaitMs));
    EXPECT_TRUE(app.find<QRadioButton>("radioAnnunciatorRecord")->isChecked());

    // The other controls, each with what the unit gets.
    auto click = [&](const char* name) { app.find<QAbstractButton>(name)->click(); };
    auto next = [&](const char* name) { QTest::keyClick(app.find<QComboBox>(name), Qt::Key_Down); };
    const std::pair<std::function<void()>, QStringList> actions[] = {
        {[&] { click("buttonShowSampleText"); }, {"V Sample Text"}},
        {[&] { click("buttonClearSampleBarBeat"); }, {"V2 "}},
        {[&] { click("radioButtonSony"); }, {"n 1"}},
        {[&] { click("checkBoxShowMidi"); }, {"n 3"}},
        {[&] { next("comboBoxAnnunciatorBackgroundRecord"); }, {"t 70 80 70"}},
        {[&] { next("textPointCombo"); }, {"r 48 10 200 112 0", "V Sample Text"}},
        {[&] { next("annunciatorPointCombo"); }, {"r 64 10 10 112 1", "U 1"}},
    };
    for (const auto& [act, expected] : actions) {
        sim.clearRecord();
        act();
        EXPECT_TRUE(QTest::qWaitFor(
            [&] { return withoutPings(sim.commandLines()).size() >= expected.size(); }, kWaitMs));
        EXPECT_EQ(withoutPings(sim.commandLines()), expected);
    }
}

// The unit's annunciator reports land in the controls; bad ones change
// nothing; none sends anything back.
TEST(OverlayEndToEnd, AnnunciatorReportsLandInTheControls) {
    Started s;
    App& app = *s.app;
    const AnnunciatorEditor& editor = app.window.annunciatorView()->editor();
    auto text = [&](const char* name) { return app.find<QComboBox>(name)->currentText(); };
    auto checked = [&](const char* name) { return app.find<QAbstractButton>(name)->isChecked(); };
    struct Case {
        const char* report;
        std::function<bool()> landed;
    };
    const Case cases[] = {
        {"t 70 21 43",
         [&] {
             return app.value("comboBoxAnnunciatorBackground") == 7 &&
                    app.value("comboBoxAnnunciatorForeground") == 0 &&
                    app.value("comboBoxAnnunciatorBackgroundRecord") == 2 &&
                    app.value("comboBoxAnnunciatorForegroundPlayback") == 3;
         }},
        {"t 13",
         [&] {
             return app.value("comboBoxAnnunciatorBackground") == 1 &&
                    app.value("comboBoxAnnunciatorBackgroundRecord") == 2;
         }},
        {"r 32 128 0 112 3",
         [&] {
             return editor.point(AnnunciatorElement::Tc) == QPointF(963, 1080) &&
                    text("tcPointCombo") == "32";
         }},
        {"r 40 10 10 37 0",
         [&] {
             return text("textPointCombo") == "40" && app.value("comboBoxTextForeground") == 5 &&
                    app.value("comboBoxTextBackground") == 2;
         }},
        {"z 20 48", [&] { return app.find<QComboBox>("barBeatPointCombo")->count() == 3; }},
        {"n 3", [&] { return checked("radioButtonSony") && checked("checkBoxShowMidi"); }},
        {"n",
         [&] {
             return !checked("radioButtonSony") && !checked("radioButtonMidi") &&
                    checked("checkBoxShowMidi");
         }},
        {"U 3", [&] { return checked("radioAnnunciatorPlayback"); }},
        {"m 2", [&] { return app.value("comboBoxAnnunciatorLtc") == 2; }},
        {"m 5", [&] { return text("comboBoxAnnunciatorLtc") == "Source 5"; }},
    };
    for (const Case& c : cases) {
        s.sim.sendRaw(QByteArray(c.report) + "\r\n>");
        EXPECT_TRUE(QTest::qWaitFor(c.landed, kWaitMs)) << c.report;
    }
    for (const char* bad : {"r 1 2 3", "r 32 10 10 112 7", "z", "U", "U 9", "m", "t"})
        s.sim.sendRaw(QByteArray(bad) + "\r\n>");
    s.sim.sendRaw("U 1\r\n>"); // a good one last: everything before it is read
    EXPECT_TRUE(QTest::qWaitFor([&] { return checked("radioAnnunciatorRehearse"); }, kWaitMs));
    EXPECT_EQ(editor.point(AnnunciatorElement::Tc), QPointF(963, 1080));
    EXPECT_EQ(app.value("comboBoxAnnunciatorLtc"), 5);
    EXPECT_EQ(app.value("comboBoxAnnunciatorBackground"), 1);
    QTest::qWait(700);
    EXPECT_TRUE(withoutPings(s.sim.commandLines()).isEmpty());
}

} // namespace

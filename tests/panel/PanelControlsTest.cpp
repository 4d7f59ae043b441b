#include "PanelTestSupport.h"
#include "link/ComThread.h"
#include "panel/qz62View.h"
#include "sim/SimulatedUnit.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QSpinBox>
#include <QTest>
#include <QWheelEvent>
#include <functional>
#include <gtest/gtest.h>
#include <memory>

namespace {

constexpr int kWaitMs = 5000;

// The panel on the real link to a simulated unit, started and settled: every
// start-up query answered. The keep-alive is kept out of the way.
class PanelOnSim : public ::testing::Test {
public:
    void SetUp() override {
        ASSERT_TRUE(sim.start());
        PanelOptions options;
        options.explicitPort = sim.ptyPath();
        options.tickIntervalMs = 3600 * 1000;
        view = std::make_unique<qz62View>();
        view->awakeFromNib(options);
        ASSERT_EQ(view->controller().linkState(), PanelController::LinkState::Connected);
        ASSERT_TRUE(
            QTest::qWaitFor([&] { return log()->toPlainText().contains("t 70 70 70"); }, kWaitMs));
    }
    void TearDown() override {
        if (view)
            view->windowClosing();
    }

    template <typename T>
    T* find(const char* name) {
        T* w = view->findChild<T*>(QString::fromLatin1(name));
        EXPECT_NE(w, nullptr) << name;
        return w;
    }
    QPlainTextEdit* log() { return view->findChild<QPlainTextEdit*>("textViewDebugRx"); }

    // Runs the action and returns what the unit received because of it, once
    // the unit's echo of the last expected command has come back and been
    // shown (a control that answered the echo by sending again would show up
    // here as an extra command).
    QStringList sentBy(const std::function<void()>& action, const QString& lastExpected) {
        const int before = int(sim.commandLines().size());
        const int logBefore = log()->blockCount();
        action();
        const bool echoed = QTest::qWaitFor(
            [&] {
                const QStringList lines = log()->toPlainText().split('\n');
                return lines.mid(logBefore - 1).contains(lastExpected);
            },
            kWaitMs);
        EXPECT_TRUE(echoed) << "no echo of " << lastExpected.toStdString();
        QTest::qWait(100);
        return withoutPings(sim.commandLines().mid(before));
    }

    RecordingPresenter alerts;
    SimulatedUnit sim;
    std::unique_ptr<qz62View> view;
};

void typeInto(QAbstractSpinBox* box, const QString& text) {
    box->setFocus();
    box->selectAll();
    QTest::keyClicks(box, text);
    QTest::keyClick(box, Qt::Key_Return);
}

} // namespace

TEST_F(PanelOnSim, EachControlSendsItsCommand) {
    struct Row {
        const char* name;
        QStringList before; // replies that set the starting state
        std::function<void(PanelOnSim&)> action;
        QStringList expected;
    };
    auto click = [](const char* name) {
        return [name](PanelOnSim& t) { t.find<QAbstractButton>(name)->click(); };
    };
    auto both = [](std::function<void(PanelOnSim&)> a, std::function<void(PanelOnSim&)> b) {
        return [a, b](PanelOnSim& t) {
            a(t);
            b(t);
        };
    };
    const std::vector<Row> rows = {
        {"rate auto, end punch, HDMI",
         {"A 0"},
         both(both(click("radioButtonRefAuto"), click("checkBoxStreamerEndPunch")),
              click("radioButtonHdmi")),
         {"A 2", "A 6", "A e"}},
        {"rate flat from pulldown, SDI",
         {"A e"},
         both(click("radioButtonRefPulldown"), click("radioButtonSdi")),
         {"A d", "A 5"}},
        {"pop streamer, pop punch, MTC",
         {"X 0"},
         both(both(click("checkBoxPopStreamer"), click("checkBoxPopPunch")),
              click("radioMtcEnable")),
         {"X 4", "X 6", "X 22"}},
        {"streamer pops exclude each other",
         {"X 9"},
         both(click("checkBoxPopStreamer"), click("checkBoxPopStreamerAccum")),
         {"X 12", "X 9"}},
        {"bars and gray",
         {"G 0"},
         both(click("checkBoxBars"), click("checkBoxGrayScale")),
         {"G 1", "G 3"}},
        {"bypass", {"Q 0"}, click("checkBoxBypass"), {"Q 1"}},
        {"delay trim 0.5 s",
         {"J 0"},
         [](PanelOnSim& t) { typeInto(t.find<QDoubleSpinBox>("textDelayTrim"), "0.5"); },
         {"J 25"}},
        {"delay trim 0.019 s",
         {"J 7"},
         [](PanelOnSim& t) { typeInto(t.find<QDoubleSpinBox>("textDelayTrim"), "0.019"); },
         {"J 0"}},
        {"delay trim 0.58 s",
         {"J 0"},
         [](PanelOnSim& t) { typeInto(t.find<QDoubleSpinBox>("textDelayTrim"), "0.58"); },
         {"J 29"}},
        {"delay trim stepper",
         {"J 0"},
         [](PanelOnSim& t) { typeInto(t.find<QSpinBox>("stepperDelayTrim"), "40"); },
         {"J 40"}},
        {"masking field",
         {"H 1 2 3 4 5"},
         [](PanelOnSim& t) { typeInto(t.find<QSpinBox>("textBoxMaskingTransparency"), "128"); },
         {"H 1 2 3 4 128"}},
        {"masking stepper",
         {"H 1 2 3 4 5"},
         [](PanelOnSim& t) {
             QSlider* s = t.find<QSlider>("stepperMaskingLeft");
             s->setFocus();
             QTest::keyClick(s, Qt::Key_Right);
         },
         {"H 1 2 4 4 5"}},
        {"SDI generator",
         {"M 4"},
         [](PanelOnSim& t) {
             QComboBox* c = t.find<QComboBox>("comboBoxSdiGenerator");
             c->setFocus();
             QTest::keyClick(c, Qt::Key_Down);
         },
         {"M 5"}},
        {"input colour space",
         {"Y 0"},
         [](PanelOnSim& t) {
             QComboBox* c = t.find<QComboBox>("myColorSpaceComboBox");
             c->setFocus();
             QTest::keyClick(c, Qt::Key_Down);
         },
         {"Y 1"}},
        {"HDMI timing", {}, click("buttonGetHdmiTiming"), {"N 0"}},
        {"HDMI timing extended",
         {},
         both(click("checkBoxExtendedTiming"), click("buttonGetHdmiTiming")),
         {"N 1"}},
        {"streamer fields", {}, click("buttonStreamerFields"), {"l"}},
        {"debug command, any text",
         {},
         [](PanelOnSim& t) {
             QLineEdit* e = t.find<QLineEdit>("textDebugTx");
             e->setFocus();
             QTest::keyClicks(e, "  Hello there \t");
             QTest::keyClick(e, Qt::Key_Return);
         },
         {"Hello there"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        for (const QString& reply : row.before)
            view->controller().parser().processRxString(reply);
        EXPECT_EQ(sentBy([&] { row.action(*this); }, row.expected.last()), row.expected);
    }
    EXPECT_TRUE(alerts.shown.isEmpty());
}

TEST_F(PanelOnSim, ControlsFollowTheUnitWithoutSendingBack) {
    // The unit's answers set the controls; nothing goes back to it.
    const QStringList replies = {"A 6", "G 2", "H 1 2", "X 13", "M 3", "Q 1", "J 25", "Y 2"};
    const QStringList sent = sentBy(
        [&] {
            for (const QString& r : replies)
                view->controller().threadHasString(r);
        },
        "Y 2");
    EXPECT_TRUE(sent.isEmpty()) << sent.join(", ").toStdString();

    EXPECT_TRUE(find<QRadioButton>("radioButtonRefAuto")->isChecked());
    EXPECT_TRUE(find<QRadioButton>("radioButtonSdi")->isChecked());
    EXPECT_TRUE(find<QCheckBox>("checkBoxStreamerEndPunch")->isChecked());
    EXPECT_FALSE(find<QCheckBox>("checkBoxBars")->isChecked());
    EXPECT_TRUE(find<QCheckBox>("checkBoxGrayScale")->isChecked());
    EXPECT_EQ(find<QSpinBox>("textBoxMaskingTop")->value(), 1);
    EXPECT_EQ(find<QSlider>("stepperMaskingTop")->value(), 1);
    EXPECT_EQ(find<QSpinBox>("textBoxMaskingTransparency")->value(), 2);
    EXPECT_EQ(find<QSlider>("stepperMaskingTransparency")->value(), 2);
    EXPECT_TRUE(find<QCheckBox>("checkBoxPopStreamerAccum")->isChecked());
    EXPECT_FALSE(find<QCheckBox>("checkBoxPopPunch")->isChecked());
    EXPECT_TRUE(find<QCheckBox>("checkBoxPopStreamer")->isChecked());
    EXPECT_TRUE(find<QRadioButton>("radioLtcEnable")->isChecked());
    EXPECT_EQ(find<QComboBox>("comboBoxSdiGenerator")->currentIndex(), 3);
    EXPECT_TRUE(find<QCheckBox>("checkBoxBypass")->isChecked());
    EXPECT_EQ(find<QSpinBox>("stepperDelayTrim")->value(), 25);
    EXPECT_DOUBLE_EQ(find<QDoubleSpinBox>("textDelayTrim")->value(), 0.5);
    EXPECT_EQ(find<QComboBox>("myColorSpaceComboBox")->currentIndex(), 2);

    // A timecode source the panel has no button for selects none.
    view->controller().threadHasString("X 24");
    EXPECT_FALSE(find<QRadioButton>("radioPopEnable")->isChecked());
    EXPECT_FALSE(find<QRadioButton>("radioLtcEnable")->isChecked());
    EXPECT_FALSE(find<QRadioButton>("radioMtcEnable")->isChecked());
}

TEST_F(PanelOnSim, ResetFlashAsksThenReReadsAfterTheUnitSettles) {
    alerts.answerOk = false;
    const int before = int(sim.commandLines().size());
    find<QPushButton>("buttonResetFlash")->click();
    EXPECT_EQ(alerts.asked, QStringList{"Reset FLASH to defaults?"});
    QTest::qWait(700);
    EXPECT_TRUE(withoutPings(sim.commandLines().mid(before)).isEmpty());

    alerts.answerOk = true;
    find<QPushButton>("buttonResetFlash")->click();
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return withoutPings(sim.commandLines().mid(before)).size() == 22; }, kWaitMs));
    const QList<SimProtocol::Command> commands = sim.commands().mid(before);
    QStringList lines;
    for (const auto& c : commands)
        lines << c.line;
    EXPECT_EQ(lines, QStringList{"w 1"} + kInitCommands);
    const auto settle = commands.at(1).time - commands.at(0).time;
    EXPECT_GE(std::chrono::duration_cast<std::chrono::milliseconds>(settle).count(), 450);
}

TEST_F(PanelOnSim, ReReadSendsEveryQueryAgain) {
    const QStringList sent =
        sentBy([&] { find<QPushButton>("buttonTest")->click(); }, "t 70 70 70");
    EXPECT_EQ(sent, kInitCommands);
}

TEST_F(PanelOnSim, WheelOverAnUnfocusedControlChangesNothing) {
    QSpinBox* top = find<QSpinBox>("textBoxMaskingTop");
    const int before = top->value();
    const int sent = int(sim.commandLines().size());
    find<QCheckBox>("checkBoxBars")->setFocus();
    QWheelEvent wheel(QPointF(5, 5), top->mapToGlobal(QPointF(5, 5)), QPoint(), QPoint(0, 120),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(top, &wheel);
    EXPECT_EQ(top->value(), before);
    QTest::qWait(100);
    EXPECT_EQ(sim.commandLines().size(), sent);
}

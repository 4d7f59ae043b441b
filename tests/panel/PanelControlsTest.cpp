#include "support/PanelTestSupport.h"

#include <QApplication>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QWheelEvent>
#include <functional>
#include <memory>

namespace {

// The application on a simulated unit, started and settled: every start-up
// query answered. The keep-alive is kept out of the way.
class PanelOnSim : public ::testing::Test {
public:
    void SetUp() override {
        ASSERT_TRUE(sim.start());
        app = std::make_unique<App>(sim.ptyPath());
        ASSERT_EQ(app->controller().linkState(), PanelController::LinkState::Connected);
        ASSERT_TRUE(
            QTest::qWaitFor([&] { return log()->toPlainText().contains("t 70 70 70"); }, kWaitMs));
    }

    template <typename T>
    T* find(const char* name) {
        return app->find<T>(name);
    }
    QPlainTextEdit* log() { return find<QPlainTextEdit>("textViewDebugRx"); }

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

    SimulatedUnit sim;
    std::unique_ptr<App> app;
};

using Action = std::function<void(PanelOnSim&)>;

Action clicks(std::initializer_list<const char*> names) {
    const std::vector<const char*> all(names);
    return [all](PanelOnSim& t) {
        for (const char* name : all)
            t.find<QAbstractButton>(name)->click();
    };
}

// Types the text over the field's contents and presses Return.
Action typeInto(const char* name, const char* text) {
    return [name, text](PanelOnSim& t) {
        QWidget* w = t.find<QWidget>(name);
        w->setFocus();
        if (auto* box = qobject_cast<QAbstractSpinBox*>(w))
            box->selectAll();
        QTest::keyClicks(w, text);
        QTest::keyClick(w, Qt::Key_Return);
    };
}

Action press(const char* name, Qt::Key key) {
    return [name, key](PanelOnSim& t) {
        QWidget* w = t.find<QWidget>(name);
        w->setFocus();
        QTest::keyClick(w, key);
    };
}

} // namespace

TEST_F(PanelOnSim, EachControlSendsItsCommand) {
    struct Row {
        const char* name;
        QStringList before; // replies that set the starting state
        Action action;
        QStringList expected;
    };
    const std::vector<Row> rows = {
        {"rate auto, end punch, HDMI",
         {"A 0"},
         clicks({"radioButtonRefAuto", "checkBoxStreamerEndPunch", "radioButtonHdmi"}),
         {"A 2", "A 6", "A e"}},
        {"rate flat from pulldown, SDI",
         {"A e"},
         clicks({"radioButtonRefPulldown", "radioButtonSdi"}),
         {"A d", "A 5"}},
        {"pop streamer, pop punch, MTC",
         {"X 0"},
         clicks({"checkBoxPopStreamer", "checkBoxPopPunch", "radioMtcEnable"}),
         {"X 4", "X 6", "X 22"}},
        {"streamer pops exclude each other",
         {"X 9"},
         clicks({"checkBoxPopStreamer", "checkBoxPopStreamerAccum"}),
         {"X 12", "X 9"}},
        {"bars and gray", {"G 0"}, clicks({"checkBoxBars", "checkBoxGrayScale"}), {"G 1", "G 3"}},
        {"bypass", {"Q 0"}, clicks({"checkBoxBypass"}), {"Q 1"}},
        {"delay trim 0.019 s", {"J 7"}, typeInto("textDelayTrim", "0.019"), {"J 0"}},
        {"delay trim 0.58 s", {"J 0"}, typeInto("textDelayTrim", "0.58"), {"J 29"}},
        {"delay trim stepper", {"J 0"}, typeInto("stepperDelayTrim", "40"), {"J 40"}},
        {"masking field",
         {"H 1 2 3 4 5"},
         typeInto("textBoxMaskingTransparency", "128"),
         {"H 1 2 3 4 128"}},
        {"masking field, the same value again",
         {"H 1 2 3 4 5"},
         typeInto("textBoxMaskingTransparency", "5"),
         {"H 1 2 3 4 5"}},
        {"delay trim, the same value again",
         {"J 40"},
         typeInto("stepperDelayTrim", "40"),
         {"J 40"}},
        {"masking stepper",
         {"H 1 2 3 4 5"},
         press("stepperMaskingLeft", Qt::Key_Right),
         {"H 1 2 4 4 5"}},
        {"SDI generator", {"M 4"}, press("comboBoxSdiGenerator", Qt::Key_Down), {"M 5"}},
        {"input colour space", {"Y 0"}, press("myColorSpaceComboBox", Qt::Key_Down), {"Y 1"}},
        {"HDMI timing", {}, clicks({"buttonGetHdmiTiming"}), {"N 0"}},
        {"HDMI timing extended",
         {},
         clicks({"checkBoxExtendedTiming", "buttonGetHdmiTiming"}),
         {"N 1"}},
        {"streamer fields", {}, clicks({"buttonStreamerFields"}), {"l"}},
        {"debug command, any text",
         {},
         typeInto("textDebugTx", "  Hello there \t"),
         {"Hello there"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        for (const QString& reply : row.before)
            app->controller().parser().processRxString(reply);
        EXPECT_EQ(sentBy([&] { row.action(*this); }, row.expected.last()), row.expected);
    }
    EXPECT_TRUE(app->alerts.shown.isEmpty());
}

TEST_F(PanelOnSim, ControlsFollowTheUnitWithoutSendingBack) {
    // The unit's answers set the controls; nothing goes back to it.
    const QStringList replies = {"A 6", "G 2", "H 1 2", "X 13", "M 3", "Q 1", "J 25", "Y 2"};
    const QStringList sent = sentBy(
        [&] {
            for (const QString& r : replies)
                app->controller().threadHasString(r);
        },
        "Y 2");
    EXPECT_TRUE(sent.isEmpty()) << sent.join(", ").toStdString();
    app->expectControls({"radioButtonRefAuto", "radioButtonSdi", "checkBoxStreamerEndPunch",
                         "checkBoxGrayScale", "checkBoxPopStreamerAccum", "checkBoxPopStreamer",
                         "radioLtcEnable", "checkBoxBypass"},
                        {"checkBoxBars", "checkBoxPopPunch"},
                        {{"textBoxMaskingTop", 1},
                         {"stepperMaskingTop", 1},
                         {"textBoxMaskingTransparency", 2},
                         {"stepperMaskingTransparency", 2},
                         {"comboBoxSdiGenerator", 3},
                         {"stepperDelayTrim", 25},
                         {"textDelayTrim", 0.5},
                         {"myColorSpaceComboBox", 2}});

    // A timecode source the panel has no button for selects none.
    app->controller().threadHasString("X 24");
    app->expectControls({}, {"radioPopEnable", "radioLtcEnable", "radioMtcEnable"}, {});
}

TEST_F(PanelOnSim, ResetFlashAsksThenReReadsAfterTheUnitSettles) {
    app->alerts.answerOk = false;
    const int before = int(sim.commandLines().size());
    find<QPushButton>("buttonResetFlash")->click();
    EXPECT_EQ(app->alerts.asked, QStringList{PanelSettings::kResetFlashQuestion});
    QTest::qWait(700);
    EXPECT_TRUE(withoutPings(sim.commandLines().mid(before)).isEmpty());

    app->alerts.answerOk = true;
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
    find<QAbstractButton>("checkBoxBars")->setFocus();
    QWheelEvent wheel(QPointF(5, 5), top->mapToGlobal(QPointF(5, 5)), QPoint(), QPoint(0, 120),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(top, &wheel);
    EXPECT_EQ(top->value(), before);
    QTest::qWait(100);
    EXPECT_EQ(sim.commandLines().size(), sent);
}

#pragma once

#include "panel/PanelState.h"

#include <QObject>
#include <QString>

class CommandSink;
class PanelPrompts;
class StatusParser;

// The panel's video and timecode controls: each action records the new value
// and sends the one command that carries it. Nothing is validated and nothing
// waits for the unit; its reply (parsed by StatusParser) sets the controls
// again. A group the unit has not reported yet is neither changed nor sent:
// its values are the panel's defaults, not the unit's. Main thread only, no
// widgets.
class PanelSettings : public QObject {
    Q_OBJECT
public:
    // Delay before re-reading the settings after a FLASH reset: the unit
    // needs this long to reload its defaults.
    static constexpr int kResetFlashSettleMs = 500;
    static constexpr const char* kResetFlashQuestion =
        "Reset FLASH to defaults?\n\nEvery setting stored in the unit returns to its factory "
        "value: video, timecode, streamer, punch and annunciator settings alike.";

    PanelSettings(StatusParser& parser, QObject* parent = nullptr);

    // Not owned; null drops every command (no unit).
    void setCommandSink(CommandSink* sink) { m_sink = sink; }
    // Not owned; who answers the FLASH reset question.
    void setPrompts(PanelPrompts* prompts) { m_prompts = prompts; }
    CommandSink* commandSink() const { return m_sink; }

    // Encodings of the combined commands.
    static int rateFlags(const PanelState& s);       // "A %x"
    static int barsAndGrayBits(const PanelState& s); // "G %d"
    static int popEnableBits(const PanelState& s);   // "X %d"
    // Seconds typed in the delay trim field to fiftieths, truncated; the
    // small tolerance keeps 0.58 s at 29 despite binary fractions.
    static int delayTrimStepsFromSeconds(double seconds);

    // Reference rate, priority, end punch.
    void onRadioButtonRefFlat();
    void onRadioButtonRefPulldown();
    void onRadioButtonRefAuto();
    void onRadioButtonHdmi();
    void onRadioButtonSdi();
    void onCheckBoxStreamerEndPunch(bool on);
    void sendRate();

    void onCheckBoxBars(bool on);
    void onCheckBoxGrayScale(bool on);
    void sendBarsAndGray();

    // Masking: the field and the stepper of each edge carry the same value.
    void onTextBoxMasking(Mask which, int value);
    void onStepperMasking(Mask which, int value);
    void sendMasking();

    // Pop enables: streamer accumulate and streamer pop exclude each other.
    void onCheckBoxPopStreamerAccum(bool on);
    void onCheckBoxPopStreamer(bool on);
    void onCheckBoxPopPunch(bool on);
    void onRadioPopEnable();
    void onRadioLtcEnable();
    void onRadioMtcEnable();
    void sendPopEnables();

    void onComboBoxSdiGenerator(int row);
    void onCheckBoxBypass(bool on);
    void onStepperDelayTrim(int steps);
    void onTextDelayTrim(double seconds);
    void sendTrim();
    void oncomboBoxInputColorSpace(int row);
    void onButtonGetHdmiTiming(bool extended);
    void onButtonStreamerFields();
    // Sends the text trimmed, unchecked: the engineer's own command line.
    void onTextDebugTx(const QString& text);

    // Queries every setting and switches the SDI generator off; until each
    // group's reply comes, it counts as not read.
    void getInitValues();
    void onButtonTest() { getInitValues(); }
    // Asks kResetFlashQuestion; on OK sends the reset and re-reads every
    // setting once the unit has settled.
    void onButtonResetFlash();

private:
    void send(const QString& command);
    bool canChange(PanelGroup group) const;
    void sendSetting(PanelGroup group, const QString& command);
    PanelState& state();

    StatusParser& m_parser;
    CommandSink* m_sink = nullptr;
    PanelPrompts* m_prompts = nullptr;
};

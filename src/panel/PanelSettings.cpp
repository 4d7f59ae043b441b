#include "panel/PanelSettings.h"

#include "base/Diagnostics.h"
#include "panel/PanelPrompts.h"
#include "panel/StatusParser.h"
#include "protocol/CommandSink.h"
#include "protocol/Commands.h"

#include <QTimer>

PanelSettings::PanelSettings(StatusParser& parser, QObject* parent)
    : QObject(parent), m_parser(parser) {}

PanelState& PanelSettings::state() {
    return m_parser.mutableState();
}

void PanelSettings::send(const QString& command) {
    if (m_sink)
        m_sink->sendString(command);
}

bool PanelSettings::canChange(PanelGroup group) const {
    return m_parser.isRead(group);
}

// Until the unit has reported the group, what the panel holds for it is a
// default of its own: sending it would overwrite the unit's setting.
void PanelSettings::sendSetting(PanelGroup group, const QString& command) {
    if (!m_parser.isRead(group)) {
        diag::print("not sent (the unit has not reported this setting yet): %s\n",
                    command.toUtf8().constData());
        return;
    }
    send(command);
}

int PanelSettings::rateFlags(const PanelState& s) {
    int flags = qBound(0, s.rateCell, 2);
    if (s.streamerEndPunch)
        flags |= 4;
    if (s.priorityCell == 0)
        flags |= 8; // HDMI input has priority
    return flags;
}

int PanelSettings::barsAndGrayBits(const PanelState& s) {
    return (s.bars ? 1 : 0) | (s.grayScale ? 2 : 0);
}

int PanelSettings::popEnableBits(const PanelState& s) {
    int bits = (s.popStreamerAccum ? 1 : 0) | (s.popPunch ? 2 : 0) | (s.popStreamer ? 4 : 0);
    if (s.popCell == 1)
        bits |= 8; // timecode from LTC
    else if (s.popCell == 2)
        bits |= 16; // timecode from MTC
    return bits;
}

int PanelSettings::delayTrimStepsFromSeconds(double seconds) {
    return int(seconds * 50.0 + (seconds >= 0 ? 1e-6 : -1e-6));
}

// --- reference rate, priority, end punch ---

void PanelSettings::onRadioButtonRefFlat() {
    if (!canChange(PanelGroup::Rate))
        return;
    state().rateCell = 0;
    sendRate();
}

void PanelSettings::onRadioButtonRefPulldown() {
    if (!canChange(PanelGroup::Rate))
        return;
    state().rateCell = 1;
    sendRate();
}

void PanelSettings::onRadioButtonRefAuto() {
    if (!canChange(PanelGroup::Rate))
        return;
    state().rateCell = 2;
    sendRate();
}

void PanelSettings::onRadioButtonHdmi() {
    if (!canChange(PanelGroup::Rate))
        return;
    state().priorityCell = 0;
    sendRate();
}

void PanelSettings::onRadioButtonSdi() {
    if (!canChange(PanelGroup::Rate))
        return;
    state().priorityCell = 1;
    sendRate();
}

void PanelSettings::onCheckBoxStreamerEndPunch(bool on) {
    if (!canChange(PanelGroup::Rate))
        return;
    state().streamerEndPunch = on;
    sendRate();
}

void PanelSettings::sendRate() {
    m_parser.notifyChanged(PanelGroup::Rate);
    sendSetting(PanelGroup::Rate, cmd::rate(rateFlags(state())));
}

// --- bars and gray scale ---

void PanelSettings::onCheckBoxBars(bool on) {
    if (!canChange(PanelGroup::BarsAndGray))
        return;
    state().bars = on;
    sendBarsAndGray();
}

void PanelSettings::onCheckBoxGrayScale(bool on) {
    if (!canChange(PanelGroup::BarsAndGray))
        return;
    state().grayScale = on;
    sendBarsAndGray();
}

void PanelSettings::sendBarsAndGray() {
    m_parser.notifyChanged(PanelGroup::BarsAndGray);
    sendSetting(PanelGroup::BarsAndGray, cmd::barsAndGray(barsAndGrayBits(state())));
}

// --- masking ---

void PanelSettings::onTextBoxMasking(Mask which, int value) {
    if (!canChange(PanelGroup::Masking))
        return;
    state().masking[size_t(which)] = value;
    sendMasking();
}

void PanelSettings::onStepperMasking(Mask which, int value) {
    if (!canChange(PanelGroup::Masking))
        return;
    state().masking[size_t(which)] = value;
    if (which == Mask::Transparency)
        diag::print("%d\n", value);
    sendMasking();
}

void PanelSettings::sendMasking() {
    m_parser.notifyChanged(PanelGroup::Masking);
    const auto& m = state().masking;
    sendSetting(PanelGroup::Masking, cmd::masking(m[0], m[1], m[2], m[3], m[4]));
}

// --- pop enables and timecode source ---

void PanelSettings::onCheckBoxPopStreamerAccum(bool on) {
    if (!canChange(PanelGroup::PopEnables))
        return;
    state().popStreamerAccum = on;
    if (on)
        state().popStreamer = false;
    sendPopEnables();
}

void PanelSettings::onCheckBoxPopStreamer(bool on) {
    if (!canChange(PanelGroup::PopEnables))
        return;
    state().popStreamer = on;
    if (on)
        state().popStreamerAccum = false;
    sendPopEnables();
}

void PanelSettings::onCheckBoxPopPunch(bool on) {
    if (!canChange(PanelGroup::PopEnables))
        return;
    state().popPunch = on;
    sendPopEnables();
}

void PanelSettings::onRadioPopEnable() {
    if (!canChange(PanelGroup::PopEnables))
        return;
    state().popCell = 0;
    sendPopEnables();
}

void PanelSettings::onRadioLtcEnable() {
    if (!canChange(PanelGroup::PopEnables))
        return;
    state().popCell = 1;
    sendPopEnables();
}

void PanelSettings::onRadioMtcEnable() {
    if (!canChange(PanelGroup::PopEnables))
        return;
    state().popCell = 2;
    sendPopEnables();
}

void PanelSettings::sendPopEnables() {
    m_parser.notifyChanged(PanelGroup::PopEnables);
    sendSetting(PanelGroup::PopEnables, cmd::popEnables(popEnableBits(state())));
}

// --- generator, bypass, delay trim, colour space, read-outs ---

void PanelSettings::onComboBoxSdiGenerator(int row) {
    if (!canChange(PanelGroup::SdiGenerator))
        return;
    state().sdiGenerator = row;
    m_parser.notifyChanged(PanelGroup::SdiGenerator);
    sendSetting(PanelGroup::SdiGenerator, cmd::sdiGenerator(row));
}

void PanelSettings::onCheckBoxBypass(bool on) {
    if (!canChange(PanelGroup::Bypass))
        return;
    state().bypass = on;
    m_parser.notifyChanged(PanelGroup::Bypass);
    sendSetting(PanelGroup::Bypass, cmd::bypass(on ? 1 : 0));
}

void PanelSettings::onStepperDelayTrim(int steps) {
    if (!canChange(PanelGroup::DelayTrim))
        return;
    state().delayTrimSteps = steps;
    sendTrim();
}

void PanelSettings::onTextDelayTrim(double seconds) {
    if (!canChange(PanelGroup::DelayTrim))
        return;
    state().delayTrimSteps = delayTrimStepsFromSeconds(seconds);
    sendTrim();
}

void PanelSettings::sendTrim() {
    m_parser.notifyChanged(PanelGroup::DelayTrim);
    sendSetting(PanelGroup::DelayTrim, cmd::delayTrim(state().delayTrimSteps));
}

void PanelSettings::oncomboBoxInputColorSpace(int row) {
    if (!canChange(PanelGroup::ColorSpace))
        return;
    state().colorSpaceRow = row;
    m_parser.notifyChanged(PanelGroup::ColorSpace);
    sendSetting(PanelGroup::ColorSpace, cmd::colorSpace(row));
}

void PanelSettings::onButtonGetHdmiTiming(bool extended) {
    send(cmd::hdmiTiming(extended));
}

void PanelSettings::onButtonStreamerFields() {
    send(cmd::streamerFields());
}

void PanelSettings::onTextDebugTx(const QString& text) {
    const QString command = text.trimmed();
    if (!command.isEmpty())
        send(command);
}

// --- whole-unit operations ---

void PanelSettings::getInitValues() {
    m_parser.forgetReported();
    static constexpr char kQueriesBefore[] = {'A', 'B', 'C', 'E', 'G', 'H', 'J'};
    static constexpr char kQueriesAfter[] = {'Q', 'U', 'X', 'Y', 'k', 'm', 'n', 'z'};
    for (char letter : kQueriesBefore)
        send(cmd::query(letter));
    // The generator starts switched off every time the panel connects.
    send(cmd::generatorOff());
    for (char letter : kQueriesAfter)
        send(cmd::query(letter));
    for (int window = 0; window < 4; ++window)
        send(cmd::windowQuery(window));
    send(cmd::query('t'));
}

void PanelSettings::onButtonResetFlash() {
    if (!PanelPrompts::confirm(m_prompts, QString::fromLatin1(kResetFlashQuestion)))
        return;
    send(cmd::resetFlash());
    m_parser.forgetReported(); // the unit's settings are its defaults now
    QTimer::singleShot(kResetFlashSettleMs, this, [this] { getInitValues(); });
}

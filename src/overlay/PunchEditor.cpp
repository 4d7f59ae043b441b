#include "overlay/PunchEditor.h"

#include "base/BarsPalette.h"
#include "base/Diagnostics.h"
#include "base/HexScan.h"
#include "protocol/CommandSink.h"
#include "protocol/Commands.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr int kWidth = PreviewWorker::kCanvasWidth;
constexpr int kHeight = PreviewWorker::kCanvasHeight;
constexpr int kMaxWire = 255;
constexpr unsigned kReverseBit0 = 0x1000;
constexpr int kMsPerHundredth = 10;
// The editor does not know the picture's rate; its preview plays at 25.
constexpr int kPreviewFrameRate = 25;

int clampTo(long long v, int high) {
    return int(std::clamp<long long>(v, 0, high));
}
std::uint32_t atLeastZero(int v) {
    return std::uint32_t(std::max(v, 0));
}
// Canvas pixels to the unit's steps, cut to whole steps. A position the unit
// reported comes back as the same step: the tolerance absorbs the binary
// fraction of its way through pixels.
unsigned wire(double v) {
    return unsigned(std::clamp(std::floor(v + 1e-6), 0.0, double(kMaxWire)));
}
double pixelsAcross(long long step) {
    return double(step) * kWidth / kMaxWire;
}
double pixelsUp(long long step) {
    return kHeight - double(step) * kHeight / kMaxWire;
}
} // namespace

PunchEditor::PunchEditor() = default;

void PunchEditor::setSize(int v) {
    m_settings.size = clampTo(v, kMaxSize);
    diag::print("radius: %d\n", m_settings.size);
    setDraw(PreviewWorker::kRedrawAndTransmit);
}

void PunchEditor::placeAt(double fromLeft, double fromTop) {
    m_settings.punchPoint = QPointF(fromLeft * kWidth, (1.0 - fromTop) * kHeight);
    setDraw(PreviewWorker::kRedrawAndTransmit);
    changed(); // the clamp may have moved it
}

void PunchEditor::placeAtWire(int x, int y) {
    m_settings.punchPoint =
        QPointF(pixelsAcross(std::clamp(x, 0, kMaxWire)), pixelsUp(std::clamp(y, 0, kMaxWire)));
    setDraw(PreviewWorker::kRedraw);
    punchTx();
    changed(); // the clamp may have moved it
}

int PunchEditor::wireX() const {
    return int(wire(m_settings.punchPoint.x() * kMaxWire / kWidth));
}

int PunchEditor::wireY() const {
    return int(wire((kHeight - m_settings.punchPoint.y()) * kMaxWire / kHeight));
}

void PunchEditor::setColor(int channel, int code) {
    if (channel < 0 || channel > 3)
        return;
    m_settings.colors[std::size_t(channel)] = std::clamp(code, 0, barspalette::kCount - 1);
    if (channel == 0) // only punch 0 is in the preview
        setDraw(PreviewWorker::kRedraw);
    punchTx();
    sendTrigger(kFirstPunchNote + channel);
}

void PunchEditor::setReverse(int channel, bool on) {
    if (channel < 0 || channel > 3)
        return;
    m_settings.reverse[std::size_t(channel)] = on;
    punchTx();
}

void PunchEditor::setSwitch(PunchSettings::Switch which, bool on) {
    if (which < 0 || which >= PunchSettings::kSwitches)
        return;
    m_settings.switches[std::size_t(which)] = on;
    punchTx();
}

void PunchEditor::setDurationFrames(int frames) {
    m_settings.durationFrames = atLeastZero(frames);
    punchTx();
}
void PunchEditor::setRepeatCount(int count) {
    m_settings.repeatCount = atLeastZero(count);
    punchTx();
}
void PunchEditor::setRepeatSeconds(int hundredths) {
    m_settings.repeatSeconds = atLeastZero(hundredths);
    punchTx();
}

int PunchEditor::hundredthsFromSeconds(double seconds) {
    return int(std::clamp(seconds * 100, 0.0, double(kMaxNumber)));
}

void PunchEditor::firePunch(int channel) {
    if (channel < 0 || channel > 3)
        return;
    sendTrigger(kFirstPunchNote + channel);
    // The preview (punch 0's look) plays the flashes.
    thread()->play();
}

QString PunchEditor::command() const {
    const PunchSettings& s = m_settings;
    unsigned word = 0;
    for (int channel = 3; channel >= 0; --channel)
        word = (word << 3) | unsigned(s.colors[std::size_t(channel)]);
    for (int channel = 0; channel < 4; ++channel) {
        if (s.reverse[std::size_t(channel)])
            word |= kReverseBit0 << channel;
    }
    unsigned switches = 0;
    for (int i = 0; i < PunchSettings::kSwitches; ++i) {
        if (s.switches[std::size_t(i)])
            switches |= 1u << i;
    }
    // The unit counts y down from the top of the picture.
    return cmd::punch({word, unsigned(wireX()), unsigned(wireY()),
                       unsigned(std::min(s.size, kMaxWire)), s.durationFrames, s.repeatSeconds,
                       s.repeatCount, switches});
}

void PunchEditor::punchTx() {
    diag::print("punchTx\n");
    if (!m_read) {
        diag::print("punch settings not sent: not reported by the unit yet\n");
        return;
    }
    if (CommandSink* sink = comThread())
        sink->sendString(command());
}

void PunchEditor::forgetReported() {
    m_read = false;
    changed();
}

void PunchEditor::setDraw(int mode) {
    // The margin is the size itself, not the drawn radius, so a large punch
    // may reach past the edge of the picture.
    PunchSettings& s = m_settings;
    const double margin = s.size;
    double x = std::min(std::max(s.punchPoint.x(), margin), kWidth - margin);
    double y = std::min(std::max(s.punchPoint.y(), margin), kHeight - margin);
    s.punchPoint = QPointF(x, y);
    DrawThread::Settings preview;
    preview.punchPoint = s.punchPoint;
    preview.radius = s.size * (kHeight / 2) / kMaxWire;
    preview.backColor = Qt::black;
    preview.foreColor = barspalette::color(s.colors[0]);
    preview.reverse = s.reverse[0];
    preview.enabled = s.switches[PunchSettings::kPunchEnable];
    preview.durationMs = s.durationFrames * 1000 / kPreviewFrameRate;
    preview.intervalMs = s.repeatSeconds * kMsPerHundredth;
    preview.flashes = 1 + s.repeatCount;
    thread()->setDraw(preview, mode);
}

void PunchEditor::fromString(const QString& line) {
    // Up to eight fields in command order; a field the line lacks leaves its
    // control as it was.
    const QStringView text(line);
    qsizetype pos = std::min<qsizetype>(2, text.size());
    std::array<std::optional<long long>, 8> f;
    for (auto& field : f) {
        std::uint32_t value = 0;
        if (pos >= text.size() || !hexscan::scan(text, pos, value, hexscan::Overflow::Saturate))
            break;
        field = value;
    }
    if (!f[0])
        return; // no field: nothing reported
    m_read = true;
    PunchSettings& s = m_settings;
    if (f[4])
        s.durationFrames = std::uint32_t(*f[4]);
    if (f[5])
        s.repeatSeconds = std::uint32_t(*f[5]);
    if (f[6])
        s.repeatCount = std::uint32_t(*f[6]);
    if (f[7]) {
        for (int i = 0; i < PunchSettings::kSwitches; ++i)
            s.switches[std::size_t(i)] = (*f[7] >> i) & 1;
    }
    if (f[3])
        s.size = clampTo(*f[3], kMaxSize);
    // Exact pixels, so that the next "E" gives the unit its own position
    // back; a point cut to whole pixels would come back a step lower, and
    // the echo of every change would move the punch again.
    if (f[1])
        s.punchPoint.setX(pixelsAcross(*f[1]));
    if (f[2])
        s.punchPoint.setY(pixelsUp(*f[2]));
    if (f[0]) {
        unsigned word = unsigned(*f[0]);
        for (int channel = 0; channel < 4; ++channel)
            s.reverse[std::size_t(channel)] = (word & (kReverseBit0 << channel)) != 0;
        for (int channel = 0; channel < 4; ++channel) {
            s.colors[std::size_t(channel)] = int(word & 7u);
            word >>= 3;
        }
    }
    setDraw(PreviewWorker::kRedraw); // clamps the point, repaints, never echoes
    changed();
}

#include "overlay/StreamerEditor.h"

#include "base/BarsPalette.h"
#include "base/Diagnostics.h"
#include "base/HexScan.h"
#include "protocol/CommandSink.h"
#include "protocol/Commands.h"
#include "protocol/MidiMessages.h"

#include <algorithm>

namespace {
constexpr int kMsPerFiftieth = 20;

int clampTo(long long v, int high) {
    return int(std::clamp<long long>(v, 0, high));
}
std::uint32_t atLeastZero(int v) {
    return std::uint32_t(std::max(v, 0));
}
} // namespace

StreamerEditor::StreamerEditor() = default;

void StreamerEditor::setWidth(int v) {
    m_settings.width = std::uint32_t(clampTo(v, kMaxWidth));
    setDraw(PreviewWorker::kRedrawAndTransmit);
}
void StreamerEditor::setTop(int v) {
    m_settings.top = clampTo(v, kMaxByte);
    setDraw(PreviewWorker::kRedrawAndTransmit);
}
void StreamerEditor::setBottom(int v) {
    m_settings.bottom = clampTo(v, kMaxByte);
    setDraw(PreviewWorker::kRedrawAndTransmit);
}
void StreamerEditor::setTransparency(int v) {
    m_settings.transparency = clampTo(v, kMaxByte);
    setDraw(PreviewWorker::kRedrawAndTransmit);
}
void StreamerEditor::setDuration(int fiftieths) {
    m_settings.duration = atLeastZero(fiftieths);
    setDraw(PreviewWorker::kRedrawAndTransmit);
}
void StreamerEditor::setDelay(int fiftieths) {
    m_settings.delay = atLeastZero(fiftieths);
    setDraw(PreviewWorker::kRedrawAndTransmit);
}

int StreamerEditor::fiftiethsFromSeconds(double seconds) {
    return int(std::clamp(seconds * 50 + 0.25, 0.0, double(kMaxFiftieths)));
}

int StreamerEditor::streamerDuration() const {
    return int(std::min<std::uint32_t>(m_settings.duration, kMaxFiftieths));
}

void StreamerEditor::setColor(int channel, int code) {
    if (channel < 0 || channel > StreamerSettings::kEndBar)
        return;
    m_settings.colors[std::size_t(channel)] = std::clamp(code, 0, barspalette::kCount - 1);
    // Only streamer 0 and the end bar are in the preview.
    if (channel == 0 || channel == StreamerSettings::kEndBar)
        setDraw(PreviewWorker::kRedraw);
    streamerTx();
    if (channel != StreamerSettings::kEndBar)
        trigger(kFirstStreamerNote + channel);
}

void StreamerEditor::fireStreamer(int channel) {
    if (channel < 0 || channel >= StreamerSettings::kEndBar)
        return;
    trigger(kFirstStreamerNote + channel);
    // The preview (streamer 0's look) plays the run; a colour change fires
    // without it, leaving the preview as it was.
    thread()->play();
}

void StreamerEditor::fireAccumulate() {
    trigger(midimsg::kAccumulateNote);
    thread()->play();
}

void StreamerEditor::trigger(int note) {
    sendTrigger(note);
}

QString StreamerEditor::command() const {
    // End bar in the top bits, streamer 0 in the lowest.
    unsigned word = 0;
    for (int channel = StreamerSettings::kEndBar; channel >= 0; --channel)
        word = (word << 3) | unsigned(m_settings.colors[std::size_t(channel)]);
    const StreamerSettings& s = m_settings;
    // The unit counts the bottom edge down from the top of the picture.
    return cmd::streamer({word, s.width, 0u, s.duration, s.delay, unsigned(s.top),
                          unsigned(kMaxByte - s.bottom), unsigned(s.transparency)});
}

void StreamerEditor::streamerTx() {
    diag::print("streamerTx\n");
    if (!m_read) {
        diag::print("streamer settings not sent: not reported by the unit yet\n");
        return;
    }
    if (CommandSink* sink = comThread())
        sink->sendString(command());
}

void StreamerEditor::forgetReported() {
    m_read = false;
    changed();
}

void StreamerEditor::setDraw(int mode) {
    const StreamerSettings& s = m_settings;
    const float alpha = float((kMaxByte - s.transparency) / double(kMaxByte));
    DrawStreamerThread::Settings preview;
    preview.top = s.top * PreviewWorker::kCanvasHeight / kMaxByte;
    preview.bottom = s.bottom * PreviewWorker::kCanvasHeight / kMaxByte;
    preview.width = int(std::min<std::uint32_t>(s.width, PreviewWorker::kCanvasWidth));
    // The unit may report any duration or delay; the preview plays at most a day.
    constexpr std::uint32_t kMaxFiftieths = 24u * 3600u * 50u;
    preview.durationMs = int(std::min(s.duration, kMaxFiftieths) * kMsPerFiftieth);
    preview.delayMs = int(std::min(s.delay, kMaxFiftieths) * kMsPerFiftieth);
    preview.backColor = Qt::black;
    preview.foreColor = barspalette::color(s.colors[0]);
    preview.foreColor.setAlphaF(alpha);
    preview.endBarColor = barspalette::color(s.colors[StreamerSettings::kEndBar]);
    preview.endBarColor.setAlphaF(alpha);
    thread()->setDraw(preview, mode);
}

void StreamerEditor::fromString(const QString& line) {
    // Fields in command order. A report that ends early gives every later
    // control the last value read, so a truncated line leaves the panel in
    // a stable (if odd) state; with no field at all nothing changes.
    const QStringView text(line);
    qsizetype pos = std::min<qsizetype>(2, text.size());
    std::uint32_t value = 0;
    bool any = false;
    auto next = [&] {
        if (pos < text.size() && hexscan::scan(text, pos, value, hexscan::Overflow::Saturate))
            any = true;
        return (long long)value;
    };
    const long long word = next();
    StreamerSettings s = m_settings;
    s.width = std::uint32_t(next());
    next(); // reserved
    s.duration = std::uint32_t(next());
    s.delay = std::uint32_t(next());
    s.top = clampTo(next(), kMaxByte);
    s.bottom = clampTo(kMaxByte - next(), kMaxByte);
    s.transparency = clampTo(next(), kMaxByte);
    if (!any)
        return;
    unsigned colors = unsigned(word);
    for (int channel = 0; channel <= StreamerSettings::kEndBar; ++channel) {
        s.colors[std::size_t(channel)] = int(colors & 7u);
        colors >>= 3;
    }
    m_settings = s;
    m_read = true;
    changed();
    setDraw(PreviewWorker::kRedraw); // repaint, never echo
}

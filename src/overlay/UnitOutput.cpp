#include "overlay/UnitOutput.h"

#include "base/BarsPalette.h"
#include "overlay/AnnunciatorElement.h"
#include "overlay/DrawAnnunciatorThread.h"
#include "overlay/TextItem.h"
#include "protocol/MidiMessages.h"

#include <QPainter>
#include <QStringList>
#include <algorithm>
#include <cmath>

namespace {
constexpr int kMaxByte = 255;
constexpr int kFirstPunchNote = 120;
constexpr int kFirstStreamerNote = 124;
constexpr int kChannels = 4;
constexpr int kMsPerFiftieth = 20;
constexpr int kMsPerHundredth = 10;
constexpr int kFeetFrames = 16; // 35 mm film: 16 frames a foot
// "X": what a cue's trigger (the accumulate note) does.
constexpr unsigned kPopAccumulate = 1;
constexpr unsigned kPopPunch = 2;
constexpr unsigned kPopStreamer = 4;
constexpr unsigned kEndPunch = 4; // "A" bit 2
constexpr unsigned kPulldown = 1; // "A" rate bits
// Pictures a second of each generator standard ("M"), in its table's order;
// 0 for the generator switched off.
constexpr double kStandardRates[] = {30, 25, 30, 25, 30, 25, 24, 60, 24, 50, 30, 25, 24, 30, 25, 0};
const char* const kModeWords[] = {"", "Rehearse", "Record", "Playback"};
// Colour-bar order, then the grey steps of the gray scale.
constexpr int kBars = 8;

QColor overlayColour(unsigned index) {
    // Indices beyond the eight overlay colours key nothing (no box).
    return index < unsigned(barspalette::kCount) ? barspalette::color(int(index)) : QColor();
}
} // namespace

unsigned UnitScene::setting(const char* key, int field, int base) const {
    const QStringList fields =
        m_unit.settings.value(QLatin1String(key)).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    return fields.value(field).toUInt(nullptr, base);
}

void UnitScene::setPicture(const QImage& picture) {
    m_picture = picture;
    m_scaled = QImage();
}

double UnitScene::frameRate() const {
    const unsigned standard = setting("M", 0, 10);
    const bool pulldown = (setting("A", 0) & 3u) == kPulldown;
    double rate = standard < std::size(kStandardRates) ? kStandardRates[standard] : 0;
    if (rate == 0) // no generator: the house default
        rate = pulldown ? 30 : 25;
    // Pulldown runs the 30 and 60 rates a thousandth slow.
    if (pulldown && std::fmod(rate, 30) == 0)
        rate = rate * 1000 / 1001;
    return rate;
}

double UnitScene::frameTimeMs(Clock::time_point start, Clock::time_point now) const {
    const double rate = frameRate();
    const double elapsedS = std::chrono::duration<double>(now - start).count();
    return std::floor(elapsedS * rate + 1e-9) * 1000.0 / rate;
}

DrawStreamerThread::Settings UnitScene::streamerLook(int channel) const {
    const unsigned word = setting("C", 0);
    const float alpha = float(kMaxByte - std::min(setting("C", 7), unsigned(kMaxByte))) / kMaxByte;
    DrawStreamerThread::Settings s;
    s.foreColor = barspalette::color(int((word >> (3 * channel)) & 7u));
    s.foreColor.setAlphaF(alpha);
    s.endBarColor = barspalette::color(int((word >> 12) & 7u));
    s.endBarColor.setAlphaF(alpha);
    s.width = int(setting("C", 1));
    s.durationMs = int(setting("C", 3)) * kMsPerFiftieth;
    s.delayMs = int(setting("C", 4)) * kMsPerFiftieth;
    // The unit counts the bottom edge down from the top of the picture.
    s.top = int(std::min(setting("C", 5), unsigned(kMaxByte))) * kHeight / kMaxByte;
    s.bottom = (kMaxByte - int(std::min(setting("C", 6), unsigned(kMaxByte)))) * kHeight / kMaxByte;
    return s;
}

DrawThread::Settings UnitScene::punchLook(int channel) const {
    const unsigned word = setting("E", 0);
    DrawThread::Settings s;
    s.foreColor = barspalette::color(int((word >> (3 * channel)) & 7u));
    s.reverse = (word >> (12 + channel)) & 1u;
    // Wire positions count from the left and down from the top.
    s.punchPoint = QPointF(double(setting("E", 1)) * kWidth / kMaxByte,
                           kHeight - double(setting("E", 2)) * kHeight / kMaxByte);
    s.radius = int(setting("E", 3)) * (kHeight / 2) / kMaxByte;
    s.durationMs = int(std::lround(setting("E", 4) * 1000.0 / frameRate()));
    s.intervalMs = int(setting("E", 5)) * kMsPerHundredth;
    s.flashes = 1 + int(setting("E", 6));
    s.enabled = setting("E", 7) & 1u;
    return s;
}

void UnitScene::update(const UnitSnapshot& unit) {
    m_unit = unit;
    const std::uint64_t first = unit.triggerCount - std::uint64_t(unit.triggers.size());
    for (qsizetype i = 0; i < unit.triggers.size(); ++i) {
        if (first + std::uint64_t(i) >= m_seenTriggers)
            fire(unit.triggers[i]);
    }
    m_seenTriggers = unit.triggerCount;
}

void UnitScene::fire(const UnitSnapshot::Trigger& t) {
    if (t.velocity == 0) // a Note On without velocity is a Note Off
        return;
    if (t.note >= kFirstStreamerNote && t.note < kFirstStreamerNote + kChannels) {
        startStreamer(t.note - kFirstStreamerNote, t.time, false);
    } else if (t.note >= kFirstPunchNote && t.note < kFirstPunchNote + kChannels) {
        startPunch(t.note - kFirstPunchNote, t.time);
    } else if (t.note == midimsg::kAccumulateNote) {
        const unsigned pop = setting("X", 0, 10);
        const bool streamer = pop & (kPopStreamer | kPopAccumulate);
        if (streamer)
            startStreamer(0, t.time, !(pop & kPopStreamer));
        if (pop & kPopPunch) {
            const DrawStreamerThread::Settings look = streamerLook(0);
            const auto end = std::chrono::milliseconds(look.delayMs + look.durationMs);
            // The end punch, if on, already flashes at the streamer's end.
            if (!streamer)
                startPunch(0, t.time);
            else if (!(setting("A", 0) & kEndPunch))
                startPunch(0, t.time + end);
        }
    }
}

void UnitScene::startStreamer(int channel, Clock::time_point at, bool accumulates) {
    if (!accumulates) {
        std::erase_if(m_effects, [channel](const Effect& e) {
            return e.kind == Effect::Kind::Streamer && e.channel == channel && !e.accumulates;
        });
    }
    m_effects.push_back({Effect::Kind::Streamer, channel, at, accumulates});
    if (setting("A", 0) & kEndPunch) {
        const DrawStreamerThread::Settings look = streamerLook(channel);
        startPunch(channel, at + std::chrono::milliseconds(look.delayMs + look.durationMs));
    }
}

void UnitScene::startPunch(int channel, Clock::time_point at) {
    std::erase_if(m_effects, [channel, at](const Effect& e) {
        return e.kind == Effect::Kind::Punch && e.channel == channel && e.start <= at;
    });
    m_effects.push_back({Effect::Kind::Punch, channel, at, false});
}

double UnitScene::lengthMs(const Effect& e) const {
    return e.kind == Effect::Kind::Streamer
               ? DrawStreamerThread::playLengthMs(streamerLook(e.channel))
               : DrawThread::playLengthMs(punchLook(e.channel));
}

std::optional<UnitScene::Clock::time_point> UnitScene::advance(Clock::time_point now) {
    std::erase_if(m_effects, [this, now](const Effect& e) {
        return std::chrono::duration<double, std::milli>(now - e.start).count() > lengthMs(e);
    });
    if (m_effects.empty())
        return std::nullopt;
    // The next frame boundary of the unit's picture.
    const auto frame = std::chrono::duration<double>(1.0 / frameRate());
    const Clock::time_point epoch = m_effects.front().start;
    const double frames = std::floor((now - epoch) / frame) + 1;
    return epoch + std::chrono::duration_cast<Clock::duration>(frame * frames);
}

void UnitScene::paint(QPainter& painter, const QRect& target, Clock::time_point now) const {
    paintPicture(painter, target);
    if (setting("Q", 0, 10) == 1) // bypass: the picture passes untouched
        return;
    painter.save();
    painter.translate(target.topLeft());
    painter.scale(double(target.width()) / kWidth, double(target.height()) / kHeight);
    paintMasking(painter);
    painter.save();
    // Streamers and punches are drawn in the unit's coordinates, y up.
    painter.translate(0, kHeight);
    painter.scale(1, -1);
    paintEffects(painter, now);
    painter.restore();
    paintText(painter);
    painter.restore();
}

void UnitScene::paintPicture(QPainter& painter, const QRect& target) const {
    const unsigned pattern = setting("G", 0); // bit 0 colour bars, bit 1 gray scale
    if (!(pattern & 3u) && !m_picture.isNull()) {
        if (m_scaled.size() != target.size())
            m_scaled =
                m_picture.scaled(target.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        painter.drawImage(target.topLeft(), m_scaled);
        return;
    }
    const bool gray = pattern & 2u;
    for (int i = 0; i < kBars; ++i) {
        const int left = target.left() + target.width() * i / kBars;
        const int right = target.left() + target.width() * (i + 1) / kBars;
        const int level = 255 - 255 * i / (kBars - 1);
        const QColor colour = gray ? QColor(level, level, level) : barspalette::color(i);
        painter.fillRect(QRect(left, target.top(), right - left, target.height()), colour);
    }
}

void UnitScene::paintMasking(QPainter& painter) const {
    // "H": top, bottom, left, right in 1/255 of the picture, then the
    // masking's transparency (0 opaque).
    QColor mask(Qt::black);
    mask.setAlphaF(float(kMaxByte - std::min(setting("H", 4, 10), unsigned(kMaxByte))) / kMaxByte);
    const int top = int(setting("H", 0, 10)) * kHeight / kMaxByte;
    const int bottom = int(setting("H", 1, 10)) * kHeight / kMaxByte;
    const int left = int(setting("H", 2, 10)) * kWidth / kMaxByte;
    const int right = int(setting("H", 3, 10)) * kWidth / kMaxByte;
    painter.fillRect(QRect(0, 0, kWidth, top), mask);
    painter.fillRect(QRect(0, kHeight - bottom, kWidth, bottom), mask);
    painter.fillRect(QRect(0, top, left, kHeight - top - bottom), mask);
    painter.fillRect(QRect(kWidth - right, top, right, kHeight - top - bottom), mask);
}

void UnitScene::paintEffects(QPainter& painter, Clock::time_point now) const {
    // Punches over streamers, each in the order it was fired.
    for (const Effect::Kind kind : {Effect::Kind::Streamer, Effect::Kind::Punch}) {
        for (const Effect& e : m_effects) {
            if (e.kind != kind || now < e.start)
                continue;
            const double at = frameTimeMs(e.start, now);
            if (kind == Effect::Kind::Streamer) {
                DrawStreamerThread::paint(painter, streamerLook(e.channel), at);
            } else if (const DrawThread::Settings look = punchLook(e.channel);
                       DrawThread::shown(look, at)) {
                DrawThread::paint(painter, look);
            }
        }
    }
}

void UnitScene::paintText(QPainter& painter) const {
    auto element = [this, &painter](AnnunciatorElement e, const QStringList& lines,
                                    std::optional<unsigned> colours = std::nullopt) {
        const QStringList f = m_unit.windows[std::size_t(e)].split(QLatin1Char(' '));
        TextItem item;
        item.fontPoint = f.value(0).toInt();
        item.x = f.value(1).toInt();
        item.y = f.value(2).toInt();
        item.color = colours ? *colours : f.value(3).toUInt();
        const QPointF anchor(item.x * kWidth / kMaxByte, (kMaxByte - item.y) * kHeight / kMaxByte);
        DrawAnnunciatorThread::paintElement(painter, anchor, lines, item.fontPoint,
                                            overlayColour(unsigned(item.foreColor()) & 7u),
                                            overlayColour(unsigned(item.backColor())));
    };
    const unsigned mode = setting("U", 0, 10);
    if (mode >= 1 && mode <= 3) // each mode's colour pair, background in the upper nibble
        element(AnnunciatorElement::Annunciator, {QLatin1String(kModeWords[mode])},
                setting("t", int(mode) - 1));
    if (const unsigned source = setting("m", 0, 10); source != 0) {
        QString counter = m_timecode;
        if (source == 2) { // feet and frames
            const QStringList p = m_timecode.split(QLatin1Char(':'));
            const int seconds =
                p.value(0).toInt() * 3600 + p.value(1).toInt() * 60 + p.value(2).toInt();
            const int frames = int(std::lround(seconds * frameRate())) + p.value(3).toInt();
            counter = QStringLiteral("%1.%2")
                          .arg(frames / kFeetFrames, 6, 10, QLatin1Char('0'))
                          .arg(frames % kFeetFrames, 2, 10, QLatin1Char('0'));
        }
        element(AnnunciatorElement::Tc, {counter});
    }
    // The unit's line-break escape is a backslash and an n.
    if (!m_unit.textLine.isEmpty())
        element(AnnunciatorElement::Text, m_unit.textLine.split(QLatin1String("\\n")));
    if (!m_unit.counterText.trimmed().isEmpty())
        element(AnnunciatorElement::BarBeat, {m_unit.counterText});
}

#include "overlay/DrawStreamerThread.h"

#include <QPainter>
#include <cmath>

namespace {
// fore drawn over an opaque back.
QColor over(const QColor& fore, const QColor& back) {
    const double a = fore.alphaF();
    auto mix = [a](double f, double b) { return f * a + b * (1 - a); };
    return QColor::fromRgbF(float(mix(fore.redF(), back.redF())),
                            float(mix(fore.greenF(), back.greenF())),
                            float(mix(fore.blueF(), back.blueF())));
}
} // namespace

std::optional<int> DrawStreamerThread::barX(const Settings& s, double elapsedMs) {
    const double t = elapsedMs - s.delayMs;
    if (t < 0 || t >= s.durationMs)
        return std::nullopt;
    return int(std::floor(kEndBarX * t / s.durationMs));
}

bool DrawStreamerThread::endBarShown(const Settings& s, double elapsedMs) {
    const double t = elapsedMs - s.delayMs - s.durationMs;
    return t >= 0 && t < kEndBarHoldMs;
}

double DrawStreamerThread::playLengthMs(const Settings& s) {
    return double(s.delayMs) + s.durationMs + kEndBarHoldMs;
}

void DrawStreamerThread::paint(QPainter& painter, const Settings& s,
                               std::optional<double> elapsedMs, const QColor* opaqueBack) {
    std::optional<int> x = (kCanvasWidth - s.width) / 2;
    bool endBar = true;
    if (elapsedMs) {
        x = barX(s, *elapsedMs);
        endBar = endBarShown(s, *elapsedMs);
    }
    // The bars never overlap; over an opaque background each is blended
    // once here and filled opaque, so the painter stays on its
    // single-threaded solid-fill path.
    painter.save();
    if (opaqueBack)
        painter.setCompositionMode(QPainter::CompositionMode_Source);
    auto fill = [&](int left, const QColor& colour) {
        // Top below bottom gives a negative height; it is painted as it comes.
        const QRect bar(left, s.bottom, s.width, s.top - s.bottom);
        painter.fillRect(bar.normalized(), opaqueBack ? over(colour, *opaqueBack) : colour);
    };
    if (x)
        fill(*x, s.foreColor);
    if (endBar)
        fill(kEndBarX, s.endBarColor);
    painter.restore();
}

QImage DrawStreamerThread::render(std::optional<double> elapsedMs) {
    const Settings s = settings();
    QImage image = newCanvas();
    QPainter painter(&image);
    originBottomLeft(painter);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(0, 0, kCanvasWidth, kCanvasHeight), s.backColor);
    paint(painter, s, elapsedMs, &s.backColor);
    return image;
}

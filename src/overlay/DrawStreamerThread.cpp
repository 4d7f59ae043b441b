#include "overlay/DrawStreamerThread.h"

#include <QPainter>

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

QImage DrawStreamerThread::render() {
    const Settings s = settings();
    const QColor& back = s.backColor;
    // Top below bottom gives a negative height; it is painted as it comes.
    const QRect streamer((kCanvasWidth - s.width) / 2, s.bottom, s.width, s.top - s.bottom);
    const QRect end(kEndBarX, s.bottom, s.width, s.top - s.bottom);
    // The bars never overlap and the background is one colour, so each bar
    // is blended once here and filled opaque: the same picture, and the
    // painter stays on its single-threaded solid-fill path.
    QImage image = newCanvas();
    QPainter painter(&image);
    originBottomLeft(painter);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(0, 0, kCanvasWidth, kCanvasHeight), back);
    painter.fillRect(streamer.normalized(), over(s.foreColor, back));
    painter.fillRect(end.normalized(), over(s.endBarColor, back));
    return image;
}

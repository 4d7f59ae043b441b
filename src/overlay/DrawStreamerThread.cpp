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
    QColor back;
    QColor fore;
    QColor endBar;
    QRect streamer;
    QRect end;
    {
        std::lock_guard<std::mutex> lock(ioLock());
        back = backColor;
        fore = foreColor;
        endBar = endBarColor;
        // Top below bottom gives a negative height; it is painted as it comes.
        streamer = QRect((kCanvasWidth - width) / 2, bottom, width, top - bottom);
        end = QRect(kEndBarX, bottom, width, top - bottom);
    }
    // The bars never overlap and the background is one colour, so each bar
    // is blended once here and filled opaque: the same picture, and the
    // painter stays on its single-threaded solid-fill path.
    QImage image = newCanvas();
    QPainter painter(&image);
    originBottomLeft(painter);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(0, 0, kCanvasWidth, kCanvasHeight), back);
    painter.fillRect(streamer.normalized(), over(fore, back));
    painter.fillRect(end.normalized(), over(endBar, back));
    return image;
}

#include "overlay/DrawStreamerThread.h"

#include <QPainter>

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
    QImage image = newCanvas();
    QPainter painter(&image);
    originBottomLeft(painter);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(0, 0, kCanvasWidth, kCanvasHeight), back);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.fillRect(streamer.normalized(), fore);
    painter.fillRect(end.normalized(), endBar);
    return image;
}

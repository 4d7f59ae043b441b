#include "overlay/DrawThread.h"

#include "base/Diagnostics.h"

#include <QPainter>

QImage DrawThread::render() {
    QColor back;
    QColor fore;
    QRectF box;
    {
        std::lock_guard<std::mutex> lock(ioLock());
        back = backColor;
        fore = foreColor;
        box = QRectF(punchPoint.x() - radius, punchPoint.y() - radius, 2.0 * radius, 2.0 * radius);
    }
    QImage image = newCanvas();
    QPainter painter(&image);
    originBottomLeft(painter);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(0, 0, kCanvasWidth, kCanvasHeight), back);
    // Still Source: the punch is opaque, its smoothed edge is mixed with the
    // background, and the painter stays on its single-threaded path.
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fore);
    painter.drawEllipse(box);
    return image;
}

void DrawThread::finished() {
    diag::print("DrawThread run() complete\n");
}

#include "overlay/DrawThread.h"

#include "base/Diagnostics.h"

#include <QPainter>

QImage DrawThread::render() {
    const Settings s = settings();
    const QRectF box(s.punchPoint.x() - s.radius, s.punchPoint.y() - s.radius, 2.0 * s.radius,
                     2.0 * s.radius);
    QImage image = newCanvas();
    QPainter painter(&image);
    originBottomLeft(painter);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(0, 0, kCanvasWidth, kCanvasHeight), s.backColor);
    // Still Source: the punch is opaque, its smoothed edge is mixed with the
    // background, and the painter stays on its single-threaded path.
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(s.foreColor);
    painter.drawEllipse(box);
    return image;
}

void DrawThread::finished() {
    diag::print("DrawThread run() complete\n");
}

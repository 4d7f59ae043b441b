#include "overlay/DrawThread.h"

#include "base/Diagnostics.h"

#include <QPainter>
#include <QPainterPath>
#include <cmath>

bool DrawThread::shown(const Settings& s, double elapsedMs) {
    if (!s.enabled || elapsedMs < 0 || s.flashes < 1)
        return false;
    // A flash still up when the next one starts simply stays up.
    for (int i = s.flashes - 1; i >= 0; --i) {
        const double start = double(i) * s.intervalMs;
        if (elapsedMs >= start)
            return elapsedMs < start + s.durationMs;
    }
    return false;
}

double DrawThread::playLengthMs(const Settings& s) {
    return double(std::max(s.flashes - 1, 0)) * s.intervalMs + s.durationMs;
}

void DrawThread::paint(QPainter& painter, const Settings& s) {
    const QRectF box(s.punchPoint.x() - s.radius, s.punchPoint.y() - s.radius, 2.0 * s.radius,
                     2.0 * s.radius);
    painter.save();
    // The smoothed edge is mixed with what is under it; in Source mode (the
    // preview) the painter stays on its single-threaded path.
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(s.foreColor);
    if (s.reverse) {
        QPainterPath outside;
        outside.addRect(QRectF(0, 0, kCanvasWidth, kCanvasHeight));
        outside.addEllipse(box); // odd-even fill: the circle stays clear
        painter.drawPath(outside);
    } else {
        painter.drawEllipse(box);
    }
    painter.restore();
}

QImage DrawThread::render(std::optional<double> elapsedMs) {
    const Settings s = settings();
    QImage image = newCanvas();
    QPainter painter(&image);
    originBottomLeft(painter);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(0, 0, kCanvasWidth, kCanvasHeight), s.backColor);
    if (!elapsedMs || shown(s, *elapsedMs))
        paint(painter, s);
    return image;
}

void DrawThread::finished() {
    diag::print("DrawThread run() complete\n");
}

#pragma once

#include "overlay/PreviewWorker.h"

#include <QColor>
#include <QPointF>

// Paints the punch: a filled circle of `radius` canvas pixels around
// `punchPoint` (origin at the bottom left). The owner writes the values under
// ioLock().
class DrawThread final : public PreviewWorker {
public:
    ~DrawThread() override { stopThread(); }

    QColor backColor{Qt::black};
    QColor foreColor{Qt::white};
    QPointF punchPoint{kCanvasWidth / 2.0, kCanvasHeight / 2.0};
    int radius = 64;

protected:
    QImage render() override;
    void finished() override;
};

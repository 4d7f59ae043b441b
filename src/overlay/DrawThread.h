#pragma once

#include "overlay/PreviewWorker.h"

#include <QColor>
#include <QPointF>

// What the punch preview shows: a circle of `radius` canvas pixels around
// `punchPoint` (origin at the bottom left).
struct PunchPreviewSettings {
    QColor backColor{Qt::black};
    QColor foreColor{Qt::white};
    QPointF punchPoint{PreviewWorker::kCanvasWidth / 2.0, PreviewWorker::kCanvasHeight / 2.0};
    int radius = 64;
};

// Paints the punch: a filled circle on the background.
class DrawThread final : public PreviewRenderer<PunchPreviewSettings> {
public:
    using Settings = PunchPreviewSettings;

    ~DrawThread() override { stopThread(); }

protected:
    QImage render() override;
    void finished() override;
};

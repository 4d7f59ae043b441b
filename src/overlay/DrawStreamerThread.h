#pragma once

#include "overlay/PreviewWorker.h"

#include <QColor>

// What the streamer preview shows: canvas rows and pixels, origin at the
// bottom left; the colours carry the transparency as their alpha.
struct StreamerPreviewSettings {
    QColor backColor{Qt::black};
    QColor foreColor{Qt::white};
    QColor endBarColor{Qt::white};
    int top = PreviewWorker::kCanvasHeight;
    int bottom = 0;
    int width = 40;
};

// Paints streamer 0 and the end bar as the unit draws them: the bar centred
// across the picture, the end bar at x 1728, both between bottom and top.
class DrawStreamerThread final : public PreviewRenderer<StreamerPreviewSettings> {
public:
    using Settings = StreamerPreviewSettings;
    static constexpr int kEndBarX = 1728;

    ~DrawStreamerThread() override { stopThread(); }

protected:
    QImage render() override;
};

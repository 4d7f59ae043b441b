#pragma once

#include "overlay/PreviewWorker.h"

#include <QColor>

// Paints streamer 0 and the end bar as the unit draws them: the bar centred
// across the picture, the end bar at x 1728, both between bottom and top
// (canvas rows, origin at the bottom left). The owner writes the values
// under ioLock().
class DrawStreamerThread final : public PreviewWorker {
public:
    static constexpr int kEndBarX = 1728;

    ~DrawStreamerThread() override { stopThread(); }

    QColor backColor{Qt::black};
    QColor foreColor{Qt::white};
    QColor endBarColor{Qt::white};
    int top = kCanvasHeight;
    int bottom = 0;
    int width = 40;

protected:
    QImage render() override;
};

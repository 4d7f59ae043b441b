#pragma once

#include "overlay/PreviewWorker.h"

#include <QColor>
#include <QPointF>
#include <optional>

class QPainter;

// What the punch preview shows: a circle of `radius` canvas pixels around
// `punchPoint` (origin at the bottom left), or, reversed, the picture filled
// but for the circle. Fired, it is up for durationMs, `flashes` times,
// intervalMs from the start of one to the start of the next.
struct PunchPreviewSettings {
    QColor backColor{Qt::black};
    QColor foreColor{Qt::white};
    QPointF punchPoint{PreviewWorker::kCanvasWidth / 2.0, PreviewWorker::kCanvasHeight / 2.0};
    int radius = 64;
    bool reverse = false;
    bool enabled = true;
    int durationMs = 480;
    int intervalMs = 1000;
    int flashes = 3;
};

// Paints the punch: a filled circle on the background. The output window of
// the simulated unit draws its punches with the same paint().
class DrawThread final : public PreviewRenderer<PunchPreviewSettings> {
public:
    using Settings = PunchPreviewSettings;

    ~DrawThread() override { stopThread(); }

    // Is the punch up at elapsedMs after its trigger?
    static bool shown(const Settings& s, double elapsedMs);
    static double playLengthMs(const Settings& s);
    // The punch over whatever the painter holds (canvas coordinates, origin
    // at the bottom left), opaque: the unit keys it solid.
    static void paint(QPainter& painter, const Settings& s);

protected:
    QImage render(std::optional<double> elapsedMs) override;
    double playLengthMs() const override { return playLengthMs(settings()); }
    void finished() override;
};

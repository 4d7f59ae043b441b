#pragma once

#include "overlay/PreviewWorker.h"

#include <QColor>
#include <optional>

class QPainter;

// What the streamer preview shows: canvas rows and pixels, origin at the
// bottom left; the colours carry the transparency as their alpha. The timing
// is what a fired streamer does: it waits its delay, then runs for its
// duration.
struct StreamerPreviewSettings {
    QColor backColor{Qt::black};
    QColor foreColor{Qt::white};
    QColor endBarColor{Qt::white};
    int top = PreviewWorker::kCanvasHeight;
    int bottom = 0;
    int width = 40;
    int durationMs = 2000;
    int delayMs = 0;
};

// Paints streamer 0 and the end bar as the unit draws them. At rest (no
// time given) the bar stands centred across the picture beside the end bar
// at x 1728, both between bottom and top. Fired, the bar's left edge runs
// from the left edge of the picture to the end bar's place over the
// duration (after the delay), so it meets the end bar exactly at the cue
// point; the end bar then shows for kEndBarHoldMs. The output window of the
// simulated unit draws its streamers with the same paint().
class DrawStreamerThread final : public PreviewRenderer<StreamerPreviewSettings> {
public:
    using Settings = StreamerPreviewSettings;
    static constexpr int kEndBarX = 1728;
    static constexpr int kEndBarHoldMs = 500;

    ~DrawStreamerThread() override { stopThread(); }

    // The bar's left edge (canvas pixels) at elapsedMs after the trigger;
    // nothing before its delay is over or once it has reached the end bar.
    static std::optional<int> barX(const Settings& s, double elapsedMs);
    static bool endBarShown(const Settings& s, double elapsedMs);
    // From the trigger to the end bar going out.
    static double playLengthMs(const Settings& s);
    // The bar and end bar over whatever the painter holds, in canvas
    // coordinates with the origin at the bottom left. With `opaqueBack` the
    // colours are mixed over it here and filled opaque (the preview's fast
    // path); without, they are blended over the picture.
    static void paint(QPainter& painter, const Settings& s, std::optional<double> elapsedMs,
                      const QColor* opaqueBack = nullptr);

protected:
    QImage render(std::optional<double> elapsedMs) override;
    double playLengthMs() const override { return playLengthMs(settings()); }
};

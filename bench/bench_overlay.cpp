// One full preview frame of each overlay editor, rendered as the worker does.
// The idle cost of the editors' workers is in bench_panel, with the whole
// window.
//
//   bench_overlay [frames, default 200]
#include "overlay/AnnunciatorEditor.h"
#include "overlay/PunchEditor.h"
#include "overlay/StreamerEditor.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <algorithm>
#include <cstdio>
#include <vector>

namespace {
template <typename Render>
double medianMs(int frames, Render render) {
    std::vector<double> ms;
    for (int i = 0; i < frames; ++i) {
        QElapsedTimer t;
        t.start();
        const QImage image = render(i);
        ms.push_back(double(t.nsecsElapsed()) / 1e6);
        if (image.isNull())
            return -1;
    }
    std::sort(ms.begin(), ms.end());
    return ms[ms.size() / 2];
}
} // namespace

int main(int argc, char** argv) {
    // Text needs the font machinery of a GUI application; no screen is used.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const int frames = argc > 1 ? std::max(1, atoi(argv[1])) : 200;
    StreamerEditor streamer;
    PunchEditor punch;
    const double streamerMs = medianMs(frames, [&](int i) {
        streamer.fromString(
            QStringLiteral("C 5 %1 0 64 0 ff 0 %2").arg(i % 200, 0, 16).arg(i % 256, 0, 16));
        return streamer.thread()->renderNow();
    });
    const double punchMs = medianMs(frames, [&](int i) {
        punch.fromString(QStringLiteral("E 3 %1 %2 %3")
                             .arg(i % 256, 0, 16)
                             .arg((i * 7) % 256, 0, 16)
                             .arg(i % 256, 0, 16));
        return punch.thread()->renderNow();
    });
    // The four text elements at 48 pt, moving about the picture.
    AnnunciatorEditor annunciator;
    for (int item = 0; item < kAnnunciatorElements; ++item)
        annunciator.windowFromArray({48, 10 + 60 * item, 10 + 50 * item, 0x70, item});
    const double annunciatorMs = medianMs(frames, [&](int i) {
        annunciator.windowFromArray({48, (i * 13) % 200, (i * 7) % 240, 0x70, i % 4});
        return annunciator.thread()->renderNow();
    });
    std::printf("streamer frame: median %.2f ms over %d\n", streamerMs, frames);
    std::printf("punch frame:    median %.2f ms over %d\n", punchMs, frames);
    std::printf(
        "annunciator frame (four elements at 48 pt): median %.2f ms over %d   (target < 8 ms)\n",
        annunciatorMs, frames);
    return 0;
}

// Take view figures on the offscreen platform, at 1920 x 1080: the CPU the
// view costs while time code runs at 30 fps (every frame refreshed and
// painted, a cue fired every two seconds), as a share of one core; and what
// it costs while time code is stopped (nothing refreshes it).
// usage: bench_take [seconds of time code]   (default 60)
#include "cues/view/TakeView.h"
#include "timecode/TcCalculator.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <cstdio>
#include <ctime>

namespace {

double cpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

// A take at 30 fps: a cue every 60 frames.
class Playing final : public TakeSource {
public:
    TakeState takeState() const override {
        TakeState s;
        s.sheetName = QStringLiteral("reel1.txt");
        s.timecode = TcCalculator().binaryToTc(m_frame, 3);
        s.rate = QStringLiteral("30");
        s.running = m_running;
        const int cue = m_frame / 60;
        s.hasCurrent = cue > 0;
        s.currentId = QStringLiteral("1M%1").arg(cue);
        s.currentText = QStringLiteral("Streamer into the hit, bar %1").arg(cue * 4);
        s.hasNext = true;
        s.nextId = QStringLiteral("1M%1").arg(cue + 1);
        s.nextText = QStringLiteral("Streamer into the hit, bar %1").arg(cue * 4 + 4);
        const int left = 60 - m_frame % 60;
        s.countdown = QStringLiteral("%1 s %2 fr").arg(left / 30).arg(left % 30, 2, 10, QChar('0'));
        return s;
    }
    void setHeld(bool) override {}
    void fireNext() override {}
    int m_frame = 108000;
    bool m_running = true;
};

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 60;
    Playing source;
    TakeView view(&source);
    view.resize(1920, 1080);
    view.show();
    QApplication::processEvents();

    // Time code in real time: one refresh per frame from a 30 fps timer, the
    // view painting what changed as the event loop would.
    QTimer frames;
    frames.setTimerType(Qt::PreciseTimer);
    frames.setInterval(1000 / 30);
    int left = seconds * 30;
    QObject::connect(&frames, &QTimer::timeout, [&] {
        ++source.m_frame;
        view.refresh();
        if (--left == 0)
            QApplication::quit();
    });
    QElapsedTimer wall;
    wall.start();
    const double cpu0 = cpuSeconds();
    const long long updates0 = view.labelUpdates();
    frames.start();
    QApplication::exec();
    const double running = (cpuSeconds() - cpu0) / (double(wall.nsecsElapsed()) / 1e9);
    std::printf("take view, 30 fps running, 1920x1080: %.2f %% of a core (%.1f labels changed "
                "per frame)\n",
                100.0 * running, double(view.labelUpdates() - updates0) / (seconds * 30));

    // Stopped: nobody calls refresh().
    source.m_running = false;
    view.refresh();
    QApplication::processEvents();
    QTimer::singleShot(5000, &app, &QApplication::quit);
    wall.restart();
    const double cpu1 = cpuSeconds();
    QApplication::exec();
    const double stopped = (cpuSeconds() - cpu1) / (double(wall.nsecsElapsed()) / 1e9);
    std::printf("take view, stopped: %.3f %% of a core\n", 100.0 * stopped);
    return 0;
}

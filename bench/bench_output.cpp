// The simulated unit's output window on the offscreen platform at 1280 x 720:
// the time to draw one frame with a streamer, a punch, the annunciator and
// the counters; the CPU it takes while a streamer runs; and while nothing
// moves (no frame should be drawn then).
//
//   bench_output [seconds per CPU figure, default 3]
#include "overlay/view/UnitOutputWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {
using Clock = UnitScene::Clock;

// A unit with the factory settings, Rehearse on, a cue text and a bar/beat
// line, and the triggers given.
class BenchUnit final : public UnitOutputSource {
public:
    BenchUnit() {
        const std::pair<const char*, const char*> settings[] = {{"A", "a"},
                                                                {"C", "0 28 0 64 0 ff ff 0"},
                                                                {"E", "0 7f 7f 40 c 64 2 1"},
                                                                {"G", "0"},
                                                                {"H", "10 10 0 0 50"},
                                                                {"M", "5"},
                                                                {"Q", "0"},
                                                                {"U", "1"},
                                                                {"X", "4"},
                                                                {"m", "1"},
                                                                {"t", "70 50 30"}};
        for (const auto& [key, value] : settings)
            m_unit.settings.insert(QLatin1String(key), QLatin1String(value));
        m_unit.windows = {QStringLiteral("32 10 200 112 0"), QStringLiteral("48 10 10 112 1"),
                          QStringLiteral("32 180 200 112 2"), QStringLiteral("32 180 10 112 3")};
        m_unit.textLine = QStringLiteral("12\\nHello");
        m_unit.counterText = QStringLiteral("12|3|000");
    }
    void fire(int note, Clock::time_point at) {
        m_unit.triggers.append({note, 64, at});
        ++m_unit.triggerCount;
        if (m_onChange)
            m_onChange();
    }
    void setStreamerFiftieths(int fiftieths) {
        m_unit.settings.insert(QStringLiteral("C"),
                               QStringLiteral("0 28 0 %1 0 ff ff 0").arg(fiftieths, 0, 16));
    }
    UnitSnapshot snapshot() const override { return m_unit; }
    void setChangeHandler(std::function<void()> onChange) override {
        m_onChange = std::move(onChange);
    }

private:
    UnitSnapshot m_unit;
    std::function<void()> m_onChange;
};

double cpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
}

// Runs the event loop for `seconds`; the share of one core used and the
// frames drawn meanwhile.
std::pair<double, int> cpuWhile(UnitOutputWindow& window, double seconds) {
    const int framesBefore = window.framesPainted();
    const double cpuBefore = cpuSeconds();
    QEventLoop loop;
    QTimer::singleShot(int(seconds * 1000), &loop, &QEventLoop::quit);
    loop.exec();
    return {100.0 * (cpuSeconds() - cpuBefore) / seconds, window.framesPainted() - framesBefore};
}
} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const double seconds = argc > 1 ? std::max(1.0, atof(argv[1])) : 3.0;
    BenchUnit unit;
    UnitOutputWindow window(&unit);
    window.resize(1280, 720);
    window.show();
    QApplication::processEvents();

    const Clock::time_point t0 = Clock::now();
    unit.fire(124, t0);
    unit.fire(120, t0);
    window.refresh();
    std::vector<double> ms;
    for (int i = 0; i < 200; ++i) {
        QElapsedTimer t;
        t.start();
        const QImage frame = window.frameAt(t0 + std::chrono::milliseconds(i * 10), {1280, 720});
        ms.push_back(double(t.nsecsElapsed()) / 1e6);
    }
    std::sort(ms.begin(), ms.end());
    std::printf("output frame (streamer, punch, annunciator, counters) 1280x720: median %.2f ms, "
                "max %.2f ms\n",
                ms[ms.size() / 2], ms.back());

    // A streamer long enough to run through the whole measurement.
    unit.setStreamerFiftieths(int(seconds * 50) + 100);
    unit.fire(124, Clock::now());
    const auto [running, runningFrames] = cpuWhile(window, seconds);
    std::printf("while a streamer runs: %.1f%% of a core, %.1f frames/s\n", running,
                runningFrames / seconds);
    // Let it play out, then measure the standstill.
    unit.setStreamerFiftieths(1);
    unit.fire(124, Clock::now());
    cpuWhile(window, 1.0);
    const auto [idle, idleFrames] = cpuWhile(window, seconds);
    std::printf("while nothing moves: %.1f%% of a core, %d frames drawn\n", idle, idleFrames);
    return 0;
}

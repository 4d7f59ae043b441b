// Fault soak: the panel core (link, reply parser, settings) on the simulated
// unit through many cycles of the unit going away and coming back, with late
// and silent replies, garbage bursts and 1 MB floods of random bytes between
// valid replies. Each cycle the settings are changed, the fault is played,
// the link is asked to reconnect, and every setting must read back. Prints
// how long the link state took to follow each change, how long recovery
// took, and how the resident memory and the heap moved after a warm-up.
//
//   bench_soak [cycles, default 200]
//
// Exits 1 when a setting did not read back, the link state lagged more than
// a second behind the unit, or the program stopped answering (a watchdog
// aborts after 20 s without an event-loop turn).
#include "base/Alerts.h"
#include "base/Diagnostics.h"
#include "link/ComThread.h"
#include "panel/PanelController.h"
#include "panel/PanelPrompts.h"
#include "panel/PanelSettings.h"
#include "sim/SimulatedUnit.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QRandomGenerator>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <malloc.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kStateDeadlineMs = 1000; // the link state must follow within this
constexpr int kReadBackTimeoutMs = 15000;
constexpr int kWarmUpCycles = 20;

// Counts the panel's alerts and any other the program raises.
class CountingAlerts : public AlertPresenter, public PanelPrompts {
public:
    void showAlert(const QString&) override { ++shown; }
    bool askOkCancel(const QString&) override { return false; }
    int shown = 0;
};

long residentKb() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return -1;
}

// Bytes the program holds on the heap (all threads' arenas).
long heapInUseKb() {
    const struct mallinfo2 info = mallinfo2();
    return long((info.uordblks + info.hblkhd) / 1024);
}

// Runs the event loop until the condition holds; the elapsed milliseconds, or
// -1 at the time-out.
double waitFor(const std::function<bool()>& condition, int timeoutMs) {
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return -1;
        QEventLoop loop;
        QTimer::singleShot(2, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return double(timer.nsecsElapsed()) / 1e6;
}

void settle(int ms) {
    waitFor([] { return false; }, ms);
}

struct Figures {
    std::vector<double> lostMs;     // unplug to "lost"
    std::vector<double> connectMs;  // reconnect asked to "connected"
    std::vector<double> readBackMs; // reconnect asked to every setting read
    int stateLate = 0;              // link state later than the deadline
    int readBackFailures = 0;
    int floods = 0;
    qint64 garbageBytes = 0;

    static double percentile(std::vector<double> v, double p) {
        if (v.empty())
            return -1;
        std::sort(v.begin(), v.end());
        return v[std::min(v.size() - 1, std::size_t(p * double(v.size())))];
    }
    static void print(std::FILE* out, const char* label, const std::vector<double>& v) {
        std::fprintf(out, "  %-34s median %7.1f  p95 %7.1f  max %7.1f ms  (%zu)\n", label,
                     percentile(v, 0.5), percentile(v, 0.95), percentile(v, 1.0), v.size());
    }
};

// New values for every setting the unit keeps, different each cycle.
void changeSettings(PanelSettings& settings, QRandomGenerator& random) {
    switch (random.bounded(3)) {
    case 0:
        settings.onRadioButtonRefFlat();
        break;
    case 1:
        settings.onRadioButtonRefPulldown();
        break;
    default:
        settings.onRadioButtonRefAuto();
    }
    random.bounded(2) ? settings.onRadioButtonHdmi() : settings.onRadioButtonSdi();
    settings.onCheckBoxStreamerEndPunch(random.bounded(2));
    settings.onCheckBoxBars(random.bounded(2));
    settings.onCheckBoxGrayScale(random.bounded(2));
    for (Mask m : {Mask::Top, Mask::Bottom, Mask::Left, Mask::Right, Mask::Transparency})
        settings.onTextBoxMasking(m, random.bounded(100));
    settings.onCheckBoxPopStreamerAccum(random.bounded(2));
    settings.onCheckBoxPopPunch(random.bounded(2));
    switch (random.bounded(3)) {
    case 0:
        settings.onRadioPopEnable();
        break;
    case 1:
        settings.onRadioLtcEnable();
        break;
    default:
        settings.onRadioMtcEnable();
    }
    settings.onCheckBoxBypass(random.bounded(2));
    settings.onStepperDelayTrim(random.bounded(50));
    settings.oncomboBoxInputColorSpace(random.bounded(3));
}

QString describe(const PanelState& s) {
    QString text = QStringLiteral("A %1 %2 %3 G %4 %5 H")
                       .arg(s.rateCell)
                       .arg(s.priorityCell)
                       .arg(s.streamerEndPunch)
                       .arg(s.bars)
                       .arg(s.grayScale);
    for (int m : s.masking)
        text += QStringLiteral(" %1").arg(m);
    return text + QStringLiteral(" X %1 %2 %3 %4 M %5 Q %6 J %7 Y %8")
                      .arg(s.popStreamerAccum)
                      .arg(s.popPunch)
                      .arg(s.popStreamer)
                      .arg(s.popCell)
                      .arg(s.sdiGenerator)
                      .arg(s.bypass)
                      .arg(s.delayTrimSteps)
                      .arg(s.colorSpaceRow);
}

QByteArray randomBytes(QRandomGenerator& random, qsizetype size) {
    QByteArray bytes(size, '\0');
    random.fillRange(reinterpret_cast<quint32*>(bytes.data()), size / 4);
    return bytes;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int cycles = argc > 1 ? std::max(1, std::atoi(argv[1])) : 200;
    diag::setQuiet(true);
    // The parser prints what it does not know on standard output, and the
    // garbage gives plenty of that: the figures go to a copy of it instead.
    std::FILE* report = fdopen(dup(STDOUT_FILENO), "w");
    if (!report || !std::freopen("/dev/null", "w", stdout))
        return 1;
    CountingAlerts alerts;
    alerts::setPresenter(&alerts);

    // The watchdog: the event loop turns at least every few milliseconds
    // while the soak runs; twenty seconds without a turn is a hang.
    std::atomic<qint64> heartbeat{0};
    std::atomic<bool> finished{false};
    QTimer beat;
    QElapsedTimer clock;
    clock.start();
    QObject::connect(&beat, &QTimer::timeout, [&] { heartbeat.store(clock.elapsed()); });
    beat.start(100);
    std::thread watchdog([&] {
        while (!finished.load()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            if (clock.elapsed() - heartbeat.load() > 20000 && !finished.load()) {
                std::fprintf(stderr, "bench_soak: no event-loop turn for 20 s: hung\n");
                std::abort();
            }
        }
    });

    QRandomGenerator random(62);
    SimulatedUnit sim;
    if (!sim.start()) {
        std::fprintf(stderr, "bench_soak: no pseudo-terminal\n");
        return 1;
    }
    PanelController controller;
    controller.setExplicitPort(sim.ptyPath());
    controller.setPrompts(&alerts);
    bool readAll = false;
    QObject::connect(&controller, &PanelController::rxLine, [&](const QString& line) {
        if (line.startsWith(QLatin1String("t "))) // the last of the start-up queries
            readAll = true;
    });
    using State = PanelController::LinkState;
    controller.startUp();
    if (waitFor([&] { return readAll; }, kReadBackTimeoutMs) < 0) {
        std::fprintf(stderr, "bench_soak: the unit was not read at start-up\n");
        return 1;
    }

    Figures figures;
    long rssStartKb = 0;
    long heapStartKb = 0;
    QElapsedTimer total;
    total.start();
    for (int cycle = 0; cycle < cycles; ++cycle) {
        // The baseline once the first floods have sized the buffers and the
        // allocator's arenas.
        if (cycle == kWarmUpCycles) {
            rssStartKb = residentKb();
            heapStartKb = heapInUseKb();
        }
        const int replyFault = cycle % 3; // answers at once, late, or not at all
        // New settings, sent while the unit answers normally.
        changeSettings(controller.settings(), random);
        const PanelState expected = controller.parser().state();
        // Only what reached the unit can read back: let the link send it all.
        waitFor([&] { return controller.comThread()->txCount() == 0; }, kReadBackTimeoutMs);
        settle(replyFault == 1 ? 150 : 30);

        // Between valid replies: a garbage burst, or every tenth cycle a
        // 1 MB flood, then late or silent replies for a while.
        const bool flood = cycle % 10 == 9;
        const QByteArray garbage = randomBytes(random, flood ? 1 << 20 : 64 + random.bounded(4096));
        sim.sendRaw(garbage);
        figures.garbageBytes += garbage.size();
        figures.floods += flood;
        if (replyFault == 1)
            sim.setReplyDelayMs(200 + int(random.bounded(800)));
        else if (replyFault == 2)
            sim.setSilent(true);
        controller.getInitValues();
        settle(flood ? 300 : 100);
        if (controller.linkState() != State::Connected)
            ++figures.stateLate; // garbage or silence must not look like a lost unit

        // The unit goes away.
        QElapsedTimer fault;
        fault.start();
        sim.unplug();
        const double lost = waitFor([&] { return controller.linkState() == State::Lost; }, 5000);
        figures.lostMs.push_back(lost < 0 ? 5000 : lost);
        figures.stateLate += lost < 0 || lost > kStateDeadlineMs;

        // It comes back, answering normally or late; the user asks to reconnect.
        sim.setSilent(false);
        sim.setReplyDelayMs(replyFault == 1 ? 100 : 0);
        if (!sim.start()) {
            std::fprintf(stderr, "bench_soak: the unit cannot come back\n");
            return 1;
        }
        // Whatever the panel holds now is forgotten: every value must come
        // from the unit again.
        controller.parser().mutableState() = PanelState{.rateCell = -1,
                                                        .priorityCell = -1,
                                                        .masking = {-1, -1, -1, -1, -1},
                                                        .sdiGenerator = -1,
                                                        .delayTrimSteps = -1,
                                                        .colorSpaceRow = -1};
        readAll = false;
        QElapsedTimer recover;
        recover.start();
        controller.comThread()->setPort(sim.ptyPath());
        controller.reconnect();
        // Identification is synchronous, so the state may already be set when
        // reconnect() returns: the times count from the request.
        const bool connected =
            waitFor([&] { return controller.linkState() == State::Connected; }, 5000) >= 0;
        const double connectedMs = double(recover.nsecsElapsed()) / 1e6;
        figures.connectMs.push_back(connectedMs);
        figures.stateLate += !connected || connectedMs > kStateDeadlineMs;
        const bool read = waitFor([&] { return readAll; }, kReadBackTimeoutMs) >= 0;
        figures.readBackMs.push_back(double(recover.nsecsElapsed()) / 1e6);
        settle(20);
        PanelState got = controller.parser().state();
        PanelState want = expected;
        want.sdiGenerator = 15; // the panel switches the generator off on connecting
        if (!read || !(got == want)) {
            ++figures.readBackFailures;
            if (figures.readBackFailures <= 3)
                std::fprintf(stderr, "cycle %d: settings did not read back (%s)\n%s\n", cycle,
                             !read ? "no reply" : "different values",
                             qPrintable(describe(want) + QLatin1String(" wanted\n") +
                                        describe(got) + QLatin1String(" read")));
        }
        if ((cycle + 1) % 50 == 0)
            std::fprintf(stderr, "  %d cycles, resident %ld kB, heap in use %ld kB\n", cycle + 1,
                         residentKb(), heapInUseKb());
    }
    const long rssEndKb = residentKb();
    const long heapEndKb = heapInUseKb();
    const double seconds = double(total.elapsed()) / 1000.0;
    controller.windowClosing();
    sim.stop();
    finished.store(true);
    watchdog.join();

    std::fprintf(report,
                 "fault soak: %d cycles in %.1f s (unplug + reconnect each; garbage bursts, "
                 "%d floods of 1 MB, late and silent replies; %.1f MB of garbage)\n",
                 cycles, seconds, figures.floods, double(figures.garbageBytes) / (1 << 20));
    Figures::print(report, "unplugged -> link state lost", figures.lostMs);
    Figures::print(report, "reconnect asked -> connected", figures.connectMs);
    Figures::print(report, "reconnect asked -> all settings read", figures.readBackMs);
    std::fprintf(report, "  link state late (> %d ms) or wrong   %d\n", kStateDeadlineMs,
                 figures.stateLate);
    std::fprintf(report, "  settings not read back               %d of %d recoveries\n",
                 figures.readBackFailures, cycles);
    std::fprintf(report,
                 "  resident memory                      %ld kB after cycle %d, %ld kB at the end "
                 "(%+ld kB; limit 5120)\n",
                 rssStartKb, kWarmUpCycles, rssEndKb, rssEndKb - rssStartKb);
    std::fprintf(report,
                 "  heap in use                          %ld kB after cycle %d, %ld kB at the end "
                 "(%+ld kB)\n",
                 heapStartKb, kWarmUpCycles, heapEndKb, heapEndKb - heapStartKb);
    std::fprintf(report, "  alerts raised                        %d\n", alerts.shown);
    const bool ok = figures.readBackFailures == 0 && figures.stateLate == 0 &&
                    (cycles <= kWarmUpCycles || rssEndKb - rssStartKb < 5120);
    std::fprintf(report, "  result                               %s\n", ok ? "PASS" : "FAIL");
    return ok ? 0 : 1;
}

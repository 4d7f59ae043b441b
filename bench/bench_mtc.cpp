// MIDI Time Code to cue trigger figures:
//   1. latency from a quarter frame's arrival in the MIDI callback to the
//      trigger reaching the unit's side of the serial line (the simulated
//      unit's read right after the link's write()): p50, p99, max over 2,000
//      cues, time code fed at eight times real time, while the main thread
//      sorts a 10,000-row sheet over and over and the link waits for replies
//      the unit sends 250 ms late;
//   2. exactness per rate: every cue on every frame of ten minutes fires
//      once, on the quarter frame at which the time code reaches its frame
//      (from the sender's own frame count, not from the parser), with the
//      share missed at 29.97 drop frame without exact counting;
//   3. CPU of the MIDI, main and link threads while following 30 fps in real
//      time over a 10,000-cue sheet.
//   4. "load": 20 s of time code in real time, a cue every third frame, to a
//      unit in a process of its own, while one CPU-bound process per core
//      runs ("load idle": without them): from each quarter frame to the
//      trigger's write() and to the unit's read. QZ62_REALTIME=1 asks for
//      real-time scheduling of the MIDI and link threads.
// usage: bench_mtc [cpu-seconds] [latency]   (default 20; "latency" runs only 1)
//        bench_mtc load [idle]
#include "base/Diagnostics.h"
#include "base/Realtime.h"
#include "cues/CueFiring.h"
#include "cues/CueSheet.h"
#include "link/ComThread.h"
#include "link/LinkListener.h"
#include "midi/MidiController.h"
#include "midi/MtcGenerator.h"
#include "protocol/CommandSink.h"
#include "protocol/Commands.h"
#include "protocol/MsgClass.h"
#include "sim/SimulatedUnit.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// The link's owner: takes the unit's replies and drops them.
class Owner final : public QObject, public LinkListener {
public:
    void threadHasMsg(MsgClass chunk) override { m_buffer.drain(chunk); }

private:
    MsgClass m_buffer;
};

// A sheet with a cue whose trigger falls on every `spacing`-th frame from
// `first` on (frame counts of the type), `count` cues.
CueSheet sheetOf(int type, int first, int spacing, int count, int streamerDuration = 100) {
    CueSheet sheet;
    sheet.setStepperStreamerDuration(streamerDuration);
    const TcCalculator tcc;
    const int lead = sheet.leadFrames(type);
    for (int i = 0; i < count; ++i) {
        const int frames = first + i * spacing + lead;
        QString tc;
        if (type == 2) {
            // Drop-frame timecode of a frame count, as the standard counts.
            const int skipped = 18 * (frames / 17982) +
                                (frames % 17982 < 2 ? 0 : 2 * ((frames % 17982 - 2) / 1798));
            const int n = frames + skipped;
            tc = TcCalculator::formatTc(n / 108000, n / 1800 % 60, n / 30 % 60, n % 30);
        } else {
            tc = tcc.binaryToTc(frames, type);
        }
        CueItem item = CueItem::blank();
        item.cueId = QString::number(i + 1);
        item.cueText = QStringLiteral("Cue %1 text").arg(i + 1);
        item.cueIn = tc;
        sheet.addObject(item);
    }
    return sheet;
}

std::int64_t threadCpuNs() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return std::int64_t(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
}

double percentile(std::vector<double> values, double p) {
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, size_t(p * double(values.size())))];
}

struct Link {
    SimulatedUnit sim;
    Owner owner;
    ComThread link;
    bool start(int lateMs) {
        sim.setReplyDelayMs(lateMs);
        if (!sim.start())
            return false;
        link.setDriverCheckEnabled(false);
        link.setPort(sim.ptyPath());
        if (link.openUsbSerial() != 0)
            return false;
        link.startThread(&owner);
        return true;
    }
};

void latency() {
    constexpr int kCues = 2000;
    // A short streamer (6 frames of lead) lets triggers come every third
    // frame: the firing looks at the four rows after the time only.
    constexpr int kSpacing = 3;
    constexpr int kStreamerDuration = 10;
    constexpr int kSpeedUp = 8;
    Link unit;
    if (!unit.start(250)) {
        std::printf("latency: no simulated unit\n");
        return;
    }
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("m.ini")), QSettings::IniFormat);
    MidiController midi(&settings);
    const int start = 3600 * 30;
    CueSheet sheet = sheetOf(3, start + 30, kSpacing, kCues, kStreamerDuration);
    CueFiring firing(&unit.owner);
    firing.setCommandSink(&unit.link);
    firing.publish(sheet);
    midi.setTimecodeListener(&firing);

    // The main thread's load: a big sheet sorted again and again, queries
    // the unit answers late, events handled only between sorts.
    CueSheet busy = sheetOf(3, 0, 7, 10000);
    std::atomic<bool> done{false};
    std::vector<Clock::time_point> fedAt;
    std::vector<double> inCallbackUs; // fed to return: the lane's own write() happens inside
    std::thread callback([&] {
        MtcGenerator generator(3, 1, 0, 0, 0);
        const auto period = generator.quarterFramePeriod() / kSpeedUp;
        const int quarterFrames = (30 + kCues * kSpacing + 30) * 4;
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        const auto begin = Clock::now();
        for (int i = 0; i < quarterFrames; ++i) {
            std::this_thread::sleep_until(begin + period * i);
            const QByteArray qf = generator.nextQuarterFrame();
            const std::int64_t before = firing.firedCount();
            const auto t0 = Clock::now();
            midi.decodeData(reinterpret_cast<const std::uint8_t*>(qf.constData()), 2);
            if (firing.firedCount() != before) {
                fedAt.push_back(t0);
                inCallbackUs.push_back(
                    std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
            }
        }
        done.store(true);
    });
    int sorts = 0;
    auto lastQuery = Clock::now();
    while (!done.load()) {
        busy.OnSort();
        ++sorts;
        if (Clock::now() - lastQuery > std::chrono::milliseconds(100)) {
            unit.link.sendString(cmd::query('C'));
            lastQuery = Clock::now();
        }
        QCoreApplication::processEvents();
    }
    callback.join();
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    while (unit.sim.triggers().size() < qsizetype(fedAt.size()) && Clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    midi.setTimecodeListener(nullptr);
    const QList<SimProtocol::Trigger> triggers = unit.sim.triggers();
    std::vector<double> us;
    for (qsizetype i = 0; i < std::min(triggers.size(), qsizetype(fedAt.size())); ++i)
        us.push_back(
            std::chrono::duration<double, std::micro>(triggers[i].time - fedAt[size_t(i)]).count());
    std::printf("latency: %zu cues fired, %lld triggers at the unit, %d sorts of 10,000 rows on "
                "the main thread meanwhile\n",
                fedAt.size(), static_cast<long long>(triggers.size()), sorts);
    if (!us.empty())
        std::printf("latency quarter frame -> trigger read by the unit: p50 %.0f us, p99 %.0f "
                    "us, max %.0f us\n",
                    percentile(us, 0.5), percentile(us, 0.99),
                    *std::max_element(us.begin(), us.end()));
    if (!inCallbackUs.empty())
        std::printf("latency quarter frame -> callback done (trigger and text written when the "
                    "port is free): p50 %.0f us, p99 %.0f us, max %.0f us\n",
                    percentile(inCallbackUs, 0.5), percentile(inCallbackUs, 0.99),
                    *std::max_element(inCallbackUs.begin(), inCallbackUs.end()));
}

// Records on which quarter frame each trigger went out.
struct AtQuarterFrame : CommandSink {
    long long current = 0;
    std::vector<long long> fired;
    void sendString(const QString&) override {}
    void sendBytes(const QByteArray&) override {}
    void sendTimingBytes(const QByteArray& bytes) override {
        if (bytes.size() == 3 && uchar(bytes[0]) == 0x90)
            fired.push_back(current);
    }
    int txCount() const override { return 0; }
};

void exactness(int type, bool exact, const char* label) {
    QObject mainThread;
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("m.ini")), QSettings::IniFormat);
    MidiController midi(&settings);
    midi.setExactDropFrame(exact);
    const int fps = TcCalculator::frameRate(type);
    const int frames = type == 2 ? 17982 : fps * 60 * 10;
    // The sender starts at 01:00:00:00; a cue on every frame from two seconds
    // in, over ten minutes (every minute boundary of a drop-frame decade).
    // The firing looks at the four rows after the time only, so the cues
    // come in passes a third of the streamer lead apart, each pass offset
    // by one frame.
    const int start = TcCalculator().tcToBinary(QStringLiteral("01:00:00:00"), type);
    const int first = start + 2 * fps;
    const int spacing = CueSheet().leadFrames(type) / 3;
    std::vector<char> seen(size_t(frames), 0);
    int onFrame = 0;
    int doubled = 0;
    int wrong = 0;
    for (int pass = 0; pass < spacing; ++pass) {
        CueSheet sheet =
            sheetOf(type, first + pass, spacing, (frames - pass + spacing - 1) / spacing);
        AtQuarterFrame sink;
        CueFiring firing(&mainThread);
        firing.setCommandSink(&sink);
        firing.publish(sheet);
        midi.setTimecodeListener(&firing);
        MtcGenerator generator(type, 1, 0, 0, 0);
        const QByteArray full = generator.fullFrame();
        midi.decodeData(reinterpret_cast<const std::uint8_t*>(full.constData()), 10);
        const long long quarterFrames = (2LL * fps + frames + 4) * 4;
        for (sink.current = 0; sink.current < quarterFrames; ++sink.current) {
            const QByteArray qf = generator.nextQuarterFrame();
            midi.decodeData(reinterpret_cast<const std::uint8_t*>(qf.constData()), 2);
        }
        midi.setTimecodeListener(nullptr);
        // The time code reaches frame F with the last quarter frame of F - 1.
        for (const long long q : sink.fired) {
            const long long cue = (q + 1) / 4 - (first - start);
            if ((q + 1) % 4 != 0 || cue < 0 || cue >= frames || (cue - pass) % spacing != 0) {
                ++wrong;
                continue;
            }
            if (seen[size_t(cue)]++)
                ++doubled;
            else
                ++onFrame;
        }
    }
    const int missed = frames - onFrame;
    std::printf("exactness %-28s %6d cues: %6d on their frame, %d missed (%.2f%%), %d doubled, "
                "%d on a wrong frame\n",
                label, frames, onFrame, missed, 100.0 * missed / frames, doubled, wrong);
}

void cpu(int seconds) {
    Link unit;
    if (!unit.start(0)) {
        std::printf("cpu: no simulated unit\n");
        return;
    }
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("m.ini")), QSettings::IniFormat);
    MidiController midi(&settings);
    CueSheet sheet = sheetOf(3, 3600 * 30 + 60, 21, 10000);
    CueFiring firing(&unit.owner);
    firing.setCommandSink(&unit.link);
    firing.publish(sheet);
    midi.setTimecodeListener(&firing);
    int counterUpdates = 0;
    QObject::connect(&midi, &MidiController::counterChanged,
                     [&](const QString&) { ++counterUpdates; });

    std::atomic<bool> done{false};
    std::atomic<std::int64_t> midiCpuNs{0};
    const std::int64_t mainBefore = threadCpuNs();
    const auto linkBefore = unit.link.linkThreadCpuTime();
    const auto begin = Clock::now();
    std::thread callback([&] {
        const std::int64_t before = threadCpuNs();
        MtcGenerator generator(3, 1, 0, 0, 0);
        const auto period = generator.quarterFramePeriod();
        const QByteArray full = generator.fullFrame();
        midi.decodeData(reinterpret_cast<const std::uint8_t*>(full.constData()), 10);
        for (long long i = 0; Clock::now() - begin < std::chrono::seconds(seconds); ++i) {
            std::this_thread::sleep_until(begin + period * i);
            const QByteArray qf = generator.nextQuarterFrame();
            midi.decodeData(reinterpret_cast<const std::uint8_t*>(qf.constData()), 2);
        }
        midiCpuNs.store(threadCpuNs() - before);
        done.store(true);
    });
    // The main thread idles in its event loop, as the application's does.
    QEventLoop loop;
    QTimer check;
    QObject::connect(&check, &QTimer::timeout, [&] {
        if (done.load())
            loop.quit();
    });
    check.start(100);
    loop.exec();
    callback.join();
    const double wallNs = double((Clock::now() - begin).count());
    const double mainNs = double(threadCpuNs() - mainBefore);
    const double linkNs = double((unit.link.linkThreadCpuTime() - linkBefore).count());
    midi.setTimecodeListener(nullptr);
    std::printf("cpu at 30 fps over 10,000 cues for %d s (%lld cues fired, %d counter updates): "
                "MIDI thread %.3f%%, main %.3f%%, link %.3f%% of one core\n",
                seconds, static_cast<long long>(firing.firedCount()), counterUpdates,
                100.0 * double(midiCpuNs.load()) / wallNs, 100.0 * mainNs / wallNs,
                100.0 * linkNs / wallNs);
}

// --- under load: the unit in a process of its own, a CPU-bound process per core ---

// The simulated unit served by a child process: it says its terminal's path,
// serves until told "done", then sends each trigger's read time (steady
// clock, nanoseconds), one a line.
struct UnitProcess {
    pid_t pid = -1;
    int fromChild = -1;
    int toChild = -1;
    QString path;

    bool start() {
        int up[2];
        int down[2];
        if (::pipe(up) != 0 || ::pipe(down) != 0)
            return false;
        pid = ::fork();
        if (pid == 0) {
            ::close(up[0]);
            ::close(down[1]);
            SimulatedUnit sim;
            if (!sim.start())
                ::_exit(1);
            const QByteArray line = sim.ptyPath().toLocal8Bit() + '\n';
            (void)!::write(up[1], line.constData(), size_t(line.size()));
            char done[8];
            (void)!::read(down[0], done, sizeof done);
            QByteArray times;
            for (const SimProtocol::Trigger& t : sim.triggers())
                times += QByteArray::number(qint64(t.time.time_since_epoch().count())) + '\n';
            (void)!::write(up[1], times.constData(), size_t(times.size()));
            ::_exit(0);
        }
        ::close(up[1]);
        ::close(down[0]);
        fromChild = up[0];
        toChild = down[1];
        path = QString::fromLocal8Bit(readLine());
        return pid > 0 && !path.isEmpty();
    }
    QByteArray readLine() {
        QByteArray line;
        char c = 0;
        while (::read(fromChild, &c, 1) == 1 && c != '\n')
            line += c;
        return line;
    }
    std::vector<std::int64_t> finish() {
        (void)!::write(toChild, "done\n", 5);
        std::vector<std::int64_t> times;
        for (QByteArray line = readLine(); !line.isEmpty(); line = readLine())
            times.push_back(line.toLongLong());
        ::waitpid(pid, nullptr, 0);
        return times;
    }
};

// One process spinning per core until killed (or this process ends).
std::vector<pid_t> startLoad() {
    std::vector<pid_t> spinners;
    const long cores = std::max(1L, ::sysconf(_SC_NPROCESSORS_ONLN));
    for (long i = 0; i < cores; ++i) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            volatile unsigned long spin = 0;
            for (;;)
                spin = spin + 1;
        }
        spinners.push_back(pid);
    }
    return spinners;
}

void printSpread(const char* what, std::vector<double> us) {
    if (us.empty())
        return;
    std::printf("  quarter frame -> %s: p50 %.0f us, p99 %.0f us, max %.0f us (%zu cues)\n", what,
                percentile(us, 0.5), percentile(us, 0.99), *std::max_element(us.begin(), us.end()),
                us.size());
}

// Time code in real time at 30 fps, a cue every third frame, into the link to
// a unit in another process; with `load`, one CPU-bound process per core.
void underLoad(UnitProcess& unit, bool load, int seconds) {
    double loadAverage[1] = {0};
    ::getloadavg(loadAverage, 1);
    std::vector<pid_t> spinners = load ? startLoad() : std::vector<pid_t>();
    Owner owner;
    ComThread link;
    link.setDriverCheckEnabled(false);
    link.setPort(unit.path);
    if (link.openUsbSerial() != 0) {
        std::printf("load: the unit's terminal did not open\n");
        return;
    }
    link.startThread(&owner);
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("m.ini")), QSettings::IniFormat);
    MidiController midi(&settings);
    const int cues = seconds * 10;
    CueSheet sheet = sheetOf(3, 3600 * 30 + 30, 3, cues, 10);
    CueFiring firing(&owner);
    firing.setCommandSink(&link);
    firing.publish(sheet);
    midi.setTimecodeListener(&firing);
    std::vector<Clock::time_point> fedAt;
    std::vector<double> callbackUs;
    std::atomic<bool> done{false};
    std::thread callback([&] {
        realtime::raiseCurrentThread("MIDI (benchmark)", 45);
        MtcGenerator generator(3, 1, 0, 0, 0);
        const auto period = generator.quarterFramePeriod();
        const auto begin = Clock::now();
        for (int i = 0; i < (30 + cues * 3 + 30) * 4; ++i) {
            std::this_thread::sleep_until(begin + period * i);
            const QByteArray qf = generator.nextQuarterFrame();
            const std::int64_t before = firing.firedCount();
            const auto t0 = Clock::now();
            midi.decodeData(reinterpret_cast<const std::uint8_t*>(qf.constData()), 2);
            if (firing.firedCount() != before) {
                fedAt.push_back(t0);
                callbackUs.push_back(
                    std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
            }
        }
        done.store(true);
    });
    // The main thread idles in its event loop, as the application's does.
    while (!done.load()) {
        QCoreApplication::processEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    callback.join();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    midi.setTimecodeListener(nullptr);
    const std::uint64_t deferred = link.timingBytesDeferred();
    link.stopThread();
    for (const pid_t pid : spinners) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
    const std::vector<std::int64_t> reads = unit.finish();
    std::vector<double> toUnitUs;
    for (size_t i = 0; i < std::min(reads.size(), fedAt.size()); ++i)
        toUnitUs.push_back(double(reads[i] - fedAt[i].time_since_epoch().count()) / 1000.0);
    std::printf("%s, real-time scheduling %s, load average %.2f before: %zu cues fired, %zu "
                "triggers read by the unit, %llu of %zu sends left to the link thread\n",
                load ? "under load (one CPU-bound process per core)" : "without added load",
                realtime::requested() ? "asked for" : "not asked for", loadAverage[0], fedAt.size(),
                reads.size(), static_cast<unsigned long long>(deferred), 2 * fedAt.size());
    printSpread("trigger written (callback done, the write inside it)", callbackUs);
    printSpread("trigger read by the unit (its own process)", toUnitUs);
}

} // namespace

int main(int argc, char** argv) {
    // The load run forks its unit before any thread starts.
    const bool loadRun = argc > 1 && std::strcmp(argv[1], "load") == 0;
    UnitProcess unit;
    if (loadRun && !unit.start()) {
        std::fprintf(stderr, "bench_mtc: the unit process did not start\n");
        return 1;
    }
    QCoreApplication app(argc, argv);
    if (loadRun) {
        diag::setQuiet(!realtime::requested());
        const bool idle = argc > 2 && std::strcmp(argv[2], "idle") == 0;
        underLoad(unit, !idle, 20);
        return 0;
    }
    diag::setQuiet(true);
    const int cpuSeconds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 20;
    const bool latencyOnly = argc > 2 && std::strcmp(argv[2], "latency") == 0;
    if (latencyOnly) {
        latency();
        return 0;
    }
    exactness(0, false, "24 fps");
    exactness(1, false, "25 fps");
    exactness(3, false, "30 fps");
    exactness(2, true, "29.97 drop, exact counting");
    exactness(2, false, "29.97 drop, traditional step");
    latency();
    cpu(cpuSeconds);
    return 0;
}

// Device link figures, against the simulated unit on a pseudo-terminal:
//   1. round trip of 1,000 queries answered at once, one at a time (each
//      after the previous answer reached the main thread) and all queued at
//      once: time per command, and the link's own share of it (the same
//      exchange by a bare write/poll/read loop on the terminal subtracted);
//   2. 500 "f" commands with the unit emulating 38400 baud: total time over
//      the time the bytes need on the wire;
//   3. the priority lane: how long a MIDI trigger takes to reach the unit
//      while a command waits for a reply that comes 250 ms late (p50, p99
//      and worst of 1,000);
//   4. CPU used by the idle link thread.
// usage: bench_link [idle-seconds]   (default 60)
#include "base/Diagnostics.h"
#include "link/ComThread.h"
#include "protocol/Commands.h"
#include "protocol/MidiMessages.h"
#include "protocol/MsgClass.h"
#include "sim/SimulatedUnit.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace {

// Counts the reply lines matching a prefix and ends the event loop at a target.
class Counter final : public LinkListener {
public:
    QString prefix;
    int target = 0;
    int seen = 0;
    QEventLoop* loop = nullptr;

    void threadHasMsg(MsgClass chunk) override {
        for (const QString& line : m_buffer.drain(chunk))
            if (line.startsWith(prefix) && ++seen == target && loop)
                loop->quit();
    }

private:
    MsgClass m_buffer;
};

bool waitUntil(Counter& counter, int timeoutMs) {
    QEventLoop loop;
    counter.loop = &loop;
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    if (counter.seen < counter.target)
        loop.exec();
    counter.loop = nullptr;
    return counter.seen >= counter.target;
}

double median(std::vector<double> samples) {
    if (samples.empty())
        return -1;
    std::sort(samples.begin(), samples.end());
    return samples[samples.size() / 2];
}

// The same exchange without the link thread or the main thread's event loop:
// write, then read until the prompt after the answer is in. What the terminal and the
// unit cost on their own. Per command, in ms; empty when the unit stopped
// answering.
std::vector<double> bareRoundTrips(const QString& path, int count) {
    std::vector<double> samples;
    const int fd = ::open(path.toLocal8Bit().constData(), O_RDWR | O_NONBLOCK | O_NOCTTY);
    if (fd < 0)
        return samples;
    termios raw{};
    ::cfmakeraw(&raw);
    ::tcsetattr(fd, TCSANOW, &raw);
    char buffer[255];
    QByteArray pending;
    QElapsedTimer timer;
    for (int i = 0; i < count; ++i) {
        timer.start();
        (void)!::write(fd, "X\r\n", 3);
        while (!pending.endsWith('>')) {
            pollfd p{fd, POLLIN, 0};
            if (::poll(&p, 1, 1000) <= 0) {
                ::close(fd);
                return {};
            }
            const ssize_t n = ::read(fd, buffer, sizeof buffer);
            if (n > 0)
                pending.append(buffer, n);
        }
        pending.clear();
        samples.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    ::close(fd);
    return samples;
}

// Starts the unit and finds it on its terminal; says so when it is not found.
bool openLink(SimulatedUnit& sim, ComThread& link, const char* figure) {
    sim.start();
    link.setDriverCheckEnabled(false);
    link.setPort(sim.ptyPath());
    if (link.openUsbSerial() == 0)
        return true;
    std::printf("%s: unit not found\n", figure);
    return false;
}

void roundTrip() {
    constexpr int kQueries = 1000;
    SimulatedUnit sim;
    ComThread link;
    if (!openLink(sim, link, "round trip"))
        return;
    Counter counter;
    counter.prefix = QStringLiteral("X "); // the answer, not the echoed query
    link.startThread(&counter);

    // One at a time: each query goes out once the previous answer has reached
    // the main thread.
    std::vector<double> linkSamples;
    QElapsedTimer timer;
    QElapsedTimer one;
    timer.start();
    for (int i = 0; i < kQueries; ++i) {
        counter.target = i + 1;
        one.start();
        link.sendString(cmd::query('X'));
        if (!waitUntil(counter, 5000)) {
            std::printf("round trip: no answer to query %d\n", i + 1);
            return;
        }
        linkSamples.push_back(double(one.nsecsElapsed()) / 1e6);
    }
    const double sequentialMs = double(timer.nsecsElapsed()) / 1e6 / kQueries;

    // All queued at once: the link paces them by the replies.
    counter.seen = 0;
    counter.target = kQueries;
    timer.restart();
    for (int i = 0; i < kQueries; ++i)
        link.sendString(cmd::query('X'));
    const bool done = waitUntil(counter, 60000);
    const double queuedMs = double(timer.nsecsElapsed()) / 1e6 / kQueries;
    link.stopThread();
    if (!done) {
        std::printf("round trip: only %d of %d answers\n", counter.seen, kQueries);
        return;
    }
    const std::vector<double> bareSamples = bareRoundTrips(sim.ptyPath(), kQueries);
    double bareMs = 0;
    for (double ms : bareSamples)
        bareMs += ms;
    bareMs = bareSamples.empty() ? -1 : bareMs / double(bareSamples.size());
    const double linkMedian = median(linkSamples);
    const double bareMedian = median(bareSamples);
    std::printf("round trip, %d queries, unit answering at once (mean / median):\n", kQueries);
    std::printf("  one at a time, through the link      %8.3f / %8.3f ms per command\n",
                sequentialMs, linkMedian);
    std::printf("  one at a time, bare terminal loop    %8.3f / %8.3f ms per command\n", bareMs,
                bareMedian);
    std::printf("  link overhead                        %8.3f / %8.3f ms per command   (target < "
                "1 ms)\n",
                sequentialMs - bareMs, linkMedian - bareMedian);
    std::printf("  all queued at once, through the link %8.3f ms per command\n", queuedMs);
}

void wireSpeed() {
    constexpr int kCommands = 500;
    constexpr int kBaud = 38400;
    SimulatedUnit sim;
    ComThread link;
    if (!openLink(sim, link, "wire speed"))
        return;
    sim.setWireBaud(kBaud);
    Counter counter;
    counter.prefix = QStringLiteral("f ");
    counter.target = kCommands;
    link.startThread(&counter);

    qint64 bytesOut = 0;
    qint64 bytesIn = 0;
    QStringList commands;
    for (int i = 0; i < kCommands; ++i) {
        const QString second = QStringLiteral("01:%1:%2:")
                                   .arg(i / 60, 2, 10, QLatin1Char('0'))
                                   .arg(i % 60, 2, 10, QLatin1Char('0'));
        commands << cmd::inOut(second + "00", second + "12");
        bytesOut += commands.last().size() + 2; // CR LF
        bytesIn += commands.last().size() + 3;  // echo, CR LF, prompt
    }
    QElapsedTimer timer;
    timer.start();
    for (const QString& c : commands)
        link.sendString(c);
    const bool done = waitUntil(counter, 60000);
    const double totalS = double(timer.nsecsElapsed()) / 1e9;
    link.stopThread();
    if (!done) {
        std::printf("wire speed: only %d of %d echoes\n", counter.seen, kCommands);
        return;
    }
    // Full duplex: the busier direction sets the time the bytes need.
    const double wireS = double(std::max(bytesOut, bytesIn)) * 10.0 / kBaud;
    std::printf("%d \"f\" commands at %d baud:\n", kCommands, kBaud);
    std::printf("  bytes out %lld, bytes in %lld\n", (long long)bytesOut, (long long)bytesIn);
    std::printf("  total %.3f s, on the wire %.3f s, ratio %.3f   (target <= 1.10)\n", totalS,
                wireS, totalS / wireS);
}

void priorityLane() {
    constexpr int kTriggers = 1000;
    constexpr int kPerCommand = 10; // triggers fired while one command waits
    constexpr int kSpacingMs = 15;
    SimulatedUnit sim;
    ComThread link;
    if (!openLink(sim, link, "priority lane"))
        return;
    Counter counter;
    link.startThread(&counter);
    sim.setReplyDelayMs(250);
    std::vector<double> samples;
    using Clock = SimProtocol::Clock;
    while (int(samples.size()) < kTriggers) {
        link.sendString(cmd::query('X'));
        QThread::msleep(kSpacingMs); // the command is written and its reply awaited
        for (int i = 0; i < kPerCommand && int(samples.size()) < kTriggers; ++i) {
            const qsizetype before = sim.triggers().size();
            const Clock::time_point sent = Clock::now();
            link.sendTimingBytes(midimsg::trigger(midimsg::kAccumulateNote));
            QElapsedTimer wait;
            wait.start();
            while (sim.triggers().size() == before && wait.elapsed() < 1000)
                QThread::usleep(50);
            const QList<SimProtocol::Trigger> triggers = sim.triggers();
            if (triggers.size() == before) {
                std::printf("priority lane: trigger %zu never arrived\n", samples.size() + 1);
                return;
            }
            samples.push_back(
                std::chrono::duration<double, std::milli>(triggers.last().time - sent).count());
            QThread::msleep(kSpacingMs);
        }
        // Let the late reply in before the next command.
        QThread::msleep(120);
        sim.clearRecord();
    }
    link.stopThread();
    std::sort(samples.begin(), samples.end());
    std::printf("priority lane, %d triggers while a command waits 250 ms for its reply:\n",
                kTriggers);
    std::printf("  trigger to unit  p50 %.3f ms, p99 %.3f ms, worst %.3f ms   (target p99 < 1 "
                "ms)\n",
                samples[samples.size() / 2], samples[samples.size() * 99 / 100], samples.back());
}

void idleCpu(int seconds) {
    SimulatedUnit sim;
    ComThread link;
    if (!openLink(sim, link, "idle"))
        return;
    Counter owner;
    link.startThread(&owner);
    QThread::msleep(50);
    const auto before = link.linkThreadCpuTime();
    QElapsedTimer timer;
    timer.start();
    QEventLoop loop;
    QTimer::singleShot(seconds * 1000, &loop, &QEventLoop::quit);
    loop.exec();
    const double wallS = double(timer.nsecsElapsed()) / 1e9;
    const double cpuS = std::chrono::duration<double>(link.linkThreadCpuTime() - before).count();
    link.stopThread();
    std::printf("idle link thread over %.1f s: CPU %.6f s = %.5f%% of one core   (target < "
                "0.1%%)\n",
                wallS, cpuS, 100.0 * cpuS / wallS);
    std::printf("  (the thread's CPU time since it started: %.6f s)\n",
                std::chrono::duration<double>(before).count() + cpuS);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    diag::setQuiet(true);
    const int idleSeconds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 60;
    roundTrip();
    wireSpeed();
    priorityLane();
    idleCpu(idleSeconds);
    return 0;
}

// Network link figures, against the simulated unit's TCP side on loopback:
//   1. a firmware-sized update (about 1 MB of PROM image lines) sent as
//      " u 0" and the text through the network link, until the panel has the
//      unit's final "u 0": throughput, and the main thread's longest
//      event-loop stall meanwhile (a 1 ms timer's largest gap);
//   2. with service discovery (in a network namespace with its own
//      avahi-daemon, through tests/link/avahi-netns.sh, when the machine
//      allows one): from announcing a proxy to the panel listing it, the
//      stream connected, and the reply to the last start-up query parsed
//      (the listing includes the daemon's own probing of the new name).
// usage: bench_network [runs]   (default 3)
#include "link/NetworkLink.h"
#include "link/ServiceDiscovery.h"
#include "panel/PanelController.h"
#include "panel/PanelPrompts.h"
#include "sim/SimNetworkUpdate.h"
#include "sim/SimulatedUnit.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

class QuietAlerts final : public PanelPrompts {
public:
    void showAlert(const QString& message) override { shown << message; }
    bool askOkCancel(const QString&) override { return true; }
    QStringList shown;
};

bool waitFor(const std::function<bool()>& condition, int timeoutMs) {
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    }
    return true;
}

// The longest gap between a 1 ms timer's ticks while it runs.
class StallMeter {
public:
    StallMeter() {
        m_timer.setInterval(1);
        QObject::connect(&m_timer, &QTimer::timeout,
                         [this] { m_worstMs = std::max(m_worstMs, m_clock.restart()); });
    }
    void start() {
        m_worstMs = 0;
        m_clock.start();
        m_timer.start();
    }
    qint64 stop() {
        m_timer.stop();
        return std::max(m_worstMs, m_clock.elapsed());
    }

private:
    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_worstMs = 0;
};

struct Panel {
    explicit Panel(PanelPrompts* prompts = nullptr) {
        controller.setPrompts(prompts);
        controller.setExplicitPort(QStringLiteral("/nonexistent/qz62-port"));
        controller.setTickIntervalMs(3600 * 1000);
        controller.startUp();
        controller.setNetworkLink(&link);
        QObject::connect(&controller, &PanelController::rxLine,
                         [this](const QString& line) { lastLine = line; });
    }
    ~Panel() { controller.setNetworkLink(nullptr); }
    NetworkLink link;
    PanelController controller;
    QString lastLine;
};

void benchUpdate(int runs) {
    QuietAlerts alerts;
    SimulatedUnit sim;
    const quint16 port = sim.listenTcp();
    if (port == 0 || !sim.start()) {
        std::printf("update: cannot start the simulated unit\n");
        return;
    }
    const int lines = 23800; // about 1 MB, a firmware image's size
    const QString text = SimNetworkUpdate::sampleImage(lines);
    const double megabytes = double(text.size()) / 1e6;
    std::printf("update over TCP: %.2f MB, %d lines (target > 5 MB/s, stall < 50 ms)\n", megabytes,
                lines + 1);
    for (int run = 0; run < runs; ++run) {
        Panel panel(&alerts);
        panel.link.connectToHost(QStringLiteral("127.0.0.1"), port);
        if (!waitFor([&] { return panel.lastLine == QLatin1String("t 70 70 70"); }, 10000)) {
            std::printf("  run %d: no connection\n", run + 1);
            continue;
        }
        panel.controller.parser().setProgressMaxCount(lines + 1);
        alerts.shown.clear();
        const int doneBefore = sim.networkUpdatesDone();
        StallMeter stall;
        stall.start();
        QElapsedTimer clock;
        clock.start();
        panel.link.sendStringToNetwork(QStringLiteral(" u 0"));
        panel.link.sendStringToNetwork(text);
        const bool ended = waitFor([&] { return !alerts.shown.isEmpty(); }, 60000);
        const double seconds = double(clock.nsecsElapsed()) * 1e-9;
        const qint64 worst = stall.stop();
        std::printf("  run %d: %s %.3f s, %.1f MB/s, unit counted %d lines, longest stall %lld "
                    "ms\n",
                    run + 1, ended ? "ended in" : "NOT ENDED after", seconds, megabytes / seconds,
                    sim.networkUpdatesDone() > doneBefore ? sim.networkUpdateRecords() : 0,
                    static_cast<long long>(worst));
    }
}

void benchDiscovery(int runs) {
    std::printf("service discovery (target: found to every setting shown < 1.5 s)\n");
    SimulatedUnit sim;
    const quint16 port = sim.listenTcp();
    if (port == 0 || !sim.start())
        return;
    for (int run = 0; run < runs; ++run) {
        Panel panel;
        panel.link.startBrowsing(std::make_unique<ServiceBrowser>());
        if (panel.link.state() == NetworkLink::State::Unavailable) {
            std::printf("  unavailable: %s\n", qPrintable(panel.link.discoveryError()));
            return;
        }
        qint64 foundMs = -1;
        qint64 connectedMs = -1;
        QElapsedTimer clock;
        QObject::connect(&panel.link, &NetworkLink::servicesChanged,
                         [&] { foundMs = foundMs < 0 ? clock.elapsed() : foundMs; });
        QObject::connect(&panel.link, &NetworkLink::stateChanged, [&](NetworkLink::State s) {
            if (s == NetworkLink::State::Connected && connectedMs < 0)
                connectedMs = clock.elapsed();
        });
        ServiceAnnouncer announcer;
        clock.start();
        if (!announcer.announce(QStringLiteral("QZ62 bench %1").arg(run), port)) {
            std::printf("  cannot announce: %s\n", qPrintable(announcer.error()));
            return;
        }
        const bool shown =
            waitFor([&] { return panel.lastLine == QLatin1String("t 70 70 70"); }, 10000);
        const qint64 shownMs = clock.elapsed();
        std::printf("  run %d: listed %lld ms, connected %lld ms, every setting shown %s%lld ms "
                    "(%lld ms after it was listed)\n",
                    run + 1, static_cast<long long>(foundMs), static_cast<long long>(connectedMs),
                    shown ? "" : "NOT after ", static_cast<long long>(shownMs),
                    static_cast<long long>(shownMs - foundMs));
        // The next run starts once the daemon has forgotten this proxy.
        announcer.withdraw();
        waitFor([&] { return panel.link.services().isEmpty(); }, 5000);
    }
}

// Runs the discovery part inside a namespace of its own; false when the
// machine cannot make one (the reason has been printed).
bool runDiscoveryInNamespace(const char* self, int runs) {
    const std::string script = std::string(QZ62_SOURCE_DIR) + "/tests/link/avahi-netns.sh";
    const std::string count = std::to_string(runs);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::execl(script.c_str(), script.c_str(), self, count.c_str(), "--discovery",
                static_cast<char*>(nullptr));
        ::_exit(127);
    }
    int status = 0;
    if (pid < 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
        return false;
    if (WEXITSTATUS(status) == 77)
        std::printf("service discovery: skipped (no network namespace here)\n");
    return WEXITSTATUS(status) == 0;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    if (argc > 2 && std::string(argv[2]) == "--discovery") {
        benchDiscovery(std::max(runs, 3));
        return 0;
    }
    benchUpdate(runs);
    std::fflush(stdout);
    runDiscoveryInNamespace(QCoreApplication::applicationFilePath().toLocal8Bit().constData(),
                            runs);
    return 0;
}

// qz62-sim: a simulated QZ62 unit on a pseudo-terminal. Prints the terminal's
// path (and, with --tcp, the network address on a second line), then serves
// until killed. With --tcp it also announces itself as a network proxy
// through service discovery, as "QZ62 simulator" or the --announce name
// (nothing is announced where no discovery daemon runs).
#include "link/ServiceDiscovery.h"
#include "sim/SimulatedUnit.h"

#include <QCoreApplication>
#include <QStringList>
#include <csignal>
#include <cstdio>
#include <pthread.h>

namespace {
const char kUsage[] =
    "usage: qz62-sim [OPTION...]\n"
    "  Plays a QZ62 unit on a pseudo-terminal: prints its path (and with --tcp the\n"
    "  network address on a second line), then serves until killed.\n"
    "  --baud N          emulate the wire speed N (e.g. 38400)\n"
    "  --late MS         answer every command MS milliseconds late\n"
    "  --silent          answer nothing\n"
    "  --not-qz62        fail the identification\n"
    "  --firmware X.Y.Z  report this firmware version\n"
    "  --tcp PORT        also serve the network proxy's protocol on 127.0.0.1:PORT\n"
    "                    (0: any free port), announced to service discovery\n"
    "  --announce NAME   announce as NAME (default \"QZ62 simulator\")\n"
    "  --no-announce     announce nothing\n"
    "  update faults:\n"
    "  --wrong-echo N    the loader echoes its byte N (from 0) wrongly\n"
    "  --no-erase-ack    the loader does not acknowledge the FLASH erase\n"
    "  --nak-record N    record N (from 0) of the microcontroller program is refused\n"
    "  --no-ready        the firmware erase fails (\"error\" instead of \"ready\")\n"
    "  --bad-echo N      firmware transmission N (from 0) comes back damaged\n"
    "  --erase-ms MS     the firmware erase takes MS milliseconds (default 300)\n"
    "  --help            show this help\n";
} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    SimulatedUnit sim;
    bool tcp = false;
    int tcpPort = 0;
    QString announceName = QStringLiteral("QZ62 simulator");
    SimBootLoader::Faults faults;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& a = args.at(i);
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (a == QLatin1String("--baud") && i + 1 < args.size()) {
            sim.setWireBaud(args.at(++i).toInt());
        } else if (a == QLatin1String("--late") && i + 1 < args.size()) {
            sim.setReplyDelayMs(args.at(++i).toInt());
        } else if (a == QLatin1String("--tcp") && i + 1 < args.size()) {
            tcpPort = args.at(++i).toInt(&tcp);
        } else if (a == QLatin1String("--announce") && i + 1 < args.size()) {
            announceName = args.at(++i);
        } else if (a == QLatin1String("--no-announce")) {
            announceName.clear();
        } else if (a == QLatin1String("--silent")) {
            sim.setSilent(true);
        } else if (a == QLatin1String("--not-qz62")) {
            sim.setFailIdentification(true);
        } else if (a == QLatin1String("--firmware") && i + 1 < args.size()) {
            sim.setFirmwareVersion(args.at(++i));
        } else if (a == QLatin1String("--wrong-echo") && i + 1 < args.size()) {
            faults.wrongEchoAt = args.at(++i).toInt();
        } else if (a == QLatin1String("--no-erase-ack")) {
            faults.noEraseAck = true;
        } else if (a == QLatin1String("--nak-record") && i + 1 < args.size()) {
            faults.nakRecordAt = args.at(++i).toInt();
        } else if (a == QLatin1String("--no-ready")) {
            faults.noReady = true;
        } else if (a == QLatin1String("--bad-echo") && i + 1 < args.size()) {
            faults.badEchoAt = args.at(++i).toInt();
        } else if (a == QLatin1String("--erase-ms") && i + 1 < args.size()) {
            faults.firmwareEraseMs = args.at(++i).toInt();
        } else {
            std::fputs(kUsage, stderr);
            return 2;
        }
    }
    sim.setBootFaults(faults);
    // Wait for the end signal synchronously, so the terminal is closed cleanly.
    sigset_t endSignals;
    sigemptyset(&endSignals);
    sigaddset(&endSignals, SIGTERM);
    sigaddset(&endSignals, SIGINT);
    sigaddset(&endSignals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &endSignals, nullptr);
    if (tcp && sim.listenTcp(quint16(tcpPort)) == 0) {
        std::fprintf(stderr, "qz62-sim: cannot listen on port %d\n", tcpPort);
        return 1;
    }
    if (!sim.start()) {
        std::fprintf(stderr, "qz62-sim: no pseudo-terminal available\n");
        return 1;
    }
    std::printf("%s\n", sim.ptyPath().toLocal8Bit().constData());
    if (tcp)
        std::printf("127.0.0.1:%d\n", int(sim.tcpPort()));
    ServiceAnnouncer announcer;
    if (tcp && !announceName.isEmpty() && !announcer.announce(announceName, sim.tcpPort()))
        std::fprintf(stderr, "qz62-sim: not announced (%s)\n", qPrintable(announcer.error()));
    std::fflush(stdout);
    int received = 0;
    sigwait(&endSignals, &received);
    sim.stop();
    return 0;
}

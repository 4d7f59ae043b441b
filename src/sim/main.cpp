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
        if (a == QLatin1String("--baud") && i + 1 < args.size()) {
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
            std::fprintf(stderr,
                         "usage: qz62-sim [--baud N] [--late MS] [--silent] [--not-qz62] "
                         "[--firmware X.Y.Z] [--tcp PORT [--announce NAME | --no-announce]]\n"
                         "                [--wrong-echo N] [--no-erase-ack] [--nak-record N] "
                         "[--no-ready] [--bad-echo N] [--erase-ms MS]\n");
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

// qz62-sim: a simulated QZ62 unit on a pseudo-terminal. Prints the terminal's
// path (and, with --tcp, the network address on a second line), then serves
// until killed. With --tcp it also announces itself as a network proxy
// through service discovery, as "QZ62 simulator" or the --announce name
// (nothing is announced where no discovery daemon runs). With --window it
// also shows what the unit keys over the picture, its counter fed by a MIDI
// input port of its own, until the window closes or the end signal comes.
#include "base/QueuedCalls.h"
#include "link/ServiceDiscovery.h"
#include "midi/MidiParser.h"
#include "midi/MidiPorts.h"
#include "overlay/view/UnitOutputWindow.h"
#include "sim/SimulatedUnit.h"

#include <QApplication>
#include <QFileDialog>
#include <QImageReader>
#include <QStringList>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <pthread.h>
#include <thread>

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
    "  --window          show the unit's output (streamers, punches, annunciator,\n"
    "                    counters, cue text) in a window; its counter follows MIDI\n"
    "                    Time Code arriving on its own MIDI input port \"MIDI In\"\n"
    "  update faults:\n"
    "  --wrong-echo N    the loader echoes its byte N (from 0) wrongly\n"
    "  --no-erase-ack    the loader does not acknowledge the FLASH erase\n"
    "  --nak-record N    record N (from 0) of the microcontroller program is refused\n"
    "  --no-ready        the firmware erase fails (\"error\" instead of \"ready\")\n"
    "  --bad-echo N      firmware transmission N (from 0) comes back damaged\n"
    "  --erase-ms MS     the firmware erase takes MS milliseconds (default 300)\n"
    "                    (--no-ready, --bad-echo and --erase-ms are for the serial\n"
    "                    firmware engine, which no unit command starts yet)\n"
    "  --net-drop N      the network proxy drops the connection after N update records\n"
    "  --net-stall N     the unit behind the proxy stops reporting progress after\n"
    "                    N update records\n"
    "  --help            show this help\n";

// The simulated unit as the output window sees it.
class SimOutput final : public UnitOutputSource {
public:
    explicit SimOutput(SimulatedUnit& unit) : m_unit(unit) {}
    ~SimOutput() override { m_unit.setChangeListener({}); }
    UnitSnapshot snapshot() const override { return m_unit.snapshot(); }
    void setChangeHandler(std::function<void()> onChange) override {
        m_unit.setChangeListener(std::move(onChange));
    }

private:
    SimulatedUnit& m_unit;
};

// MIDI Time Code from the input port to the window's counter. The MIDI
// thread only posts.
class TimecodeFeed final : public MidiParser::Listener {
public:
    TimecodeFeed(QueuedCalls& calls, UnitOutputWindow& window) : m_calls(calls), m_window(window) {}
    void mtcEvent(const MidiParser::Mtc&) override {}
    void showTcDigits(const MidiParser::Mtc& mtc) override {
        m_calls.post([this, text = mtcframe::format(mtc)] { m_window.showTimecode(text); });
    }
    void txMidi(const QByteArray&) override {}

private:
    QueuedCalls& m_calls;
    UnitOutputWindow& m_window;
};

void choosePicture(UnitOutputWindow& window) {
    const QString path =
        QFileDialog::getOpenFileName(&window, QStringLiteral("Picture under the overlay"));
    if (path.isEmpty())
        return;
    QImageReader reader(path);
    const QImage picture = reader.read();
    if (picture.isNull())
        std::fprintf(stderr, "qz62-sim: cannot show %s: %s\n", qPrintable(path),
                     qPrintable(reader.errorString()));
    else
        window.setPicture(picture);
}

// Shows the output until the window closes or an end signal comes.
void runWindow(SimulatedUnit& sim, const sigset_t& endSignals) {
    SimOutput output(sim);
    UnitOutputWindow window(&output);
    QObject::connect(&window, &UnitOutputWindow::pictureWanted, &window,
                     [&window] { choosePicture(window); });
    QueuedCalls calls(&window);
    TimecodeFeed feed(calls, window);
    MidiParser parser(&feed);
    std::unique_ptr<MidiPorts> midi = MidiPorts::createSystem(
        QStringLiteral("qz62-sim"),
        [&parser](const std::uint8_t* bytes, std::size_t size) { parser.decodeData(bytes, size); });
    midi->connectSource(QString()); // our own "MIDI In"
    std::thread waiter([&endSignals, &calls] {
        int received = 0;
        sigwait(&endSignals, &received);
        calls.post([] { QApplication::quit(); });
    });
    window.show();
    QApplication::exec();
    // Wakes the waiter if no end signal came (the window was closed).
    pthread_kill(waiter.native_handle(), SIGTERM);
    waiter.join();
    midi.reset(); // no more bytes for the parser
    calls.cancel();
    window.detach();
}

struct Options {
    bool tcp = false;
    int tcpPort = 0;
    QString announceName = QStringLiteral("QZ62 simulator");
    SimBootLoader::Faults faults;
    SimNetworkUpdate::Faults networkFaults;
};

// The value after the option at i as a number (i moves onto it).
bool number(const QStringList& args, qsizetype& i, int* value) {
    if (i + 1 >= args.size())
        return false;
    bool ok = false;
    *value = args.at(++i).toInt(&ok);
    return ok;
}

// Options that take a number; false when a is not one of them or lacks it.
bool numberOption(SimulatedUnit& sim, Options& o, const QStringList& args, qsizetype& i) {
    const QString& a = args.at(i);
    int value = 0;
    const std::map<QString, std::function<void(int)>> options = {
        {QStringLiteral("--baud"), [&](int v) { sim.setWireBaud(v); }},
        {QStringLiteral("--late"), [&](int v) { sim.setReplyDelayMs(v); }},
        {QStringLiteral("--tcp"), [&](int v) { o.tcp = true, o.tcpPort = v; }},
        {QStringLiteral("--wrong-echo"), [&](int v) { o.faults.wrongEchoAt = v; }},
        {QStringLiteral("--nak-record"), [&](int v) { o.faults.nakRecordAt = v; }},
        {QStringLiteral("--bad-echo"), [&](int v) { o.faults.badEchoAt = v; }},
        {QStringLiteral("--erase-ms"), [&](int v) { o.faults.firmwareEraseMs = v; }},
        {QStringLiteral("--net-drop"), [&](int v) { o.networkFaults.dropAfter = v; }},
        {QStringLiteral("--net-stall"), [&](int v) { o.networkFaults.stallAfter = v; }},
    };
    const auto it = options.find(a);
    if (it == options.end() || !number(args, i, &value))
        return false;
    it->second(value);
    return true;
}

// -1 when the options were taken, else the exit status (help, a mistake).
int parseOptions(SimulatedUnit& sim, Options& o, const QStringList& args) {
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& a = args.at(i);
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (numberOption(sim, o, args, i)) {
            continue;
        } else if (a == QLatin1String("--announce") && i + 1 < args.size()) {
            o.announceName = args.at(++i);
        } else if (a == QLatin1String("--no-announce")) {
            o.announceName.clear();
        } else if (a == QLatin1String("--window")) {
            // taken before the application was made
        } else if (a == QLatin1String("--silent")) {
            sim.setSilent(true);
        } else if (a == QLatin1String("--not-qz62")) {
            sim.setFailIdentification(true);
        } else if (a == QLatin1String("--firmware") && i + 1 < args.size()) {
            sim.setFirmwareVersion(args.at(++i));
        } else if (a == QLatin1String("--no-erase-ack")) {
            o.faults.noEraseAck = true;
        } else if (a == QLatin1String("--no-ready")) {
            o.faults.noReady = true;
        } else {
            std::fputs(kUsage, stderr);
            return 2;
        }
    }
    return -1;
}

bool wantsWindow(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--window") == 0)
            return true;
    }
    return false;
}
} // namespace

int main(int argc, char** argv) {
    const bool window = wantsWindow(argc, argv);
    std::unique_ptr<QCoreApplication> app = window ? std::make_unique<QApplication>(argc, argv)
                                                   : std::make_unique<QCoreApplication>(argc, argv);
    SimulatedUnit sim;
    Options o;
    if (const int status = parseOptions(sim, o, QCoreApplication::arguments().mid(1)); status >= 0)
        return status;
    sim.setBootFaults(o.faults);
    sim.setNetworkUpdateFaults(o.networkFaults);
    // Wait for the end signal synchronously, so the terminal is closed cleanly.
    sigset_t endSignals;
    sigemptyset(&endSignals);
    sigaddset(&endSignals, SIGTERM);
    sigaddset(&endSignals, SIGINT);
    sigaddset(&endSignals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &endSignals, nullptr);
    if (o.tcp && sim.listenTcp(quint16(o.tcpPort)) == 0) {
        std::fprintf(stderr, "qz62-sim: cannot listen on port %d\n", o.tcpPort);
        return 1;
    }
    if (!sim.start()) {
        std::fprintf(stderr, "qz62-sim: no pseudo-terminal available\n");
        return 1;
    }
    std::printf("%s\n", sim.ptyPath().toLocal8Bit().constData());
    if (o.tcp)
        std::printf("127.0.0.1:%d\n", int(sim.tcpPort()));
    ServiceAnnouncer announcer;
    if (o.tcp && !o.announceName.isEmpty() && !announcer.announce(o.announceName, sim.tcpPort()))
        std::fprintf(stderr, "qz62-sim: not announced (%s)\n", qPrintable(announcer.error()));
    std::fflush(stdout);
    if (window) {
        runWindow(sim, endSignals);
    } else {
        int received = 0;
        sigwait(&endSignals, &received);
    }
    sim.stop();
    return 0;
}

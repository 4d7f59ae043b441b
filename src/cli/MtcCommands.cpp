// qz62ctl midi-ports and mtc --out PORT --start TC --rate R [--seconds S]
#include "CliCommands.h"
#include "CliSupport.h"

#include "base/Diagnostics.h"
#include "midi/MidiPorts.h"
#include "midi/MtcGenerator.h"
#include "timecode/TcCalculator.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

#if defined(__SANITIZE_THREAD__)
// JACK's lock-free ring buffer (between our MIDI sends and its process
// thread) orders its reads and writes with barriers the thread checker cannot
// see; the checker looks for this in the program itself.
extern "C" const char* __tsan_default_suppressions() {
    return "race:jack_ringbuffer_\n";
}
#endif

namespace {

std::atomic<bool> g_stop{false};
void requestStop(int) {
    g_stop.store(true);
}

// The destination named exactly, or else the one whose name contains the
// text; empty when none or several do.
QString findPort(const QStringList& names, const QString& wanted) {
    if (names.contains(wanted))
        return wanted;
    QString found;
    for (const QString& name : names) {
        if (!name.contains(wanted, Qt::CaseInsensitive))
            continue;
        if (!found.isEmpty())
            return QString();
        found = name;
    }
    return found;
}

} // namespace

namespace cli {

int midiPorts(const QStringList& args) {
    if (!args.isEmpty())
        return fail(QStringLiteral("midi-ports: takes no arguments"));
    diag::setQuiet(true);
    const auto ports = MidiPorts::createSystem(QStringLiteral("qz62ctl"));
    if (ports->apiName().isEmpty())
        return fail(QStringLiteral("midi-ports: no MIDI system available"));
    std::printf("MIDI system: %s\n", qPrintable(ports->apiName()));
    for (const QString& name : ports->sources())
        std::printf("source: %s\n", qPrintable(name));
    for (const QString& name : ports->destinations())
        std::printf("destination: %s\n", qPrintable(name));
    return 0;
}

int mtc(const QStringList& args) {
    QString out;
    QString start = QStringLiteral("01:00:00:00");
    int rate = 3;
    double seconds = -1;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        const QStringList known = {QStringLiteral("--out"), QStringLiteral("--start"),
                                   QStringLiteral("--rate"), QStringLiteral("--seconds")};
        if (!known.contains(arg))
            return fail(QStringLiteral("mtc: unknown option '%1'").arg(arg));
        QString value;
        if (!takeValue(args, i, &value))
            return fail(QStringLiteral("mtc: %1 needs a value").arg(arg));
        if (arg == QLatin1String("--out")) {
            out = value;
        } else if (arg == QLatin1String("--start")) {
            if (!TcCalculator().isTc(value))
                return fail(QStringLiteral("mtc: bad start '%1' (HH:MM:SS:FF)").arg(value));
            start = value;
        } else if (arg == QLatin1String("--rate")) {
            rate = MtcGenerator::rateCodeOf(value);
            if (rate < 0)
                return fail(
                    QStringLiteral("mtc: bad rate '%1' (24, 25, 29.97df or 30)").arg(value));
        } else {
            bool ok = false;
            seconds = value.toDouble(&ok);
            if (!ok || seconds <= 0 || seconds > 86400)
                return fail(QStringLiteral("mtc: bad duration '%1' (seconds)").arg(value));
        }
    }
    if (out.isEmpty())
        return fail(QStringLiteral(
            "mtc: usage: mtc --out PORT --start TC --rate 24|25|29.97df|30 [--seconds S]"));
    const int frames = start.mid(9, 2).toInt();
    if (frames >= TcCalculator::frameRate(rate))
        return fail(QStringLiteral("mtc: start '%1' has no such frame at that rate").arg(start));

    diag::setQuiet(true);
    const auto ports = MidiPorts::createSystem(QStringLiteral("qz62ctl"));
    const QString port = findPort(ports->destinations(), out);
    if (port.isEmpty())
        return fail(QStringLiteral("mtc: no single MIDI destination matches '%1'").arg(out));
    if (!ports->connectDestination(port))
        return fail(QStringLiteral("mtc: cannot connect to '%1'").arg(port));
    std::signal(SIGINT, requestStop);
    std::signal(SIGTERM, requestStop);

    MtcGenerator generator(rate, start.left(2).toInt(), start.mid(3, 2).toInt(),
                           start.mid(6, 2).toInt(), frames);
    using Clock = std::chrono::steady_clock;
    const auto period = generator.quarterFramePeriod();
    const auto begin = Clock::now();
    const auto end = seconds > 0 ? begin + std::chrono::duration_cast<Clock::duration>(
                                               std::chrono::duration<double>(seconds))
                                 : Clock::time_point::max();
    ports->send(generator.fullFrame());
    // Each quarter frame goes out at its own time from the start, so the
    // rate does not drift however late a single send is.
    for (long long n = 0; !g_stop.load(); ++n) {
        const auto due = begin + period * n;
        if (due >= end)
            break;
        std::this_thread::sleep_until(due);
        ports->send(generator.nextQuarterFrame());
    }
    // Let the last messages leave before the port closes.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    return 0;
}

} // namespace cli

// Microcontroller update figures, against the simulated unit emulating the
// wire at 38400 baud: a full 32 KiB program (2,048 records) through
// MicroUpdateThread on the port lent by the link. Prints the total time, the
// time the bytes need on the wire (each exchange waits for the unit's answer,
// so the directions add up), and their ratio; the unit's 200 ms to wake its
// boot monitor is given apart.
// With "hold", the simulated unit's replies are held back 16 ms as a USB
// adapter's latency timer holds them when the driver is not asked for low
// latency (a pseudo-terminal never shows it).
// usage: bench_update [program-KiB] [hold]   (default 32, at most 32)
#include "base/Diagnostics.h"
#include "link/ComThread.h"
#include "sim/SimulatedUnit.h"
#include "update/MicroUpdateThread.h"
#include "update/SRecord.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QThread>
#include <cstdio>

namespace {

constexpr int kBaud = 38400;
constexpr double kSecondsPerByte = 10.0 / kBaud; // start, 8 data, stop

class Owner final : public UpdateListener {
public:
    void threadHasProgress(const Progress&) override { ++reports; }
    void threadUpdateComplete(const Progress& p) override {
        final = p.msg;
        done = true;
    }
    int reports = 0;
    bool done = false;
    QString final;
};

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    diag::setQuiet(true);
    const int kib = argc > 1 ? qBound(1, QByteArray(argv[1]).toInt(), 32) : 32;

    SimulatedUnit sim;
    if (!sim.start()) {
        std::fprintf(stderr, "bench_update: no pseudo-terminal\n");
        return 1;
    }
    sim.setWireBaud(kBaud);
    const bool hold = argc > 2 && QByteArray(argv[2]) == "hold";
    if (hold)
        sim.setAdapterHoldMs(16);
    ComThread link;
    link.setPort(sim.ptyPath());
    int found = -1;
    for (int i = 0; i < 3 && found != 0; ++i)
        found = link.openUsbSerial();
    if (found != 0) {
        std::fprintf(stderr, "bench_update: the simulated unit did not answer\n");
        return 1;
    }

    // A program without erased rows, so every record goes out.
    QRandomGenerator random(32);
    QByteArray image(SRecord::kImageBytes, char(0xff));
    for (int i = 0; i < kib * 1024; ++i)
        image[0x8000 + i] = char(random.bounded(255)); // never 0xff
    const QStringList records = SRecord::recordsFromImage(image);
    QByteArray loader(MicroUpdateThread::kLoaderBytes, '\0');
    for (char& b : loader)
        b = char(random.bounded(256));

    // Every exchange is one way and then the other: the command, then its answer.
    qint64 wireBytes = 2 + 4;           // "L\r", then "L\r\n>"
    wireBytes += 2 * loader.size() + 1; // each byte and its echo, the erase ACK
    for (const QString& r : records)
        wireBytes += r.size() + 2 + 1; // the line with CR LF, its ACK
    const double wakeSeconds = MicroUpdateThread::kWakeMinWaitMs / 1000.0;
    const double wireSeconds = double(wireBytes) * kSecondsPerByte;

    Owner owner;
    MicroUpdateThread engine;
    engine.setSRecArray(records);
    engine.setLoader(loader);
    QElapsedTimer timer;
    {
        TransportLoan loan = link.lendTransport();
        engine.setTransport(loan.port());
        timer.start();
        if (engine.startThread(&owner) != 0) {
            std::fprintf(stderr, "bench_update: the engine did not start\n");
            return 1;
        }
        while (!owner.done) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
            QThread::msleep(5);
        }
        engine.stopThread();
    }
    const double total = double(timer.nsecsElapsed()) * 1e-9;
    const double wire =
        std::max(wakeSeconds, 6 * kSecondsPerByte) + (wireSeconds - 6 * kSecondsPerByte);
    std::printf("microcontroller update, %d KiB program, %d records at %d baud%s: %s\n", kib,
                int(records.size()), kBaud, hold ? ", replies held 16 ms by the adapter" : "",
                qPrintable(owner.final));
    std::printf("  total %.3f s, wire %.3f s (%lld bytes; boot monitor wake %.3f s of it)\n", total,
                wire, wireBytes, wakeSeconds);
    std::printf("  total / wire = %.4f (target <= 1.05); %d progress reports\n", total / wire,
                owner.reports);
    std::printf("  records received by the unit: %d, match: %s; link back at %d baud\n",
                int(sim.bootRecords().size()), sim.bootRecords() == records ? "yes" : "no",
                link.getBaud());
    return owner.final == QLatin1String("success!") ? 0 : 1;
}

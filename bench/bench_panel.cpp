// Start-up and idle cost of the application's main window on a simulated unit.
//
//   bench_panel [idle seconds, default 60]
//
// The simulated unit runs as its own process (qz62-sim), so the CPU figures
// are the application's alone: main thread and link thread.
#include "app/MainWindow.h"
#include "base/Alerts.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTimer>
#include <cstdio>
#include <ctime>

namespace {

double cpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

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

struct Sim {
    QProcess process;
    QString path;
    bool start(const QStringList& args) {
        process.start(QStringLiteral(QZ62_BINARY_DIR "/src/sim/qz62-sim"), args);
        if (!process.waitForStarted(5000) || !process.waitForReadyRead(5000))
            return false;
        path = QString::fromLocal8Bit(process.readLine()).trimmed();
        return !path.isEmpty();
    }
    ~Sim() {
        process.terminate();
        process.waitForFinished(3000);
    }
};

// Builds the window on the unit and waits until every setting has been read
// and shown; prints wall and CPU time.
MainWindow* startWindow(const QString& label, const QString& port) {
    QElapsedTimer wall;
    wall.start();
    const double cpu0 = cpuSeconds();
    auto* window = new MainWindow;
    window->show();
    PanelOptions options;
    options.explicitPort = port;
    window->awakeFromNib(options);
    // "t" is the last of the start-up queries.
    QEventLoop loop;
    QObject::connect(&window->panel()->controller(), &PanelController::rxLine, &loop,
                     [&loop](const QString& line) {
                         if (line.startsWith(QLatin1String("t ")))
                             loop.quit();
                     });
    QTimer::singleShot(10000, &loop, &QEventLoop::quit);
    loop.exec();
    QApplication::processEvents();
    const double wallMs = double(wall.nsecsElapsed()) / 1e6;
    const double cpuMs = (cpuSeconds() - cpu0) * 1e3;
    std::printf("start-up %-26s wall %7.1f ms   cpu %6.1f ms   (%s)\n", qPrintable(label), wallMs,
                cpuMs,
                window->panel()->controller().linkState() == PanelController::LinkState::Connected
                    ? "connected"
                    : "NOT CONNECTED");
    return window;
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const double cpuStart = cpuSeconds();
    QElapsedTimer appTimer;
    appTimer.start();
    QApplication app(argc, argv);
    std::printf("application object        wall %7.1f ms   cpu %6.1f ms\n",
                double(appTimer.nsecsElapsed()) / 1e6, (cpuSeconds() - cpuStart) * 1e3);
    const int idleSeconds = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 60;

    {
        Sim sim;
        if (!sim.start({})) {
            std::fprintf(stderr, "bench_panel: cannot start qz62-sim\n");
            return 1;
        }
        MainWindow* window = startWindow(QStringLiteral("(first window)"), sim.path);
        window->close();
        delete window;
    }

    Sim sim;
    if (!sim.start({QStringLiteral("--baud"), QStringLiteral("38400")})) {
        std::fprintf(stderr, "bench_panel: cannot start qz62-sim\n");
        return 1;
    }
    MainWindow* window = startWindow(QStringLiteral("(wire at 38400 baud)"), sim.path);

    QElapsedTimer wall;
    wall.start();
    const double cpu0 = cpuSeconds();
    QEventLoop idle;
    QTimer::singleShot(idleSeconds * 1000, &idle, &QEventLoop::quit);
    idle.exec();
    const double cpu = cpuSeconds() - cpu0;
    const double seconds = double(wall.nsecsElapsed()) / 1e9;
    std::printf("idle %d s with keep-alive   cpu %6.1f ms = %.3f %% of one core\n", idleSeconds,
                cpu * 1e3, 100.0 * cpu / seconds);
    std::printf("resident memory            %ld kB\n", residentKb());
    window->close();
    delete window;
    return 0;
}

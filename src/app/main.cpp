#include "Version.h"
#include "app/AppStartup.h"
#include "app/CueWindows.h"
#include "app/MainWindow.h"
#include "cues/view/CueWindow.h"
#include "cues/view/TakeView.h"
#include "overlay/view/MonitorView.h"
#include "overlay/view/PunchView.h"
#include "overlay/view/UnitOutputWindow.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QTabWidget>
#include <QTimer>
#include <cstdio>

namespace {
constexpr int kOutputShots = 13;
constexpr int kOutputShotStepMs = 250;
constexpr int kTriggerWaitMs = 5000;

// Fires streamer 0 and then punch 0 on the simulated unit and saves its
// output every 250 ms from the streamer's trigger, as output-00.png to
// output-12.png: each picture is drawn for its time, whatever the machine's
// load.
void saveOutputShots(MainWindow& window, UnitOutputWindow& output, const QString& dir) {
    output.refresh();
    const std::size_t before = output.scene().effects().size();
    window.monitorView()->editor().fireStreamer(0);
    window.punchView()->editor().firePunch(0);
    // Until the unit has both triggers (they travel the serial link).
    const QDeadlineTimer deadline(kTriggerWaitMs);
    while (output.scene().effects().size() < before + 2 && !deadline.hasExpired()) {
        QApplication::processEvents(QEventLoop::AllEvents, 20);
        output.refresh();
    }
    if (output.scene().effects().empty()) {
        std::fprintf(stderr, "qz62: the simulated unit did not get the triggers\n");
        return;
    }
    const UnitScene::Clock::time_point start = output.scene().effects().front().start;
    for (int i = 0; i < kOutputShots; ++i) {
        const auto at = start + std::chrono::milliseconds(i * kOutputShotStepMs);
        const QString path =
            QDir(dir).filePath(QStringLiteral("output-%1.png").arg(i, 2, 10, QLatin1Char('0')));
        output.frameAt(at, output.isVisible() ? output.size() : output.sizeHint()).save(path);
        std::printf("%s\n", qPrintable(path));
    }
}

// Saves a picture of every tab of the panel into dir, then quits: for
// checking the layout without a person at the screen.
void saveScreenshots(MainWindow& window, UnitOutputWindow* output, const QString& dir) {
    QDir().mkpath(dir);
    QTabWidget* tabs = window.panel()->tabView();
    for (int i = 0; i < tabs->count(); ++i) {
        tabs->setCurrentIndex(i);
        QApplication::processEvents();
        const QString path = QDir(dir).filePath(QStringLiteral("tab-%1.png").arg(i));
        window.grab().save(path);
        std::printf("%s\n", qPrintable(path));
    }
    // The same at the smallest size the window can take.
    window.resize(window.minimumSizeHint());
    for (int i = 0; i < tabs->count(); ++i) {
        tabs->setCurrentIndex(i);
        QApplication::processEvents();
        const QString path = QDir(dir).filePath(QStringLiteral("tab-%1-smallest.png").arg(i));
        window.grab().save(path);
        std::printf("%s\n", qPrintable(path));
    }
    const QList<CueWindow*> cues = window.cueWindows()->windows();
    for (int i = 0; i < cues.size(); ++i) {
        const QString path = QDir(dir).filePath(QStringLiteral("cues-%1.png").arg(i));
        cues[i]->grab().save(path);
        std::printf("%s\n", qPrintable(path));
    }
    // The take view at the size of a stage monitor.
    if (TakeView* take = window.showTakeView()) {
        take->resize(1920, 1080);
        QApplication::processEvents();
        const QString path = QDir(dir).filePath(QStringLiteral("take.png"));
        take->grab().save(path);
        std::printf("%s\n", qPrintable(path));
    }
    if (output)
        saveOutputShots(window, *output, dir);
    QApplication::quit();
}
} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("qz62"));
    QApplication::setApplicationVersion(QString::fromLatin1(qz62::kAppVersion));

    AppStartup startup;
    switch (startup.parse(QApplication::arguments())) {
    case AppStartup::Parse::Help:
    case AppStartup::Parse::Version:
        std::fputs(qPrintable(startup.message()), stdout);
        return 0;
    case AppStartup::Parse::Error:
        std::fprintf(stderr, "qz62: %s (qz62 --help lists the options)\n",
                     qPrintable(startup.message()));
        return 2;
    case AppStartup::Parse::Run:
        break;
    }
    if (startup.handOverToRunning()) {
        std::printf("qz62: handed %d file(s) to the running application\n",
                    int(startup.options().files.size()));
        return 0;
    }
    if (!startup.start()) {
        std::fprintf(stderr, "qz62: %s\n", qPrintable(startup.message()));
        return 2;
    }
    MainWindow& window = *startup.window();
    if (!startup.options().screenshots.isEmpty()) {
        const QString dir = startup.options().screenshots;
        UnitOutputWindow* output = startup.outputWindow();
        QTimer::singleShot(1500, &window,
                           [&window, output, dir] { saveScreenshots(window, output, dir); });
    }
    const int status = app.exec();
    startup.shutDown();
    return status;
}

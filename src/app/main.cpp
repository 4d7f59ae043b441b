#include "Version.h"
#include "app/AppStartup.h"
#include "app/CueWindows.h"
#include "app/MainWindow.h"
#include "cues/view/CueWindow.h"
#include "cues/view/TakeView.h"

#include <QApplication>
#include <QDir>
#include <QTabWidget>
#include <QTimer>
#include <cstdio>

namespace {
// Saves a picture of every tab of the panel into dir, then quits: for
// checking the layout without a person at the screen.
void saveScreenshots(MainWindow& window, const QString& dir) {
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
        QTimer::singleShot(1500, &window, [&window, dir] { saveScreenshots(window, dir); });
    }
    const int status = app.exec();
    startup.shutDown();
    return status;
}

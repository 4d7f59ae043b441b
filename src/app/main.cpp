#include "Version.h"
#include "app/CueWindows.h"
#include "app/MainWindow.h"
#include "app/MessageBoxPresenter.h"
#include "cues/CueWindow.h"
#include "midi/MidiView.h"
#include "sim/SimulatedUnit.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QTabWidget>
#include <QTimer>
#include <cstdio>
#include <memory>

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
    QApplication::quit();
}
} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("qz62"));
    QApplication::setApplicationVersion(QString::fromLatin1(qz62::kAppVersion));

    QCommandLineParser cli;
    cli.setApplicationDescription(
        QStringLiteral("Control application for the QZ62 video-overlay unit"));
    cli.addHelpOption();
    cli.addVersionOption();
    const QCommandLineOption simulator(
        QStringLiteral("simulator"),
        QStringLiteral("Run on a simulated unit instead of hardware."));
    const QCommandLineOption port(QStringLiteral("port"),
                                  QStringLiteral("Use this serial port instead of searching."),
                                  QStringLiteral("path"));
    const QCommandLineOption shots(QStringLiteral("screenshots"),
                                   QStringLiteral("Save a picture of each tab into dir and quit."),
                                   QStringLiteral("dir"));
    const QCommandLineOption unitData(
        QStringLiteral("unit-data"),
        QStringLiteral("Folder holding the unit's own update files (loader.bin, c192b.sx, "
                       "c192b.mcs, fonts.mcs); sets QZ62_UNIT_DATA."),
        QStringLiteral("dir"));
    cli.addOption(simulator);
    cli.addOption(unitData);
    cli.addOption(port);
    cli.addOption(shots);
    cli.addPositionalArgument(QStringLiteral("sheets"),
                              QStringLiteral("Cue sheet text files to open."),
                              QStringLiteral("[sheet.txt...]"));
    cli.process(app);

    if (cli.isSet(unitData))
        qputenv("QZ62_UNIT_DATA", QFile::encodeName(cli.value(unitData)));

    PanelOptions options;
    std::unique_ptr<SimulatedUnit> sim;
    if (cli.isSet(simulator)) {
        sim = std::make_unique<SimulatedUnit>();
        if (!sim->start()) {
            std::fprintf(stderr, "qz62: cannot start the simulated unit (no pseudo-terminal)\n");
            return 2;
        }
        options.explicitPort = sim->ptyPath();
    } else if (cli.isSet(port)) {
        options.explicitPort = cli.value(port);
    }

    MainWindow window;
    MessageBoxPresenter presenter(&window);
    alerts::setPresenter(&presenter);
    window.show();
    window.panel()->awakeFromNib(options);
    window.midiView()->awakeFromNib();
    for (const QString& sheet : cli.positionalArguments())
        window.cueWindows()->open(sheet);

    if (cli.isSet(shots)) {
        const QString dir = cli.value(shots);
        QTimer::singleShot(1500, &window, [&window, dir] { saveScreenshots(window, dir); });
    }
    const int status = app.exec();
    alerts::setPresenter(nullptr);
    window.panel()->windowClosing();
    return status;
}

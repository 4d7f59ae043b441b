#include "app/AppStartup.h"

#include "Version.h"
#include "app/CueWindows.h"
#include "app/MainWindow.h"
#include "app/MessageBoxPresenter.h"
#include "app/SingleInstance.h"
#include "cues/view/CueWindow.h"
#include "link/ServiceDiscovery.h"
#include "midi/view/MidiView.h"
#include "sim/SimulatedUnit.h"
#include "timecode/TcCalculator.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>
#include <QFileOpenEvent>
#include <QStatusBar>
#include <QTimer>
#include <cstdio>

namespace {
// The cue sheet options a new sheet takes, as `qz62ctl import` names them:
// "--name" and "--no-name", bound to the window's defaults key.
struct SheetSwitch {
    const char* name;
    const char* key;
    const char* what;
};
constexpr SheetSwitch kSheetSwitches[] = {
    {"text", CueWindow::kKeyIncludeDialog, "send and export the cue text"},
    {"cue-id", CueWindow::kKeyIncludeCueId, "put the cue identifier before the text"},
    {"pulldown", CueWindow::kKeyPulldown, "pulldown for the MIDI export"},
    {"duplicates", CueWindow::kKeyRemoveDuplicates,
     "sorting keeps only the first cue of equal in times"},
    {"midnight", CueWindow::kKeyRollover, "sorting starts a sheet across midnight"}};

// How long a status bar notice about the MIDI ports stays.
constexpr int kNoticeMs = 15000;
} // namespace

AppStartup::AppStartup() = default;

AppStartup::~AppStartup() {
    if (qApp)
        qApp->removeEventFilter(this);
    if (m_presenter)
        alerts::setPresenter(nullptr);
    // The window talks to the presenter and the simulated unit: it goes first.
    m_window.reset();
}

AppStartup::Parse AppStartup::parse(const QStringList& arguments) {
    QCommandLineParser cli;
    cli.setApplicationDescription(QStringLiteral(
        "Control application for the QZ62 video-overlay unit.\n\n"
        "Each FILE opens in a cue sheet window: sheet text files (.txt) as File > Open does,\n"
        "PDF cue sheets and text cue lists as a new untitled sheet, as a drop would.\n"
        "While the application runs, starting it again hands the files to it."));
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this help and quit."));
    const QCommandLineOption version(QStringLiteral("version"),
                                     QStringLiteral("Show the version and quit."));
    const QCommandLineOption simulator(
        QStringLiteral("simulator"),
        QStringLiteral("Run on a simulated unit instead of hardware."));
    const QCommandLineOption simulatorNetwork(
        QStringLiteral("simulator-network"),
        QStringLiteral("Run on a simulated unit reached over TCP, as through the network "
                       "proxy (the simulator is also announced to service discovery)."));
    const QCommandLineOption connectHost(
        QStringLiteral("connect"), QStringLiteral("Connect to the network proxy at host:port."),
        QStringLiteral("host:port"));
    const QCommandLineOption port(QStringLiteral("port"),
                                  QStringLiteral("Use this serial port instead of searching."),
                                  QStringLiteral("path"));
    const QCommandLineOption midiIn(
        QStringLiteral("midi-in"),
        QStringLiteral("Take MIDI Time Code from the first source whose name contains NAME "
                       "(waits for it when absent)."),
        QStringLiteral("NAME"));
    const QCommandLineOption midiOut(
        QStringLiteral("midi-out"),
        QStringLiteral("Send to the first MIDI destination whose name contains NAME."),
        QStringLiteral("NAME"));
    const QCommandLineOption tctype(
        QStringLiteral("tctype"),
        QStringLiteral("New sheets' timecode type: 0 = 24, 1 = 25, 2 = 30 drop, 3 = 30."),
        QStringLiteral("N"));
    const QCommandLineOption start(QStringLiteral("start"),
                                   QStringLiteral("New sheets' MIDI file start (HH:MM:SS:FF)."),
                                   QStringLiteral("TC"));
    QList<QCommandLineOption> switches;
    for (const SheetSwitch& s : kSheetSwitches) {
        const QString name = QLatin1String(s.name);
        switches << QCommandLineOption(name,
                                       QStringLiteral("New sheets: %1.").arg(QLatin1String(s.what)))
                 << QCommandLineOption(
                        QStringLiteral("no-") + name,
                        QStringLiteral("New sheets: the opposite of --%1.").arg(name));
    }
    const QCommandLineOption unitData(
        QStringLiteral("unit-data"),
        QStringLiteral("Folder holding the unit's own update files (loader.bin, c192b.sx, "
                       "c192b.mcs, fonts.mcs); sets QZ62_UNIT_DATA."),
        QStringLiteral("dir"));
    const QCommandLineOption instance(
        QStringLiteral("instance"),
        QStringLiteral("Run apart from the usual application (a second unit, a test rig): "
                       "only starts with the same NAME hand their files to it."),
        QStringLiteral("NAME"));
    const QCommandLineOption shots(QStringLiteral("screenshots"),
                                   QStringLiteral("Save a picture of each tab into dir and quit."),
                                   QStringLiteral("dir"));
    cli.addOptions({help, version, simulator, simulatorNetwork, connectHost, port, midiIn, midiOut,
                    tctype, start});
    cli.addOptions(switches);
    cli.addOptions({unitData, instance, shots});
    cli.addPositionalArgument(QStringLiteral("FILE"),
                              QStringLiteral("Cue sheets, PDF cue sheets or text cue lists."),
                              QStringLiteral("[FILE...]"));

    if (!cli.parse(arguments)) {
        m_message = cli.errorText();
        return Parse::Error;
    }
    if (cli.isSet(help)) {
        m_message = cli.helpText() +
                    QStringLiteral("\nExample, a stage's start-up:\n"
                                   "  qz62 --midi-in \"Stage MTC\" --midi-out \"Stage MTC\" "
                                   "--tctype 1 --start 09:59:50:00 reel1.txt reel2.pdf\n");
        return Parse::Help;
    }
    if (cli.isSet(version)) {
        m_message = QStringLiteral("qz62 %1\n").arg(QLatin1String(qz62::kAppVersion));
        return Parse::Version;
    }

    m_options.simulator = cli.isSet(simulator);
    m_options.port = cli.value(port);
    m_options.simulatorNetwork = cli.isSet(simulatorNetwork);
    m_options.networkHost = cli.value(connectHost);
    m_options.screenshots = cli.value(shots);
    m_options.instance = cli.value(instance);
    m_options.midiIn = cli.value(midiIn);
    m_options.midiOut = cli.value(midiOut);
    m_options.files = cli.positionalArguments();
    if (cli.isSet(unitData))
        qputenv("QZ62_UNIT_DATA", QFile::encodeName(cli.value(unitData)));
    if (cli.isSet(tctype)) {
        bool ok = false;
        const int type = cli.value(tctype).toInt(&ok);
        if (!ok || type < 0 || type > 3) {
            m_message = QStringLiteral("bad --tctype '%1' (0 to 3)").arg(cli.value(tctype));
            return Parse::Error;
        }
        m_options.sheetDefaults.insert(QLatin1String(CueWindow::kKeyTcType), type);
    }
    if (cli.isSet(start)) {
        if (!TcCalculator().isTc(cli.value(start))) {
            m_message = QStringLiteral("bad --start '%1' (HH:MM:SS:FF)").arg(cli.value(start));
            return Parse::Error;
        }
        m_options.sheetDefaults.insert(QLatin1String(CueWindow::kKeyTcStart), cli.value(start));
    }
    for (qsizetype i = 0; i < switches.size(); ++i) {
        // The later of "--x" and "--no-x" wins, as in qz62ctl.
        if (cli.isSet(switches[i])) {
            const QString key = QLatin1String(kSheetSwitches[i / 2].key);
            const bool on = i % 2 == 0;
            const qsizetype at =
                arguments.lastIndexOf(QStringLiteral("--") + switches[i].names().first());
            const qsizetype other =
                arguments.lastIndexOf(QStringLiteral("--") + switches[i ^ 1].names().first());
            if (at > other)
                m_options.sheetDefaults.insert(key, on);
        }
    }
    return Parse::Run;
}

bool AppStartup::handOverToRunning() {
    if (!m_options.screenshots.isEmpty())
        return false;
    m_instance = std::make_unique<SingleInstance>(m_options.instance);
    if (m_instance->handOver(m_options.files))
        return true;
    if (!m_instance->listen())
        std::fprintf(stderr, "qz62: cannot take files from later starts (%s)\n",
                     qPrintable(m_instance->serverName()));
    connect(m_instance.get(), &SingleInstance::filesReceived, this,
            [this](const QStringList& paths) {
                openFiles(paths);
                if (m_window) {
                    m_window->raise();
                    m_window->activateWindow();
                }
            });
    return false;
}

bool AppStartup::start() {
    PanelOptions panel;
    if (m_options.simulator) {
        m_sim = std::make_unique<SimulatedUnit>();
        if (!m_sim->start()) {
            m_message = QStringLiteral("cannot start the simulated unit (no pseudo-terminal)");
            return false;
        }
        panel.explicitPort = m_sim->ptyPath();
    } else if (!m_options.port.isEmpty()) {
        panel.explicitPort = m_options.port;
    }
    if (m_options.simulatorNetwork) {
        // A unit of its own behind the network proxy's protocol.
        m_networkSim = std::make_unique<SimulatedUnit>();
        const quint16 tcpPort = m_networkSim->listenTcp();
        if (tcpPort == 0 || !m_networkSim->start()) {
            m_message = QStringLiteral("cannot start the simulated unit on TCP");
            return false;
        }
        panel.networkHost = QStringLiteral("127.0.0.1:%1").arg(tcpPort);
        m_announcer = std::make_unique<ServiceAnnouncer>();
        m_announcer->announce(QStringLiteral("QZ62 simulator"), tcpPort); // where discovery runs
    }
    if (!m_options.networkHost.isEmpty())
        panel.networkHost = m_options.networkHost;
    CueWindow::setDefaultsForThisRun(m_options.sheetDefaults);

    m_window = std::make_unique<MainWindow>();
    // Alerts show as message boxes unless someone (a test) already takes them.
    if (!alerts::hasPresenter()) {
        m_presenter = std::make_unique<MessageBoxPresenter>(m_window.get());
        alerts::setPresenter(m_presenter.get());
    }
    MidiController* midi = m_window->midiView()->controller();
    connect(midi, &MidiController::notice, m_window.get(), [this](const QString& text) {
        std::fprintf(stderr, "qz62: %s\n", qPrintable(text));
        m_window->statusBar()->showMessage(text, kNoticeMs);
    });
    if (!m_options.midiIn.isEmpty())
        midi->wantSource(m_options.midiIn);
    if (!m_options.midiOut.isEmpty())
        midi->wantDestination(m_options.midiOut);

    m_window->show();
    m_window->awakeFromNib(panel);
    m_window->midiView()->awakeFromNib();
    qApp->installEventFilter(this);
    // Once the window is up: a file that cannot be opened says so in front of it.
    QTimer::singleShot(0, this, [this] { openFiles(m_options.files); });
    return true;
}

void AppStartup::openFiles(const QStringList& paths) {
    if (!m_window)
        return;
    for (const QString& path : paths)
        m_window->cueWindows()->openHandedFile(path);
}

void AppStartup::shutDown() {
    if (m_presenter)
        alerts::setPresenter(nullptr);
    if (m_window)
        m_window->windowClosing();
}

bool AppStartup::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FileOpen && watched == qApp) {
        openFiles({static_cast<QFileOpenEvent*>(event)->file()});
        return true;
    }
    return QObject::eventFilter(watched, event);
}

#include "app/AppStartup.h"

#include "Version.h"
#include "app/CueWindows.h"
#include "app/MainWindow.h"
#include "app/MessageBoxPresenter.h"
#include "app/SimUnitOutput.h"
#include "app/SingleInstance.h"
#include "cues/view/CueWindow.h"
#include "link/ServiceDiscovery.h"
#include "midi/view/MidiView.h"
#include "overlay/view/UnitOutputWindow.h"
#include "sim/SimulatedUnit.h"
#include "timecode/TcCalculator.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>
#include <QFileDialog>
#include <QFileOpenEvent>
#include <QImageReader>
#include <QMenu>
#include <QMessageBox>
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

QCommandLineOption option(const char* name, const char* what, const char* value = nullptr) {
    return QCommandLineOption(QLatin1String(name), QString::fromUtf8(what),
                              value ? QLatin1String(value) : QString());
}

// Every option of `qz62 --help`, in the order it lists them.
struct CliOptions {
    QCommandLineOption help{{QStringLiteral("h"), QStringLiteral("help")},
                            QStringLiteral("Show this help and quit.")};
    QCommandLineOption version = option("version", "Show the version and quit.");
    QCommandLineOption simulator =
        option("simulator", "Run on a simulated unit instead of hardware.");
    QCommandLineOption simulatorNetwork =
        option("simulator-network", "Run on a simulated unit reached over TCP, as through the "
                                    "network proxy (the simulator is also announced to service "
                                    "discovery).");
    QCommandLineOption connectHost =
        option("connect", "Connect to the network proxy at host:port.", "host:port");
    QCommandLineOption port = option("port", "Use this serial port instead of searching.", "path");
    QCommandLineOption midiIn =
        option("midi-in",
               "Take MIDI Time Code from the first source whose name contains NAME (waits for "
               "it when absent).",
               "NAME");
    QCommandLineOption midiOut =
        option("midi-out", "Send to the first MIDI destination whose name contains NAME.", "NAME");
    QCommandLineOption tctype =
        option("tctype", "New sheets' timecode type: 0 = 24, 1 = 25, 2 = 30 drop, 3 = 30.", "N");
    QCommandLineOption start = option("start", "New sheets' MIDI file start (HH:MM:SS:FF).", "TC");
    // "--x" and "--no-x" for each of kSheetSwitches, in turn.
    QList<QCommandLineOption> switches = sheetSwitches();
    QCommandLineOption unitData =
        option("unit-data",
               "Folder holding the unit's own update files (loader.bin, c192b.sx, c192b.mcs, "
               "fonts.mcs); sets QZ62_UNIT_DATA.",
               "dir");
    QCommandLineOption instance =
        option("instance",
               "Run apart from the usual application (a second unit, a test rig): only starts "
               "with the same NAME hand their files to it.",
               "NAME");
    QCommandLineOption shots =
        option("screenshots", "Save a picture of each tab into dir and quit.", "dir");

    static QList<QCommandLineOption> sheetSwitches() {
        QList<QCommandLineOption> list;
        for (const SheetSwitch& s : kSheetSwitches) {
            const QString name = QLatin1String(s.name);
            list << QCommandLineOption(name,
                                       QStringLiteral("New sheets: %1.").arg(QLatin1String(s.what)))
                 << QCommandLineOption(
                        QStringLiteral("no-") + name,
                        QStringLiteral("New sheets: the opposite of --%1.").arg(name));
        }
        return list;
    }

    void addTo(QCommandLineParser& cli) const {
        cli.addOptions({help, version, simulator, simulatorNetwork, connectHost, port, midiIn,
                        midiOut, tctype, start});
        cli.addOptions(switches);
        cli.addOptions({unitData, instance, shots});
        cli.addPositionalArgument(QStringLiteral("FILE"),
                                  QStringLiteral("Cue sheets, PDF cue sheets or text cue lists."),
                                  QStringLiteral("[FILE...]"));
    }
};

// The new sheets' options the command line gives, by defaults key; empty
// `error` when every value is good.
QVariantHash sheetDefaults(const QCommandLineParser& cli, const CliOptions& o,
                           const QStringList& arguments, QString& error) {
    QVariantHash defaults;
    if (cli.isSet(o.tctype)) {
        bool ok = false;
        const int type = cli.value(o.tctype).toInt(&ok);
        if (!ok || type < 0 || type > 3) {
            error = QStringLiteral("bad --tctype '%1' (0 to 3)").arg(cli.value(o.tctype));
            return {};
        }
        defaults.insert(QLatin1String(CueWindow::kKeyTcType), type);
    }
    if (cli.isSet(o.start)) {
        if (!TcCalculator().isTc(cli.value(o.start))) {
            error = QStringLiteral("bad --start '%1' (HH:MM:SS:FF)").arg(cli.value(o.start));
            return {};
        }
        defaults.insert(QLatin1String(CueWindow::kKeyTcStart), cli.value(o.start));
    }
    const QList<QCommandLineOption>& switches = o.switches;
    for (qsizetype i = 0; i < switches.size(); ++i) {
        // The later of "--x" and "--no-x" wins, as in qz62ctl.
        if (!cli.isSet(switches[i]))
            continue;
        const qsizetype at =
            arguments.lastIndexOf(QStringLiteral("--") + switches[i].names().first());
        const qsizetype other =
            arguments.lastIndexOf(QStringLiteral("--") + switches[i ^ 1].names().first());
        if (at > other)
            defaults.insert(QLatin1String(kSheetSwitches[i / 2].key), i % 2 == 0);
    }
    return defaults;
}
} // namespace

AppStartup::AppStartup() = default;

AppStartup::~AppStartup() {
    shutDown();
    if (qApp)
        qApp->removeEventFilter(this);
    // The members go in the reverse order of their declaration: the window
    // before the presenter and the simulated units it talks to.
}

AppStartup::Parse AppStartup::parse(const QStringList& arguments) {
    QCommandLineParser cli;
    cli.setApplicationDescription(QStringLiteral(
        "Control application for the QZ62 video-overlay unit.\n\n"
        "Each FILE opens in a cue sheet window: sheet text files (.txt) as File > Open does,\n"
        "PDF cue sheets and text cue lists as a new untitled sheet, as a drop would.\n"
        "While the application runs, starting it again hands the files to it."));
    const CliOptions o;
    o.addTo(cli);
    if (!cli.parse(arguments)) {
        m_message = cli.errorText();
        return Parse::Error;
    }
    if (cli.isSet(o.help)) {
        m_message = cli.helpText() +
                    QStringLiteral("\nExample, a stage's start-up:\n"
                                   "  qz62 --midi-in \"Stage MTC\" --midi-out \"Stage MTC\" "
                                   "--tctype 1 --start 09:59:50:00 reel1.txt reel2.pdf\n");
        return Parse::Help;
    }
    if (cli.isSet(o.version)) {
        m_message = QStringLiteral("qz62 %1\n").arg(QLatin1String(qz62::kAppVersion));
        return Parse::Version;
    }
    m_options.simulator = cli.isSet(o.simulator);
    m_options.port = cli.value(o.port);
    m_options.simulatorNetwork = cli.isSet(o.simulatorNetwork);
    m_options.networkHost = cli.value(o.connectHost);
    m_options.screenshots = cli.value(o.shots);
    m_options.instance = cli.value(o.instance);
    m_options.midiIn = cli.value(o.midiIn);
    m_options.midiOut = cli.value(o.midiOut);
    m_options.files = cli.positionalArguments();
    if (cli.isSet(o.unitData))
        qputenv("QZ62_UNIT_DATA", QFile::encodeName(cli.value(o.unitData)));
    m_options.sheetDefaults = sheetDefaults(cli, o, arguments, m_message);
    return m_message.isEmpty() ? Parse::Run : Parse::Error;
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
                if (!m_window)
                    return;
                // The application comes forward with the sheet just handed
                // over on top of it.
                m_window->raise();
                CueWindows* cues = m_window->cueWindows();
                QWidget* front =
                    cues && cues->front() ? static_cast<QWidget*>(cues->front()) : m_window.get();
                front->raise();
                front->activateWindow();
            });
    return false;
}

bool AppStartup::start() {
    PanelOptions panel;
    if (!startUnits(panel))
        return false;
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

    // Pictures for checking the layout are taken at the default sizes, and
    // must not leave their sizes behind for the next start.
    if (m_options.screenshots.isEmpty())
        m_window->rememberLayout();
    if (m_sim)
        buildOutputWindow();
    m_window->show();
    m_window->awakeFromNib(panel);
    m_window->midiView()->awakeFromNib();
    qApp->installEventFilter(this);
    // Once the window is up: the sheets an earlier run did not save are
    // offered first (pictures for checking the layout ask nothing), then a
    // file that cannot be opened says so in front of it.
    QTimer::singleShot(0, this, [this] {
        if (m_options.screenshots.isEmpty() && m_window && m_window->cueWindows())
            m_window->cueWindows()->offerRecovery();
        openFiles(m_options.files);
    });
    return true;
}

// The simulated units asked for, and where the panel finds its unit.
bool AppStartup::startUnits(PanelOptions& panel) {
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
    return true;
}

// View > Simulated Unit Output: what the simulated unit keys over the
// picture, its counter fed by the application's MIDI input.
void AppStartup::buildOutputWindow() {
    m_output = std::make_unique<SimUnitOutput>(*m_sim);
    m_outputWindow = std::make_unique<UnitOutputWindow>(m_output.get());
    UnitOutputWindow* output = m_outputWindow.get();
    QAction* show = m_window->viewMenu()->addAction(QStringLiteral("Simulated &Unit Output"));
    show->setObjectName(QStringLiteral("actionSimulatedUnitOutput"));
    connect(show, &QAction::triggered, output, [output] {
        output->show();
        output->raise();
        output->activateWindow();
    });
    connect(m_window->midiView()->controller(), &MidiController::counterChanged, output,
            &UnitOutputWindow::showTimecode);
    connect(output, &UnitOutputWindow::pictureWanted, this, &AppStartup::choosePicture);
}

void AppStartup::choosePicture() {
    QStringList patterns;
    for (const QByteArray& format : QImageReader::supportedImageFormats())
        patterns << QStringLiteral("*.") + QString::fromLatin1(format);
    const QString path = QFileDialog::getOpenFileName(
        m_outputWindow.get(), QStringLiteral("Picture under the overlay"), QString(),
        QStringLiteral("Images (%1)").arg(patterns.join(QLatin1Char(' '))));
    if (path.isEmpty())
        return;
    QImageReader reader(path);
    const QImage picture = reader.read();
    if (picture.isNull()) {
        QMessageBox::warning(m_outputWindow.get(), QStringLiteral("Picture"),
                             QStringLiteral("Cannot show %1: %2").arg(path, reader.errorString()));
        return;
    }
    m_outputWindow->setPicture(picture);
}

void AppStartup::openFiles(const QStringList& paths) {
    CueWindows* cues = m_window ? m_window->cueWindows() : nullptr;
    if (!cues)
        return;
    for (const QString& path : paths)
        cues->openHandedFile(path);
}

void AppStartup::shutDown() {
    // Nothing is shown once the event loop has ended.
    if (m_presenter)
        alerts::setPresenter(nullptr);
    if (m_outputWindow) {
        m_outputWindow->close();
        m_outputWindow->detach();
    }
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

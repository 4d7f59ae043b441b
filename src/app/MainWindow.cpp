#include "app/MainWindow.h"

#include "Version.h"
#include "app/CueWindows.h"
#include "app/TakeControl.h"
#include "base/view/BarsColorList.h"
#include "cues/view/TakeView.h"
#include "link/ComThread.h"
#include "midi/view/MidiView.h"
#include "overlay/view/AnnunciatorView.h"
#include "overlay/view/MonitorView.h"
#include "overlay/view/PunchView.h"
#include "panel/view/UpdatePanel.h"
#include "ui_MainWindow.h"

#include <QCloseEvent>
#include <QDockWidget>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QSettings>

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent), m_ui(std::make_unique<Ui::MainWindow>()) {
    m_ui->setupUi(this);
    buildPanel();
    buildEditors();
    buildMidi();
    buildViewMenu();
    m_cueWindows = new CueWindows(m_panel, m_ui->menuFile, this);
    m_cueWindows->attachTimecode(m_midiView->controller());
    m_following->setText(m_cueWindows->take()->followingText());
    connect(m_cueWindows->take(), &TakeControl::followingChanged, m_following, &QLabel::setText);
    m_updatePanel = new UpdatePanel(m_panel, m_ui->menuUpdate, this);
    addTakeToViewMenu();
    buildStatusBar();
    connect(m_ui->actionQuit, &QAction::triggered, this, &QWidget::close);
    connect(m_ui->actionAbout, &QAction::triggered, this, &MainWindow::showAbout);
}

MainWindow::~MainWindow() {
    windowClosing();
}

// The link, the network link and the reply parser; the panel's alerts and
// questions show as the program's message boxes.
void MainWindow::buildPanel() {
    m_panel = new qz62View(this);
    m_panel->controller().setPrompts(&m_panelAlerts);
    setCentralWidget(m_panel);
    connect(m_panel, &qz62View::windowTitleChanged, this, &QWidget::setWindowTitle);
}

// The editors send through whatever link there is at the time, and take
// their own report lines from the parser.
void MainWindow::buildEditors() {
    m_monitorView = new MonitorView;
    m_punchView = new PunchView;
    m_annunciatorView = new AnnunciatorView;
    m_panel->setEditorTabs(m_monitorView, m_punchView, m_annunciatorView);
    PanelController& controller = m_panel->controller();
    auto link = [&controller]() -> CommandSink* { return controller.comThread(); };
    m_monitorView->editor().setComThread(link);
    m_punchView->editor().setComThread(link);
    m_annunciatorView->editor().setComThread(link);
    // Each trigger the tabs send is written in the unit tab's log.
    auto logTrigger = [this](int note) {
        QString what = QStringLiteral("accumulate");
        if (note >= StreamerEditor::kFirstStreamerNote)
            what = QStringLiteral("streamer %1").arg(note - StreamerEditor::kFirstStreamerNote);
        else if (note >= PunchEditor::kFirstPunchNote)
            what = QStringLiteral("punch %1").arg(note - PunchEditor::kFirstPunchNote);
        m_panel->appendDebugText(
            QStringLiteral("trigger sent: note %1 (%2)\n").arg(note).arg(what));
    };
    m_monitorView->editor().setTriggerHandler(logTrigger);
    m_punchView->editor().setTriggerHandler(logTrigger);
    controller.parser().setStreamerReceiver(&m_monitorView->editor());
    controller.parser().setPunchReceiver(&m_punchView->editor());
    controller.parser().setAnnunciatorReceiver(&m_annunciatorView->editor());
}

// The timecode counter sits above the panel; every cue window shows it too.
void MainWindow::buildMidi() {
    m_midiView = new MidiView;
    m_midiView->initMenuItems(m_ui->menuMidiInput, m_ui->menuMidiOutput, m_ui->menuMidi);
    m_midiDock = new QDockWidget(QStringLiteral("MIDI Time Code"), this);
    m_midiDock->setObjectName(QStringLiteral("timecodeDock"));
    m_midiDock->setFeatures(QDockWidget::NoDockWidgetFeatures);
    // Beside the counter: the sheet the time code fires.
    auto* dockContent = new QWidget;
    auto* row = new QHBoxLayout(dockContent);
    row->setContentsMargins(0, 0, 8, 0);
    row->addWidget(m_midiView);
    m_following = new QLabel;
    m_following->setObjectName(QStringLiteral("labelFollowing"));
    m_following->setWordWrap(true);
    m_following->setMaximumWidth(420);
    QFont font = m_following->font();
    font.setPointSizeF(font.pointSizeF() * 1.3);
    font.setBold(true);
    m_following->setFont(font);
    row->addWidget(m_following, 1);
    m_midiDock->setWidget(dockContent);
    addDockWidget(Qt::TopDockWidgetArea, m_midiDock);
}

// Between the MIDI and Update menus; the programs add their windows to it.
void MainWindow::buildViewMenu() {
    m_viewMenu = new QMenu(QStringLiteral("&View"), this);
    m_viewMenu->setObjectName(QStringLiteral("menuView"));
    menuBar()->insertMenu(m_ui->menuUpdate->menuAction(), m_viewMenu);
}

void MainWindow::buildStatusBar() {
    m_linkLabel = new QLabel(this);
    statusBar()->addPermanentWidget(m_linkLabel);
    connect(m_panel, &qz62View::linkStateTextChanged, this, &MainWindow::showLinkState);
    showLinkState(m_panel->linkStateText(), PanelController::LinkState::Idle);
}

void MainWindow::awakeFromNib(const PanelOptions& options) {
    BarsColorList::initColorPanel();
    // The editors' workers first: their first pictures are painted while
    // the link waits for the unit to identify itself.
    m_monitorView->awakeFromNib();
    m_punchView->awakeFromNib();
    m_annunciatorView->awakeFromNib();
    m_panel->awakeFromNib(options);
}

namespace {
const char* const kKeyGeometry = "MainWindow/geometry";
const char* const kKeyState = "MainWindow/state";
} // namespace

void MainWindow::rememberLayout() {
    m_remembersLayout = true;
    const QSettings settings;
    restoreGeometry(settings.value(QLatin1String(kKeyGeometry)).toByteArray());
    restoreState(settings.value(QLatin1String(kKeyState)).toByteArray());
    m_panel->restoreLayout(settings);
}

void MainWindow::saveLayout() {
    if (!m_remembersLayout)
        return;
    QSettings settings;
    settings.setValue(QLatin1String(kKeyGeometry), saveGeometry());
    settings.setValue(QLatin1String(kKeyState), saveState());
    m_panel->saveLayout(settings);
}

void MainWindow::windowClosing() {
    if (m_closed)
        return;
    m_closed = true;
    saveLayout();
    // The Update menu runs nothing of its own: an update runs on the link's
    // port and stops with the link.
    // The take view reads the take; then the cue windows: the MIDI thread
    // lets go of the cue firing first.
    delete m_takeView;
    m_takeView = nullptr;
    delete m_cueWindows;
    m_cueWindows = nullptr;
    // MIDI: its ports close, nothing more arrives on its thread.
    stopMidi();
    // The editors' preview workers; the parser stops handing them lines.
    stopEditors();
    // The network link, then the serial link.
    m_panel->windowClosing();
    m_panel->controller().setPrompts(nullptr);
}

void MainWindow::stopMidi() {
    delete m_midiDock; // with the MIDI view and its controller
    m_midiDock = nullptr;
    m_midiView = nullptr;
    m_following = nullptr;
    // Their actions spoke to the controller that is gone.
    m_ui->menuMidiInput->clear();
    m_ui->menuMidiOutput->clear();
}

void MainWindow::stopEditors() {
    m_monitorView->windowClosing();
    m_punchView->windowClosing();
    m_annunciatorView->windowClosing();
    StatusParser& parser = m_panel->controller().parser();
    parser.setStreamerReceiver(nullptr);
    parser.setPunchReceiver(nullptr);
    parser.setAnnunciatorReceiver(nullptr);
}

QString MainWindow::statusText() const {
    return m_linkLabel->text();
}

void MainWindow::showLinkState(const QString& text, PanelController::LinkState state) {
    const bool good = state == PanelController::LinkState::Connected;
    m_linkLabel->setText((good ? QStringLiteral("● ") : QStringLiteral("○ ")) + text);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    // The cue windows go with the main window; a sheet the user wants to
    // keep editing cancels the close.
    if (m_cueWindows && !m_cueWindows->closeAll()) {
        event->ignore();
        return;
    }
    windowClosing();
    event->accept();
}

void MainWindow::showAbout() {
    QMessageBox::about(this, QStringLiteral("About QZ62A"),
                       QStringLiteral("<b>QZ62A control</b><br>version %1<br><br>Configures the "
                                      "QZ62 video-overlay unit: streamers, punches, annunciator, "
                                      "counters and cue text.")
                           .arg(QLatin1String(qz62::kAppVersion)));
}

// The View menu, before Help: windows that show what the program follows.
void MainWindow::addTakeToViewMenu() {
    QAction* take = m_viewMenu->addAction(tr("&Take"), this, [this] { showTakeView(); });
    take->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_T));
    take->setStatusTip(tr("The armed sheet's current and next cue and the time code, large"));
}

TakeView* MainWindow::showTakeView() {
    if (!m_cueWindows)
        return nullptr;
    if (!m_takeView) {
        TakeControl* takeControl = m_cueWindows->take();
        m_takeView = new TakeView(takeControl);
        m_takeView->setAttribute(Qt::WA_DeleteOnClose, false);
        connect(takeControl, &TakeControl::takeChanged, m_takeView, &TakeView::refresh);
    }
    m_takeView->refresh();
    m_takeView->show();
    m_takeView->raise();
    return m_takeView;
}

QString MainWindow::followingText() const {
    return m_following ? m_following->text() : QString();
}

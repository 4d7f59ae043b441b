#include "app/MainWindow.h"

#include "Version.h"
#include "app/CueWindows.h"
#include "base/view/BarsColorList.h"
#include "link/ComThread.h"
#include "midi/view/MidiView.h"
#include "overlay/view/AnnunciatorView.h"
#include "overlay/view/MonitorView.h"
#include "overlay/view/PunchView.h"
#include "panel/view/UpdatePanel.h"
#include "ui_MainWindow.h"

#include <QCloseEvent>
#include <QDockWidget>
#include <QLabel>
#include <QMessageBox>

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent), m_ui(std::make_unique<Ui::MainWindow>()) {
    m_ui->setupUi(this);
    m_panel = new qz62View(this);
    m_panel->controller().setPrompts(&m_panelAlerts);
    setCentralWidget(m_panel);
    m_monitorView = new MonitorView;
    m_punchView = new PunchView;
    m_annunciatorView = new AnnunciatorView;
    m_panel->setEditorTabs(m_monitorView, m_punchView, m_annunciatorView);

    // The timecode counter sits above the panel; every cue window shows it too.
    m_midiView = new MidiView(this);
    m_midiView->initMenuItems(m_ui->menuMidiInput, m_ui->menuMidiOutput, m_ui->menuMidi);
    auto* timecode = new QDockWidget(QStringLiteral("MIDI Time Code"), this);
    timecode->setObjectName(QStringLiteral("timecodeDock"));
    timecode->setFeatures(QDockWidget::NoDockWidgetFeatures);
    timecode->setWidget(m_midiView);
    addDockWidget(Qt::TopDockWidgetArea, timecode);

    m_cueWindows = new CueWindows(m_panel, m_ui->menuFile, this);
    m_cueWindows->attachTimecode(m_midiView->controller());

    m_updatePanel = new UpdatePanel(m_panel, m_ui->menuUpdate, this);

    m_linkLabel = new QLabel(this);
    statusBar()->addPermanentWidget(m_linkLabel);

    connect(m_ui->actionQuit, &QAction::triggered, this, &QWidget::close);
    connect(m_ui->actionAbout, &QAction::triggered, this, &MainWindow::showAbout);
    connect(m_panel, &qz62View::windowTitleChanged, this, &QWidget::setWindowTitle);
    connect(m_panel, &qz62View::linkStateTextChanged, this, &MainWindow::showLinkState);
    showLinkState(m_panel->linkStateText(), PanelController::LinkState::Idle);
}

MainWindow::~MainWindow() {
    // The cue windows talk to the panel: they go first; the editors' workers
    // go before the controller whose link they use.
    delete m_cueWindows;
    stopEditors();
}

void MainWindow::awakeFromNib(const PanelOptions& options) {
    BarsColorList::initColorPanel();
    // The editors send through whatever link there is at the time, and take
    // their own report lines.
    PanelController& controller = m_panel->controller();
    auto link = [&controller]() -> CommandSink* { return controller.comThread(); };
    m_monitorView->editor().setComThread(link);
    m_punchView->editor().setComThread(link);
    m_annunciatorView->editor().setComThread(link);
    controller.parser().setStreamerReceiver(&m_monitorView->editor());
    controller.parser().setPunchReceiver(&m_punchView->editor());
    controller.parser().setAnnunciatorReceiver(&m_annunciatorView->editor());
    m_monitorView->awakeFromNib();
    m_punchView->awakeFromNib();
    m_annunciatorView->awakeFromNib();
    m_panel->awakeFromNib(options);
}

void MainWindow::stopEditors() {
    m_monitorView->windowClosing();
    m_punchView->windowClosing();
    m_annunciatorView->windowClosing();
    PanelController& controller = m_panel->controller();
    controller.parser().setStreamerReceiver(nullptr);
    controller.parser().setPunchReceiver(nullptr);
    controller.parser().setAnnunciatorReceiver(nullptr);
}

void MainWindow::windowClosing() {
    stopEditors();
    m_panel->windowClosing();
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
    if (!m_cueWindows->closeAll()) {
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

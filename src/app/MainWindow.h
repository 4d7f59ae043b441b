#pragma once

#include "app/MessageBoxPresenter.h"
#include "panel/view/qz62View.h"

#include <QMainWindow>
#include <memory>

class AnnunciatorView;
class CueWindows;
class MidiView;
class MonitorView;
class PunchView;
class QDockWidget;
class QLabel;
class QMenu;
class TakeView;
class UpdatePanel;
namespace Ui {
class MainWindow;
}

// The application's one main window: menus, the control panel, and a status
// bar that always names the link state. It is also the one place that builds
// the application's parts, wires them together, starts them and takes them
// down. The parts, in the order they are built (each uses only those before
// it):
//
//   1. the control panel (qz62View): the serial link and the network link
//   2. the overlay editors, on the panel's tabs
//   3. MIDI: the timecode counter above the panel and the MIDI menus
//   4. the cue windows and the File commands, the take (armed sheet, take view)
//   5. the Update menu and the View menu
//
// windowClosing() stops them in the reverse order.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);
    // windowClosing(), if the window has not closed yet.
    ~MainWindow() override;

    // Starts the parts: the editors' preview workers, then the link, which
    // looks for the unit (as the options say) and reads its settings, and
    // the network link, which starts browsing. The editors already take
    // their report lines, so none is lost. MIDI is started on its own
    // (midiView()->awakeFromNib()), where the program wants it.
    void awakeFromNib(const PanelOptions& options = PanelOptions());
    // Stops the parts in the reverse order of building: the cue windows go
    // (the MIDI thread first lets go of the cue firing), MIDI closes its
    // ports, the editors' preview workers stop, then the network link and
    // the serial link (a running update gives the port back first). Once:
    // closing the window and the end of the program both come here.
    void windowClosing();

    qz62View* panel() const { return m_panel; }
    MonitorView* monitorView() const { return m_monitorView; }
    PunchView* punchView() const { return m_punchView; }
    AnnunciatorView* annunciatorView() const { return m_annunciatorView; }
    // The timecode counter and the MIDI menus; a cue window attaches its
    // CueFiring to midiView()->controller(). Null once the window closed.
    MidiView* midiView() const { return m_midiView; }
    // Null once the window closed.
    CueWindows* cueWindows() const { return m_cueWindows; }
    UpdatePanel* updatePanel() const { return m_updatePanel; }
    // View > Take: the take view, made when first asked for.
    TakeView* showTakeView();
    // "Following reel1.txt" beside the counter.
    QString followingText() const;
    // The View menu, for windows that come and go (the simulated unit's
    // output).
    QMenu* viewMenu() const { return m_viewMenu; }
    QString statusText() const;
    // Puts the window, its dock, the panel's tab and its log's ping filter
    // as the user left them at the last close, and keeps them again at this
    // one. The application calls it before showing the window.
    void rememberLayout();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildPanel();
    void buildEditors();
    void buildMidi();
    void buildStatusBar();
    void buildViewMenu();
    void addTakeToViewMenu();
    void stopEditors();
    void stopMidi();
    void showAbout();
    void showLinkState(const QString& text, PanelController::LinkState state);
    void saveLayout();

    std::unique_ptr<Ui::MainWindow> m_ui;
    PanelAlerts m_panelAlerts;
    // The parts, in the order they are built; the widgets are owned by the
    // window, the cue windows and the MIDI dock are taken down by
    // windowClosing().
    qz62View* m_panel = nullptr;
    MonitorView* m_monitorView = nullptr;
    PunchView* m_punchView = nullptr;
    AnnunciatorView* m_annunciatorView = nullptr;
    QDockWidget* m_midiDock = nullptr;
    MidiView* m_midiView = nullptr;
    CueWindows* m_cueWindows = nullptr;
    UpdatePanel* m_updatePanel = nullptr;
    QLabel* m_linkLabel = nullptr;
    QLabel* m_following = nullptr;
    TakeView* m_takeView = nullptr;
    QMenu* m_viewMenu = nullptr;
    bool m_closed = false;
    bool m_remembersLayout = false;
};

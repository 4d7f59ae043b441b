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
class QLabel;
class UpdatePanel;
namespace Ui {
class MainWindow;
}

// The application's one main window: menus, the control panel, and a status
// bar that always names the link state. It only wires the panels together.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // Start-up of the panel and the overlay editors on its tabs: the editors
    // are attached to the link and the reply parser before the unit is looked
    // for, so no report line reaches a panel that cannot take it.
    void awakeFromNib(const PanelOptions& options = PanelOptions());
    // Stops the editors' workers, then the link.
    void windowClosing();

    qz62View* panel() const { return m_panel; }
    MonitorView* monitorView() const { return m_monitorView; }
    PunchView* punchView() const { return m_punchView; }
    AnnunciatorView* annunciatorView() const { return m_annunciatorView; }
    // The timecode counter and the MIDI menus; a cue window attaches its
    // CueFiring to midiView()->controller().
    MidiView* midiView() const { return m_midiView; }
    CueWindows* cueWindows() const { return m_cueWindows; }
    UpdatePanel* updatePanel() const { return m_updatePanel; }
    QString statusText() const;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void showAbout();
    void stopEditors();
    void showLinkState(const QString& text, PanelController::LinkState state);

    std::unique_ptr<Ui::MainWindow> m_ui;
    PanelAlerts m_panelAlerts;
    qz62View* m_panel = nullptr;
    MonitorView* m_monitorView = nullptr;
    PunchView* m_punchView = nullptr;
    AnnunciatorView* m_annunciatorView = nullptr;
    QLabel* m_linkLabel = nullptr;
    MidiView* m_midiView = nullptr;
    CueWindows* m_cueWindows = nullptr;
    UpdatePanel* m_updatePanel = nullptr;
};

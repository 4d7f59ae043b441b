#pragma once

#include "panel/qz62View.h"

#include <QMainWindow>
#include <memory>

class CueWindows;
class QLabel;
class MidiView;
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

    qz62View* panel() const { return m_panel; }
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
    void showLinkState(const QString& text, PanelController::LinkState state);

    std::unique_ptr<Ui::MainWindow> m_ui;
    qz62View* m_panel = nullptr;
    QLabel* m_linkLabel = nullptr;
    MidiView* m_midiView = nullptr;
    CueWindows* m_cueWindows = nullptr;
    UpdatePanel* m_updatePanel = nullptr;
};

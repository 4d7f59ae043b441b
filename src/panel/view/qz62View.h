#pragma once

#include "panel/PanelController.h"

#include <QString>
#include <QWidget>
#include <array>
#include <functional>
#include <memory>

class NetworkPanel;
class QButtonGroup;
class QSettings;
class QCheckBox;
class QSlider;
class QSpinBox;
class QTabWidget;
namespace Ui {
class qz62View;
}

// How the panel finds its unit.
struct PanelOptions {
    QString explicitPort;    // use this port instead of searching
    QString searchDirectory; // where to look for adapters (default /dev)
    int tickIntervalMs = PanelController::kTickMs;
    bool serviceDiscovery = true; // browse for network proxies
    QString networkHost;          // connect to this proxy (host:port) at start
};

// The main window's control panel: the video and timecode settings, the unit
// tab (transfer progress, received lines, command line, re-read and FLASH
// reset) and the tabs of the overlay editors, above a banner that always says
// whether a unit is connected. The logic lives in PanelController; this class
// binds the widgets to it.
class qz62View : public QWidget {
    Q_OBJECT
public:
    static constexpr int kUnitTab = 2;
    static constexpr int kViewTag = 0x55aa;

    explicit qz62View(QWidget* parent = nullptr);
    ~qz62View() override;

    // Start-up: fills the lists, then creates the link, looks for the unit
    // and reads its settings.
    void awakeFromNib(const PanelOptions& options = PanelOptions());
    // The window is closing: stops the link.
    void windowClosing();

    PanelController& controller() { return m_controller; }
    QTabWidget* tabView() const;
    // The overlay editors' widgets go on their tabs; the application builds
    // and wires them.
    void setEditorTabs(QWidget* streamer, QWidget* punch, QWidget* annunciator);
    NetworkPanel* networkPanel() const { return m_networkPanel; }
    int tag() const { return kViewTag; }
    // Text for the user to read in the unit tab's log (MIDI file contents,
    // self-tests), after what the unit sent so far.
    void appendDebugText(const QString& text);
    // One line describing the link, as the banner shows it.
    QString linkStateText() const { return m_linkText; }
    // What the user arranged, kept for the next start: the tab shown and
    // whether the keep-alive is left out of the log.
    void saveLayout(QSettings& settings) const;
    void restoreLayout(const QSettings& settings);

signals:
    void windowTitleChanged(const QString& title);
    void linkStateTextChanged(const QString& text, PanelController::LinkState state);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    // Files dragged over the panel are answered but never taken: cue files
    // are dropped on a cue table instead.
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    struct MaskControls {
        QSlider* stepper;
        QSpinBox* field;
        Mask which;
    };
    std::array<MaskControls, 5> maskControls() const;
    void connectControls();
    void connectVideoControls();
    void connectMasking();
    void connectPopEnables();
    void connectUnitTab();
    void refresh(PanelGroup group);
    // Each setting group's controls work once the unit has reported it; a
    // group box whose settings are not all read says so in its title.
    void showReadState();
    void refreshProgress();
    void refreshUnitMemory();
    void refreshAll();
    void appendRxLine(const QString& line);
    void showLinkState(PanelController::LinkState state, const QString& detail);
    void onTransferStarted();

    std::unique_ptr<Ui::qz62View> m_ui;
    PanelController m_controller;
    QButtonGroup* m_rateMatrix = nullptr;
    QButtonGroup* m_priorityMatrix = nullptr;
    QButtonGroup* m_popMatrix = nullptr;
    QString m_linkText;
    NetworkPanel* m_networkPanel = nullptr;
};

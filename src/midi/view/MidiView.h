#pragma once

#include "midi/MidiController.h"

#include <QWidget>
#include <memory>

class QAction;
class QLabel;
class QMenu;

// The timecode counter (`ctr`) and the MIDI menus. Put it in any layout; it
// owns its MidiController, which does the work and to which a CueFiring is
// attached for the cue sheet in front.
//
// With no timecode from the connected source the counter shows dashes.
class MidiView : public QWidget {
    Q_OBJECT
public:
    // `controller` null: one on the system's MIDI.
    explicit MidiView(QWidget* parent = nullptr,
                      std::unique_ptr<MidiController> controller = nullptr);
    ~MidiView() override;

    MidiController* controller() const { return m_controller.get(); }
    QLabel* ctr() const { return m_ctr; }
    // The incoming rate and running or stopped, under the counter.
    QLabel* stateLabel() const { return m_state; }

    // Fills the two menus with the sources and destinations, ticks the chosen
    // ones, and rebuilds them whenever the system's setup changes. `midiMenu`
    // gets the drop-frame preference and the HUI lamp test.
    void initMenuItems(QMenu* input, QMenu* output, QMenu* midiMenu = nullptr);
    // Starts the controller (ports, remembered source, polling).
    void awakeFromNib();

    QAction* exactDropFrameAction() const { return m_exactDropFrame; }

private:
    void rebuildMenus();
    void showTimecodeState();
    static void fillMenu(QMenu* menu, const QStringList& names, const QString& chosen,
                         const std::function<void(const QString&)>& choose);

    std::unique_ptr<MidiController> m_controller;
    QLabel* m_ctr = nullptr;
    QLabel* m_state = nullptr;
    QMenu* m_input = nullptr;
    QMenu* m_output = nullptr;
    QAction* m_exactDropFrame = nullptr;
};

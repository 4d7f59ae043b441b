#pragma once

#include "overlay/StreamerEditor.h"
#include "overlay/view/OverlayView.h"

#include <array>
#include <utility>

class ColorWell;
class QDoubleSpinBox;
class QGridLayout;
class QGroupBox;
class QSlider;
class QSpinBox;

// The Streamer tab: colours of the four streamers and the end bar, the bar's
// geometry, transparency and timing, a live preview of streamer 0 and its end
// bar, and buttons that fire the streamers and accumulate. The logic is in
// StreamerEditor; this class binds the controls to it.
class MonitorView final : public OverlayView<StreamerEditor> {
    Q_OBJECT
public:
    explicit MonitorView(QWidget* parent = nullptr);

private:
    QLayout* fireButtons();
    QGroupBox* colourGroup();
    QGroupBox* barGroup();
    QGroupBox* timingGroup();
    QSlider* addSlider(QGridLayout* grid, int row, const QString& label, const char* name, int max,
                       void (StreamerEditor::*set)(int));
    std::pair<QSpinBox*, QDoubleSpinBox*> addTiming(QGridLayout* grid, int row,
                                                    const QString& label, const char* name,
                                                    void (StreamerEditor::*set)(int));
    void refresh() override;

    std::array<QGroupBox*, 3> m_groups{};
    std::array<ColorWell*, 5> m_wells{};
    QSlider* m_width = nullptr;
    QSlider* m_top = nullptr;
    QSlider* m_bottom = nullptr;
    QSlider* m_transparency = nullptr;
    QSpinBox* m_durationStepper = nullptr;
    QDoubleSpinBox* m_durationText = nullptr;
    QSpinBox* m_delayStepper = nullptr;
    QDoubleSpinBox* m_delayText = nullptr;
};

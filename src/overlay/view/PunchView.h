#pragma once

#include "overlay/PunchEditor.h"

#include <QWidget>
#include <array>

class ColorWell;
class PreviewCanvas;
class QCheckBox;
class QDoubleSpinBox;
class QSlider;
class QSpinBox;

// The Punch tab: size, the four punch colours with their reverse boxes,
// duration, repeats, the four switches, a live preview of punch 0 on which
// a click or drag places the punch, and buttons that fire the punches. The
// logic is in PunchEditor; this class binds the controls to it.
class PunchView final : public QWidget {
    Q_OBJECT
public:
    explicit PunchView(QWidget* parent = nullptr);
    ~PunchView() override;

    PunchEditor& editor() { return m_editor; }
    PreviewCanvas* canvas() const { return m_canvas; }
    void awakeFromNib();
    void windowClosing();

private:
    void refresh(); // settings -> controls, without sending

    PunchEditor m_editor;
    PreviewCanvas* m_canvas = nullptr;
    QSlider* m_size = nullptr;
    std::array<ColorWell*, 4> m_wells{};
    std::array<QCheckBox*, 4> m_reverse{};
    std::array<QCheckBox*, PunchSettings::kSwitches> m_switches{};
    QSpinBox* m_duration = nullptr;
    QSpinBox* m_repeatCount = nullptr;
    QSpinBox* m_repeatStepper = nullptr;
    QDoubleSpinBox* m_repeatSeconds = nullptr;
    bool m_refreshing = false; // controls follow the unit; nothing is sent
};

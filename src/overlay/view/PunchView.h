#pragma once

#include "overlay/PunchEditor.h"
#include "overlay/view/OverlayView.h"

#include <array>

class ColorWell;
class QCheckBox;
class QDoubleSpinBox;
class QGridLayout;
class QGroupBox;
class QSlider;
class QSpinBox;

// The Punch tab: size, the four punch colours with their reverse boxes,
// duration, repeats, the four switches, a live preview of punch 0 on which
// a click or drag places the punch, and buttons that fire the punches. The
// logic is in PunchEditor; this class binds the controls to it.
class PunchView final : public OverlayView<PunchEditor> {
    Q_OBJECT
public:
    explicit PunchView(QWidget* parent = nullptr);

private:
    QLayout* positionFields();
    QLayout* fireButtons();
    QGroupBox* colourGroup();
    QGroupBox* punchGroup();
    QGroupBox* switchGroup();
    void addSize(QGridLayout* grid, int row);
    // A number field that sends its value with `set` once its editing is done.
    QSpinBox* addNumber(QGridLayout* grid, int row, const QString& label, const char* name,
                        const QString& suffix, void (PunchEditor::*set)(int));
    void addInterval(QGridLayout* grid, int row);
    void refresh() override;

    std::array<QGroupBox*, 3> m_groups{};
    QSlider* m_size = nullptr;
    QSpinBox* m_positionX = nullptr;
    QSpinBox* m_positionY = nullptr;
    std::array<ColorWell*, 4> m_wells{};
    std::array<QCheckBox*, 4> m_reverse{};
    std::array<QCheckBox*, PunchSettings::kSwitches> m_switches{};
    QSpinBox* m_duration = nullptr;
    QSpinBox* m_repeatCount = nullptr;
    QSpinBox* m_repeatStepper = nullptr;
    QDoubleSpinBox* m_repeatSeconds = nullptr;
};

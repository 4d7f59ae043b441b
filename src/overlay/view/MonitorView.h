#pragma once

#include "overlay/StreamerEditor.h"

#include <QWidget>
#include <array>

class ColorWell;
class PreviewCanvas;
class QDoubleSpinBox;
class QLabel;
class QSlider;
class QSpinBox;

// The Streamer tab: colours of the four streamers and the end bar, the bar's
// geometry, transparency and timing, a live preview of streamer 0 and its end
// bar, and buttons that fire the streamers and accumulate. The logic is in
// StreamerEditor; this class binds the controls to it.
class MonitorView final : public QWidget {
    Q_OBJECT
public:
    explicit MonitorView(QWidget* parent = nullptr);
    ~MonitorView() override;

    StreamerEditor& editor() { return m_editor; }
    PreviewCanvas* canvas() const { return m_canvas; }
    // Starts the preview worker; stops it when the window closes.
    void awakeFromNib();
    void windowClosing();

private:
    QSlider* addSlider(class QGridLayout* grid, int row, const QString& label, const char* name,
                       int max, void (StreamerEditor::*set)(int));
    std::pair<QSpinBox*, QDoubleSpinBox*> addTiming(QGridLayout* grid, int row,
                                                    const QString& label, const char* name,
                                                    void (StreamerEditor::*set)(int));
    void refresh(); // settings -> controls, without sending

    StreamerEditor m_editor;
    PreviewCanvas* m_canvas = nullptr;
    std::array<ColorWell*, 5> m_wells{};
    QSlider* m_width = nullptr;
    QSlider* m_top = nullptr;
    QSlider* m_bottom = nullptr;
    QSlider* m_transparency = nullptr;
    QSpinBox* m_durationStepper = nullptr;
    QDoubleSpinBox* m_durationText = nullptr;
    QSpinBox* m_delayStepper = nullptr;
    QDoubleSpinBox* m_delayText = nullptr;
    bool m_refreshing = false; // controls follow the unit; nothing is sent
};

#pragma once

#include "overlay/AnnunciatorEditor.h"

#include <QWidget>
#include <array>

class PreviewCanvas;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QGridLayout;

// The Annunciator tab: a preview of the unit's four text elements, each of
// which the user drags into place; the annunciator's mode and its three
// colour pairs; the timecode counter's source; colours and sizes of the
// timecode, text and bar/beat elements; the counter's transport; and sample
// lines to show on the unit. The logic is in AnnunciatorEditor; this class
// binds the controls to it.
class AnnunciatorView final : public QWidget {
    Q_OBJECT
public:
    explicit AnnunciatorView(QWidget* parent = nullptr);
    ~AnnunciatorView() override;

    AnnunciatorEditor& editor() { return m_editor; }
    PreviewCanvas* canvas() const { return m_canvas; }
    void awakeFromNib();
    void windowClosing();

    // The colour names of the combo boxes: foregrounds 0..7, backgrounds
    // 0..15.
    static QString colorName(int index);

private:
    using Element = AnnunciatorElement;
    struct ItemControls {
        QComboBox* fore = nullptr;
        QComboBox* back = nullptr;
        QComboBox* points = nullptr;
    };
    QComboBox* colorCombo(const char* name, bool background);
    QComboBox* pointCombo(const char* name, Element e);
    void addItemRow(QGridLayout* grid, int row, const QString& label, Element e,
                    const char* prefix);
    QPointF toCanvas(double fromLeft, double fromTop) const;
    void refresh(); // settings -> controls, without sending

    AnnunciatorEditor m_editor;
    PreviewCanvas* m_canvas = nullptr;
    QButtonGroup* m_matrixAnnunciator = nullptr;
    QButtonGroup* m_matrixCom = nullptr;
    QCheckBox* m_showMidi = nullptr;
    QComboBox* m_ltc = nullptr;
    std::array<std::array<QComboBox*, 2>, AnnunciatorSettings::kPairs> m_pairCombos{};
    PerElement<ItemControls> m_items;
    bool m_refreshing = false; // controls follow the unit; nothing is sent
};

#pragma once

#include "overlay/AnnunciatorEditor.h"
#include "overlay/view/OverlayView.h"

#include <array>

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QGridLayout;
class QGroupBox;

// The Annunciator tab: a preview of the unit's four text elements, each of
// which the user drags into place; the annunciator's mode and its three
// colour pairs; the timecode counter's source; colours and sizes of the
// timecode, text and bar/beat elements; the counter's transport; and sample
// lines to show on the unit. The logic is in AnnunciatorEditor; this class
// binds the controls to it.
class AnnunciatorView final : public OverlayView<AnnunciatorEditor> {
    Q_OBJECT
public:
    explicit AnnunciatorView(QWidget* parent = nullptr);

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
    void takeDrags();
    QLayout* sampleButtons();
    QGroupBox* annunciatorGroup();
    QGroupBox* elementGroup();
    QGroupBox* transportGroup();
    QComboBox* colorCombo(const char* name, bool background);
    QComboBox* pointCombo(const char* name, Element e);
    void addItemRow(QGridLayout* grid, int row, const QString& label, Element e,
                    const char* prefix);
    QPointF toCanvas(double fromLeft, double fromTop) const;
    void refresh() override;
    // Each control works once the unit has reported what it sets.
    void showReadState();

    QGroupBox* m_annunciatorBox = nullptr;
    QGroupBox* m_elementBox = nullptr;
    QGroupBox* m_transportBox = nullptr;
    QButtonGroup* m_matrixAnnunciator = nullptr;
    QButtonGroup* m_matrixCom = nullptr;
    QCheckBox* m_showMidi = nullptr;
    QComboBox* m_ltc = nullptr;
    std::array<std::array<QComboBox*, 2>, AnnunciatorSettings::kPairs> m_pairCombos{};
    PerElement<ItemControls> m_items;
};

#include "overlay/view/AnnunciatorView.h"

#include "base/BarsPalette.h"
#include "base/view/BarsColorList.h"
#include "base/view/UnreadMark.h"
#include "overlay/view/PreviewCanvas.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace {
using Settings = AnnunciatorSettings;
constexpr int kForegrounds = 8;
constexpr int kBackgrounds = 16;

const char* const kModeNames[] = {"Off", "Rehearse", "Record", "Playback"};
const char* const kModeTips[] = {
    "The unit shows no annunciator", "The unit shows \u201cRehearse\u201d over the picture",
    "The unit shows the Record annunciator", "The unit shows the Playback annunciator"};
const char* const kModeObjects[] = {"radioAnnunciatorOff", "radioAnnunciatorRehearse",
                                    "radioAnnunciatorRecord", "radioAnnunciatorPlayback"};
// The timecode counter's sources; a source the unit reports beyond these is
// added as a numbered item.
const char* const kTcSources[] = {"Off", "Timecode", "Feet and frames"};
const char* const kPairNames[] = {"Normal", "Record", "Playback"};
const char* const kPairObjects[] = {"", "Record", "Playback"};

void select(QComboBox* combo, int value) {
    const int index = combo->findData(value);
    if (index >= 0)
        combo->setCurrentIndex(index);
}

QRadioButton* radio(const char* text, const char* name) {
    auto* button = new QRadioButton(QString::fromLatin1(text));
    button->setObjectName(QString::fromLatin1(name));
    return button;
}
} // namespace

QString AnnunciatorView::colorName(int index) {
    if (index >= 0 && index < kForegrounds)
        return barspalette::name(index);
    // The upper eight background codes are the same colours with the box's
    // see-through bit set.
    if (index >= kForegrounds && index < kBackgrounds)
        return QStringLiteral("translucent %1").arg(barspalette::name(index - kForegrounds));
    return QStringLiteral("colour %1").arg(index);
}

AnnunciatorView::AnnunciatorView(QWidget* parent)
    : OverlayView(parent, QStringLiteral("AnnunciatorView"), QStringLiteral("annunciatorPreview"),
                  QStringLiteral("Drag an element to place it on the picture")) {
    takeDrags();
    m_annunciatorBox = annunciatorGroup();
    m_elementBox = elementGroup();
    m_transportBox = transportGroup();
    layOut(sampleButtons(), {m_annunciatorBox, m_elementBox, m_transportBox});
    bindEditor();
}

void AnnunciatorView::takeDrags() {
    m_canvas->setPlaceable(true);
    m_canvas->setCursor(Qt::OpenHandCursor);
    connect(m_canvas, &PreviewCanvas::pressed, this,
            [this](double fx, double fy) { m_editor.mouseDown(toCanvas(fx, fy)); });
    connect(m_canvas, &PreviewCanvas::dragged, this,
            [this](double fx, double fy) { m_editor.mouseDragged(toCanvas(fx, fy)); });
    connect(m_canvas, &PreviewCanvas::released, this, [this] { m_editor.mouseUp(); });
}

QLayout* AnnunciatorView::sampleButtons() {
    auto* samples = new QHBoxLayout;
    const struct {
        const char* text;
        const char* name;
        const char* tip;
        void (AnnunciatorEditor::*action)();
    } buttons[] = {
        {"Show sample &text", "buttonShowSampleText", "Show a sample on the unit's text line",
         &AnnunciatorEditor::onShowSampleText},
        {"Clear text", "buttonClearSampleText", "Clear the unit's text line",
         &AnnunciatorEditor::onClearSampleText},
        {"Show sample &counter", "buttonShowSampleBarBeat",
         "Show a sample on the unit's bar/beat line", &AnnunciatorEditor::onShowSampleBarBeat},
        {"Clear counter", "buttonClearSampleBarBeat", "Clear the unit's bar/beat line",
         &AnnunciatorEditor::onClearSampleBarBeat},
    };
    for (const auto& b : buttons) {
        auto* button = new QPushButton(QString::fromLatin1(b.text));
        button->setObjectName(QString::fromLatin1(b.name));
        button->setToolTip(QString::fromLatin1(b.tip));
        connect(button, &QPushButton::clicked, this,
                [this, action = b.action] { (m_editor.*action)(); });
        samples->addWidget(button);
    }
    return samples;
}

// The mode, the three colour pairs and the annunciator's size.
QGroupBox* AnnunciatorView::annunciatorGroup() {
    auto* annunciator = new QGroupBox(QStringLiteral("Annunciator"));
    auto* grid = new QGridLayout(annunciator);
    m_matrixAnnunciator = new QButtonGroup(this);
    auto* modes = new QHBoxLayout;
    for (int i = 0; i < 4; ++i) {
        QRadioButton* button = radio(kModeNames[i], kModeObjects[i]);
        button->setToolTip(QString::fromUtf8(kModeTips[i]));
        m_matrixAnnunciator->addButton(button, i);
        modes->addWidget(button);
    }
    connect(m_matrixAnnunciator, &QButtonGroup::idClicked, this,
            [this](int mode) { m_editor.setMode(mode); });
    grid->addLayout(modes, 0, 0, 1, 3);
    grid->addWidget(new QLabel(QStringLiteral("Text")), 1, 1);
    grid->addWidget(new QLabel(QStringLiteral("Box")), 1, 2);
    for (int pair = 0; pair < Settings::kPairs; ++pair) {
        const QByteArray base = QByteArray("comboBoxAnnunciator");
        QComboBox* fore = colorCombo((base + "Foreground" + kPairObjects[pair]).constData(), false);
        QComboBox* back = colorCombo((base + "Background" + kPairObjects[pair]).constData(), true);
        const QString when = QStringLiteral("(%1 colours)").arg(QLatin1String(kPairNames[pair]));
        fore->setToolTip(fore->toolTip() + QStringLiteral(" of the annunciator ") + when);
        back->setToolTip(back->toolTip() + QStringLiteral(" of the annunciator ") + when);
        auto send = [this, pair, fore, back] {
            if (!refreshing())
                m_editor.setAnnunciatorColor(
                    pair, {fore->currentData().toInt(), back->currentData().toInt()});
        };
        connect(fore, &QComboBox::activated, this, send);
        connect(back, &QComboBox::activated, this, send);
        grid->addWidget(new QLabel(QString::fromLatin1(kPairNames[pair])), pair + 2, 0);
        grid->addWidget(fore, pair + 2, 1);
        grid->addWidget(back, pair + 2, 2);
        m_pairCombos[std::size_t(pair)] = {fore, back};
    }
    grid->addWidget(new QLabel(QStringLiteral("Size")), 5, 0);
    grid->addWidget(pointCombo("annunciatorPointCombo", Element::Annunciator), 5, 1);
    return annunciator;
}

// The timecode, text and bar/beat elements, and what the counter shows.
QGroupBox* AnnunciatorView::elementGroup() {
    auto* elements = new QGroupBox(QStringLiteral("Counter and text lines"));
    auto* grid = new QGridLayout(elements);
    grid->addWidget(new QLabel(QStringLiteral("Text")), 0, 1);
    grid->addWidget(new QLabel(QStringLiteral("Box")), 0, 2);
    grid->addWidget(new QLabel(QStringLiteral("Size")), 0, 3);
    addItemRow(grid, 1, QStringLiteral("Timecode"), Element::Tc, "Tc");
    addItemRow(grid, 2, QStringLiteral("Text"), Element::Text, "Text");
    addItemRow(grid, 3, QStringLiteral("Bar/beat"), Element::BarBeat, "BarBeat");
    m_ltc = new QComboBox;
    m_ltc->setObjectName(QStringLiteral("comboBoxAnnunciatorLtc"));
    m_ltc->setToolTip(QStringLiteral("What the unit's timecode counter shows: nothing, "
                                     "timecode, or feet and frames"));
    for (int i = 0; i < int(std::size(kTcSources)); ++i)
        m_ltc->addItem(QString::fromLatin1(kTcSources[i]), i);
    connect(m_ltc, &QComboBox::activated, this, [this](int index) {
        if (!refreshing())
            m_editor.setTcSource(m_ltc->itemData(index).toInt());
    });
    grid->addWidget(new QLabel(QStringLiteral("Counter shows")), 4, 0);
    grid->addWidget(m_ltc, 4, 1, 1, 2);
    return elements;
}

QGroupBox* AnnunciatorView::transportGroup() {
    auto* com = new QGroupBox(QStringLiteral("Counter transport"));
    auto* row = new QHBoxLayout(com);
    m_matrixCom = new QButtonGroup(this);
    m_matrixCom->addButton(radio("MIDI", "radioButtonMidi"), Settings::kMidi);
    m_matrixCom->addButton(radio("Sony", "radioButtonSony"), Settings::kSony);
    m_matrixCom->button(Settings::kMidi)
        ->setToolTip(QStringLiteral("The unit's counters follow the transport over MIDI"));
    m_matrixCom->button(Settings::kSony)
        ->setToolTip(QStringLiteral("The unit's counters follow the transport over its Sony "
                                    "serial port"));
    connect(m_matrixCom, &QButtonGroup::idClicked, this,
            [this](int cell) { m_editor.setCom(cell); });
    m_showMidi = new QCheckBox(QStringLiteral("Show MIDI"));
    m_showMidi->setObjectName(QStringLiteral("checkBoxShowMidi"));
    m_showMidi->setToolTip(QStringLiteral("Sets the unit's show-MIDI switch"));
    connect(m_showMidi, &QCheckBox::clicked, this, [this](bool on) { m_editor.setShowMidi(on); });
    row->addWidget(m_matrixCom->button(Settings::kMidi));
    row->addWidget(m_matrixCom->button(Settings::kSony));
    row->addWidget(m_showMidi);
    row->addStretch(1);
    return com;
}

QComboBox* AnnunciatorView::colorCombo(const char* name, bool background) {
    auto* combo = new QComboBox;
    combo->setObjectName(QString::fromLatin1(name));
    for (int i = 0; i < (background ? kBackgrounds : kForegrounds); ++i)
        combo->addItem(BarsColorList::swatch(i % kForegrounds), colorName(i), i);
    combo->setToolTip(background ? QStringLiteral("Colour of the box behind the letters")
                                 : QStringLiteral("Colour of the letters"));
    return combo;
}

QComboBox* AnnunciatorView::pointCombo(const char* name, Element e) {
    auto* combo = new QComboBox;
    combo->setObjectName(QString::fromLatin1(name));
    combo->setToolTip(QStringLiteral("Font size, in pixels of the 1080-line picture, from the "
                                     "sizes the unit offers"));
    connect(combo, &QComboBox::activated, this, [this, combo, e](int index) {
        if (!refreshing())
            m_editor.setFontPoint(e, combo->itemData(index).toInt());
    });
    m_items[e].points = combo;
    return combo;
}

void AnnunciatorView::addItemRow(QGridLayout* grid, int row, const QString& label, Element e,
                                 const char* prefix) {
    ItemControls& c = m_items[e];
    const QByteArray base = QByteArray("comboBox") + prefix;
    c.fore = colorCombo((base + "Foreground").constData(), false);
    c.back = colorCombo((base + "Background").constData(), true);
    c.fore->setToolTip(c.fore->toolTip() + QStringLiteral(" of the %1").arg(label.toLower()));
    c.back->setToolTip(c.back->toolTip() + QStringLiteral(" of the %1").arg(label.toLower()));
    connect(c.fore, &QComboBox::activated, this, [this, e, fore = c.fore](int index) {
        if (!refreshing())
            m_editor.setItemForeground(e, fore->itemData(index).toInt());
    });
    connect(c.back, &QComboBox::activated, this, [this, e, back = c.back](int index) {
        if (!refreshing())
            m_editor.setItemBackground(e, back->itemData(index).toInt());
    });
    QByteArray points = QByteArray(prefix) + "PointCombo";
    points[0] = char(QChar::toLower(uint(points[0])));
    grid->addWidget(new QLabel(label), row, 0);
    grid->addWidget(c.fore, row, 1);
    grid->addWidget(c.back, row, 2);
    grid->addWidget(pointCombo(points.constData(), e), row, 3);
}

QPointF AnnunciatorView::toCanvas(double fromLeft, double fromTop) const {
    return {fromLeft * PreviewWorker::kCanvasWidth, (1.0 - fromTop) * PreviewWorker::kCanvasHeight};
}

void AnnunciatorView::showReadState() {
    const AnnunciatorReports& r = m_editor.reported();
    for (QAbstractButton* b : m_matrixAnnunciator->buttons())
        b->setEnabled(r.mode);
    for (const auto& pair : m_pairCombos)
        for (QComboBox* combo : pair)
            combo->setEnabled(r.colors);
    for (Element e : kEveryElement) {
        const ItemControls& c = m_items[e];
        if (c.fore) {
            c.fore->setEnabled(r.windows[e]);
            c.back->setEnabled(r.windows[e]);
        }
        c.points->setEnabled(r.windows[e] && r.sizes);
    }
    m_ltc->setEnabled(r.tcSource);
    for (QAbstractButton* b : m_matrixCom->buttons())
        b->setEnabled(r.com);
    m_showMidi->setEnabled(r.com);
    const bool placed = r.windows[Element::Tc] && r.windows[Element::Text] &&
                        r.windows[Element::BarBeat] && r.sizes && r.tcSource;
    unreadmark::markTitle(m_annunciatorBox,
                          !(r.mode && r.colors && r.windows[Element::Annunciator] && r.sizes));
    unreadmark::markTitle(m_elementBox, !placed);
    unreadmark::markTitle(m_transportBox, !r.com);
}

void AnnunciatorView::refresh() {
    showReadState();
    const Settings& s = m_editor.settings();

    // Exclusive groups cannot show "none"; the unit can report a mode or a
    // transport the panel does not have.
    auto show = [](QButtonGroup* group, int id) {
        group->setExclusive(false);
        for (QAbstractButton* b : group->buttons())
            b->setChecked(group->id(b) == id);
        group->setExclusive(true);
    };
    show(m_matrixAnnunciator, s.mode);
    show(m_matrixCom, s.comCell);
    m_showMidi->setChecked(s.showMidi);

    for (int pair = 0; pair < Settings::kPairs; ++pair) {
        const Settings::Colors& c = s.annunciatorColors[std::size_t(pair)];
        select(m_pairCombos[std::size_t(pair)][0], c.fore);
        select(m_pairCombos[std::size_t(pair)][1], c.back);
    }
    for (Element e : kEveryElement) {
        ItemControls& c = m_items[e];
        if (c.fore) {
            select(c.fore, s.itemColors[e].fore);
            select(c.back, s.itemColors[e].back);
        }
        // The sizes the unit offers, and the one in use even if it is not
        // among them.
        QList<int> choices = s.pointChoices;
        const int inUse = s.items[e].fontPoint;
        if (!choices.contains(inUse))
            choices << inUse;
        QList<int> shown;
        for (int k = 0; k < c.points->count(); ++k)
            shown << c.points->itemData(k).toInt();
        if (shown != choices) {
            c.points->clear();
            for (int v : choices)
                c.points->addItem(QString::number(v), v);
        }
        select(c.points, inUse);
    }

    while (m_ltc->count() <= s.tcSource)
        m_ltc->addItem(QStringLiteral("Source %1").arg(m_ltc->count()), m_ltc->count());
    select(m_ltc, s.tcSource);
}

#include "overlay/view/PunchView.h"

#include "base/view/SendOnEdit.h"
#include "base/view/UnreadMark.h"
#include "overlay/view/ColorWell.h"
#include "overlay/view/PreviewCanvas.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>
#include <algorithm>
#include <cstdint>

namespace {
constexpr double kHundredthsPerSecond = 100.0;
constexpr int kMaxStep = 255;

QSpinBox* spinBox(const char* name, int max, const QString& suffix, const QString& tip) {
    auto* box = new QSpinBox;
    box->setObjectName(QString::fromLatin1(name));
    box->setRange(0, max);
    box->setSuffix(suffix);
    box->setToolTip(tip);
    return box;
}

// A value the unit reported, as far as a control can show it.
int shown(std::uint32_t value) {
    return int(std::min<std::uint32_t>(value, PunchEditor::kMaxNumber));
}
} // namespace

PunchView::PunchView(QWidget* parent)
    : OverlayView(parent, QStringLiteral("PunchView"), QStringLiteral("punchPreview"),
                  QStringLiteral("Click or drag to place the punch")) {
    m_canvas->setPlaceable(true);
    m_canvas->setCursor(Qt::CrossCursor);
    connect(m_canvas, &PreviewCanvas::placed, this,
            [this](double fx, double fy) { m_editor.placeAt(fx, fy); });
    auto* underPreview = new QVBoxLayout;
    underPreview->addLayout(positionFields());
    underPreview->addLayout(fireButtons());
    m_groups = {colourGroup(), punchGroup(), switchGroup()};
    layOut(underPreview, {m_groups[0], m_groups[1], m_groups[2]});
    bindEditor();
}

// The punch centre typed in the unit's steps, beside the preview it is
// placed on by mouse.
QLayout* PunchView::positionFields() {
    auto* row = new QHBoxLayout;
    const QString across = QStringLiteral("Where the punch centre sits across the picture, "
                                          "0–255 of its width from the left");
    const QString down = QStringLiteral("Where the punch centre sits down the picture, 0–255 of "
                                        "its height from the top");
    m_positionX = spinBox("punchPositionX", kMaxStep, QString(), across);
    m_positionY = spinBox("punchPositionY", kMaxStep, QString(), down);
    for (QSpinBox* box : {m_positionX, m_positionY}) {
        sendOnEdit(box, this, [this] {
            if (!refreshing())
                m_editor.placeAtWire(m_positionX->value(), m_positionY->value());
        });
    }
    auto* caption = new QLabel(QStringLiteral("Position &x"));
    caption->setBuddy(m_positionX);
    auto* yCaption = new QLabel(QStringLiteral("&y"));
    yCaption->setBuddy(m_positionY);
    row->addWidget(caption);
    row->addWidget(m_positionX);
    row->addWidget(yCaption);
    row->addWidget(m_positionY);
    row->addWidget(new QLabel(QStringLiteral("(0–255 of the picture)")));
    row->addStretch(1);
    return row;
}

QLayout* PunchView::fireButtons() {
    auto* fire = new QHBoxLayout;
    for (int i = 0; i < 4; ++i) {
        auto* button = new QPushButton(QStringLiteral("Fire &%1").arg(i));
        button->setObjectName(QStringLiteral("buttonPunch%1").arg(i));
        button->setToolTip(QStringLiteral("Flash punch %1 on the unit now").arg(i));
        connect(button, &QPushButton::clicked, this, [this, i] { m_editor.firePunch(i); });
        fire->addWidget(button);
    }
    return fire;
}

QGroupBox* PunchView::colourGroup() {
    auto* colours = new QGroupBox(QStringLiteral("Colours"));
    auto* grid = new QGridLayout(colours);
    for (int i = 0; i < 4; ++i) {
        auto* well = new ColorWell(QString::number(i));
        well->setObjectName(QStringLiteral("colorWellPunch%1").arg(i));
        well->setToolTip(QStringLiteral("Colour of punch %1; choosing one also flashes the punch "
                                        "on the unit")
                             .arg(i));
        connect(well, &ColorWell::colorChosen, this,
                [this, i](int code) { m_editor.setColor(i, code); });
        auto* rev = new QCheckBox(QStringLiteral("Rev"));
        rev->setObjectName(QStringLiteral("checkBoxRev%1").arg(i));
        rev->setToolTip(QStringLiteral("The unit draws punch %1 reversed").arg(i));
        connect(rev, &QCheckBox::toggled, this, [this, i](bool on) {
            if (!refreshing())
                m_editor.setReverse(i, on);
        });
        grid->addWidget(well, 0, i, Qt::AlignHCenter);
        grid->addWidget(rev, 1, i, Qt::AlignHCenter);
        m_wells[std::size_t(i)] = well;
        m_reverse[std::size_t(i)] = rev;
    }
    return colours;
}

QGroupBox* PunchView::punchGroup() {
    auto* shape = new QGroupBox(QStringLiteral("Punch"));
    auto* grid = new QGridLayout(shape);
    addSize(grid, 0);
    m_duration = addNumber(grid, 1, QStringLiteral("&Duration"), "textDurationFrames",
                           QStringLiteral(" frames"), &PunchEditor::setDurationFrames);
    m_duration->setToolTip(QStringLiteral("How long the unit shows each punch, in frames"));
    m_repeatCount = addNumber(grid, 2, QStringLiteral("Re&peats"), "textRepeatCount", QString(),
                              &PunchEditor::setRepeatCount);
    m_repeatCount->setToolTip(QStringLiteral("How many times the unit repeats the punch"));
    addInterval(grid, 3);
    return shape;
}

void PunchView::addSize(QGridLayout* grid, int row) {
    m_size = new QSlider(Qt::Horizontal);
    m_size->setObjectName(QStringLiteral("sliderPunchSize"));
    m_size->setRange(0, PunchEditor::kMaxSize);
    m_size->setPageStep(16);
    m_size->setToolTip(QStringLiteral("Size of the punch, 0–255 (255 is a circle as tall as the "
                                      "picture)"));
    auto* value = new QLabel;
    value->setMinimumWidth(value->fontMetrics().horizontalAdvance(QStringLiteral("0000")));
    value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    connect(m_size, &QSlider::valueChanged, value, qOverload<int>(&QLabel::setNum));
    connect(m_size, &QSlider::valueChanged, this, [this](int v) {
        if (!refreshing())
            m_editor.setSize(v);
    });
    auto* caption = new QLabel(QStringLiteral("&Size"));
    caption->setBuddy(m_size);
    grid->addWidget(caption, row, 0);
    grid->addWidget(m_size, row, 1, 1, 2);
    grid->addWidget(value, row, 3);
}

QSpinBox* PunchView::addNumber(QGridLayout* grid, int row, const QString& label, const char* name,
                               const QString& suffix, void (PunchEditor::*set)(int)) {
    QSpinBox* box = spinBox(name, PunchEditor::kMaxNumber, suffix, QString());
    sendOnEdit(box, this, [this, box, set] {
        if (!refreshing())
            (m_editor.*set)(box->value());
    });
    auto* caption = new QLabel(label);
    caption->setBuddy(box);
    grid->addWidget(caption, row, 0);
    grid->addWidget(box, row, 1, 1, 3);
    return box;
}

// The repeat interval: seconds as typed, hundredths beside them.
void PunchView::addInterval(QGridLayout* grid, int row) {
    const QString interval = QStringLiteral("Time between the punch's repeats");
    m_repeatStepper = spinBox("repeatSeconds", PunchEditor::kMaxNumber, QString(),
                              interval + QStringLiteral(", in hundredths of a second"));
    m_repeatSeconds = new QDoubleSpinBox;
    m_repeatSeconds->setObjectName(QStringLiteral("textRepeatSeconds"));
    m_repeatSeconds->setToolTip(interval + QStringLiteral(", in seconds"));
    m_repeatSeconds->setRange(0, PunchEditor::kMaxNumber / kHundredthsPerSecond);
    m_repeatSeconds->setDecimals(3);
    m_repeatSeconds->setSingleStep(0.1);
    m_repeatSeconds->setSuffix(QStringLiteral(" s"));
    sendOnEdit(m_repeatStepper, this, [this] {
        if (refreshing())
            return;
        const QSignalBlocker block(m_repeatSeconds);
        m_repeatSeconds->setValue(m_repeatStepper->value() / kHundredthsPerSecond);
        m_editor.setRepeatSeconds(m_repeatStepper->value());
    });
    sendOnEdit(m_repeatSeconds, this, [this] {
        if (refreshing())
            return;
        const int v = PunchEditor::hundredthsFromSeconds(m_repeatSeconds->value());
        const QSignalBlocker blockStepper(m_repeatStepper);
        m_repeatStepper->setValue(v);
        const QSignalBlocker blockSeconds(m_repeatSeconds);
        m_repeatSeconds->setValue(v / kHundredthsPerSecond);
        m_editor.setRepeatSeconds(v);
    });
    auto* caption = new QLabel(QStringLiteral("&Interval"));
    caption->setBuddy(m_repeatSeconds);
    grid->addWidget(caption, row, 0);
    grid->addWidget(m_repeatSeconds, row, 1, 1, 2);
    grid->addWidget(m_repeatStepper, row, 3);
}

QGroupBox* PunchView::switchGroup() {
    auto* switches = new QGroupBox(QStringLiteral("Switches"));
    auto* grid = new QGridLayout(switches);
    const struct {
        const char* name;
        const char* text;
        const char* tip;
    } names[PunchSettings::kSwitches] = {
        {"checkBoxPunchEnable", "Punch &enable", "The unit draws punches when they are fired"},
        {"checkBoxBeepsEnable", "&Beeps", "The unit beeps with each punch"},
        {"checkBoxBlackCueBlack", "Black cue blac&k",
         "Sets the unit's black-cue-black switch (sent with the punch settings)"},
        {"checkBoxPictureWhenStopped", "Picture when s&topped",
         "Sets the unit's picture-when-stopped switch (sent with the punch settings)"},
    };
    for (int i = 0; i < PunchSettings::kSwitches; ++i) {
        auto* box = new QCheckBox(QString::fromUtf8(names[i].text));
        box->setObjectName(QString::fromLatin1(names[i].name));
        box->setToolTip(QString::fromUtf8(names[i].tip));
        connect(box, &QCheckBox::toggled, this, [this, i](bool on) {
            if (!refreshing())
                m_editor.setSwitch(PunchSettings::Switch(i), on);
        });
        grid->addWidget(box, i / 2, i % 2);
        m_switches[std::size_t(i)] = box;
    }
    return switches;
}

void PunchView::refresh() {
    // The Fire buttons work at all times; the settings, the position and
    // placing on the preview once the unit has reported them.
    const bool read = m_editor.isRead();
    for (QGroupBox* group : m_groups)
        unreadmark::showGroup(group, read);
    m_positionX->setEnabled(read);
    m_positionY->setEnabled(read);
    m_canvas->setPlaceable(read);
    const PunchSettings& s = m_editor.settings();
    for (int i = 0; i < 4; ++i) {
        m_wells[std::size_t(i)]->setCode(s.colors[std::size_t(i)]);
        m_reverse[std::size_t(i)]->setChecked(s.reverse[std::size_t(i)]);
    }
    for (int i = 0; i < PunchSettings::kSwitches; ++i)
        m_switches[std::size_t(i)]->setChecked(s.switches[std::size_t(i)]);
    m_size->setValue(s.size);
    m_positionX->setValue(m_editor.wireX());
    m_positionY->setValue(m_editor.wireY());
    m_duration->setValue(shown(s.durationFrames));
    m_repeatCount->setValue(shown(s.repeatCount));
    m_repeatStepper->setValue(shown(s.repeatSeconds));
    m_repeatSeconds->setValue(m_repeatStepper->value() / kHundredthsPerSecond);
}

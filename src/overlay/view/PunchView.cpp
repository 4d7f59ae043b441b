#include "overlay/view/PunchView.h"

#include "base/view/SendOnEdit.h"
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

namespace {
constexpr double kHundredthsPerSecond = 100.0;

QSpinBox* spinBox(const char* name, int max, const QString& suffix) {
    auto* box = new QSpinBox;
    box->setObjectName(QString::fromLatin1(name));
    box->setRange(0, max);
    box->setSuffix(suffix);
    return box;
}
} // namespace

PunchView::PunchView(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("PunchView"));
    auto* outer = new QHBoxLayout(this);

    auto* left = new QVBoxLayout;
    m_canvas = new PreviewCanvas;
    m_canvas->setObjectName(QStringLiteral("punchPreview"));
    m_canvas->setPlaceable(true);
    m_canvas->setCursor(Qt::CrossCursor);
    m_canvas->setToolTip(QStringLiteral("Click or drag to place the punch"));
    connect(m_canvas, &PreviewCanvas::placed, this,
            [this](double fx, double fy) { m_editor.placeAt(fx, fy); });
    left->addWidget(m_canvas, 1);
    auto* fire = new QHBoxLayout;
    for (int i = 0; i < 4; ++i) {
        auto* button = new QPushButton(QStringLiteral("Fire &%1").arg(i));
        button->setObjectName(QStringLiteral("buttonPunch%1").arg(i));
        button->setToolTip(QStringLiteral("Flash punch %1 on the unit now").arg(i));
        connect(button, &QPushButton::clicked, this, [this, i] { m_editor.firePunch(i); });
        fire->addWidget(button);
    }
    left->addLayout(fire);
    outer->addLayout(left, 3);

    auto* right = new QVBoxLayout;
    auto* colours = new QGroupBox(QStringLiteral("Colours"));
    auto* colourGrid = new QGridLayout(colours);
    for (int i = 0; i < 4; ++i) {
        auto* well = new ColorWell(QString::number(i));
        well->setObjectName(QStringLiteral("colorWellPunch%1").arg(i));
        connect(well, &ColorWell::colorChosen, this,
                [this, i](int code) { m_editor.setColor(i, code); });
        auto* rev = new QCheckBox(QStringLiteral("Rev"));
        rev->setObjectName(QStringLiteral("checkBoxRev%1").arg(i));
        rev->setToolTip(QStringLiteral("Punch %1 reversed").arg(i));
        connect(rev, &QCheckBox::toggled, this, [this, i](bool on) {
            if (!m_refreshing)
                m_editor.setReverse(i, on);
        });
        colourGrid->addWidget(well, 0, i, Qt::AlignHCenter);
        colourGrid->addWidget(rev, 1, i, Qt::AlignHCenter);
        m_wells[std::size_t(i)] = well;
        m_reverse[std::size_t(i)] = rev;
    }
    right->addWidget(colours);

    auto* shape = new QGroupBox(QStringLiteral("Punch"));
    auto* grid = new QGridLayout(shape);
    m_size = new QSlider(Qt::Horizontal);
    m_size->setObjectName(QStringLiteral("sliderPunchSize"));
    m_size->setRange(0, PunchEditor::kMaxSize);
    m_size->setPageStep(16);
    auto* sizeValue = new QLabel;
    sizeValue->setMinimumWidth(sizeValue->fontMetrics().horizontalAdvance(QStringLiteral("0000")));
    sizeValue->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    connect(m_size, &QSlider::valueChanged, sizeValue, qOverload<int>(&QLabel::setNum));
    connect(m_size, &QSlider::valueChanged, this, [this](int v) {
        if (!m_refreshing)
            m_editor.setSize(v);
    });
    auto* sizeCaption = new QLabel(QStringLiteral("&Size"));
    sizeCaption->setBuddy(m_size);
    grid->addWidget(sizeCaption, 0, 0);
    grid->addWidget(m_size, 0, 1, 1, 2);
    grid->addWidget(sizeValue, 0, 3);

    m_duration = spinBox("textDurationFrames", PunchEditor::kMaxFrames, QStringLiteral(" frames"));
    sendOnEdit(m_duration, this, [this] {
        if (!m_refreshing)
            m_editor.setDurationFrames(m_duration->value());
    });
    auto* durationCaption = new QLabel(QStringLiteral("&Duration"));
    durationCaption->setBuddy(m_duration);
    grid->addWidget(durationCaption, 1, 0);
    grid->addWidget(m_duration, 1, 1, 1, 3);

    m_repeatCount = spinBox("textRepeatCount", PunchEditor::kMaxRepeats, QString());
    sendOnEdit(m_repeatCount, this, [this] {
        if (!m_refreshing)
            m_editor.setRepeatCount(m_repeatCount->value());
    });
    auto* countCaption = new QLabel(QStringLiteral("Re&peats"));
    countCaption->setBuddy(m_repeatCount);
    grid->addWidget(countCaption, 2, 0);
    grid->addWidget(m_repeatCount, 2, 1, 1, 3);

    m_repeatStepper = spinBox("repeatSeconds", PunchEditor::kMaxHundredths, QString());
    m_repeatStepper->setToolTip(QStringLiteral("Hundredths of a second"));
    m_repeatSeconds = new QDoubleSpinBox;
    m_repeatSeconds->setObjectName(QStringLiteral("textRepeatSeconds"));
    m_repeatSeconds->setRange(0, PunchEditor::kMaxHundredths / kHundredthsPerSecond);
    m_repeatSeconds->setDecimals(3);
    m_repeatSeconds->setSingleStep(0.1);
    m_repeatSeconds->setSuffix(QStringLiteral(" s"));
    sendOnEdit(m_repeatStepper, this, [this] {
        if (m_refreshing)
            return;
        const QSignalBlocker block(m_repeatSeconds);
        m_repeatSeconds->setValue(m_repeatStepper->value() / kHundredthsPerSecond);
        m_editor.setRepeatSeconds(m_repeatStepper->value());
    });
    sendOnEdit(m_repeatSeconds, this, [this] {
        if (m_refreshing)
            return;
        const int v = PunchEditor::hundredthsFromSeconds(m_repeatSeconds->value());
        const QSignalBlocker blockStepper(m_repeatStepper);
        m_repeatStepper->setValue(v);
        const QSignalBlocker blockSeconds(m_repeatSeconds);
        m_repeatSeconds->setValue(v / kHundredthsPerSecond);
        m_editor.setRepeatSeconds(v);
    });
    auto* intervalCaption = new QLabel(QStringLiteral("&Interval"));
    intervalCaption->setBuddy(m_repeatSeconds);
    grid->addWidget(intervalCaption, 3, 0);
    grid->addWidget(m_repeatSeconds, 3, 1, 1, 2);
    grid->addWidget(m_repeatStepper, 3, 3);
    right->addWidget(shape);

    auto* switches = new QGroupBox(QStringLiteral("Switches"));
    auto* switchGrid = new QGridLayout(switches);
    const std::array<std::pair<const char*, const char*>, PunchSettings::kSwitches> names = {{
        {"checkBoxPunchEnable", "Punch &enable"},
        {"checkBoxBeepsEnable", "&Beeps"},
        {"checkBoxBlackCueBlack", "Black cue blac&k"},
        {"checkBoxPictureWhenStopped", "Picture when s&topped"},
    }};
    for (int i = 0; i < PunchSettings::kSwitches; ++i) {
        auto* box = new QCheckBox(QString::fromUtf8(names[std::size_t(i)].second));
        box->setObjectName(QString::fromLatin1(names[std::size_t(i)].first));
        connect(box, &QCheckBox::toggled, this, [this, i](bool on) {
            if (!m_refreshing)
                m_editor.setSwitch(PunchSettings::Switch(i), on);
        });
        switchGrid->addWidget(box, i / 2, i % 2);
        m_switches[std::size_t(i)] = box;
    }
    right->addWidget(switches);
    right->addStretch(1);
    outer->addLayout(right, 2);

    m_editor.setImageHandler([this](const QImage& image) { m_canvas->setImage(image); });
    m_editor.setChangedHandler([this] { refresh(); });
    refresh();
}

PunchView::~PunchView() {
    m_editor.windowClosing();
}

void PunchView::awakeFromNib() {
    m_editor.awakeFromNib();
}

void PunchView::windowClosing() {
    m_editor.windowClosing();
}

void PunchView::refresh() {
    const PunchSettings& s = m_editor.settings();
    m_refreshing = true;
    for (int i = 0; i < 4; ++i) {
        m_wells[std::size_t(i)]->setCode(s.colors[std::size_t(i)]);
        m_reverse[std::size_t(i)]->setChecked(s.reverse[std::size_t(i)]);
    }
    for (int i = 0; i < PunchSettings::kSwitches; ++i)
        m_switches[std::size_t(i)]->setChecked(s.switches[std::size_t(i)]);
    m_size->setValue(s.size);
    m_duration->setValue(s.durationFrames);
    m_repeatCount->setValue(s.repeatCount);
    m_repeatStepper->setValue(s.repeatSeconds);
    m_repeatSeconds->setValue(s.repeatSeconds / kHundredthsPerSecond);
    m_refreshing = false;
}

#include "overlay/view/MonitorView.h"

#include "base/view/SendOnEdit.h"
#include "overlay/view/ColorWell.h"
#include "overlay/view/PreviewCanvas.h"

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
constexpr double kFiftiethsPerSecond = 50.0;

// A slider with its value beside it: the operator reads exact numbers.
QLabel* valueLabel(QSlider* slider) {
    auto* label = new QLabel;
    label->setMinimumWidth(label->fontMetrics().horizontalAdvance(QStringLiteral("0000")));
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    label->setNum(slider->value());
    QObject::connect(slider, &QSlider::valueChanged, label, qOverload<int>(&QLabel::setNum));
    return label;
}
} // namespace

MonitorView::MonitorView(QWidget* parent)
    : OverlayView(parent, QStringLiteral("MonitorView"), QStringLiteral("streamerPreview"),
                  QStringLiteral("Streamer 0 and its end bar as the unit draws them")) {
    layOut(fireButtons(), {colourGroup(), barGroup(), timingGroup()});
    bindEditor();
}

QLayout* MonitorView::fireButtons() {
    auto* fire = new QHBoxLayout;
    for (int i = 0; i < 4; ++i) {
        auto* button = new QPushButton(QStringLiteral("Fire &%1").arg(i));
        button->setObjectName(QStringLiteral("buttonStreamer%1").arg(i));
        button->setToolTip(QStringLiteral("Run streamer %1 on the unit now").arg(i));
        connect(button, &QPushButton::clicked, this, [this, i] { m_editor.fireStreamer(i); });
        fire->addWidget(button);
    }
    auto* accum = new QPushButton(QStringLiteral("&Accumulate"));
    accum->setObjectName(QStringLiteral("buttonAccum"));
    accum->setToolTip(QStringLiteral("Fire the accumulate function, as a cue does"));
    connect(accum, &QPushButton::clicked, this, [this] { m_editor.fireAccumulate(); });
    fire->addWidget(accum);
    return fire;
}

QGroupBox* MonitorView::colourGroup() {
    auto* colours = new QGroupBox(QStringLiteral("Colours"));
    auto* wells = new QHBoxLayout(colours);
    for (int i = 0; i <= StreamerSettings::kEndBar; ++i) {
        const bool endBar = i == StreamerSettings::kEndBar;
        auto* well = new ColorWell(endBar ? QStringLiteral("End bar") : QString::number(i));
        well->setObjectName(endBar ? QStringLiteral("colorWellEndBar")
                                   : QStringLiteral("colorWellStreamer%1").arg(i));
        connect(well, &ColorWell::colorChosen, this,
                [this, i](int code) { m_editor.setColor(i, code); });
        wells->addWidget(well);
        m_wells[std::size_t(i)] = well;
    }
    return colours;
}

QGroupBox* MonitorView::barGroup() {
    auto* bar = new QGroupBox(QStringLiteral("Bar"));
    auto* grid = new QGridLayout(bar);
    m_width = addSlider(grid, 0, QStringLiteral("&Width"), "sliderStreamerWidth",
                        StreamerEditor::kMaxWidth, &StreamerEditor::setWidth);
    m_top = addSlider(grid, 1, QStringLiteral("&Top"), "sliderStreamerTop",
                      StreamerEditor::kMaxByte, &StreamerEditor::setTop);
    m_bottom = addSlider(grid, 2, QStringLiteral("&Bottom"), "sliderStreamerBottom",
                         StreamerEditor::kMaxByte, &StreamerEditor::setBottom);
    m_transparency =
        addSlider(grid, 3, QStringLiteral("T&ransparency"), "sliderStreamerTransparency",
                  StreamerEditor::kMaxByte, &StreamerEditor::setTransparency);
    return bar;
}

QGroupBox* MonitorView::timingGroup() {
    auto* timing = new QGroupBox(QStringLiteral("Timing (steps of 1/50 s)"));
    auto* grid = new QGridLayout(timing);
    std::tie(m_durationStepper, m_durationText) = addTiming(
        grid, 0, QStringLiteral("&Duration"), "StreamerDuration", &StreamerEditor::setDuration);
    std::tie(m_delayStepper, m_delayText) =
        addTiming(grid, 1, QStringLiteral("D&elay"), "StreamerDelay", &StreamerEditor::setDelay);
    return timing;
}

QSlider* MonitorView::addSlider(QGridLayout* grid, int row, const QString& label, const char* name,
                                int max, void (StreamerEditor::*set)(int)) {
    auto* slider = new QSlider(Qt::Horizontal);
    slider->setObjectName(QString::fromLatin1(name));
    slider->setRange(0, max);
    slider->setPageStep(16);
    auto* caption = new QLabel(label);
    caption->setBuddy(slider);
    grid->addWidget(caption, row, 0);
    grid->addWidget(slider, row, 1);
    grid->addWidget(valueLabel(slider), row, 2);
    connect(slider, &QSlider::valueChanged, this, [this, set](int v) {
        if (!refreshing())
            (m_editor.*set)(v);
    });
    return slider;
}

std::pair<QSpinBox*, QDoubleSpinBox*> MonitorView::addTiming(QGridLayout* grid, int row,
                                                             const QString& label, const char* name,
                                                             void (StreamerEditor::*set)(int)) {
    auto* stepper = new QSpinBox;
    stepper->setObjectName(QStringLiteral("stepper%1").arg(QLatin1String(name)));
    stepper->setRange(0, StreamerEditor::kMaxFiftieths);
    stepper->setToolTip(QStringLiteral("Fiftieths of a second"));
    auto* seconds = new QDoubleSpinBox;
    seconds->setObjectName(QStringLiteral("text%1").arg(QLatin1String(name)));
    seconds->setRange(0, StreamerEditor::kMaxFiftieths / kFiftiethsPerSecond);
    seconds->setDecimals(2);
    seconds->setSingleStep(0.1);
    seconds->setSuffix(QStringLiteral(" s"));
    auto* caption = new QLabel(label);
    caption->setBuddy(seconds);
    grid->addWidget(caption, row, 0);
    grid->addWidget(seconds, row, 1);
    grid->addWidget(stepper, row, 2);
    sendOnEdit(stepper, this, [this, set, stepper, seconds] {
        if (refreshing())
            return;
        const QSignalBlocker block(seconds);
        seconds->setValue(stepper->value() / kFiftiethsPerSecond);
        (m_editor.*set)(stepper->value());
    });
    sendOnEdit(seconds, this, [this, set, stepper, seconds] {
        if (refreshing())
            return;
        const int v = StreamerEditor::fiftiethsFromSeconds(seconds->value());
        const QSignalBlocker blockStepper(stepper);
        stepper->setValue(v);
        // Show what the unit will get, which may be a little less.
        const QSignalBlocker blockSeconds(seconds);
        seconds->setValue(v / kFiftiethsPerSecond);
        (m_editor.*set)(v);
    });
    return {stepper, seconds};
}

void MonitorView::refresh() {
    const StreamerSettings& s = m_editor.settings();
    for (int i = 0; i <= StreamerSettings::kEndBar; ++i)
        m_wells[std::size_t(i)]->setCode(s.colors[std::size_t(i)]);
    m_width->setValue(s.width);
    m_top->setValue(s.top);
    m_bottom->setValue(s.bottom);
    m_transparency->setValue(s.transparency);
    m_durationStepper->setValue(s.duration);
    m_delayStepper->setValue(s.delay);
    m_durationText->setValue(s.duration / kFiftiethsPerSecond);
    m_delayText->setValue(s.delay / kFiftiethsPerSecond);
}

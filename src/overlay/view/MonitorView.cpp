#include "overlay/view/MonitorView.h"

#include "base/view/SendOnEdit.h"
#include "base/view/UnreadMark.h"
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
#include <algorithm>
#include <cstdint>

namespace {
constexpr double kFiftiethsPerSecond = 50.0;

// A value the unit reported, as far as a control can show it.
int shown(std::uint32_t value, int max) {
    return int(std::min<std::uint32_t>(value, std::uint32_t(max)));
}

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
    m_groups = {colourGroup(), barGroup(), timingGroup()};
    layOut(fireButtons(), {m_groups[0], m_groups[1], m_groups[2]});
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
        well->setToolTip(endBar ? QStringLiteral("Colour of the end bar the streamers run into")
                                : QStringLiteral("Colour of streamer %1; choosing one also runs "
                                                 "the streamer on the unit")
                                      .arg(i));
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
    m_width->setToolTip(QStringLiteral("Width of the streamer bar and the end bar, in pixels of "
                                       "the 1920-pixel-wide picture"));
    m_top = addSlider(grid, 1, QStringLiteral("&Top"), "sliderStreamerTop",
                      StreamerEditor::kMaxByte, &StreamerEditor::setTop);
    m_top->setToolTip(QStringLiteral("Top edge of the bars, 0–255 of the picture height "
                                     "(255 is the top of the picture)"));
    m_bottom = addSlider(grid, 2, QStringLiteral("&Bottom"), "sliderStreamerBottom",
                         StreamerEditor::kMaxByte, &StreamerEditor::setBottom);
    m_bottom->setToolTip(QStringLiteral("Bottom edge of the bars, 0–255 of the picture height "
                                        "(0 is the bottom of the picture)"));
    m_transparency =
        addSlider(grid, 3, QStringLiteral("T&ransparency"), "sliderStreamerTransparency",
                  StreamerEditor::kMaxByte, &StreamerEditor::setTransparency);
    m_transparency->setToolTip(QStringLiteral("How much picture shows through the bars, 0–255 "
                                              "(0 opaque)"));
    return bar;
}

QGroupBox* MonitorView::timingGroup() {
    auto* timing = new QGroupBox(QStringLiteral("Timing (steps of 1/50 s)"));
    auto* grid = new QGridLayout(timing);
    std::tie(m_durationStepper, m_durationText) = addTiming(
        grid, 0, QStringLiteral("&Duration"), "StreamerDuration", &StreamerEditor::setDuration);
    const QString duration = QStringLiteral("How long a streamer takes to cross the picture to "
                                            "its cue point");
    m_durationText->setToolTip(duration + QStringLiteral(", in seconds"));
    m_durationStepper->setToolTip(duration + QStringLiteral(", in fiftieths of a second"));
    std::tie(m_delayStepper, m_delayText) =
        addTiming(grid, 1, QStringLiteral("D&elay"), "StreamerDelay", &StreamerEditor::setDelay);
    const QString delay = QStringLiteral("How long the unit waits after a trigger before the "
                                         "streamer starts");
    m_delayText->setToolTip(delay + QStringLiteral(", in seconds"));
    m_delayStepper->setToolTip(delay + QStringLiteral(", in fiftieths of a second"));
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
    // The Fire buttons work at all times; the settings once the unit has
    // reported them.
    for (QGroupBox* group : m_groups)
        unreadmark::showGroup(group, m_editor.isRead());
    const StreamerSettings& s = m_editor.settings();
    for (int i = 0; i <= StreamerSettings::kEndBar; ++i)
        m_wells[std::size_t(i)]->setCode(s.colors[std::size_t(i)]);
    m_width->setValue(shown(s.width, StreamerEditor::kMaxWidth));
    m_top->setValue(s.top);
    m_bottom->setValue(s.bottom);
    m_transparency->setValue(s.transparency);
    m_durationStepper->setValue(shown(s.duration, StreamerEditor::kMaxFiftieths));
    m_delayStepper->setValue(shown(s.delay, StreamerEditor::kMaxFiftieths));
    m_durationText->setValue(m_durationStepper->value() / kFiftiethsPerSecond);
    m_delayText->setValue(m_delayStepper->value() / kFiftiethsPerSecond);
}

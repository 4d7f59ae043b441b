#include "midi/view/MidiView.h"

#include <QAction>
#include <QActionGroup>
#include <QFont>
#include <QFontDatabase>
#include <QLabel>
#include <QMenu>
#include <QVBoxLayout>

MidiView::MidiView(QWidget* parent, std::unique_ptr<MidiController> controller)
    : QWidget(parent),
      m_controller(controller ? std::move(controller) : std::make_unique<MidiController>()) {
    m_ctr = new QLabel(m_controller->counterText(), this);
    m_ctr->setObjectName(QStringLiteral("ctr"));
    // Read from across a scoring stage: large, fixed-width digits that do
    // not shift as they change.
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSize(36);
    font.setBold(true);
    m_ctr->setFont(font);
    m_ctr->setAlignment(Qt::AlignCenter);
    m_ctr->setToolTip(QStringLiteral("MIDI Time Code received from the chosen MIDI input"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(m_ctr);
    m_state = new QLabel(this);
    m_state->setObjectName(QStringLiteral("ctrState"));
    m_state->setAlignment(Qt::AlignCenter);
    layout->addWidget(m_state);
    showTimecodeState();
    connect(m_controller.get(), &MidiController::timecodeStateChanged, this,
            &MidiView::showTimecodeState);

    connect(m_controller.get(), &MidiController::counterChanged, m_ctr, &QLabel::setText);
    connect(m_controller.get(), &MidiController::portsChanged, this, &MidiView::rebuildMenus);
}

MidiView::~MidiView() = default;

void MidiView::awakeFromNib() {
    m_controller->awakeFromNib();
}

void MidiView::initMenuItems(QMenu* input, QMenu* output, QMenu* midiMenu) {
    m_input = input;
    m_output = output;
    if (midiMenu && !m_exactDropFrame) {
        midiMenu->addSeparator();
        m_exactDropFrame = midiMenu->addAction(QStringLiteral("Count drop-frame timecode exactly"));
        m_exactDropFrame->setCheckable(true);
        m_exactDropFrame->setChecked(m_controller->exactDropFrame());
        m_exactDropFrame->setStatusTip(
            QStringLiteral("At 29.97 drop frame, step the time the way drop-frame timecode "
                           "counts instead of the unit's traditional step"));
        connect(m_exactDropFrame, &QAction::toggled, m_controller.get(),
                &MidiController::setExactDropFrame);
        connect(m_controller.get(), &MidiController::exactDropFrameChanged, m_exactDropFrame,
                &QAction::setChecked);
        QAction* test = midiMenu->addAction(QStringLiteral("Send HUI Lamp Test"));
        connect(test, &QAction::triggered, m_controller.get(), &MidiController::onButtonTest);
    }
    rebuildMenus();
}

void MidiView::rebuildMenus() {
    MidiController* controller = m_controller.get();
    fillMenu(m_input, controller->sources(), controller->source(),
             [controller](const QString& name) { controller->inputAction(name); });
    fillMenu(m_output, controller->destinations(), controller->destination(),
             [controller](const QString& name) { controller->outputAction(name); });
}

void MidiView::fillMenu(QMenu* menu, const QStringList& names, const QString& chosen,
                        const std::function<void(const QString&)>& choose) {
    if (!menu)
        return;
    menu->clear();
    if (names.isEmpty()) {
        menu->addAction(QStringLiteral("No MIDI ports"))->setEnabled(false);
        return;
    }
    auto* group = new QActionGroup(menu);
    for (const QString& name : names) {
        QAction* action = menu->addAction(name);
        action->setCheckable(true);
        action->setChecked(name == chosen);
        group->addAction(action);
        QObject::connect(action, &QAction::triggered, menu, [choose, name] { choose(name); });
    }
}

// Stopped time code greys the counter out: what it shows is not moving.
void MidiView::showTimecodeState() {
    const bool running = m_controller->timecodeRunning();
    const QString rate = MidiController::rateText(m_controller->incomingRate());
    m_state->setText(rate.isEmpty() ? QStringLiteral("no time code")
                                    : QStringLiteral("%1 fps \u00b7 %2")
                                          .arg(rate, running ? QStringLiteral("running")
                                                             : QStringLiteral("stopped")));
    m_ctr->setStyleSheet(running ? QString() : QStringLiteral("QLabel { color: #8a8e92; }"));
    m_state->setStyleSheet(running ? QString() : QStringLiteral("QLabel { color: #8a8e92; }"));
}

// The cue window's part in a take: whether it is the armed sheet, Hold,
// Fire Next, and the line that warns about the incoming time code.
#include "cues/view/CueTableView.h"
#include "cues/view/CueWindow.h"
#include "cues/view/internal/CueWindowParts.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPushButton>

using cuewindowparts::button;

namespace {
const char* const kArmedStyle =
    "QLabel { background: #1d6b2a; color: white; font-weight: bold; padding: 4px 10px; }";
const char* const kNotArmedStyle =
    "QLabel { background: #5a5a5a; color: #e8e8e8; padding: 4px 10px; }";
const char* const kHeldStyle =
    "QLabel { background: #c0392b; color: white; font-weight: bold; padding: 4px 10px; }";
const char* const kWarningStyle =
    "QFrame#timecodeWarning { background: #fff3cd; border: 1px solid #d39e00; }";
} // namespace

QWidget* CueWindow::buildTakeBar() {
    auto* bar = new QWidget;
    auto* layout = new QVBoxLayout(bar);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* row = new QHBoxLayout;
    m_armedLabel = new QLabel;
    m_armedLabel->setObjectName(QStringLiteral("labelArmed"));
    row->addWidget(m_armedLabel, 1);
    m_armButton = button(tr("Arm This Sheet"), "buttonArm",
                         tr("Fire this sheet's cues from the time code instead of the armed one"));
    m_holdButton =
        button(tr("Hold"), "buttonHold",
               tr("Send no trigger or text for the time code (F8); the counters run on"));
    m_holdButton->setCheckable(true);
    m_fireNextButton = button(tr("Fire Next"), "buttonFireNext",
                              tr("Send the next cue's trigger and text now (F9)"));
    row->addWidget(m_armButton);
    row->addWidget(m_holdButton);
    row->addWidget(m_fireNextButton);
    layout->addLayout(row);

    auto* warning = new QFrame;
    warning->setObjectName(QStringLiteral("timecodeWarning"));
    warning->setStyleSheet(QLatin1String(kWarningStyle));
    auto* warningRow = new QHBoxLayout(warning);
    warningRow->setContentsMargins(8, 4, 8, 4);
    m_warningLabel = new QLabel;
    m_warningLabel->setWordWrap(true);
    warningRow->addWidget(m_warningLabel, 1);
    m_warningButton = button(QString(), "buttonTimecodeWarning", QString());
    warningRow->addWidget(m_warningButton);
    warning->hide();
    m_warningBar = warning;
    layout->addWidget(warning);

    connect(m_armButton, &QPushButton::clicked, this, [this] { emit armRequested(this); });
    connect(m_holdButton, &QPushButton::clicked, this, [this](bool on) { emit holdRequested(on); });
    connect(m_fireNextButton, &QPushButton::clicked, this, &CueWindow::fireNextRequested);
    connect(m_warningButton, &QPushButton::clicked, this, &CueWindow::timecodeWarningAction);
    return bar;
}

void CueWindow::buildTakeMenu(QMenu* cues) {
    cues->addSeparator();
    m_armAction = cues->addAction(tr("&Arm This Sheet"), this, [this] { emit armRequested(this); });
    m_armAction->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_A));
    m_holdAction = cues->addAction(tr("&Hold"));
    m_holdAction->setCheckable(true);
    m_holdAction->setShortcut(QKeySequence(Qt::Key_F8));
    connect(m_holdAction, &QAction::triggered, this, [this](bool on) { emit holdRequested(on); });
    m_fireNextAction = cues->addAction(tr("&Fire Next"), this, &CueWindow::fireNextRequested);
    m_fireNextAction->setShortcut(QKeySequence(Qt::Key_F9));
    showTakeState();
}

void CueWindow::setArmed(bool armed) {
    m_armed = armed;
    showTakeState();
}

void CueWindow::selectRowQuietly(int row) {
    m_quietSelection = true;
    m_table->selectRow(row);
    m_quietSelection = false;
}

void CueWindow::setHeld(bool held) {
    m_held = held;
    showTakeState();
}

void CueWindow::showTakeState() {
    if (!m_armedLabel || !m_armAction)
        return;
    if (m_armed && m_held) {
        m_armedLabel->setText(tr("HOLD: armed, but no trigger or text is sent"));
        m_armedLabel->setStyleSheet(QLatin1String(kHeldStyle));
    } else if (m_armed) {
        m_armedLabel->setText(tr("ARMED: the time code fires this sheet's cues"));
        m_armedLabel->setStyleSheet(QLatin1String(kArmedStyle));
    } else {
        m_armedLabel->setText(tr("Not armed: the time code does not fire this sheet"));
        m_armedLabel->setStyleSheet(QLatin1String(kNotArmedStyle));
    }
    m_armButton->setEnabled(!m_armed);
    m_armAction->setEnabled(!m_armed);
    // Hold and Fire Next act on the armed sheet: from its own window.
    for (QWidget* w :
         {static_cast<QWidget*>(m_holdButton), static_cast<QWidget*>(m_fireNextButton)})
        w->setEnabled(m_armed);
    m_holdAction->setEnabled(m_armed);
    m_fireNextAction->setEnabled(m_armed);
    m_holdButton->setChecked(m_held);
    m_holdAction->setChecked(m_held);
}

void CueWindow::setTimecodeState(const QString& rate, bool running) {
    m_rateLabel->setText(rate.isEmpty()
                             ? QString()
                             : (running ? tr("%1 fps\nrunning") : tr("%1 fps\nstopped")).arg(rate));
    m_counter->setEnabled(running);
    m_counter->setProperty("stopped", !running);
    m_counter->setStyleSheet(
        running ? QStringLiteral("QLabel { background: #101418; color: #7fdc7f; padding: 4px "
                                 "14px; border-radius: 4px; }")
                : QStringLiteral("QLabel { background: #2a2d30; color: #707478; padding: 4px "
                                 "14px; border-radius: 4px; }"));
}

void CueWindow::showTimecodeWarning(const QString& text, const QString& actionText) {
    m_warningLabel->setText(text);
    m_warningButton->setText(actionText);
    m_warningButton->setVisible(!actionText.isEmpty());
    m_warningBar->setVisible(!text.isEmpty());
}

QString CueWindow::timecodeWarning() const {
    return m_warningBar->isHidden() ? QString() : m_warningLabel->text();
}

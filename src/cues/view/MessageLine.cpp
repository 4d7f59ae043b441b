#include "cues/view/MessageLine.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

MessageLine::MessageLine(QWidget* parent) : QFrame(parent) {
    setObjectName(QStringLiteral("messageLine"));
    setFrameShape(QFrame::StyledPanel);
    setStyleSheet(QStringLiteral("#messageLine { background: #fff4c2; }"
                                 "#messageLine QLabel { color: black; }"));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(6, 2, 2, 2);
    m_label = new QLabel;
    m_label->setObjectName(QStringLiteral("labelMessage"));
    m_label->setWordWrap(true);
    m_label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    row->addWidget(m_label, 1);
    auto* dismiss = new QToolButton;
    dismiss->setObjectName(QStringLiteral("buttonDismissMessage"));
    dismiss->setText(QStringLiteral("\u2715"));
    dismiss->setToolTip(tr("Dismiss this message"));
    dismiss->setAutoRaise(true);
    connect(dismiss, &QToolButton::clicked, this, [this] { showMessage(QString()); });
    row->addWidget(dismiss, 0, Qt::AlignTop);
    setVisible(false);
}

void MessageLine::showMessage(const QString& text) {
    m_label->setText(text);
    setVisible(!text.isEmpty());
}

QString MessageLine::text() const {
    return m_label->text();
}

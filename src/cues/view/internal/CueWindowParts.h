#pragma once

#include <QCheckBox>
#include <QPushButton>
#include <QString>

// The cue window's buttons and check boxes: named (tests and the defaults
// bindings find them by name) and with a tip.
namespace cuewindowparts {

inline QPushButton* button(const QString& text, const char* name, const QString& tip) {
    auto* b = new QPushButton(text);
    b->setObjectName(QLatin1String(name));
    b->setToolTip(tip);
    return b;
}

inline QCheckBox* checkBox(const QString& text, const char* name, const QString& tip) {
    auto* c = new QCheckBox(text);
    c->setObjectName(QLatin1String(name));
    c->setToolTip(tip);
    return c;
}

} // namespace cuewindowparts

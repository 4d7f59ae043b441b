#include "overlay/view/ColorWell.h"

#include "base/BarsPalette.h"
#include "base/view/BarsColorList.h"

#include <QMenu>
#include <QPainter>

namespace {
constexpr int kSwatchPx = 22;
}

ColorWell::ColorWell(const QString& label, QWidget* parent) : QToolButton(parent) {
    setText(label);
    setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    setIconSize(QSize(kSwatchPx * 2, kSwatchPx));
    setPopupMode(QToolButton::InstantPopup);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    auto* menu = new QMenu(this);
    for (int code = 0; code < barspalette::kCount; ++code) {
        menu->addAction(BarsColorList::swatch(code), barspalette::name(code),
                        [this, code] { choose(code); });
    }
    menu->addSeparator();
    menu->addAction(QStringLiteral("Other colour…"), [this] {
        const int code = BarsColorList::pickCode(this, m_code);
        if (code >= 0)
            choose(code);
    });
    setMenu(menu);
    setCode(0);
}

void ColorWell::setCode(int code) {
    m_code = code;
    // Framed, so white and black read on any panel colour.
    QPixmap pixmap(iconSize());
    pixmap.fill(barspalette::color(code));
    QPainter painter(&pixmap);
    painter.setPen(QColor(96, 96, 96));
    painter.drawRect(pixmap.rect().adjusted(0, 0, -1, -1));
    painter.end();
    setIcon(QIcon(pixmap));
    setToolTip(QStringLiteral("%1: %2").arg(text(), barspalette::name(code)));
}

void ColorWell::choose(int code) {
    setCode(code);
    emit colorChosen(code);
}

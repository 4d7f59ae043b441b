#include "base/view/BarsColorList.h"

#include "base/BarsPalette.h"

#include <QColorDialog>
#include <QComboBox>
#include <QPainter>
#include <QPixmap>

namespace BarsColorList {

void initColorPanel() {
    for (int code = 0; code < barspalette::kCount; ++code)
        QColorDialog::setCustomColor(code, barspalette::color(code));
}

QIcon swatch(int code, int sizePx) {
    QPixmap pixmap(sizePx, sizePx);
    pixmap.fill(barspalette::color(code));
    QPainter painter(&pixmap);
    painter.setPen(QColor(128, 128, 128));
    painter.drawRect(0, 0, sizePx - 1, sizePx - 1);
    return QIcon(pixmap);
}

void fillComboBox(QComboBox* box) {
    box->clear();
    for (int code = 0; code < barspalette::kCount; ++code)
        box->addItem(swatch(code), barspalette::name(code), code);
}

int pickCode(QWidget* parent, int currentCode) {
    initColorPanel();
    const QColor chosen = QColorDialog::getColor(
        barspalette::color(currentCode), parent,
        QStringLiteral("%1 colour").arg(QLatin1String(barspalette::kListName)));
    if (!chosen.isValid())
        return -1;
    return barspalette::codeForColor(chosen);
}

} // namespace BarsColorList

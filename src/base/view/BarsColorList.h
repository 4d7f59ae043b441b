#pragma once

#include <QColor>
#include <QIcon>

class QComboBox;
class QWidget;

// Widgets side of the shared "Bars" colour list: swatches for combo boxes and
// colour wells, and the colour dialog preset with the eight overlay colours.
namespace BarsColorList {
// Puts the eight colours into the colour dialog's custom colours, so every
// colour well of the editors offers them first.
void initColorPanel();
// A square swatch of the overlay colour with that code.
QIcon swatch(int code, int sizePx = 16);
// Fills a combo box with the eight named colours; item data is the code.
void fillComboBox(QComboBox* box);
// Asks for a colour and returns the overlay code nearest to the choice, or
// -1 when the dialog was cancelled.
int pickCode(QWidget* parent, int currentCode);
} // namespace BarsColorList

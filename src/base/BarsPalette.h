#pragma once

#include <QColor>
#include <QString>
#include <QStringList>

// The "Bars" colour list shared by every colour well of the overlay editors.
// The unit draws overlays in eight colours only; each travels as a 3-bit code
// with one bit per primary that is off (bit 0 blue, bit 1 red, bit 2 green),
// so 0 is white and 7 black. The list is in colour-bar order, and a colour's
// index in it is exactly its 3-bit code.
namespace barspalette {
inline constexpr int kCount = 8;
inline constexpr const char* kListName = "Bars";

// "white", "yellow", "cyan", "green", "purple", "red", "blue", "black".
const QStringList& names();
QString name(int code);               // empty outside 0..7
QColor color(int code);               // invalid outside 0..7
int codeForName(const QString& name); // -1 when unknown

// Nearest overlay colour: a primary below one half counts as off, as the
// unit's command encoding does; any colour gives a code 0..7.
int codeForColor(const QColor& color);
} // namespace barspalette

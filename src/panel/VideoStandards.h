#pragma once

#include <QStringList>

// The SDI generator's video standards. A standard's index is the value of
// "M %d" and of the unit's "M" reply; the last one switches the generator off.
namespace videostandards {
inline constexpr int kCount = 16;
inline constexpr int kGeneratorOff = 15;
const QStringList& names();
// A shorter label for the combo box ("1080p 25 Hz (SMPTE 274M)"); the unit's
// own name stays available as the item's tool tip.
QString displayName(int index);
} // namespace videostandards

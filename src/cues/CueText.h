#pragma once

#include "cues/CueItem.h"

#include <QList>
#include <QString>

// The text the unit shows for a cue, built one way wherever it goes: the
// row's text sent when it is selected, the text fired with its trigger, and
// the text message of a MIDI file.
namespace cuetext {

// Symbol-font glyphs (private use, above U+F000) that some cue lists carry at
// the front of a field; the unit cannot show them.
QString withoutLeadingSymbols(const QString& text);

// The identifier and/or the text, joined by the unit's line-break escape "\n"
// (a backslash and the letter n) when both are included; each with its
// leading symbols removed and trimmed of blanks, tabs and line breaks (an
// identifier read from a sheet keeps the tab that followed it).
QString build(const CueItem& item, bool includeId, bool includeText);

// For the user, when rows hold characters the unit has no form for (after
// the punctuation it shows plainly): which, and that the unit gets "?" for
// each. Empty when every row's unit text can be shown.
QString substitutionNote(const QList<CueItem>& rows, bool includeId, bool includeText);
// The same for one row, named by its identifier.
QString substitutionNote(const CueItem& row, bool includeId, bool includeText);
// Characters for the user, each between quotes: “€”, “♪”.
QString quotedCharacters(const QString& characters);

} // namespace cuetext

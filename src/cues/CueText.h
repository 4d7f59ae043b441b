#pragma once

#include "cues/CueItem.h"

#include <QString>

// The text the unit shows for a cue, built one way for the cue sheet (sent
// when a row is selected or fired) and for MIDI files.
namespace cuetext {

// Symbol-font glyphs (private use, above U+F000) that some cue lists carry at
// the front of a field; the unit cannot show them.
QString withoutLeadingSymbols(const QString& text);

// The identifier and/or the text, joined by the unit's line-break escape "\n"
// (a backslash and the letter n) when both are included, leading symbols
// removed from each; with trimBlanks also blanks and line breaks at both ends
// of each.
QString build(const CueItem& item, bool includeId, bool includeText, bool trimBlanks);

} // namespace cuetext

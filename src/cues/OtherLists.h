#pragma once

#include "cues/ListTimes.h"

#include <QString>

// Subtitle files and a session's marker list, read into cue rows. Times are
// read as listtime::read reads them; a cue whose in time cannot be read is
// skipped and counted.
namespace otherlists {

// SubRip subtitles: blocks of a number, a line "in --> out" and the text
// lines, ending at an empty line. Each subtitle is a cue: its number is the
// identifier, its lines the text (joined by blanks, as the sheet keeps a
// line break in a cell), with markup ("<i>", "<font ...>", "{\an8}")
// removed.
listtime::ListRows readSubRip(const QString& text, int tctype);
bool isSubRip(const QString& path);

// True when the text holds a marker section: a line
// "M A R K E R S  L I S T I N G" (blanks do not matter).
bool hasMarkerList(const QString& text);
// The marker section's cues: after the heading, a tab-separated header line
// naming "#", "LOCATION", "NAME", "COMMENTS" among others (fields padded with
// blanks), then one line per marker up to the first empty line. The number
// is the identifier, the location the in time, the name the text and the
// comments the notes.
listtime::ListRows readMarkerList(const QString& text, int tctype);

} // namespace otherlists

#pragma once

#include "cues/CueItem.h"

#include <QList>
#include <QString>
#include <optional>

// Times as other programs write them in cue lists, spreadsheets, subtitles
// and marker lists, read into the form the sheet keeps.
namespace listtime {

// A time of a list as the sheet stores it (HH:MM:SS:FF), or nothing when it
// cannot be read. Accepted: timecode "01:00:10:05" (";", "." or "," before
// two frame digits too; the separator is kept, so a drop-frame list stays
// labelled as such), one-digit hours, and hours:minutes:seconds with
// milliseconds "01:00:10,200" or "01:00:10.200" (three digits), or with no
// fraction at all. Milliseconds become the nearest frame at the rate's
// nominal frame rate (24, 25 or 30); on a drop-frame sheet the result is
// written with ";" and a frame label the drop-frame count skips moves to
// the next label that exists. A timecode whose frames the rate does not
// have is kept as written (the table marks it); frames above 29, minutes or
// seconds above 59 and hours above 23 are not times.
std::optional<QString> read(const QString& text, int tctype);

// Rows read from a list, and what could not be read.
struct ListRows {
    QList<CueItem> rows;
    int skipped = 0;     // rows left out: their in time cannot be read
    int outsDropped = 0; // rows kept without an out time that cannot be read
};

// For the user, after the file's name: "2 rows skipped (in time not
// readable); 1 out time left empty (not readable)". Empty when all was read.
QString problemsNote(const ListRows& read);

} // namespace listtime

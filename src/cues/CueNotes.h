#pragma once

#include "cues/CueItem.h"
#include "midi/MidiTrack.h"

#include <QString>
#include <QStringList>

// What the cue side tells the user about a change it made, in the same words
// in the cue windows and qz62ctl.
namespace cuenotes {

// What a MIDI export had to change so the file stays playable: characters
// written as "?", cues placed later than their time, note ends written
// early. One line each.
QStringList exportNotes(const MidiTrack::ExportReport& report);
// "2 duplicate cues removed" (a sort with the duplicate rule).
QString duplicatesRemoved(int count);
// A row as the user finds it in the table: "row 4 (1M3)", or "row 4" for a
// row without an identifier. `index` counts from 0.
QString rowName(int index, const CueItem& item);
// The first letter in upper case, for a note that starts a message.
QString sentence(const QString& note);

} // namespace cuenotes

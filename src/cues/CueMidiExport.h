#pragma once

#include "cues/CueItem.h"
#include "midi/MidiTrack.h"

#include <QList>
#include <QString>

// A cue sheet's rows as a MIDI file carries them: each row's in time and the
// text the unit shows for it (the identifier and/or the text, leading symbols
// removed, nothing trimmed); a text that is lost is named "<identifier> at
// <in time>", or by its in time alone for a row without an identifier.
namespace cuemidi {

QList<MidiTrack::Cue> cues(const QList<CueItem>& rows, bool textIncluded, bool cueIdIncluded);

inline QByteArray exportMidi(MidiTrack& track, const QList<CueItem>& rows, const QString& start,
                             int tcType, double offsetSeconds, bool textIncluded, bool pulldown,
                             bool cueIdIncluded) {
    return track.exportMidi(cues(rows, textIncluded, cueIdIncluded), start, tcType, offsetSeconds,
                            pulldown);
}

inline bool onExportMidi(MidiTrack& track, const QString& path, const QList<CueItem>& rows,
                         const QString& start, int tcType, double offsetSeconds, bool textIncluded,
                         bool pulldown, bool cueIdIncluded, QString* error = nullptr) {
    return track.onExportMidi(path, cues(rows, textIncluded, cueIdIncluded), start, tcType,
                              offsetSeconds, pulldown, error);
}

} // namespace cuemidi

#pragma once

#include "cues/CueItem.h"
#include "cues/CueSheet.h"
#include "midi/MidiFileReader.h"
#include "midi/MidiTrack.h"

#include <QList>
#include <QString>
#include <optional>

// A cue sheet's rows as a MIDI file carries them, and back: each row's in
// time and the text the unit shows for it (cuetext::build); a text that
// needed "?" for a character is named "<identifier> at <in time>", or by its
// in time alone for a row without an identifier.
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

// The rows a MIDI file gives back, and how their times were read.
struct FileRows {
    QList<CueItem> rows;
    QString start;              // the in times are counted from it
    bool startFromFile = false; // false: the file names no start, the sheet's was taken
    int tcType = 3;             // the file's (its SMPTE offset event), else the sheet's
    bool pulldown = false;      // the file was written for pulldown
    QString damage;             // why the file was not read to its end; empty when it was
};

// A file's cues as rows: each trigger's time, counted from the start the
// export wrote as the file's lyric event (or the sheet's start when it has
// none) at the file's frame rate, is the in time; the text message after the
// trigger gives identifier and text as the sheet's unit text options say
// (both on: split at the first "\n" escape). Out times and notes stay empty.
// Nothing when no start can be read (error says why).
std::optional<FileRows> rowsFromCues(const MidiFileReader::FileCues& cues,
                                     const CueSheetSettings& settings, QString* error = nullptr);
// The same from a file's bytes read by `reader` (which logs them when its
// log is on). Nothing when the bytes are not a MIDI file or there is no
// start (error says why); a damaged file gives the cues read before the damage.
std::optional<FileRows> readRows(MidiFileReader& reader, const QByteArray& fileBytes,
                                 const CueSheetSettings& settings, QString* error = nullptr);
// The same from a file, read without a log; also nothing when it cannot be read.
std::optional<FileRows> rowsFromFile(const QString& path, const CueSheetSettings& settings,
                                     QString* error = nullptr);
// What the import did, for the user: "12 cues, counted from 01:00:00:00 at 25 fps".
QString importNote(const FileRows& rows);

} // namespace cuemidi

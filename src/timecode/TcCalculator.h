#pragma once

#include <QString>
#include <optional>

class PosixRegex;

// SMPTE timecode arithmetic. A timecode string is exactly 11 characters,
// HH:MM:SS:FF; a frame count is the number of frames since 00:00:00:00.
// Timecode types (the same numbering as the MIDI Time Code rate bits and the
// cue sheet's ";tctype"): 0 = 24 fps, 1 = 25 fps, 2 = 30 drop frame (29.97),
// 3 = 30 non drop. Any other type counts as 30 non drop.
//
// Stateless; the patterns are compiled once for the whole program, so one
// instance per owner costs nothing and several threads may share one.
class TcCalculator {
public:
    // Frames in one day of the type (types outside 0..2 count as type 3).
    static int framesPerDay(int type);
    // Nominal frame rate of the type: 24, 25 or 30.
    static int frameRate(int type);
    // HH:MM:SS:FF with two digits a field (more when a value needs them).
    static QString formatTc(int hours, int minutes, int seconds, int frames);
    // A timecode anywhere in a text: hours 00-23, minutes and seconds 00-59,
    // frames 00-29 (not checked against the frame rate). Cue lists write
    // drop-frame times with ";" before the frames; acceptDropSeparator lets
    // that through for the importers (the sheet's own times never have it).
    static const PosixRegex& timecodePattern(bool acceptDropSeparator = false);

    // True when the string holds a timecode and is exactly 11 characters long.
    bool isTc(const QString& tc) const;
    // The first timecode anywhere in the text; a null string when none.
    QString findFirstTc(const QString& text) const;
    // Hours field of a valid timecode, 0 otherwise.
    int hrsToBinary(const QString& tc) const;
    // Frames since midnight; 0 for a string that is not a valid timecode.
    int tcToBinary(const QString& tc, int type) const;
    // Frames since midnight, or nothing for a string that is not a valid
    // timecode (the pattern runs once).
    std::optional<int> framesIfTc(const QString& tc, int type) const;
    // The same from the four fields of a time; -1 when they are not those of
    // a valid timecode (hours 0-23, minutes and seconds 0-59, frames 0-29).
    // Works without strings or the pattern, so the MIDI thread may use it.
    static int fieldsToFrames(int hours, int minutes, int seconds, int frames, int type);
    // Timecode of a frame count, wrapped into one day. A value of exactly one
    // day is left as it is and prints as 24:00:00:00. For type 2 the
    // decomposition is the unit's own and does not invert tcToBinary (1800
    // frames print as 00:02:00:02); the unit's counters expect exactly that.
    QString binaryToTc(int frames, int type) const;
    // The timecode whose tcToBinary() is the frame count wrapped into one
    // day: for type 2 with the drop-frame labels (1800 frames are
    // 00:01:00:02), unlike binaryToTc().
    QString framesToTc(int frames, int type) const;
    // b minus a, wrapped into one day.
    QString subtractTc(const QString& a, const QString& b, int type) const;
    // 1 when a is later than b, 0 when equal, -1 when earlier, taken modulo
    // one day: a time just after midnight is later than one just before it
    // as long as the two are less than half a day apart.
    int compareTc(const QString& a, const QString& b, int type) const;
    // The same comparison on frame counts (both of the given type).
    static int compareFrames(int a, int b, int type);

    // The rate's name as the user picks it: "24 fps", "25 fps",
    // "29.97 fps drop", "30 fps".
    static QString rateName(int type);
    // Why a time in display form (HH:MM:SS:FF) does not exist at the type's
    // rate, for the user ("frame 45 does not exist at 30 fps (00 to 29)");
    // empty when it exists. Only the digits 0 to 9 make a time the unit takes.
    static QString problemAtRate(const QString& tc, int type);
};

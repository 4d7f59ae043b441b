#pragma once

#include <QList>
#include <QString>

// The overlay editors take their own reply lines. Each gets the whole trimmed
// line, letter included, and reads its fields from index 2 itself.
//
// An editor sends a setting only once the unit has reported it: until then
// what it shows is its own default, not the unit's value. forgetReported()
// says that every setting is being asked for again (a new unit, a unit back
// from a silence, a FLASH reset), so what was reported before no longer
// counts until it is reported again.

// Streamer editor: "C" reports.
class StreamerReceiver {
public:
    virtual ~StreamerReceiver() = default;
    virtual void fromString(const QString& line) = 0;
    virtual void forgetReported() = 0;
    // Duration in seconds as shown by the editor, and the same as an integer
    // count of fiftieths of a second; read right after fromString().
    virtual double offset() const = 0;
    virtual int streamerDuration() const = 0;
};

// Punch editor: "E" reports.
class PunchReceiver {
public:
    virtual ~PunchReceiver() = default;
    virtual void fromString(const QString& line) = 0;
    virtual void forgetReported() = 0;
};

// Annunciator editor: "U", "m", "n", "t" lines, and the numbers of "r"
// (window placement) and "z" (point sizes) lines.
class AnnunciatorReceiver {
public:
    virtual ~AnnunciatorReceiver() = default;
    virtual void fromString(const QString& line) = 0;
    virtual void tcFromString(const QString& line) = 0;
    virtual void comFromString(const QString& line) = 0;
    virtual void annunciatorColorsFromString(const QString& line) = 0;
    virtual void windowFromArray(const QList<int>& numbers) = 0;
    virtual void pointsFromArray(const QList<int>& numbers) = 0;
    virtual void forgetReported() = 0;
};

// The open cue sheet follows the streamer's length: its cues are fired that
// long before their in-times.
class CueDocumentTarget {
public:
    virtual ~CueDocumentTarget() = default;
    virtual void setOffset(double seconds) = 0;
    virtual void setStepperStreamerDuration(int fiftieths) = 0;
};

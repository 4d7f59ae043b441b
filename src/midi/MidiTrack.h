#pragma once

#include "midi/MidiLog.h"
#include "timecode/TcCalculator.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

// Standard MIDI Files for cue sheets. A cue sheet becomes a format-1 file
// with one track in which every cue is the unit's cue trigger (Note On,
// channel 1, note 119, velocity 64) followed by a system-exclusive message
// carrying the cue's text in 7/8 coding, placed at the cue's time relative to
// a start timecode. MidiFileReader reads such files back.
//
// The export's "MIDI offset" line goes to the diagnostics unless another
// sink is set.
class MidiTrack {
public:
    static constexpr int kTicksPerQuarterNote = 9600;
    static constexpr int kTicksPerSecond = 19200; // two quarter notes a second
    static constexpr int kTempoUs = 500000;
    static constexpr int kPulldownTempoUs = 500500;
    // The note end follows every cue by 800 ticks whatever the frame rate.
    static constexpr int kNoteLengthTicks = 800;

    using LogSink = MidiLog::Sink;

    // What the last cue export had to change so the file stays playable.
    struct ExportReport {
        // Cues placed later than their time: before the start (placed at the
        // start) or before the cue written ahead of them (placed with it).
        int movedCues = 0;
        // Note ends written at the next cue's time, less than 800 ticks on.
        int shortenedNotes = 0;
        // Cues whose text holds characters without a Latin-1 form, which
        // went into the file as "?": the cue's name and those characters.
        struct Substitution {
            QString cue;
            QString characters;
        };
        QList<Substitution> substitutions;
        // The start value could not be read as a timecode: nothing was written.
        bool unreadableStart = false;
    };

    // One cue of an export: its in time (HH:MM:SS:FF), the text it carries
    // (empty: none) and how the export names it when the text is lost.
    struct Cue {
        QString in;
        QString text;
        QString name;
    };

    // Where the log goes; an empty sink restores the diagnostics.
    void setLogSink(LogSink sink) { m_log.setSink(std::move(sink)); }

    // Ticks per frame by timecode type: 24 fps 800, 25 fps 768, 30 fps 640.
    static int ticksPerFrame(int tcType);

    // The cue file's bytes. Cues are written in the order given (sort them
    // first) at their time counted from the start; the offset in seconds
    // becomes the file's SMPTE offset. Logs "MIDI offset: HH:MM:SS:FF".
    // Returns nothing for an empty list, a timecode type other than 0 to 3,
    // or a start that startTimecode() cannot read (the report says so).
    //
    // Time never runs backwards in the file: a cue more than half a day
    // before the one ahead of it (or the start) is taken as the next day, as
    // the sort does; a cue still earlier is placed at the start or with the
    // cue ahead of it, and a note end that would come after the next cue is
    // written at the next cue's time. A gap longer than one delta can hold
    // (2^28 ticks, about 3 h 53 min) is bridged by empty text events, so
    // every cue lands at its time. lastExportReport() says what was moved.
    QByteArray exportMidi(const QList<Cue>& cues, const QString& start, int tcType,
                          double offsetSeconds, bool pulldown);
    // exportMidi() written atomically to path. False (and the file left as
    // it was) when there is nothing to write or the write fails.
    bool onExportMidi(const QString& path, const QList<Cue>& cues, const QString& start, int tcType,
                      double offsetSeconds, bool pulldown, QString* error = nullptr);
    const ExportReport& lastExportReport() const { return m_exportReport; }

    // A one-event file whose event is the bytes given as hexadecimal numbers
    // ("f0 20 01 ... f7"); the text must hold the complete event. Reading
    // stops at the first thing that is not a hexadecimal number.
    QByteArray exportMidiSysex(const QString& hexText);
    bool onExportMidiSysex(const QString& path, const QString& hexText, QString* error = nullptr);

    // A start value as the file's timecode: blanks around it ignored and a
    // drop-frame ";" read as ":" ("01:00:00;00" is 01:00:00:00); nothing
    // when it is not a timecode.
    static std::optional<QString> startTimecode(const QString& start);
    // The longest delta a variable-length quantity holds.
    static constexpr int kMaxDeltaTicks = 0x0FFFFFFF;

    // Variable-length quantity, at most 4 groups: values of 2^28 and more
    // lose their high bits, a negative value is written as its 32-bit pattern.
    static void writeVarLenValue(QByteArray& data, int value);
    // Meta event whose length byte is the string's character count; exact
    // only for ASCII text shorter than 128 characters.
    static void writeMetaDataString(QByteArray& data, int delta, int type, const QString& text);
    // Cue note and, for a non-empty text, the text message. Returns how many
    // characters of the text went as "?".
    static int writeCue(QByteArray& data, int delta, const QString& text);

    // Writes bytes to path through a temporary file renamed into place (a
    // device or pipe is written directly, never replaced).
    static bool writeFileAtomically(const QString& path, const QByteArray& bytes,
                                    QString* error = nullptr);

private:
    static QByteArray trackStart(int hourByte, int minutes, int seconds, int frames,
                                 int fractionalFrames, int tempoUs, const QString& trackName,
                                 const QString& lyric);
    static QByteArray fileWithTrack(QByteArray& track);

    TcCalculator m_tcc;
    MidiLog m_log;
    ExportReport m_exportReport;
};

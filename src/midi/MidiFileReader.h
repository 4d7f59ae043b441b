#pragma once

#include "midi/MidiLog.h"

#include <QByteArray>
#include <QString>
#include <cstdint>

// Reads a MIDI file back: logs a hex dump of its bytes, then its chunks, the
// header's fields and every track event, decoding the unit's system-exclusive
// text messages; and collects the cues it carries as the cue export writes
// them (fileCues()), for whoever turns them into rows.
class MidiFileReader {
public:
    using LogSink = MidiLog::Sink;

    // How reading a file went.
    enum class ReadVerdict {
        Complete, // every chunk and event read
        Damaged,  // cut short or not fully readable: what came before was logged
        NotMidi   // empty, or not starting with a header chunk
    };
    struct ReadReport {
        ReadVerdict verdict = ReadVerdict::Complete;
        QString problem; // the first problem met, for the user
    };

    // One cue trigger (note 119 with a velocity, any channel) and the text
    // of the unit's text message that follows it before the next trigger,
    // its "s " removed (empty when none came).
    struct FileCue {
        // From the track's start on the timecode's clock: ticks through the
        // tempo in force, the export's pulldown tempo (500500 µs) read as
        // 500000 µs on a pulled-down clock.
        double seconds = 0;
        QString text;
    };
    struct FileCues {
        QString start;         // the first lyric event (the export's start); empty without one
        int smpteRate = -1;    // rate code of the SMPTE offset event; -1 without one
        bool pulldown = false; // a tempo event held the export's pulldown tempo
        QList<FileCue> cues;
    };

    // Where the log goes; an empty sink restores the diagnostics.
    void setLogSink(LogSink sink) { m_log.setSink(std::move(sink)); }
    // Off: files are read for their cues only, nothing is logged.
    void setLogging(bool on) { m_log.setEnabled(on); }

    // Logs a file's bytes: hex dump, chunks, header, track events. Reads
    // never leave the file or the chunk they belong to: an event that would
    // ends its chunk. The report names the first problem met.
    ReadReport importMidi(const QByteArray& fileBytes);
    // Reads the file and logs it; a file that cannot be read logs an empty
    // dump and returns false.
    bool onImportMidi(const QString& path);

    // Logs one system-exclusive message from the unit (without the 0xF0).
    void decodeSysexData(const QByteArray& message);

    // The cues of the last file read.
    const FileCues& fileCues() const { return m_cues; }

    // Filled from the last header chunk read.
    std::uint16_t format() const { return m_format; }
    std::uint16_t numberOfTracks() const { return m_numberOfTracks; }
    std::uint16_t timeDivision() const { return m_timeDivision; }

private:
    void hexDump(const QByteArray& data);
    void readHeaderChunk(const unsigned char* bytes, qsizetype pos, qsizetype end);
    // The first problem in the chunk; empty when every event was read. Each
    // event reader moves pos past its event.
    QString readTrackChunk(const unsigned char* bytes, qsizetype pos, qsizetype end);
    QString readChannelEvent(int delta, const unsigned char* bytes, qsizetype& pos, qsizetype end);
    QString readSysexEvent(const unsigned char* bytes, qsizetype& pos, qsizetype end);
    QString readMetaEvent(int delta, const unsigned char* bytes, qsizetype& pos, qsizetype end);
    void logMetaEvent(int delta, int type, const unsigned char* meta, qsizetype length);
    void collectMetaEvent(int type, const unsigned char* meta, qsizetype length);
    void collectText(const QByteArray& message);
    // Seconds from the track's start to the event being read.
    double seconds() const;

    MidiLog m_log;
    std::uint16_t m_format = 0;
    std::uint16_t m_numberOfTracks = 0;
    std::uint16_t m_timeDivision = 0;
    FileCues m_cues;
    bool m_cueOpen = false; // the last cue may still take a text
    // The track being read: its ticks, and the sum of ticks times the tempo
    // in force (exact in a double for any day-long file).
    std::int64_t m_ticks = 0;
    double m_tempoTicks = 0;
    int m_tempoUs = 500000;
};

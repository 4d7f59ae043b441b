#pragma once

#include "midi/MidiLog.h"

#include <QByteArray>
#include <QString>
#include <cstdint>

// Reads a MIDI file back for inspection: logs a hex dump of its bytes, then
// its chunks, the header's fields and every track event, decoding the unit's
// system-exclusive text messages. Nothing it reads changes anything.
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

    // Where the log goes; an empty sink restores the diagnostics.
    void setLogSink(LogSink sink) { m_log.setSink(std::move(sink)); }

    // Logs a file's bytes: hex dump, chunks, header, track events. Reads
    // never leave the file or the chunk they belong to: an event that would
    // ends its chunk. The report names the first problem met.
    ReadReport importMidi(const QByteArray& fileBytes);
    // Reads the file and logs it; a file that cannot be read logs an empty
    // dump and returns false.
    bool onImportMidi(const QString& path);

    // Logs one system-exclusive message from the unit (without the 0xF0).
    void decodeSysexData(const QByteArray& message);

    // Filled from the last header chunk read.
    std::uint16_t format() const { return m_format; }
    std::uint16_t numberOfTracks() const { return m_numberOfTracks; }
    std::uint16_t timeDivision() const { return m_timeDivision; }

private:
    void hexDump(const QByteArray& data);
    void readHeaderChunk(const unsigned char* bytes, qsizetype pos, qsizetype end);
    // The first problem in the chunk; empty when every event was read.
    QString readTrackChunk(const unsigned char* bytes, qsizetype pos, qsizetype end);
    void logMetaEvent(int delta, int type, const unsigned char* meta, qsizetype length);

    MidiLog m_log;
    std::uint16_t m_format = 0;
    std::uint16_t m_numberOfTracks = 0;
    std::uint16_t m_timeDivision = 0;
};

#include "midi/MidiFileReader.h"

#include "midi/MidiTrack.h"
#include "protocol/Coding78.h"
#include "protocol/Commands.h"
#include "protocol/MidiMessages.h"

#include <QFile>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

std::uint32_t readBigEndian32(const unsigned char* p) {
    return (std::uint32_t(p[0]) << 24) | (std::uint32_t(p[1]) << 16) | (std::uint32_t(p[2]) << 8) |
           std::uint32_t(p[3]);
}

// Reads a variable-length quantity that must end before end. The value keeps
// the low 32 bits of an over-long quantity.
bool readVarLen(const unsigned char* bytes, qsizetype& pos, qsizetype end, std::uint32_t& value) {
    value = 0;
    while (pos < end) {
        const unsigned char byte = bytes[pos++];
        value = (value << 7) | (byte & 0x7Fu);
        if (!(byte & 0x80))
            return true;
    }
    return false;
}

QString cutShort() {
    return QStringLiteral("the track ends inside an event");
}

QString unreadStatus(unsigned char status, qsizetype pos) {
    return QStringLiteral("status byte %1 at byte %2 cannot be read (running status and system "
                          "messages other than F0 and FF are not supported); the rest of the "
                          "track was skipped")
        .arg(QString::asprintf("%02x", unsigned(status)))
        .arg(pos);
}

} // namespace

void MidiFileReader::decodeSysexData(const QByteArray& message) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(message.constData());
    const qsizetype n = message.size();
    m_log.print("system exclusive, size: %d mfg: %x\n", int(n), n > 0 ? unsigned(bytes[0]) : 0u);
    if (n < 2 || bytes[0] != midimsg::kManufacturer || bytes[1] != midimsg::kCodedText)
        return;
    // The body runs from byte 2 to the byte before the closing 0xF7.
    const QByteArray decoded = coding78::decode78(n > 3 ? message.mid(2, n - 3) : QByteArray());
    QByteArray dump;
    for (qsizetype i = 0; i < decoded.size(); ++i) {
        if (i % 16 == 0)
            dump.append('\n');
        char hex[4];
        std::snprintf(hex, sizeof hex, "%02x ", unsigned(static_cast<unsigned char>(decoded[i])));
        dump.append(hex, 3);
    }
    dump.append('\n');
    m_log.write(dump);
    m_log.print("midi rx: %s\n", QString::fromLatin1(decoded).toUtf8().constData());
}

void MidiFileReader::hexDump(const QByteArray& data) {
    static const char kDigits[] = "0123456789abcdef";
    const auto* bytes = reinterpret_cast<const unsigned char*>(data.constData());
    const qsizetype n = data.size();
    QByteArray out;
    out.reserve(std::min<qsizetype>(n * 4 + n / 16 * 12 + 2, 0x10000 + 256));
    char field[16];
    for (qsizetype i = 0; i < n; ++i) {
        if (i % 16 == 0) {
            // Big files go out in pieces rather than as one block.
            if (out.size() >= 0x10000) {
                m_log.write(out);
                out.clear();
            }
            // The character column of a line is written when the next begins.
            if (i > 0) {
                for (qsizetype j = i - 16; j < i; ++j) {
                    if (j % 16 == 8)
                        out.append('\t');
                    out.append(bytes[j] > 32 && bytes[j] < 127 ? char(bytes[j]) : '.');
                }
            }
            const int len = std::snprintf(field, sizeof field, "\n%04x: ", unsigned(i));
            out.append(field, len);
        }
        if (i % 16 == 8)
            out.append('\t');
        const char byteText[3] = {kDigits[bytes[i] >> 4], kDigits[bytes[i] & 0xF], ' '};
        out.append(byteText, 3);
    }
    out.append('\n');
    m_log.write(out);
}

MidiFileReader::ReadReport MidiFileReader::importMidi(const QByteArray& fileBytes) {
    if (m_log.enabled())
        hexDump(fileBytes);
    m_cues = FileCues();
    m_cueOpen = false;
    m_tempoUs = MidiTrack::kTempoUs;
    ReadReport report;
    auto problem = [&report](ReadVerdict verdict, const QString& text) {
        if (report.verdict == ReadVerdict::Complete)
            report = {verdict, text};
    };
    const auto* bytes = reinterpret_cast<const unsigned char*>(fileBytes.constData());
    const qsizetype n = fileBytes.size();
    if (n == 0)
        problem(ReadVerdict::NotMidi, QStringLiteral("the file is empty"));
    else if (n < 8 || std::memcmp(bytes, "MThd", 4) != 0)
        problem(ReadVerdict::NotMidi, QStringLiteral("no MThd header chunk: not a MIDI file"));
    bool sawTrack = false;
    qsizetype pos = 0;
    while (n - pos >= 8) {
        char id[5];
        std::memcpy(id, bytes + pos, 4);
        id[4] = '\0';
        const std::uint32_t size = readBigEndian32(bytes + pos + 4);
        m_log.print("chunk ID: %s size: %x\n", id, size);
        const qsizetype body = pos + 8;
        const qsizetype end = std::min<qsizetype>(n, body + qsizetype(size));
        if (end < body + qsizetype(size))
            problem(ReadVerdict::Damaged,
                    QStringLiteral("the file ends inside the chunk at byte %1 (%2 of its %3 bytes)")
                        .arg(pos)
                        .arg(end - body)
                        .arg(size));
        if (std::memcmp(id, "MThd", 4) == 0) {
            if (end - body < 6)
                problem(ReadVerdict::Damaged, QStringLiteral("the header chunk is too short"));
            readHeaderChunk(bytes, body, end);
        } else if (std::memcmp(id, "MTrk", 4) == 0) {
            sawTrack = true;
            const QString trackProblem = readTrackChunk(bytes, body, end);
            if (!trackProblem.isEmpty())
                problem(ReadVerdict::Damaged,
                        QStringLiteral("track at byte %1: %2").arg(pos).arg(trackProblem));
        }
        pos = body + qsizetype(size);
    }
    if (pos < n)
        problem(ReadVerdict::Damaged,
                QStringLiteral("%1 stray bytes after the last chunk").arg(n - pos));
    if (!sawTrack)
        problem(ReadVerdict::Damaged, QStringLiteral("the file holds no track chunk"));
    return report;
}

bool MidiFileReader::onImportMidi(const QString& path) {
    QFile file(path);
    QByteArray bytes;
    const bool ok = file.open(QIODevice::ReadOnly);
    if (ok)
        bytes = file.readAll();
    importMidi(bytes);
    return ok;
}

void MidiFileReader::readHeaderChunk(const unsigned char* bytes, qsizetype pos, qsizetype end) {
    if (end - pos < 6)
        return;
    m_format = bytes[pos + 1];
    m_numberOfTracks = bytes[pos + 3];
    m_timeDivision = std::uint16_t((bytes[pos + 4] << 8) | bytes[pos + 5]);
    m_log.print("format: %x tracks: %d timeDivision: %d\n", unsigned(m_format),
                int(m_numberOfTracks), int(m_timeDivision));
}

void MidiFileReader::logMetaEvent(int delta, int type, const unsigned char* meta,
                                  qsizetype length) {
    if (type == 0) {
        const int number = length >= 2 ? (meta[0] << 8) | meta[1] : (length == 1 ? meta[0] : 0);
        m_log.print("meta event, delta: %d sequence number: %d\n", delta, number);
        return;
    }
    if (type >= 1 && type <= 7) {
        const QByteArray text(reinterpret_cast<const char*>(meta), length);
        m_log.print("meta event, delta: %d type: %d string: %s\n", delta, type, text.constData());
        return;
    }
    m_log.print("meta event, delta: %d type: %d\n", delta, type);
    if (type == 0x54 && length >= 5) {
        m_log.print("smpte offset: %02d:%02d:%02d:%02d:%02d fps: %d\n", meta[0] & 0x1F,
                    int(meta[1]), int(meta[2]), int(meta[3]), int(meta[4]), meta[0] >> 5);
    } else if (type == 0x51 && length >= 3) {
        const int tempoUs = (meta[0] << 16) | (meta[1] << 8) | meta[2];
        if (tempoUs != 0)
            m_log.print("microseconds per quarter note: %d beats per minute: %d\n", tempoUs,
                        int(std::lround(60000000.0 / tempoUs)));
    }
}

void MidiFileReader::collectMetaEvent(int type, const unsigned char* meta, qsizetype length) {
    if (type == 5 && m_cues.start.isEmpty()) {
        m_cues.start = QString::fromLatin1(reinterpret_cast<const char*>(meta), length).trimmed();
    } else if (type == 0x54 && length >= 1 && m_cues.smpteRate < 0) {
        m_cues.smpteRate = (meta[0] >> 5) & 3;
    } else if (type == 0x51 && length >= 3) {
        const int tempoUs = (meta[0] << 16) | (meta[1] << 8) | meta[2];
        // The export's pulldown tempo plays the cues 0.1 % late against the
        // clock, as a pulled-down picture runs: on the timecode's own clock
        // their times are those of the plain tempo.
        if (tempoUs == MidiTrack::kPulldownTempoUs) {
            m_cues.pulldown = true;
            m_tempoUs = MidiTrack::kTempoUs;
        } else if (tempoUs > 0) {
            m_tempoUs = tempoUs;
        }
    }
}

void MidiFileReader::collectText(const QByteArray& message) {
    const qsizetype n = message.size();
    if (!m_cueOpen || n < 2 || quint8(message[0]) != midimsg::kManufacturer ||
        quint8(message[1]) != midimsg::kCodedText)
        return;
    // The body runs from byte 2 to the byte before the closing 0xF7.
    QString text =
        QString::fromLatin1(coding78::decode78(n > 3 ? message.mid(2, n - 3) : QByteArray()));
    static const QString prefix = cmd::cueText(QString()); // "s "
    if (text.startsWith(prefix))
        text.remove(0, prefix.size());
    m_cues.cues.last().text = text;
    m_cueOpen = false;
}

double MidiFileReader::seconds() const {
    if (m_timeDivision & 0x8000) {
        // Ticks of a frame: the high byte is minus the frame rate (-29 for
        // drop frame, which counts 30 frames a second), the low the ticks.
        const int rate = -static_cast<std::int8_t>(m_timeDivision >> 8);
        const int perFrame = m_timeDivision & 0xFF;
        return rate > 0 && perFrame > 0 ? double(m_ticks) / ((rate == 29 ? 30 : rate) * perFrame)
                                        : 0.0;
    }
    const int division = m_timeDivision > 0 ? m_timeDivision : MidiTrack::kTicksPerQuarterNote;
    return m_tempoTicks / (double(division) * 1e6);
}

QString MidiFileReader::readChannelEvent(int delta, const unsigned char* bytes, qsizetype& pos,
                                         qsizetype end) {
    // Three bytes for every channel message, the two-byte program change and
    // channel pressure included.
    if (end - pos < 3)
        return cutShort();
    if ((bytes[pos] & 0xF0) == 0x90) {
        m_log.print("delta: %d note on: %d %d\n", delta, int(bytes[pos + 1]), int(bytes[pos + 2]));
        if (bytes[pos + 1] == midimsg::kAccumulateNote && bytes[pos + 2] != 0) {
            m_cues.cues.append({seconds(), QString()});
            m_cueOpen = true;
        }
    }
    pos += 3;
    return QString();
}

QString MidiFileReader::readSysexEvent(const unsigned char* bytes, qsizetype& pos, qsizetype end) {
    ++pos;
    std::uint32_t length = 0;
    if (!readVarLen(bytes, pos, end, length) || qsizetype(length) > end - pos)
        return cutShort();
    const QByteArray message(reinterpret_cast<const char*>(bytes + pos), qsizetype(length));
    if (m_log.enabled())
        decodeSysexData(message);
    collectText(message);
    pos += qsizetype(length);
    return QString();
}

QString MidiFileReader::readMetaEvent(int delta, const unsigned char* bytes, qsizetype& pos,
                                      qsizetype end) {
    if (end - pos < 3)
        return cutShort();
    const int type = bytes[pos + 1];
    const qsizetype length = bytes[pos + 2];
    pos += 3;
    if (length > end - pos)
        return cutShort();
    logMetaEvent(delta, type, bytes + pos, length);
    collectMetaEvent(type, bytes + pos, length);
    pos += length;
    return QString();
}

QString MidiFileReader::readTrackChunk(const unsigned char* bytes, qsizetype pos, qsizetype end) {
    m_ticks = 0;
    m_tempoTicks = 0;
    while (pos < end) {
        std::uint32_t deltaBits = 0;
        if (!readVarLen(bytes, pos, end, deltaBits) || pos >= end)
            return cutShort();
        const int delta = static_cast<int>(deltaBits);
        m_ticks += deltaBits;
        m_tempoTicks += double(deltaBits) * m_tempoUs;
        const unsigned char status = bytes[pos];
        QString problem;
        if (status >= 0x80 && status < 0xF0)
            problem = readChannelEvent(delta, bytes, pos, end);
        else if (status == 0xF0)
            problem = readSysexEvent(bytes, pos, end);
        else if (status == 0xFF)
            problem = readMetaEvent(delta, bytes, pos, end);
        else // no other system messages in a cue track; a data byte: no running status
            return unreadStatus(status, pos);
        if (!problem.isEmpty())
            return problem;
    }
    return QString();
}

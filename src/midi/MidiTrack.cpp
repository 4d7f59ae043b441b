#include "midi/MidiTrack.h"

#include "base/HexScan.h"
#include "base/OutputFile.h"
#include "protocol/Coding78.h"
#include "protocol/MidiMessages.h"

#include <QFile>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

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

// double to int as a C cast does, but defined for every input: out-of-range
// values saturate and NaN reads as 0.
int truncatedInt(double value) {
    if (std::isnan(value))
        return 0;
    if (value >= 2147483647.0)
        return 2147483647;
    if (value <= -2147483648.0)
        return -2147483647 - 1;
    return static_cast<int>(value);
}

void appendBigEndian(QByteArray& data, std::uint32_t value, int bytes) {
    for (int i = bytes - 1; i >= 0; --i)
        data.append(char((value >> (8 * i)) & 0xFF));
}

constexpr int kFileReserveBytes = 0x100000;

QString unreadStatus(unsigned char status, qsizetype pos) {
    return QStringLiteral("status byte %1 at byte %2 cannot be read (running status and system "
                          "messages other than F0 and FF are not supported); the rest of the "
                          "track was skipped")
        .arg(QString::asprintf("%02x", unsigned(status)))
        .arg(pos);
}

} // namespace

int MidiTrack::ticksPerFrame(int tcType) {
    return kTicksPerSecond / TcCalculator::frameRate(tcType); // 800, 768 or 640
}

void MidiTrack::writeVarLenValue(QByteArray& data, int value) {
    auto v = static_cast<std::uint32_t>(value);
    unsigned char groups[4];
    int n = 0;
    groups[n++] = static_cast<unsigned char>(v & 0x7F);
    v >>= 7;
    while (v != 0 && n < 4) {
        groups[n++] = static_cast<unsigned char>((v & 0x7F) | 0x80);
        v >>= 7;
    }
    while (n > 0)
        data.append(char(groups[--n]));
}

void MidiTrack::writeMetaDataString(QByteArray& data, int delta, int type, const QString& text) {
    const auto count = text.size();
    writeVarLenValue(data, delta);
    data.append(char(0xFF));
    data.append(char(type));
    data.append(char(count));
    // A UTF-8 form is never shorter than the UTF-16 character count.
    data.append(text.toUtf8().left(count));
}

void MidiTrack::writeCue(QByteArray& data, int delta, const QString& text) {
    writeVarLenValue(data, delta);
    data.append(midimsg::trigger(midimsg::kAccumulateNote));
    if (text.isEmpty())
        return;
    const QByteArray coded = midimsg::codedText(midimsg::fileCueCommand(text));
    data.append('\0'); // delta
    data.append(char(midimsg::kSysexStart));
    writeVarLenValue(data, int(coded.size()) + 3); // 20 01, the coded text, F7
    data.append(char(midimsg::kManufacturer));
    data.append(char(midimsg::kCodedText));
    data.append(coded);
    data.append(char(midimsg::kSysexEnd));
}

bool MidiTrack::writeFileAtomically(const QString& path, const QByteArray& bytes, QString* error) {
    return OutputFile::write(path, bytes, error);
}

void MidiTrack::decodeSysexData(const QByteArray& message) {
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

void MidiTrack::hexDump(const QByteArray& data) {
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

MidiTrack::ReadReport MidiTrack::importMidi(const QByteArray& fileBytes) {
    hexDump(fileBytes);
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

bool MidiTrack::onImportMidi(const QString& path) {
    QFile file(path);
    QByteArray bytes;
    const bool ok = file.open(QIODevice::ReadOnly);
    if (ok)
        bytes = file.readAll();
    importMidi(bytes);
    return ok;
}

void MidiTrack::readHeaderChunk(const unsigned char* bytes, qsizetype pos, qsizetype end) {
    if (end - pos < 6)
        return;
    m_format = bytes[pos + 1];
    m_numberOfTracks = bytes[pos + 3];
    m_timeDivision = std::uint16_t((bytes[pos + 4] << 8) | bytes[pos + 5]);
    m_log.print("format: %x tracks: %d timeDivision: %d\n", unsigned(m_format),
                int(m_numberOfTracks), int(m_timeDivision));
}

QString MidiTrack::readTrackChunk(const unsigned char* bytes, qsizetype pos, qsizetype end) {
    const QString cutShort = QStringLiteral("the track ends inside an event");
    while (pos < end) {
        std::uint32_t deltaBits = 0;
        if (!readVarLen(bytes, pos, end, deltaBits) || pos >= end)
            return cutShort;
        const int delta = static_cast<int>(deltaBits);
        const unsigned char status = bytes[pos];
        switch (status & 0xF0) {
        case 0x90:
            if (end - pos < 3)
                return cutShort;
            m_log.print("delta: %d note on: %d %d\n", delta, int(bytes[pos + 1]),
                        int(bytes[pos + 2]));
            pos += 3;
            break;
        case 0x80:
        case 0xA0:
        case 0xB0:
        case 0xC0:
        case 0xD0:
        case 0xE0:
            // Three bytes for every channel message, the two-byte program
            // change and channel pressure included.
            if (end - pos < 3)
                return cutShort;
            pos += 3;
            break;
        case 0xF0:
            if (status == 0xF0) {
                ++pos;
                std::uint32_t length = 0;
                if (!readVarLen(bytes, pos, end, length) || qsizetype(length) > end - pos)
                    return cutShort;
                decodeSysexData(
                    QByteArray(reinterpret_cast<const char*>(bytes + pos), qsizetype(length)));
                pos += qsizetype(length);
            } else if (status == 0xFF) {
                if (end - pos < 3)
                    return cutShort;
                const int type = bytes[pos + 1];
                const qsizetype length = bytes[pos + 2];
                pos += 3;
                if (length > end - pos)
                    return cutShort;
                const unsigned char* meta = bytes + pos;
                if (type == 0) {
                    const int number =
                        length >= 2 ? (meta[0] << 8) | meta[1] : (length == 1 ? meta[0] : 0);
                    m_log.print("meta event, delta: %d sequence number: %d\n", delta, number);
                } else if (type >= 1 && type <= 7) {
                    const QByteArray text(reinterpret_cast<const char*>(meta), length);
                    m_log.print("meta event, delta: %d type: %d string: %s\n", delta, type,
                                text.constData());
                } else {
                    m_log.print("meta event, delta: %d type: %d\n", delta, type);
                    if (type == 0x54 && length >= 5) {
                        m_log.print("smpte offset: %02d:%02d:%02d:%02d:%02d fps: %d\n",
                                    meta[0] & 0x1F, int(meta[1]), int(meta[2]), int(meta[3]),
                                    int(meta[4]), meta[0] >> 5);
                    } else if (type == 0x51 && length >= 3) {
                        const int tempoUs = (meta[0] << 16) | (meta[1] << 8) | meta[2];
                        if (tempoUs != 0) {
                            m_log.print("microseconds per quarter note: %d beats per minute: %d\n",
                                        tempoUs, int(std::lround(60000000.0 / tempoUs)));
                        }
                    }
                }
                pos += length;
            } else {
                // No other system messages in a cue track.
                return unreadStatus(status, pos);
            }
            break;
        default:
            return unreadStatus(status, pos); // a data byte: running status is not supported
        }
    }
    return QString();
}

QByteArray MidiTrack::trackStart(int hourByte, int minutes, int seconds, int frames,
                                 int fractionalFrames, int tempoUs, const QString& trackName,
                                 const QString& lyric) {
    QByteArray track;
    track.reserve(kFileReserveBytes);
    track.append("MTrk");
    appendBigEndian(track, 0, 4); // length, filled in at the end
    track.append(QByteArray::fromHex("00ff5405"));
    track.append(char(hourByte));
    track.append(char(minutes));
    track.append(char(seconds));
    track.append(char(frames));
    track.append(char(fractionalFrames));
    track.append(QByteArray::fromHex("00ff5103"));
    appendBigEndian(track, std::uint32_t(tempoUs), 3);
    writeMetaDataString(track, 0, 3, trackName);
    writeMetaDataString(track, 0, 4, QStringLiteral("QZ-62"));
    writeMetaDataString(track, 0, 5, lyric);
    return track;
}

QByteArray MidiTrack::fileWithTrack(QByteArray& track) {
    track.append(QByteArray::fromHex("00ff2f00"));
    const auto length = std::uint32_t(track.size() - 8);
    for (int i = 0; i < 4; ++i)
        track[4 + i] = char((length >> (8 * (3 - i))) & 0xFF);
    // Format 1, one track, 9600 ticks per quarter note.
    QByteArray file = "MThd" + QByteArray::fromHex("00000006 0001 0001 2580");
    file.append(track);
    return file;
}

QByteArray MidiTrack::exportMidi(const QList<Cue>& cues, const QString& start, int tcType,
                                 double offsetSeconds, bool pulldown) {
    m_exportReport = ExportReport();
    if (cues.isEmpty() || tcType < 0 || tcType > 3)
        return {};
    const int ticksFrame = ticksPerFrame(tcType);

    // The streamer offset becomes the track's SMPTE offset: whole frames as
    // a timecode, hundredths of a frame in the last byte.
    const double offsetFrames = offsetSeconds * kTicksPerSecond / ticksFrame;
    const QString offsetTc = m_tcc.binaryToTc(truncatedInt(offsetFrames), tcType);
    m_log.print("MIDI offset: %s\n", offsetTc.toUtf8().constData());
    int fractionalFrames = truncatedInt(offsetFrames * 100) % 100;
    if (fractionalFrames < 0)
        fractionalFrames += 100;
    const int hourByte = (offsetTc.mid(0, 2).toInt() & 0x1F) | (tcType << 5);

    const QString startTc = m_tcc.isTc(start) ? start : QStringLiteral("00:00:00:00");
    QByteArray track =
        trackStart(hourByte, offsetTc.mid(3, 2).toInt(), offsetTc.mid(6, 2).toInt(),
                   offsetTc.mid(9, 2).toInt(), fractionalFrames,
                   pulldown ? kPulldownTempoUs : kTempoUs, QStringLiteral("Cue track"), startTc);

    // Where each cue goes, in ticks. Going back more than half a day means
    // the next day (a sheet across midnight, as the sort orders it); going
    // back less would make a negative delta, so the cue waits for the one
    // ahead of it, or for the start.
    const std::int64_t dayTicks = std::int64_t(TcCalculator::framesPerDay(tcType)) * ticksFrame;
    const std::int64_t startTicks = std::int64_t(ticksFrame) * m_tcc.tcToBinary(startTc, tcType);
    std::vector<std::int64_t> at;
    at.reserve(size_t(cues.size()));
    std::int64_t dayBase = 0;
    std::int64_t ahead = startTicks; // the cue's own time before the one being placed
    std::int64_t placed = startTicks;
    for (const Cue& cue : cues) {
        std::int64_t own = dayBase + std::int64_t(ticksFrame) * m_tcc.tcToBinary(cue.in, tcType);
        if (own < ahead - dayTicks / 2) {
            dayBase += dayTicks;
            own += dayTicks;
        }
        ahead = own;
        if (own < placed)
            ++m_exportReport.movedCues;
        placed = std::max(own, placed);
        at.push_back(placed);
    }

    std::int64_t previous = startTicks;
    auto deltaTo = [&previous](std::int64_t when) {
        const std::int64_t delta = when - previous;
        previous = when;
        return int(std::min<std::int64_t>(delta, INT_MAX));
    };
    for (qsizetype i = 0; i < cues.size(); ++i) {
        const QString& text = cues[i].text;
        if (!text.isEmpty() && !coding78::fitsLatin1(text))
            m_exportReport.lostTexts << cues[i].name;
        writeCue(track, deltaTo(at[size_t(i)]), text);
        std::int64_t noteEnd = at[size_t(i)] + kNoteLengthTicks;
        if (i + 1 < cues.size() && at[size_t(i) + 1] < noteEnd) {
            noteEnd = at[size_t(i) + 1];
            ++m_exportReport.shortenedNotes;
        }
        writeVarLenValue(track, deltaTo(noteEnd));
        track.append(midimsg::noteOn(midimsg::kAccumulateNote, 0));
    }
    return fileWithTrack(track);
}

bool MidiTrack::onExportMidi(const QString& path, const QList<Cue>& cues, const QString& start,
                             int tcType, double offsetSeconds, bool pulldown, QString* error) {
    const QByteArray bytes = exportMidi(cues, start, tcType, offsetSeconds, pulldown);
    if (bytes.isEmpty()) {
        if (error)
            *error = QStringLiteral("nothing to export");
        return false;
    }
    return writeFileAtomically(path, bytes, error);
}

QByteArray MidiTrack::exportMidiSysex(const QString& hexText) {
    constexpr int kTcType = 3;
    const QString offsetTc = m_tcc.binaryToTc(0, kTcType);
    m_log.print("MIDI offset: %s\n", offsetTc.toUtf8().constData());
    QByteArray track = trackStart(kTcType << 5, 0, 0, 0, 0, kTempoUs, QStringLiteral("sysex track"),
                                  QStringLiteral("00:00:00:00"));
    track.append('\0');
    qsizetype pos = 0;
    std::uint32_t value = 0;
    // Only each number's low byte is written, so an over-long one keeps its
    // low bits.
    while (hexscan::scan(hexText, pos, value, hexscan::Overflow::KeepLowBits))
        track.append(char(value & 0xFF));
    return fileWithTrack(track);
}

bool MidiTrack::onExportMidiSysex(const QString& path, const QString& hexText, QString* error) {
    return writeFileAtomically(path, exportMidiSysex(hexText), error);
}

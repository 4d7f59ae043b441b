#include "midi/MidiTrack.h"

#include "base/HexScan.h"
#include "base/OutputFile.h"
#include "protocol/Coding78.h"
#include "protocol/MidiMessages.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

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

int MidiTrack::writeCue(QByteArray& data, int delta, const QString& text) {
    writeVarLenValue(data, delta);
    data.append(midimsg::trigger(midimsg::kAccumulateNote));
    if (text.isEmpty())
        return 0;
    int substituted = 0;
    const QByteArray coded = midimsg::codedText(midimsg::fileCueCommand(text), &substituted);
    const char start[2] = {'\0', char(midimsg::kSysexStart)}; // delta 0, F0
    data.append(start, 2);
    writeVarLenValue(data, int(coded.size()) + 3); // 20 01, the coded text, F7
    const char header[2] = {char(midimsg::kManufacturer), char(midimsg::kCodedText)};
    data.append(header, 2);
    data.append(coded);
    data.append(char(midimsg::kSysexEnd));
    return substituted;
}

std::optional<QString> MidiTrack::startTimecode(const QString& start) {
    QString tc = start.trimmed();
    tc.replace(u';', u':');
    if (!TcCalculator().isTc(tc))
        return std::nullopt;
    return tc;
}

bool MidiTrack::writeFileAtomically(const QString& path, const QByteArray& bytes, QString* error) {
    return OutputFile::write(path, bytes, error);
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

QByteArray MidiTrack::exportMidi(const QList<Cue>& cues, const QString& startText, int tcType,
                                 double offsetSeconds, bool pulldown) {
    m_exportReport = ExportReport();
    if (cues.isEmpty() || tcType < 0 || tcType > 3)
        return {};
    const std::optional<QString> start = startTimecode(startText);
    if (!start) {
        m_exportReport.unreadableStart = true;
        return {};
    }
    const QString& startTc = *start;
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
    auto deltaTo = [&previous, &track](std::int64_t when) {
        std::int64_t delta = when - previous;
        previous = when;
        // What one delta cannot hold goes before it, on empty text events.
        for (; delta > kMaxDeltaTicks; delta -= kMaxDeltaTicks) {
            writeVarLenValue(track, kMaxDeltaTicks);
            track.append(QByteArray::fromHex("ff0100"));
        }
        return int(delta);
    };
    for (qsizetype i = 0; i < cues.size(); ++i) {
        const QString& text = cues[i].text;
        if (writeCue(track, deltaTo(at[size_t(i)]), text) > 0)
            m_exportReport.substitutions.append(
                {cues[i].name, coding78::unshowableCharacters(midimsg::fileCueCommand(text))});
        std::int64_t noteEnd = at[size_t(i)] + kNoteLengthTicks;
        if (i + 1 < cues.size() && at[size_t(i) + 1] < noteEnd) {
            noteEnd = at[size_t(i) + 1];
            ++m_exportReport.shortenedNotes;
        }
        writeVarLenValue(track, deltaTo(noteEnd));
        track.append(char(midimsg::kNoteOn));
        track.append(char(midimsg::kAccumulateNote));
        track.append('\0');
    }
    return fileWithTrack(track);
}

bool MidiTrack::onExportMidi(const QString& path, const QList<Cue>& cues, const QString& start,
                             int tcType, double offsetSeconds, bool pulldown, QString* error) {
    const QByteArray bytes = exportMidi(cues, start, tcType, offsetSeconds, pulldown);
    if (bytes.isEmpty()) {
        if (error)
            *error =
                m_exportReport.unreadableStart
                    ? QStringLiteral("the start \"%1\" is not a timecode (HH:MM:SS:FF)").arg(start)
                    : QStringLiteral("nothing to export");
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

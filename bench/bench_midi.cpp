// MIDI cue file export, the file reader, and S-record parsing: median times.
#include "cues/CueMidiExport.h"
#include "midi/MidiFileReader.h"
#include "midi/MidiTrack.h"
#include "update/SRecord.h"

#include <QElapsedTimer>
#include <QRandomGenerator>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

double medianMs(int runs, const std::function<void()>& work) {
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        work();
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

QList<CueItem> makeCues(int count) {
    QList<CueItem> cues;
    cues.reserve(count);
    for (int i = 0; i < count; ++i) {
        // One cue every 8 seconds from 01:00:00:00 (30 fps), wrapping a day.
        const int seconds = 3600 + i * 8;
        CueItem item;
        item.cueId = QString::number(i + 1);
        item.cueIn = QStringLiteral("%1:%2:%3:%4")
                         .arg((seconds / 3600) % 24, 2, 10, QLatin1Char('0'))
                         .arg((seconds / 60) % 60, 2, 10, QLatin1Char('0'))
                         .arg(seconds % 60, 2, 10, QLatin1Char('0'))
                         .arg(i % 30, 2, 10, QLatin1Char('0'));
        item.cueText = QStringLiteral("Reel 3 bar %1: horns in, hold for the hit").arg(i);
        cues.append(item);
    }
    return cues;
}

} // namespace

int main() {
    const QList<CueItem> cues = makeCues(10000);
    MidiTrack track;
    track.setLogSink([](const QByteArray&) {});
    QByteArray file;
    const double exportMs = medianMs(21, [&] {
        file = cuemidi::exportMidi(track, cues, QStringLiteral("01:00:00:00"), 3, -1.5, true, false,
                                   true);
    });
    std::printf("MIDI export, 10000 cues with text: %.2f ms (median of 21), %lld bytes\n", exportMs,
                static_cast<long long>(file.size()));

    qint64 logBytes = 0;
    MidiFileReader reader;
    reader.setLogSink([&logBytes](const QByteArray& t) { logBytes += t.size(); });
    const double readMs = medianMs(11, [&] { reader.importMidi(file); });
    std::printf("MIDI reader log of that file: %.2f ms (median of 11), %lld bytes of log\n", readMs,
                static_cast<long long>(logBytes) / 11);

    // A 64 KiB image as 16-byte S1 records (4096 lines plus header and end).
    QRandomGenerator random(7);
    QStringList lines{QStringLiteral("S00600004844521B")};
    SRecord record;
    for (int address = 0; address < 0x10000; address += 16) {
        QByteArray bytes(16, '\0');
        for (char& b : bytes)
            b = char(random.bounded(256));
        record.encode(bytes, 1, std::uint32_t(address), 16);
        lines.append(record.sRec());
    }
    lines.append(QStringLiteral("S9030000FC"));
    int good = 0;
    const double parseMs = medianMs(21, [&] {
        good = 0;
        SRecord parsed;
        for (const QString& line : lines)
            good += parsed.setSRec(line) == 0 ? 1 : 0;
    });
    std::printf("S-record parsing, 64 KiB image (%lld lines): %.2f ms (median of 21), %d good\n",
                static_cast<long long>(lines.size()), parseMs, good);
    QStringList records;
    const double imageMs = medianMs(21, [&] { records = SRecord::updateImage(lines); });
    std::printf("Update record list from that file: %.2f ms (median of 21), %lld records\n",
                imageMs, static_cast<long long>(records.size()));
    return 0;
}

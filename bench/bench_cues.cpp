// Cue sheet figures: importing a long text cue list, sorting it with both
// rules, validating timecodes. Prints one line per figure (best of several
// runs, so a busy machine shows less noise).
#include "base/OutputFile.h"
#include "cues/CueListImporter.h"
#include "cues/CueSheet.h"
#include "cues/DelimitedText.h"
#include "timecode/TcCalculator.h"

#include <QElapsedTimer>
#include <QString>
#include <QStringList>
#include <cstdio>
#include <functional>

namespace {

constexpr int kCues = 10000;
constexpr int kRuns = 7;

double bestMs(const std::function<void()>& setup, const std::function<void()>& work) {
    double best = 1e300;
    for (int run = 0; run < kRuns; ++run) {
        setup();
        QElapsedTimer timer;
        timer.start();
        work();
        best = std::min(best, double(timer.nsecsElapsed()) / 1e6);
    }
    return best;
}

// A cue list as an editor would export it: shuffled in times over two
// hours across midnight, some duplicates, identifiers, out times, text and
// notes, and some lines that are not cues.
QString cueListText(const TcCalculator& tcc) {
    QString text;
    for (int i = 0; i < kCues; ++i) {
        const int k = i % 10 == 9 ? i - 1 : i; // every tenth cue repeats an in time
        const int in = (k * 7919) % (2 * 108000) + 23 * 108000; // 23:00 to 01:00
        const QString inTc = tcc.binaryToTc(in, 3);
        if (i % 3 == 0) {
            text += QStringLiteral("%1M%2\t%3\t%4\tStreamer into the hit, bar %5\tcheck tempo\n")
                        .arg(i / 100 + 1)
                        .arg(i % 100)
                        .arg(inTc, tcc.binaryToTc(in + 90, 3))
                        .arg(i);
        } else {
            text += QStringLiteral("%1M%2 %3 -- Punch %4\n")
                        .arg(i / 100 + 1)
                        .arg(i % 100)
                        .arg(inTc)
                        .arg(i);
        }
        if (i % 50 == 0)
            text += QStringLiteral("Reel %1 notes without a time\n").arg(i / 50);
    }
    return text;
}

} // namespace

int main() {
    const TcCalculator tcc;
    const QString list = cueListText(tcc);

    CueSheet sheet;
    const double importMs =
        bestMs([&] { sheet.onClearAll(); }, [&] { CueListImporter(sheet).paste(list); });
    std::printf("import of a %d-line text cue list: %.2f ms (%d cues)\n", int(list.count(u'\n')),
                importMs, sheet.count());

    const QList<CueItem> imported = sheet.rows();
    sheet.settings().duplicate = true;
    sheet.settings().midnight = true;
    const double sortMs = bestMs([&] { sheet.setRows(imported); }, [&] { sheet.OnSort(); });
    std::printf("sort of %d cues, duplicate and midnight rules on: %.2f ms (%d left)\n",
                int(imported.size()), sortMs, sheet.count());

    QStringList candidates;
    for (int i = 0; i < kCues; ++i) {
        candidates << (i % 4 == 3 ? QStringLiteral("24:%1:00:00").arg(i % 60, 2, 10, QChar(u'0'))
                                  : tcc.binaryToTc(i * 257, 3));
    }
    int valid = 0;
    const double isTcMs = bestMs([&] { valid = 0; },
                                 [&] {
                                     for (const QString& candidate : candidates)
                                         valid += tcc.isTc(candidate) ? 1 : 0;
                                 });
    std::printf("%d isTc calls: %.2f ms (%d valid)\n", kCues, isTcMs, valid);

    const double stringMs = bestMs([] {}, [&] { (void)sheet.stringFromCueTable(); });
    std::printf("sheet text of %d cues: %.2f ms\n", sheet.count(), stringMs);

    // A spreadsheet's CSV of the same cues (quoted fields, a header row), read
    // from a file as File > Import reads it, columns guessed (target < 200 ms).
    const QString csvPath = QStringLiteral(QZ62_BINARY_DIR "/bench_cues.csv");
    OutputFile::write(csvPath, delimited::csvForRows(imported));
    CueSheet csvSheet;
    const double csvMs = bestMs([&] { csvSheet.onClearAll(); },
                                [&] { CueListImporter(csvSheet).importFile(csvPath); });
    std::printf("import of a %d-row CSV file: %.2f ms (%d cues)\n", int(imported.size()), csvMs,
                csvSheet.count());
    return 0;
}

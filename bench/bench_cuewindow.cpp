// Cue window figures on the offscreen platform: a 10,000-row sheet file
// opened into a new window until its rows are painted, a sort of those rows
// with the table's refresh, and a paste of 10,000 lines. Best of several runs.
#include "cues/CueDocument.h"
#include "cues/view/CueTableView.h"
#include "cues/view/CueWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <cstdio>
#include <functional>
#include <memory>

namespace {

constexpr int kRows = 10000;
constexpr int kRuns = 5;

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

// Shuffled in times over two hours, with out times, text and notes.
QString cueLines() {
    const TcCalculator tcc;
    QString text;
    for (int i = 0; i < kRows; ++i) {
        const int in = (i * 7919) % (2 * 108000) + 108000;
        text += QStringLiteral("%1M%2\t%3\t%4\tStreamer into the hit, bar %5\tcheck tempo\n")
                    .arg(i / 100 + 1)
                    .arg(i % 100)
                    .arg(tcc.binaryToTc(in, 3), tcc.binaryToTc(in + 90, 3))
                    .arg(i);
    }
    return text;
}

// Everything the window has to do before the user sees the rows.
void shown(CueWindow& window) {
    QApplication::processEvents();
    window.table()->viewport()->repaint();
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir dir;
    qputenv("XDG_CONFIG_HOME", dir.path().toUtf8());
    QApplication app(argc, argv);

    const QString lines = cueLines();
    const QString path = dir.filePath(QStringLiteral("long.txt"));
    {
        CueWindow writer;
        writer.document()->paste(lines);
        writer.document()->saveToFile(path);
    }

    std::unique_ptr<CueWindow> window;
    const double openMs = bestMs([&] { window.reset(); },
                                 [&] {
                                     window = std::make_unique<CueWindow>();
                                     window->setAttribute(Qt::WA_DeleteOnClose, false);
                                     window->document()->openFile(path);
                                     window->show();
                                     shown(*window);
                                 });
    std::printf("open a %d-row sheet file to the window shown: %.2f ms\n",
                window->document()->rowCount(), openMs);

    CueDocument& doc = *window->document();
    const QList<CueItem> unsorted = doc.rows();
    const double sortMs = bestMs(
        [&] {
            doc.applyRows(unsorted);
            shown(*window);
        },
        [&] {
            doc.sort();
            shown(*window);
        });
    std::printf("sort %d rows with the table's refresh: %.2f ms\n", int(unsorted.size()), sortMs);

    const double pasteMs = bestMs(
        [&] {
            doc.applyRows({});
            shown(*window);
        },
        [&] {
            doc.paste(lines);
            shown(*window);
        });
    std::printf("paste %d lines: %.2f ms (%d rows)\n", kRows, pasteMs, doc.rowCount());
    return 0;
}

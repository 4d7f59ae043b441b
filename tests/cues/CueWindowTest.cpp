#include "cues/view/CueWindow.h"
#include "app/CueWindows.h"
#include "cues/CueDocument.h"
#include "cues/CueTableModel.h"
#include "cues/view/CueTableView.h"
#include "midi/MidiController.h"
#include "midi/view/MidiView.h"
#include "support/FilesAndTools.h"
#include "support/PanelTestSupport.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QDir>
#include <QLabel>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStringEncoder>
#include <QTemporaryDir>
#include <QToolButton>
#include <QUrl>
#include <csignal>
#include <sys/resource.h>

using testsupport::readFile;
using testsupport::runTool;
using testsupport::Scratch;

namespace {

// id (trimmed), in and out as shown, text and notes of every row.
QStringList shown(const CueDocument& doc) {
    QStringList rows;
    for (const CueItem& r : doc.rows())
        rows << QStringList{r.cueId.trimmed(), r.getCueIn(), r.getCueOut(), r.cueText, r.cueNotes}
                    .join(u'|');
    return rows;
}

// Files dropped on the table from another program, offering copy and link.
void dropFiles(CueWindow& window, const QStringList& paths) {
    QMimeData data;
    QList<QUrl> urls;
    for (const QString& p : paths)
        urls << QUrl::fromLocalFile(p);
    data.setUrls(urls);
    QWidget* target = window.table()->viewport();
    const QPointF at(10, 10);
    QDragEnterEvent enter(at.toPoint(), Qt::CopyAction | Qt::LinkAction, &data, Qt::LeftButton,
                          Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    ASSERT_TRUE(enter.isAccepted());
    QDropEvent drop(at, Qt::CopyAction | Qt::LinkAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &drop);
}

const QByteArray kSheet = ";duplicate\t1\n;midnight\t0\n;text\t1\n;cueId\t1\n;pulldown\t0\n"
                          ";start\t01:00:00:00\n;tctype\t1\n"
                          "1M1\t01:00:05:12\t01:00:09:00\tMain title\thold\n"
                          "1M2\t01:01:10:00\t---\tDoor slams\t\n"
                          "1M4\t01:03:00:00\t---\tAfter\t\n";

} // namespace

TEST(CueWindow, OpenedSheetSendsSelectionAndInOutListToTheUnit) {
    Scratch scratch;
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    App app(sim.ptyPath());
    ASSERT_TRUE(startUpSent(sim));

    CueWindows* cues = app.window.cueWindows();
    EXPECT_EQ(cues->open(scratch.write("sheet.csv", kSheet)), nullptr);
    EXPECT_EQ(app.alerts.shown, QStringList{"select a file with .txt extension"});
    CueWindow* window = cues->open(scratch.write("reel1.TXT", kSheet));
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(cues->front(), window);
    EXPECT_EQ(window->document()->rowCount(), 3);
    EXPECT_EQ(window->document()->settings().tctype, 1);
    EXPECT_FALSE(window->document()->isModified());
    EXPECT_EQ(cues->recentFiles().value(0),
              QFileInfo(scratch.path("reel1.TXT")).absoluteFilePath());

    sim.clearRecord();
    window->table()->selectRow(1);
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return sim.commandLines().contains(QStringLiteral("s 1M2\\nDoor slams")); },
        kWaitMs));

    // The list stops at a new row (no in time yet); the parser expects two pairs.
    window->table()->selectRow(1);
    window->addRow(); // selected, so its default text goes out
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return sim.commandLines().contains("s cue ID\\ninsert cue text here"); }, kWaitMs));
    sim.clearRecord();
    window->findChild<QPushButton*>("buttonTxInOuts")->click();
    const QStringList expected = {"h 0", "f 01:00:05:12 01:00:09:00", "f 01:01:10:00 "};
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return withoutPings(sim.commandLines()).size() >= 3; }, kWaitMs));
    QTest::qWait(200);
    EXPECT_EQ(withoutPings(sim.commandLines()), expected);
    EXPECT_EQ(app.controller().parser().fMax(), 2);

    // MIDI export sorts first (the new row goes to the top); the 7/8 test
    // reports in the unit tab's log.
    const QString midi = scratch.path("reel1.mid");
    cueDialogs().saveFile = [&](QWidget*, const QString&, const QString&) { return midi; };
    window->findChild<QPushButton*>("buttonExportMidi")->click();
    EXPECT_TRUE(readFile(midi).startsWith("MThd"));
    EXPECT_EQ(window->document()->rows().first().getCueIn(), "---");
    window->findChild<QPushButton*>("buttonTest")->click();
    EXPECT_TRUE(app.find<QPlainTextEdit>("textViewDebugRx")
                    ->toPlainText()
                    .contains("bytes: 256 encoded bytes: 248 decoded bytes: 217 equal: 0"));

    // A second window becomes the front one; closing it hands back.
    CueWindow* second = cues->newCueSheet();
    EXPECT_EQ(cues->front(), second);
    second->close();
    EXPECT_EQ(cues->front(), window);
}

TEST(CueWindow, PasteDropSortUndoAndRowClipboard) {
    Scratch scratch;
    CueWindow window;
    CueDocument& doc = *window.document();

    QApplication::clipboard()->setText("2M1 01:00:30:00 Late\n"
                                       "no time here\n"
                                       "1M1\t01:00:10:00\t01:00:12:00\tEarly\tnote\n"
                                       "1M2 01:00:20:00 Middle");
    window.paste();
    const QStringList pasted = {"2M1|01:00:30:00|---|Late|",
                                "1M1|01:00:10:00|01:00:12:00|Early|note",
                                "1M2|01:00:20:00|---|Middle|"};
    ASSERT_EQ(shown(doc), pasted);
    window.findChild<QPushButton*>("buttonSort")->click();
    const QStringList sorted = {pasted[1], pasted[2], pasted[0]};
    EXPECT_EQ(shown(doc), sorted);
    EXPECT_TRUE(doc.isModified());
    doc.undoStack()->undo();
    EXPECT_EQ(shown(doc), pasted);
    doc.undoStack()->undo();
    EXPECT_TRUE(shown(doc).isEmpty());
    EXPECT_FALSE(doc.isModified());
    doc.undoStack()->redo();
    doc.undoStack()->redo();
    EXPECT_EQ(shown(doc), sorted);

    // Clear All asks first: a refusal keeps every row, an empty sheet asks
    // nothing, and Undo brings the rows back.
    QList<int> asked;
    bool agree = false;
    cueDialogs().confirmClearAll = [&](QWidget*, int rows) {
        asked << rows;
        return agree;
    };
    auto* clearButton = window.findChild<QPushButton*>("buttonClearAll");
    clearButton->click();
    EXPECT_EQ(shown(doc), sorted);
    agree = true;
    clearButton->click();
    EXPECT_TRUE(shown(doc).isEmpty());
    clearButton->click();
    EXPECT_EQ(asked, (QList<int>{3, 3}));
    doc.undoStack()->undo();
    EXPECT_EQ(shown(doc), sorted);

    // An edited in time keeps its digits; rows copied to another window keep every field.
    EXPECT_TRUE(
        window.model()->setData(window.model()->index(0, CueDocument::ColumnIn), "01:00:09:2x9"));
    EXPECT_EQ(doc.rows()[0].cueIn, "01000929");
    window.table()->selectRow(0);
    window.copy();
    EXPECT_TRUE(QApplication::clipboard()->text().startsWith("1M1\t01:00:09:29\t01:00:12:00"));
    CueWindow other;
    other.paste();
    EXPECT_EQ(shown(*other.document()), QStringList{"1M1|01:00:09:29|01:00:12:00|Early|note"});

    // Two text files: the first is imported again with the second.
    CueWindow dropped;
    const QString a = scratch.write("a.txt", "A1 01:00:01:00 alpha\n");
    const QString b = scratch.write("b.txt", "B1 01:00:02:00 beta\n");
    dropFiles(dropped, {a, b});
    EXPECT_EQ(shown(*dropped.document()),
              (QStringList{"A1|01:00:01:00|---|alpha|", "A1|01:00:01:00|---|alpha|",
                           "B1|01:00:02:00|---|beta|"}));
    dropped.document()->undoStack()->undo();
    EXPECT_EQ(dropped.document()->rowCount(), 0);

    // An option the user changes is the sheet's and the next new sheet's.
    window.findChild<QCheckBox*>("checkBoxDuplicate")->click();
    EXPECT_FALSE(doc.settings().duplicate);
    EXPECT_FALSE(CueWindow().document()->settings().duplicate);
}

TEST(CueWindow, PdfsFromRealWritersGiveTheirRows) {
    Scratch scratch;
    const QString dir = scratch.dir.path();
    ASSERT_EQ(
        runTool("/usr/bin/python3", {QZ62_TEST_DATA_DIR "/cues/cue_writers.py", dir}).exitCode, 0);
    ASSERT_EQ(runTool("ps2pdf", {dir + "/shifted.ps", dir + "/ghostscript.pdf"}).exitCode, 0);
    const struct {
        const char* file;
        QStringList rows;
        QString message;
    } cases[] = {
        {"reportlab.pdf",
         {"7M1|01:04:00:00|01:04:05:00|Sirens|", "7M2|01:04:10:00|---|Quiet|"},
         "reportlab.pdf: 1 page read, 2 cues"},
        {"ghostscript.pdf",
         {"6M1|01:03:00:00|01:03:04:00|Glass|", "6M2|01:03:10:00|---|Bells|"},
         "ghostscript.pdf: 1 page read, 2 cues"},
        {"cairo.pdf",
         {QStringLiteral("3M1|01:00:20:00|01:00:24:00|Гром → ♪|"),
          QStringLiteral("3M2|01:00:30:10|---|Café door|")},
         QStringLiteral("cairo.pdf: 1 page read, 2 cues\n1 cue has characters the unit cannot "
                        "show (“Г”, “р”, “о”, “м”, “→”, “♪”): it gets “?” for each")},
    };
    for (const auto& c : cases) {
        CueWindow window;
        dropFiles(window, {scratch.path(c.file)});
        EXPECT_EQ(shown(*window.document()), c.rows) << c.file;
        EXPECT_EQ(window.message(),
                  QStringLiteral("2 cues added from \u201c%1\u201d.\n").arg(c.file) + c.message)
            << c.file;
    }
}

// A MIDI file's cues join the sheet (one undo step) while its contents still
// go to the log; the message line says what came in, what did not, and
// which characters of a selected cue the unit shows as "?".
TEST(CueWindow, MidiImportAndWhatTheUnitCannotShow) {
    Scratch scratch;
    CueWindow source;
    source.document()->paste("1M1 01:00:04:00 Price \u20ac5\n1M2 01:00:10:00 Sting");
    EXPECT_EQ(source.message(), QStringLiteral("1 cue has characters the unit cannot show (“€”): "
                                               "it gets “?” for each"));
    const QString midi = scratch.path("reel1.mid");
    const QString notMidi = scratch.write("notes.mid", "01:00:00:00 Go\n");
    QString answer = midi;
    cueDialogs().saveFile = [&](QWidget*, const QString&, const QString&) { return answer; };
    cueDialogs().openFile = [&](QWidget*, const QString&, const QString&) { return answer; };
    source.exportMidi();

    CueWindow window;
    QStringList log;
    QObject::connect(&window, &CueWindow::logText, [&log](const QString& text) { log << text; });
    window.importMidi();
    EXPECT_EQ(shown(*window.document()),
              (QStringList{"1M1|01:00:04:00|---|Price ?5|", "1M2|01:00:10:00|---|Sting|"}));
    EXPECT_EQ(window.message(),
              QStringLiteral("reel1.mid: 2 cues, counted from 01:00:00:00 at 30 fps"));
    EXPECT_TRUE(log.join(QString()).contains(QLatin1String("midi rx: s 1M2\\nSting")));
    window.document()->undoStack()->undo();
    EXPECT_EQ(window.document()->rowCount(), 0);

    // File > Import reads the same file into the sheet.
    EXPECT_EQ(window.document()->importFiles({midi}), 2);
    EXPECT_EQ(window.message(),
              QStringLiteral("2 cues added from \u201creel1.mid\u201d.\n"
                             "reel1.mid: 2 cues, counted from 01:00:00:00 at 30 fps"));
    window.document()->undoStack()->undo();

    answer = notMidi;
    window.importMidi();
    EXPECT_EQ(window.message(),
              QStringLiteral("notes.mid: no cues added: no MThd header chunk: not a MIDI file"));

    source.table()->selectRow(0);
    EXPECT_EQ(source.message(),
              QStringLiteral("Cue 1M1: the unit cannot show “€” and shows “?” instead"));
}

TEST(CueWindow, InterruptedSaveLeavesTheOldFileAndCloseAsks) {
    Scratch scratch;
    RecordingAlerts alerts;
    CueWindow window;
    CueDocument& doc = *window.document();
    const QString answer = scratch.path("cues.txt");
    cueDialogs().saveFile = [&](QWidget*, const QString&, const QString&) { return answer; };
    doc.paste("1M1 01:00:01:00 first");
    ASSERT_TRUE(window.save());
    const QByteArray saved = readFile(answer);
    EXPECT_TRUE(saved.contains("\t01:00:01:00\t---\tfirst\t\n"));

    // A full disk: the file size limit stops the write part-way.
    doc.paste(QString("1M2 01:00:02:00 %1").arg(QString(20000, u'x')));
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    rlimit small = old;
    small.rlim_cur = 4096;
    setrlimit(RLIMIT_FSIZE, &small);
    const bool written = window.save();
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_FALSE(written);
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_TRUE(alerts.shown[0].startsWith("The cue sheet could not be saved to " + answer))
        << alerts.shown[0].toStdString();
    EXPECT_EQ(readFile(answer), saved);
    EXPECT_EQ(QDir(scratch.dir.path()).entryList(QDir::Files), QStringList{"cues.txt"});
    EXPECT_TRUE(doc.isModified());

    // Closing a modified sheet asks; cancel keeps it, discard lets it go.
    QMessageBox::StandardButton reply = QMessageBox::Cancel;
    int asked = 0;
    cueDialogs().askSave = [&](QWidget*, const QString&) {
        ++asked;
        return reply;
    };
    EXPECT_FALSE(window.close());
    reply = QMessageBox::Discard;
    window.setAttribute(Qt::WA_DeleteOnClose, false);
    EXPECT_TRUE(window.close());
    EXPECT_EQ(asked, 2);
}

// A name without an extension gets the sheet's or the MIDI file's; the
// sheet's Save still refuses any other extension. A completed name that
// already exists is replaced only when the user says so.
TEST(CueWindow, BareNamesGetTheirExtension) {
    const struct {
        bool exportMidi;
        const char* chosen;
        const char* existing; // a file already there, or null
        bool replace;         // the answer when asked
        const char* written;  // the file that must hold the result, or null
        bool refused;
    } cases[] = {
        {false, "myreel", nullptr, false, "myreel.txt", false},
        {false, "MYREEL.TXT", nullptr, false, "MYREEL.TXT", false},
        {false, "myreel", "myreel.txt", false, nullptr, false},
        {false, "myreel", "myreel.txt", true, "myreel.txt", false},
        {false, "myreel.csv", nullptr, false, nullptr, true},
        {true, "myreel", nullptr, false, "myreel.mid", false},
        {true, "myreel.", nullptr, false, "myreel.mid", false},
        {true, "myreel.smf", nullptr, false, "myreel.smf", false},
    };
    for (const auto& c : cases) {
        Scratch scratch;
        RecordingAlerts alerts;
        CueWindow window;
        window.document()->paste("1M1 01:00:01:00 first");
        if (c.existing)
            scratch.write(c.existing, "keep me\n");
        cueDialogs().saveFile = [&](QWidget*, const QString&, const QString&) {
            return scratch.path(c.chosen);
        };
        int asked = 0;
        cueDialogs().confirmReplace = [&](QWidget*, const QString&) {
            ++asked;
            return c.replace;
        };
        if (c.exportMidi)
            window.exportMidi();
        else
            window.save();
        const QStringList files = QDir(scratch.dir.path()).entryList(QDir::Files);
        EXPECT_EQ(asked, c.existing ? 1 : 0) << c.chosen;
        EXPECT_EQ(alerts.shown,
                  c.refused ? QStringList{"select a file with .txt extension"} : QStringList())
            << c.chosen;
        if (c.written) {
            const QByteArray bytes = readFile(scratch.path(c.written));
            EXPECT_TRUE(c.exportMidi ? bytes.startsWith("MThd") : bytes.startsWith(";duplicate"))
                << c.chosen;
        } else if (c.existing) {
            EXPECT_EQ(readFile(scratch.path(c.existing)), "keep me\n") << c.chosen;
        }
        EXPECT_EQ(files.size(), (c.existing || c.written) ? 1 : 0) << files.join(' ').toStdString();
    }
}

// What a sort and an export changed shows in the window's message line, not
// in a dialog.
TEST(CueWindow, MessageLineSaysWhatSortAndExportChanged) {
    Scratch scratch;
    RecordingAlerts alerts;
    CueWindow window;
    window.document()->paste(QStringLiteral("1M1 01:00:10:00 Hit\n1M1b 01:00:10:00 Hit again\n"
                                            "0M1 00:59:00:00 Before the start\n"
                                            "2M1 01:00:20:00 \u0413\u0440\u043e\u043c\n"));
    const QString midi = scratch.path("reel1");
    cueDialogs().saveFile = [&](QWidget*, const QString&, const QString&) { return midi; };
    window.findChild<QPushButton*>("buttonExportMidi")->click();
    EXPECT_TRUE(alerts.shown.isEmpty());
    EXPECT_EQ(window.message(),
              QStringLiteral("3 cues written to \u201creel1.mid\u201d.\n"
                             "1 duplicate cue removed \u2014 Undo brings it back\n"
                             "Cue 2M1 at 01:00:20:00: the unit cannot show \u201c\u0413\u201d, "
                             "\u201c\u0440\u201d, \u201c\u043e\u201d, \u201c\u043c\u201d: written "
                             "as \u201c?\u201d.\n"
                             "1 cue(s) placed later than their time: before the start or before "
                             "the cue ahead of them."));
    auto* line = window.findChild<QWidget*>("messageLine");
    ASSERT_NE(line, nullptr);
    EXPECT_TRUE(line->isVisibleTo(&window));
    window.findChild<QToolButton*>("buttonDismissMessage")->click();
    EXPECT_FALSE(line->isVisibleTo(&window));
}

// Open keeps opening sheets: a list that is not one opens untitled and
// Save asks for a name, so the list is never written over. Import adds any
// list's rows to the front sheet. A sheet closed without saving leaves no
// recovery copy behind.
TEST(CueWindow, OpenAndImportNeverWriteOverAList) {
    Scratch scratch;
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    App app(sim.ptyPath());
    CueWindows* cues = app.window.cueWindows();
    cues->recovery()->setDelayMs(0);

    const QByteArray list = "Reel 1 spotting\n1M1 01:00:00;12 01:00:01:00 Hit\n";
    const QString listPath = scratch.write("spotting.txt", list);
    CueWindow* window = cues->open(listPath);
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(window->document()->filePath().isEmpty());
    EXPECT_TRUE(window->document()->isModified());
    EXPECT_EQ(shown(*window->document()), QStringList{"1M1|01:00:00:12|01:00:01:00|Hit|"});
    EXPECT_TRUE(window->message().contains("is not a cue sheet (line 1"))
        << window->message().toStdString();

    const QByteArray utf16 = QStringEncoder(QStringEncoder::Utf16LE, QStringEncoder::Flag::WriteBom)
                                 .encode(QStringLiteral("2 01:00:05:00\n"));
    const QStringList imported = {scratch.write("utf16.txt", utf16),
                                  QStringLiteral(QZ62_TEST_DATA_DIR "/cues/filmlight.pdf")};
    cueDialogs().openFiles = [&](QWidget*, const QString&, const QString& filter) {
        EXPECT_TRUE(filter.contains("*.pdf")) << filter.toStdString();
        return imported;
    };
    cues->importWithDialog();
    EXPECT_EQ(cues->front(), window);
    const QStringList rows = shown(*window->document());
    ASSERT_GE(rows.size(), 3) << rows.join(' ').toStdString();
    EXPECT_EQ(rows[1], "2|01:00:05:00|---||");
    EXPECT_TRUE(window->message().startsWith(
        QStringLiteral("%1 cues added from \u201cutf16.txt\u201d and \u201cfilmlight.pdf\u201d.")
            .arg(rows.size() - 1)))
        << window->message().toStdString();

    QStringList asked;
    cueDialogs().saveFile = [&](QWidget*, const QString& caption, const QString&) {
        asked << caption;
        return scratch.path("reel1");
    };
    ASSERT_TRUE(cues->save());
    EXPECT_EQ(asked, QStringList{"Save Cue Sheet"});
    EXPECT_EQ(readFile(listPath), list);
    EXPECT_EQ(window->document()->filePath(), scratch.path("reel1.txt"));

    // Modified, copied for recovery; closed without saving, the copy goes.
    window->document()->paste("3M1 01:00:30:00 late change");
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return QFile::exists(cues->recovery()->copyPath(window->document())); }, kWaitMs));
    const QString copy = cues->recovery()->copyPath(window->document());
    cueDialogs().askSave = [](QWidget*, const QString&) { return QMessageBox::Discard; };
    EXPECT_TRUE(window->close());
    EXPECT_FALSE(QFile::exists(copy));
}

// MIDI Time Code reaching the app fires the front sheet's cue on its frame
// (in time less the streamer's lead: 100/50 s, 50 frames at 25 fps), moves
// the selection to the next cue and runs every window's counter.
TEST(CueWindow, TimecodeFiresTheFrontSheetsCue) {
    Scratch scratch;
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    App app(sim.ptyPath());
    ASSERT_TRUE(startUpSent(sim));
    CueWindow* window = app.window.cueWindows()->open(scratch.write("reel1.txt", kSheet));
    ASSERT_NE(window, nullptr);
    sim.clearRecord();

    MidiController* midi = app.window.midiView()->controller();
    auto fullFrame = [&](int s, int f) {
        const std::uint8_t bytes[] = {
            0xF0, 0x7F, 0x01, 0x01, 0x01, 0x21, 0x01, std::uint8_t(s), std::uint8_t(f), 0xF7};
        midi->decodeData(bytes, sizeof bytes);
    };
    auto quarterFrame = [&](std::uint8_t piece) {
        const std::uint8_t bytes[] = {0xF1, std::uint8_t(piece << 4)};
        midi->decodeData(bytes, sizeof bytes);
    };
    // A full frame sets the time; quarter-frame piece 0 (first after start)
    // and piece 3 each step it one frame.
    fullFrame(7, 23);
    quarterFrame(0); // 01:01:07:24, one frame early: nothing fires
    QTest::qWait(100);
    EXPECT_TRUE(sim.triggers().isEmpty());
    fullFrame(7, 24);
    quarterFrame(3); // 01:01:08:00
    ASSERT_TRUE(QTest::qWaitFor([&] { return !sim.sysexTexts().isEmpty(); }, kWaitMs));
    ASSERT_EQ(sim.triggers().size(), 1);
    EXPECT_EQ(sim.triggers().first().note, 0x77);
    EXPECT_TRUE(sim.sysexTexts().first().contains(QStringLiteral("Door slams")));
    EXPECT_TRUE(QTest::qWaitFor([&] { return window->table()->firstSelectedRow() == 1; }, kWaitMs));
    auto* counter = window->findChild<QLabel*>(QStringLiteral("labelTimecodeCounter"));
    ASSERT_NE(counter, nullptr);
    EXPECT_TRUE(QTest::qWaitFor([&] { return counter->text() == "01:01:08:00"; }, kWaitMs));
}

// The cue document as the window drives it: cells, rates, sorting, opening,
// saving, importing and the in/out list, with what each tells the user.
#include "cues/CueDocument.h"
#include "cues/CueTableModel.h"
#include "protocol/CommandSink.h"
#include "support/CueTestSupport.h"
#include "support/FilesAndTools.h"

#include <QStringEncoder>
#include <QTest>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using testsupport::readFile;
using testsupport::Scratch;
constexpr auto item = cueRow;

// What the document told the user, in order.
struct Told {
    explicit Told(CueDocument& doc) {
        QObject::connect(&doc, &CueDocument::message, [this](const QString& t) { lines << t; });
    }
    QString last() const { return lines.value(lines.size() - 1); }
    QStringList lines;
};

struct SentCommands : CommandSink {
    QStringList lines;
    void sendString(const QString& command) override { lines << command; }
    void sendBytes(const QByteArray&) override {}
    void sendTimingBytes(const QByteArray&) override {}
    int txCount() const override { return 0; }
};

QStringList shownIns(const CueDocument& doc) {
    QStringList ins;
    for (const CueItem& r : doc.rows())
        ins << r.getCueIn();
    return ins;
}

TEST(CueDocument, CellsRefuseTimesTheRateDoesNotHave) {
    const struct {
        int type;
        int column;
        const char* typed;
        const char* shown; // the cell afterwards
        const char* told;  // part of the message; empty: none
    } cases[] = {
        {3, CueDocument::ColumnIn, "01:00:00:29", "01:00:00:29", ""},
        {3, CueDocument::ColumnIn, "01:00:00:45", "01:00:00:12",
         "Row 1 (1M1): 01:00:00:45 refused as the in time: frame 45 does not exist at 30 fps "
         "(00 to 29). The cell keeps 01:00:00:12."},
        {3, CueDocument::ColumnOut, "25:99:99:99", "01:00:02:00", "hour 25 does not exist"},
        {0, CueDocument::ColumnIn, "01:00:00:24", "01:00:00:12", "frame 24 does not exist at 24"},
        {2, CueDocument::ColumnIn, "01:01:00:00", "01:00:00:12", "is skipped at 29.97 fps drop"},
        {2, CueDocument::ColumnIn, "01:10:00:00", "01:10:00:00", ""},
        {0, CueDocument::ColumnOut, "", "---", ""}, // unset is always allowed
    };
    for (const auto& c : cases) {
        CueDocument doc;
        CueSheetSettings settings;
        settings.tctype = c.type;
        doc.initSettings(settings);
        doc.appendRows({item("1M1", "01:00:00:12", "01:00:02:00", "Hit", "")}, "Paste");
        Told told(doc);
        doc.setCell(0, c.column, QString::fromLatin1(c.typed));
        EXPECT_EQ(
            TCFormatter::stringForObjectValue(CueDocument::cellValue(doc.rows()[0], c.column)),
            QString::fromLatin1(c.shown))
            << c.typed;
        if (*c.told == 0)
            EXPECT_TRUE(told.lines.isEmpty()) << c.typed << told.last().toStdString();
        else
            EXPECT_TRUE(told.last().contains(QString::fromLatin1(c.told)))
                << c.typed << ": " << told.last().toStdString();
    }
    // A tab or a line break typed or pasted into a cell becomes a blank.
    CueDocument doc;
    doc.appendRows({item("1M1", "01:00:00:00", "", "", "")}, "Paste");
    doc.setCell(0, CueDocument::ColumnText, "two\tlines\nhere");
    EXPECT_EQ(doc.rows()[0].cueText, "two lines here");
}

// Changing the sheet's type box never alters a cell; the times the new rate
// does not have are marked and counted.
TEST(CueDocument, AnotherRateMarksTimesAndNeverAltersThem) {
    CueDocument doc;
    CueTableModel model(&doc);
    doc.appendRows({item("1", "01:00:00:27", "01:00:00:24", "", ""),
                    item("2", "01:01:00:00", "", "", ""), item("3", "01:00:00:10", "", "", "")},
                   "Paste");
    Told told(doc);
    const struct {
        int type;
        int marked;
        const char* told;
    } rates[] = {{0, 2, "2 times do not exist at 24 fps: they are marked in the table"},
                 {2, 1, "1 time does not exist at 29.97 fps drop: it is marked"},
                 {1, 1, "1 time does not exist at 25 fps"},
                 {3, 0, ""}};
    for (const auto& r : rates) {
        told.lines.clear();
        CueSheetSettings settings = doc.settings();
        settings.tctype = r.type;
        doc.setSettings(settings);
        EXPECT_EQ(shownIns(doc), (QStringList{"01:00:00:27", "01:01:00:00", "01:00:00:10"}));
        EXPECT_EQ(doc.timesNotAtRate(), r.marked) << r.type;
        if (*r.told == 0)
            EXPECT_TRUE(told.lines.isEmpty()) << told.last().toStdString();
        else
            EXPECT_TRUE(told.last().startsWith(QString::fromLatin1(r.told)))
                << told.last().toStdString();
    }
    CueSheetSettings settings = doc.settings();
    settings.tctype = 0;
    doc.setSettings(settings);
    const QModelIndex marked = model.index(0, CueDocument::ColumnIn);
    EXPECT_TRUE(model.data(marked, Qt::BackgroundRole).isValid());
    EXPECT_TRUE(model.data(marked, Qt::ToolTipRole).toString().contains("frame 27"));
    EXPECT_FALSE(model.data(model.index(2, CueDocument::ColumnIn), Qt::BackgroundRole).isValid());
}

TEST(CueDocument, SortSaysWhatItRemovedAndUndoBringsItBack) {
    const struct {
        QList<CueItem> rows;
        bool duplicates;
        int left;
        QString told;
    } cases[] = {
        {{item("a", "01:00:01:00", "", "", ""), item("b", "01:00:00:00", "", "", ""),
          item("c", "01:00:01:00", "", "", ""), item("d", "01:00:01:00", "", "", "")},
         true,
         2,
         QStringLiteral("2 duplicate cues removed \u2014 Undo brings them back")},
        {{item("a", "01:00:00:00", "", "", ""), item("b", "01:00:00:00", "", "", "")},
         true,
         1,
         QStringLiteral("1 duplicate cue removed \u2014 Undo brings it back")},
        {{item("a", "01:00:00:00", "", "", ""), item("b", "01:00:00:00", "", "", "")},
         false,
         2,
         QString()},
        {{item("a", "20:00:00:00", "", "", ""), item("b", "02:00:00:00", "", "", ""),
          item("c", "09:00:00:00", "", "", "")},
         true,
         3,
         QStringLiteral("The in times span more than 12 hours (20:00:00:00 to 09:00:00:00): "
                        "sorting by in time may put the cues out of order")},
    };
    for (const auto& c : cases) {
        CueDocument doc;
        CueSheetSettings settings;
        settings.duplicate = c.duplicates;
        doc.initSettings(settings);
        doc.appendRows(c.rows, "Paste");
        Told told(doc);
        doc.sort();
        EXPECT_EQ(doc.rowCount(), c.left);
        EXPECT_EQ(told.last(), c.told);
        if (doc.rows() != c.rows) {
            doc.undoStack()->undo();
            EXPECT_EQ(doc.rows(), c.rows);
        }
    }
}

TEST(CueDocument, OpensSheetsAsThemselvesAndOtherListsUntitled) {
    Scratch scratch;
    const QString sheetText = QStringLiteral(
        ";tctype\t1\n1M1\t01:00:00:00\t---\tCaf\u00e9 at 01:00:05:00\t\n2M1\t---\t---\t\tnotes\n");
    const QByteArray utf16 =
        QStringEncoder(QStringEncoder::Utf16LE, QStringEncoder::Flag::WriteBom).encode(sheetText);
    const struct {
        const char* name;
        QByteArray bytes;
        CueDocument::Opened opened;
        int rows;
        const char* told; // part of the message; empty: none
    } cases[] = {
        {"utf8.txt", sheetText.toUtf8(), CueDocument::Opened::Sheet, 2, ""},
        {"utf16.txt", utf16, CueDocument::Opened::Sheet, 2, ""},
        {"cp1252.txt", sheetText.toLatin1(), CueDocument::Opened::Sheet, 2,
         "cp1252.txt: not UTF-8 or UTF-16, read as Windows-1252 (Save writes UTF-8)"},
        {"list.txt", "1M1 01:00:00;12 Hit\nReel 1\n", CueDocument::Opened::OtherList, 1,
         "\u201clist.txt\u201d is not a cue sheet (line 1 is not in the sheet's form), so it is "
         "left as it is; this untitled sheet holds its 1 cue, and Save asks for a name."},
    };
    for (const auto& c : cases) {
        CueDocument doc;
        Told told(doc);
        const QString path = scratch.write(QString::fromLatin1(c.name), c.bytes);
        EXPECT_EQ(doc.openFile(path), c.opened) << c.name;
        EXPECT_EQ(doc.rowCount(), c.rows) << c.name;
        const bool sheet = c.opened == CueDocument::Opened::Sheet;
        EXPECT_EQ(doc.filePath(), sheet ? path : QString()) << c.name;
        EXPECT_EQ(doc.isModified(), !sheet) << c.name;
        if (sheet) {
            EXPECT_EQ(doc.rows()[0].cueText, QStringLiteral("Caf\u00e9 at 01:00:05:00"));
            EXPECT_EQ(doc.settings().tctype, 1);
        }
        EXPECT_EQ(told.last().isEmpty(), *c.told == 0) << c.name;
        EXPECT_TRUE(told.last().contains(QString::fromUtf8(c.told)))
            << c.name << ": " << told.last().toStdString();
    }
    CueDocument doc;
    EXPECT_EQ(doc.openFile(scratch.path("missing.txt")), CueDocument::Opened::Unreadable);
}

// A pipe given as the sheet's file is written into, never replaced; the
// sheet is not kept there, so it stays modified and keeps its own name.
TEST(CueDocument, SavingIntoAPipeKeepsTheSheetUnsaved) {
    Scratch scratch;
    const QByteArray fifo = QFile::encodeName(scratch.path("fifo"));
    ASSERT_EQ(mkfifo(fifo.constData(), 0600), 0);
    CueDocument doc;
    Told told(doc);
    doc.paste("1M1 01:00:00:00 Hit");
    // Nothing reads from it yet: refused at once, not waited on.
    QString error;
    EXPECT_FALSE(doc.saveToFile(QString::fromLocal8Bit(fifo), &error));
    EXPECT_EQ(error, "nothing is reading from it");
    const int reader = open(fifo.constData(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    EXPECT_TRUE(doc.saveToFile(QString::fromLocal8Bit(fifo)));
    char buffer[512];
    const ssize_t n = read(reader, buffer, sizeof buffer);
    close(reader);
    EXPECT_TRUE(QByteArray(buffer, int(std::max<ssize_t>(n, 0))).endsWith("\tHit\t\n"));
    EXPECT_FALSE(QFileInfo(QString::fromLocal8Bit(fifo)).isFile());
    EXPECT_TRUE(doc.isModified());
    EXPECT_TRUE(doc.filePath().isEmpty());
    EXPECT_TRUE(told.last().contains("is a device or a pipe")) << told.last().toStdString();
}

TEST(CueDocument, ImportAddsEachFileOnceAndSaysWhatCameIn) {
    Scratch scratch;
    CueDocument doc;
    doc.appendRows({item("0", "01:00:00:00", "", "there before", "")}, "Paste");
    Told told(doc);
    const QStringList files = {
        scratch.write("a.txt", "A 01:00:01:00 alpha\n"),
        scratch.write("b.csv", "B 01:00:02:00 caf\xe9\n"),
        scratch.write("sheet.txt", ";tctype\t0\nS\t01:00:03:00\t---\tat 01:00:09:00\t\n"),
        scratch.path("gone.txt")};
    EXPECT_EQ(doc.importFiles(files), 3);
    QStringList ids;
    for (const CueItem& r : doc.rows())
        ids << r.cueId.trimmed();
    EXPECT_EQ(ids, (QStringList{"0", "A", "B", "S"}));
    EXPECT_EQ(doc.rows()[3].cueText, "at 01:00:09:00");
    EXPECT_EQ(doc.settings().tctype, 3); // an imported sheet's header is not this sheet's
    EXPECT_EQ(told.last(),
              QStringLiteral("3 cues added from \u201ca.txt\u201d, \u201cb.csv\u201d and 2 more "
                             "files.\nb.csv: not UTF-8 or UTF-16, read as Windows-1252\n"
                             "gone.txt: cannot be read"));
    doc.undoStack()->undo();
    EXPECT_EQ(doc.rowCount(), 1);
    EXPECT_EQ(doc.importFiles({scratch.write("empty.txt", "no times here\n")}), 0);
    EXPECT_EQ(told.last(), QStringLiteral("No cues found in \u201cempty.txt\u201d."));
}

// The list still stops at a row it cannot send, and says which and why.
TEST(CueDocument, SendInOutsNamesTheRowItStopsAt) {
    const struct {
        const char* stopIn;
        QString told;
    } cases[] = {
        {"", QStringLiteral("Send In/Outs stopped at row 3 (1M3): it has no in time.")},
        {"25:99:99:99",
         QStringLiteral("Send In/Outs stopped at row 3 (1M3): its in time 25:99:99:99 cannot be "
                        "sent: hour 25 does not exist (00 to 23).")},
    };
    for (const auto& c : cases) {
        CueDocument doc;
        SentCommands sent;
        doc.setComThread(&sent);
        doc.appendRows({item("1M1", "01:00:00:00", "01:00:01:00", "", ""),
                        item("1M2", "01:00:02:00", "01:00:00:45", "", ""),
                        item("1M3", c.stopIn, "", "", ""), item("1M4", "01:00:04:00", "", "", "")},
                       "Paste");
        Told told(doc);
        EXPECT_EQ(doc.onTxInOuts(), 2);
        EXPECT_EQ(sent.lines, (QStringList{"h 0", "f 01:00:00:00 01:00:01:00", "f 01:00:02:00 "}));
        EXPECT_EQ(told.last(),
                  "2 in/out pairs sent to the unit.\n" + c.told +
                      " The rows from there on were not sent.\nRow 2 (1M2) went without its out "
                      "time 01:00:00:45: frame 45 does not exist at 30 fps (00 to 29).");
    }
    CueDocument alone;
    Told told(alone);
    alone.onTxInOuts();
    EXPECT_EQ(told.last(), "No unit is connected: no in and out times were sent.");
}

} // namespace

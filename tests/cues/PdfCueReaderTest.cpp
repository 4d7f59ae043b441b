// PDF cue sheets: the files in tests/data/cues are written by make_pdfs.py
// there (EdiCue and filmlight layouts, a generic two-page sheet, and a
// hand-written one with TJ arrays, the line operators and a scaled graphics
// state); table_pdfs.py writes the table, filmlight and EdiCue sheets over
// several pages at test time, and Ghostscript rewrites the table.
#include "cues/PdfCueReader.h"
#include "cues/CueListImporter.h"
#include "cues/CueSheet.h"
#include "support/CueTestSupport.h"
#include "support/FilesAndTools.h"

#include <QTemporaryDir>
#include <functional>
#include <gtest/gtest.h>

namespace {

using testsupport::runTool;

QString data(const char* name) {
    return QStringLiteral(QZ62_TEST_DATA_DIR "/cues/") + QString::fromLatin1(name);
}

// Runs `work` with the reader's report going to memory; returns it.
QString captureLog(PdfCueReader& reader, const std::function<void()>& work) {
    QByteArray log;
    reader.setLogSink([&log](const QByteArray& text) { log += text; });
    work();
    reader.setLogSink({});
    return QString::fromUtf8(log);
}

QList<CueItem> importRows(const QString& path, QString* summary = nullptr) {
    CueSheet sheet;
    CueListImporter importer(sheet);
    PdfCueReader reader;
    captureLog(reader,
               [&] { EXPECT_TRUE(reader.importPdf(path, importer)) << path.toStdString(); });
    if (summary)
        *summary = reader.summary(sheet.count());
    return sheet.rows();
}

TEST(PdfCueReader, InformationDictionary) {
    const struct {
        const char* file;
        int result;
        const char* author;
        const char* creator;
    } cases[] = {
        {"edicue.pdf", 0, "Scoring stage", "EdiCue 3.1 cue sheet"},
        {"filmlight.pdf", 0, "FilmLight", "Sheet writer"},
        {"operators.pdf", 0, "Deep", "H\xc3\xa5nd"}, // nested dictionary; UTF-16 text
        {"make_pdfs.py", -1, "", ""},
        {"missing.pdf", -1, "", ""},
    };
    for (const auto& c : cases) {
        PdfCueReader reader;
        EXPECT_EQ(reader.getAuthorAndCreator(data(c.file)), c.result) << c.file;
        EXPECT_EQ(reader.author(), QString::fromUtf8(c.author)) << c.file;
        EXPECT_EQ(reader.creator(), QString::fromUtf8(c.creator)) << c.file;
    }
}

TEST(PdfCueReader, DrawnStringsWithTheirPlaceOnThePage) {
    PdfCueReader reader;
    QList<PDFStringTableItem> items;
    const QString log =
        captureLog(reader, [&] { items = reader.scanPages(data("operators.pdf")); });
    // Real-number positions are rounded; in a TJ array a word's gap puts a
    // blank between two strings, a cell's gap a tab. Below the scaled state
    // (2 0 0 2 10 20 cm) a 6 point font draws at 12, and the line operators
    // move from (5, 300): T* by the leading 14, Td, TD (leading 5), ' and ".
    // Q gives back the state before it.
    const QList<PDFStringTableItem> expected = {
        {51, 700, "1M1 01:00:00:00", 1, 12},
        {60, 680, "7 01:00:02:00", 1, 12}, // odd TJ places skipped
        {71, 660, "8 01:00:03:00 at 70.5", 1, 12},
        {71, 660, "", 1, 12}, // empty TJ array
        {50, 640, "9M1\t01:00:04:00\tBell tower", 1, 12},
        {20, 620, "A", 1, 12},
        {20, 592, "B", 1, 12},
        {40, 552, "C", 1, 12},
        {40, 542, "D", 1, 12},
        {40, 532, "E", 1, 12},
        {40, 522, "F", 1, 12},
        {7, 8, "G", 1, 12},
    };
    EXPECT_EQ(items, expected);
    EXPECT_TRUE(log.startsWith(QStringLiteral("op_BT 0\nop_ET\nop_BT 1\nop_ET\n")));
    EXPECT_EQ(log.count(QStringLiteral("op_BT")), 6);

    // Every page, in order.
    captureLog(reader, [&] { items = reader.scanPages(data("generic.pdf")); });
    ASSERT_EQ(items.size(), 6);
    EXPECT_EQ(items.last(), (PDFStringTableItem{50, 700, "2M1 01:00:20:00 second page", 2, 12}));
    EXPECT_EQ(reader.pageCount(), 2);
    EXPECT_TRUE(reader.scanPages(data("missing.pdf")).isEmpty());
    EXPECT_EQ(reader.pageCount(), 0);
}

// The generic layout on strings placed by hand: lines by baseline, cells by
// column, lines that go on with a cue's text or notes.
TEST(PdfCueReader, GenericRowsFromLinesAndColumns) {
    using Items = QList<PDFStringTableItem>;
    // A table row at height y: identifier, in, out, text, notes at 50, 100,
    // 170, 240, 400.
    auto row = [](std::int64_t y, const char* id, const char* in, const char* out, const char* text,
                  const char* notes, int page = 1) {
        Items cells;
        const std::pair<std::int64_t, const char*> columns[] = {
            {50, id}, {100, in}, {170, out}, {240, text}, {400, notes}};
        for (const auto& [x, cell] : columns) {
            if (*cell)
                cells.append({x, y, QString::fromUtf8(cell), page, 10});
        }
        return cells;
    };
    const struct {
        const char* name;
        Items items;
        QList<CueItem> rows;
    } cases[] = {
        {"nothing", {}, {}},
        {"no timecode", {{0, 0, "x", 1, 10}, {0, 0, "no time", 1, 10}}, {}},
        {"title, header and table rows, drawn column by column",
         Items{{200, 760, "Reel 1", 1, 14}} + row(740, "Cue", "In", "Out", "Text", "Notes") +
             row(720, "", "", "01:00:05:00", "", "") + row(700, "", "", "", "Fade", "fx") +
             row(720, "1M1", "01:00:00:00", "", "Title", "str") +
             row(700, "1M2", "01:00:10;12", "", "", ""),
         {cueRow("1M1", "01:00:00:00", "01:00:05:00", "Title", "str"),
          cueRow("1M2", "01:00:10;12", "", "Fade", "fx")}},
        {"a cell a little higher is on the line; text and notes go on below",
         Items{{50, 700, "2M1", 1, 10}, {100, 701, "01:00:00:00", 1, 10}} +
             row(700, "", "", "", "Horns swell", "hold") + row(688, "", "", "", "at dawn", "the") +
             row(676, "", "", "", "", "note"),
         {cueRow("2M1", "01:00:00:00", "", "Horns swell at dawn", "hold the note")}},
        {"lines that start left of the in time, far below or after a gap end the cue",
         row(700, "3M1", "01:00:00:00", "", "Go", "") + row(688, "Reel 2", "", "", "", "") +
             row(676, "", "", "", "lost", "") + row(600, "4M1", "01:00:10:00", "", "On", "") +
             row(540, "", "", "", "Page 1", ""),
         {cueRow("3M1", "01:00:00:00", "", "Go", ""), cueRow("4M1", "01:00:10:00", "", "On", "")}},
        {"pages apart, each top to bottom",
         row(700, "5M2", "01:00:10:00", "", "Second", "", 2) +
             row(700, "5M1", "01:00:00:00", "", "First", "", 1) +
             row(688, "", "", "", "more", "", 2),
         {cueRow("5M1", "01:00:00:00", "", "First", ""),
          cueRow("5M2", "01:00:10:00", "", "Second more", "")}},
        {"lines drawn as strings, as lines pasted",
         Items{{50, 700, "6M1 01:00:00:00 01:00:02:00 Sirens", 1, 10},
               {200, 700, " and horns", 1, 10},
               {60, 688, "wailing", 1, 10},
               {50, 676, "6M2 01:00:05:00 Quiet\tnote", 1, 10},
               {50, 664, "7M1\t01:00:08:00\tSting", 1, 10},
               {300, 664, "brass", 1, 10}},
         {cueRow("6M1 ", "01:00:00:00", "01:00:02:00", "Sirens and horns wailing", ""),
          cueRow("6M2 ", "01:00:05:00", "", "Quiet", "note"),
          cueRow("7M1\t", "01:00:08:00", "", "Sting", "brass")}},
    };
    for (const auto& c : cases) {
        CueSheet sheet;
        CueListImporter importer(sheet);
        PdfCueReader::pdfTextToCueTable(c.items, importer);
        EXPECT_EQ(sheet.rows(), c.rows) << c.name;
    }
}

TEST(PdfCueReader, SheetsByLayout) {
    const struct {
        const char* file;
        QList<CueItem> rows;
        const char* summary;
    } cases[] = {
        {"edicue.pdf",
         {cueRow("1M1", "01:00:00:00", "01:00:05:00", "Door slams", "hit the door"),
          cueRow("2M1", "01:01:00:00", "01:01:02:00", "Swell", "")},
         "1 page read, 2 cues"},
        {"filmlight.pdf",
         {cueRow("1M1", "01:00:00:00", "01:00:05:00", "Hello big world", "note 1"),
          cueRow("2M1", "01:00:10;00", "01:00:11:00", "Hit", "n2")},
         "1 page read, 2 cues"},
        {"generic.pdf",
         {cueRow("1M1", "01:00:00:00", "", "Fade in", ""),
          cueRow("1M2", "01:00:10:00", "", "Out", ""),
          cueRow("2M1 ", "01:00:20:00", "", "second page", "")},
         "2 pages read, 3 cues"},
    };
    for (const auto& c : cases) {
        QString summary;
        EXPECT_EQ(importRows(data(c.file), &summary), c.rows) << c.file;
        EXPECT_EQ(summary, QLatin1String(c.summary)) << c.file;
    }
    CueSheet sheet;
    CueListImporter importer(sheet);
    EXPECT_FALSE(PdfCueReader().importPdf(data("make_pdfs.py"), importer));

    // Ghostscript draws each line after the first with the ' operator
    // ("next line, then show"); every row counts.
    QTemporaryDir dir;
    QByteArray ps = "%!PS\n/Helvetica findfont 11 scalefont setfont\n";
    for (int row = 1; row <= 20; ++row)
        ps += QStringLiteral("72 %1 moveto (%2M1 01:00:%3:00 Cue %2) show\n")
                  .arg(760 - 20 * row)
                  .arg(row)
                  .arg(row * 2, 2, 10, QLatin1Char('0'))
                  .toLatin1();
    ASSERT_TRUE(testsupport::writeFile(dir.filePath("rows.ps"), ps + "showpage\n"));
    ASSERT_EQ(runTool("ps2pdf", {dir.filePath("rows.ps"), dir.filePath("rows.pdf")}).exitCode, 0);
    const QList<CueItem> rows = importRows(dir.filePath("rows.pdf"));
    ASSERT_EQ(rows.size(), 20);
    EXPECT_EQ(rows.last(), cueRow("20M1 ", "01:00:40:00", "", "Cue 20", ""));

    // A dropped PDF goes the same way.
    EXPECT_TRUE(importer.acceptDrop({data("filmlight.pdf")}));
    EXPECT_EQ(sheet.count(), 2);
}

// Sheets over several pages as writers lay them out: a table with a cell per
// string (title, header, a wrapped text cell, an empty out time, a page
// number under each page, no header on page 2), the same table after
// Ghostscript has joined each row's cells into one string, a filmlight list
// whose pages start without a header, an EdiCue sheet with its REASON line
// after the text.
TEST(PdfCueReader, SheetsOverSeveralPages) {
    QTemporaryDir dir;
    ASSERT_EQ(runTool("/usr/bin/python3", {data("table_pdfs.py"), dir.path()}).exitCode, 0);
    ASSERT_EQ(
        runTool("ps2pdf", {dir.filePath("table.pdf"), dir.filePath("ghostscript.pdf")}).exitCode,
        0);
    const QList<CueItem> table = {
        cueRow("1M1", "01:00:00:00", "01:00:05:00", "Main title", "strings"),
        cueRow("1M2", "01:00:10:00", "", "Door slams", ""),
        cueRow("1M3", "01:00:20;12", "01:00:30:00",
               "Horns swell under the long dissolve into the harbour at dawn", "brass"),
        cueRow("2M1", "01:01:00:00", "01:01:04:00", "Swell", "hold"),
        cueRow("2M2", "01:01:10:00", "01:01:12:00", "Sting", "")};
    const struct {
        const char* file;
        QList<CueItem> rows;
        const char* summary;
    } cases[] = {
        {"table.pdf", table, "2 pages read, 5 cues"},
        {"ghostscript.pdf", table, "2 pages read, 5 cues"},
        {"filmlight.pdf",
         {cueRow("1M1", "01:00:00:00", "01:00:05:00", "Hello", "n1"),
          cueRow("1M2", "01:00:10:00", "01:00:11:00", "World", "n2"),
          cueRow("1M3", "01:00:20:00", "01:00:21:00", "Again", "n3")},
         "2 pages read, 3 cues"},
        {"edicue.pdf",
         {cueRow("1M1", "01:00:00:00", "01:00:05:00", "Door slams", "hit the door"),
          cueRow("1M2", "01:00:10:00", "01:00:12:00", "Swell", "")},
         "2 pages read, 2 cues"},
    };
    for (const auto& c : cases) {
        QString summary;
        QList<CueItem> rows = importRows(dir.filePath(c.file), &summary);
        for (CueItem& row : rows)
            row.cueId = row.cueId.trimmed(); // Ghostscript's cells end in a tab
        EXPECT_EQ(rows, c.rows) << c.file;
        EXPECT_EQ(summary, QLatin1String(c.summary)) << c.file;
    }
}

} // namespace

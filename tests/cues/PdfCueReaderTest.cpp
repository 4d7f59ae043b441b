// PDF cue sheets: the files in tests/data/cues are written by make_pdfs.py
// there (EdiCue and filmlight layouts, a generic two-page sheet, and a
// hand-written one with TJ arrays and real-number text positions).
#include "cues/PdfCueReader.h"
#include "cues/CueListImporter.h"
#include "cues/CueSheet.h"
#include "support/CueTestSupport.h"
#include "support/FilesAndTools.h"

#include <QTemporaryDir>
#include <functional>
#include <gtest/gtest.h>

namespace {

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

TEST(PdfCueReader, DrawnStringsWithTheirPositions) {
    PdfCueReader reader;
    QList<PDFStringTableItem> items;
    const QString log =
        captureLog(reader, [&] { items = reader.scanFirstPage(data("operators.pdf")); });
    const QList<PDFStringTableItem> expected = {
        {-1, -1, QStringLiteral("1M1 01:00:00:00")},           // real-number Tm: unchanged
        {60, 680, QStringLiteral("7 01:00:02:00")},            // odd TJ places skipped
        {60, 660, QStringLiteral("8 01:00:03:00 Tm kept 70")}, // only y was whole
        {60, 660, QString()},                                  // empty TJ array
    };
    EXPECT_EQ(items, expected);
    EXPECT_EQ(log, QStringLiteral("op_BT 0\nop_ET\nop_BT 1\nop_ET\nop_BT 2\nop_ET\n"));

    EXPECT_TRUE(reader.unreadPagesNote().isEmpty());

    // Page 1 only, and the user is told.
    captureLog(reader, [&] { items = reader.scanFirstPage(data("generic.pdf")); });
    ASSERT_EQ(items.size(), 5);
    EXPECT_EQ(items.last().text, QStringLiteral("Out"));
    EXPECT_EQ(reader.unreadPagesNote(),
              QStringLiteral("only page 1 of 2 was read; page 2 was not"));
    EXPECT_TRUE(reader.scanFirstPage(data("missing.pdf")).isEmpty());
    EXPECT_TRUE(reader.unreadPagesNote().isEmpty());
}

TEST(PdfCueReader, GenericRowsStartAtEveryTimecode) {
    const struct {
        QList<PDFStringTableItem> items;
        QStringList rows; // text of each row
    } cases[] = {{{{0, 0, "x"}, {0, 0, "no time"}}, {}},
                 {{}, {}},
                 {{{0, 0, "01:00:00;05"}, {0, 0, " a"}, {0, 0, "b"}}, {"ab"}}};
    for (const auto& c : cases) {
        CueSheet sheet;
        CueListImporter importer(sheet);
        PdfCueReader::pdfTextToCueTable(c.items, importer);
        QStringList rows;
        for (const CueItem& row : sheet.rows())
            rows << row.cueText;
        EXPECT_EQ(rows, c.rows);
    }
}

TEST(PdfCueReader, SheetsByLayout) {
    const struct {
        const char* file;
        QList<CueItem> rows;
    } cases[] = {
        {"edicue.pdf",
         {cueRow("1M1", "01:00:00:00", "01:00:05:00", "Door slams", "hit the door"),
          cueRow("2M1", "01:01:00:00", "01:01:02:00", "Swell", "")}},
        {"filmlight.pdf",
         {cueRow("1M1", "01:00:00:00", "01:00:05:00", "Hello big world", "note 1"),
          cueRow("2M1", "01:00:10;00", "01:00:11:00", "Hit", "n2")}},
        {"generic.pdf",
         {cueRow("1M1 ", "01:00:00:00", "", "Fade in", ""),
          cueRow("1M2 ", "01:00:10:00", "", "Out", "")}},
    };
    for (const auto& c : cases) {
        CueSheet sheet;
        CueListImporter importer(sheet);
        PdfCueReader reader;
        captureLog(reader, [&] { EXPECT_TRUE(reader.importPdf(data(c.file), importer)); });
        EXPECT_EQ(sheet.rows(), c.rows) << c.file;
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
    ASSERT_EQ(testsupport::runTool("ps2pdf", {dir.filePath("rows.ps"), dir.filePath("rows.pdf")})
                  .exitCode,
              0);
    PdfCueReader reader;
    captureLog(reader, [&] { EXPECT_TRUE(reader.importPdf(dir.filePath("rows.pdf"), importer)); });
    ASSERT_EQ(sheet.count(), 20);
    EXPECT_EQ(sheet.rows().last(), cueRow("20M1 ", "01:00:40:00", "", "Cue 20", ""));
    sheet.onClearAll();

    // A dropped PDF goes the same way.
    EXPECT_TRUE(importer.acceptDrop({data("filmlight.pdf")}));
    EXPECT_EQ(sheet.count(), 2);
}

} // namespace

#include "cues/CueSheet.h"
#include "cues/CueListImporter.h"
#include "support/CueTestSupport.h"
#include "support/FilesAndTools.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

// Rows as "in text|in text|...", in times as stored or as shown.
QString rowsOf(const CueSheet& sheet) {
    QStringList rows;
    for (const CueItem& row : sheet.rows())
        rows << row.getCueIn() + u' ' + row.cueText;
    return rows.join(u'|');
}

CueSheet sheetOf(const char* rows) {
    CueSheet sheet;
    for (const QString& row : QString::fromLatin1(rows).split(u'|')) {
        const qsizetype blank = row.indexOf(u' ');
        sheet.addObject(CueItem{QStringLiteral("id"), row.left(blank), QString(),
                                row.mid(blank + 1), QString()});
    }
    return sheet;
}

TEST(CueSheetSort, CircularOrderAndDuplicateRule) {
    const struct {
        bool duplicate, midnight;
        const char *rows, *expected;
    } cases[] = {
        {false, false, "01:00:02:00 c|01:00:00:00 a|01:00:01:00 b",
         "01:00:00:00 a|01:00:01:00 b|01:00:02:00 c"},
        // equal in times keep their order; the duplicate rule keeps the first
        // (compared in display form, so the cell's entry form is equal too)
        {false, false, "01:00:00:00 a|00:59:00:00 z|01000000 b|01:00:00:00 c",
         "00:59:00:00 z|01:00:00:00 a|01:00:00:00 b|01:00:00:00 c"},
        {true, false, "01:00:00:00 a|00:59:00:00 z|01000000 b|01:00:00:00 c",
         "00:59:00:00 z|01:00:00:00 a"},
        // The compare is circular, so the sort alone starts a sheet across
        // midnight with the evening, with or without the midnight rule:
        // adjacent rows never jump by more than 12 hours after it.
        {false, true, "00:01:00:00 c|23:59:00:00 a|00:00:10:00 b",
         "23:59:00:00 a|00:00:10:00 b|00:01:00:00 c"},
        {false, false, "00:01:00:00 c|23:59:00:00 a|00:00:10:00 b",
         "23:59:00:00 a|00:00:10:00 b|00:01:00:00 c"},
        // unusable in times sort as midnight
        {false, true, "00:00:05:00 b|x none|23:59:50:00 a", "23:59:50:00 a|--- none|00:00:05:00 b"},
        // drop-frame notation compares by its digits
        {true, true, "01:00:00;12 df|01:00:00:12 ndf|01:00:00:11 first",
         "01:00:00:11 first|01:00:00:12 df"},
        // 30 fps whatever the sheet's type (25 here): frame 29 is after 25
        {false, false, "01:00:00:29 late|01:00:00:25 early", "01:00:00:25 early|01:00:00:29 late"},
    };
    for (const auto& c : cases) {
        CueSheet sheet = sheetOf(c.rows);
        sheet.settings().duplicate = c.duplicate;
        sheet.settings().midnight = c.midnight;
        sheet.settings().tctype = 1;
        sheet.OnSort();
        EXPECT_EQ(rowsOf(sheet), QString::fromLatin1(c.expected)) << c.rows;
    }
}

TEST(CueSheetSort, WarnsWhenInTimesSpanMoreThanHalfADay) {
    // The span is taken round the clock the shortest way; unusable times
    // do not count.
    const std::pair<const char*, const char*> cases[] = {
        {"01:00:00:00 a|14:00:00:00 b|08:00:00:00 c", "(01:00:00:00 to 14:00:00:00)"},
        {"x none|01:00:00:00 a|20:00:00:00 b|10:00:00:00 c", "(20:00:00:00 to 10:00:00:00)"},
        {"23:00:00:00 a|01:00:00:00 b|22:30:00:00 c", nullptr},
        {"01:00:00:00 a|13:00:00:00 b", nullptr}};
    for (const auto& [rows, span] : cases) {
        const QString warning = sheetOf(rows).inTimeSpanWarning();
        EXPECT_TRUE(span ? warning.contains(QLatin1String(span)) : warning.isEmpty())
            << rows << ": " << qPrintable(warning);
    }
}

TEST(CueSheetSort, LargeSheetIsOrderedAndStable) {
    CueSheet sheet;
    sheet.settings().duplicate = false;
    const TcCalculator tcc;
    for (int i = 0; i < 2000; ++i) {
        const int frames = 108000 + (i * 7919) % 36000; // one hour from 01:00:00:00
        sheet.addObject(cueRow("id", qPrintable(tcc.binaryToTc(frames, 3)), "",
                               qPrintable(QString::number(i)), ""));
    }
    sheet.OnSort();
    for (int i = 1; i < sheet.count(); ++i) {
        const CueItem& a = sheet.rows()[i - 1];
        const CueItem& b = sheet.rows()[i];
        const int order = tcc.compareTc(a.getCueIn(), b.getCueIn(), 3);
        ASSERT_LE(order, 0) << i;
        if (order == 0) {
            ASSERT_LT(a.cueText.toInt(), b.cueText.toInt()) << i;
        }
    }
}

TEST(CueSheet, UnitTextOfACue) {
    const struct {
        bool cueId, text;
        CueItem row;
        const char* expected;
    } cases[] = {
        {true, true, cueRow("12", "", "", "Hello", ""), "12\\nHello"},
        {false, true, cueRow("12", "", "", "Hello", ""), "Hello"},
        {true, false, cueRow("12", "", "", "Hello", ""), "12"},
        {true, true, cueRow("1M1\t", "", "", " Big hit \n", ""), "1M1\\nBig hit"},
        {true, true, cueRow("\xef\x82\xb7\xef\x82\xb7 7", "", "", "\xef\x82\xb7Go", ""), "7\\nGo"},
        {true, true, cueRow(" \xef\x82\xb7 7", "", "", "x", ""), "\xef\x82\xb7 7\\nx"},
        {true, true, cueRow("", "", "", "", ""), "\\n"},
    };
    for (const auto& c : cases) {
        CueSheet sheet;
        sheet.settings().cueId = c.cueId;
        sheet.settings().text = c.text;
        EXPECT_EQ(sheet.cueItemText(c.row), QString::fromUtf8(c.expected)) << c.expected;
    }
}

TEST(CueSheet, WindowSaveFormAndSelfTest) {
    CueSheet sheet;
    EXPECT_TRUE(sheet.dataOfType().isNull());
    sheet.addObject(cueRow("1", "01000000", "", "A", "n"));
    sheet.addObject(cueRow("2", "01:00:01:00", "01:00:02:00", "B\xc3\xa9", "n"));
    EXPECT_EQ(sheet.dataOfType(),
              QByteArray("01000000\t\tA\n01:00:01:00\t01:00:02:00\tB\xc3\xa9\n"));

    // 7/8 coding carries at most 217 bytes, so the 256-byte test never matches.
    EXPECT_EQ(sheet.onButtonTest(),
              QStringLiteral("bytes: 256 encoded bytes: 248 decoded bytes: 217 equal: 0\n"));
}

// Where the selection lands after a timecode event: the first row whose in
// time is later than the received time, searched from the old selection.
TEST(CueSheet, TimecodeMovesTheSelectionToTheNextCue) {
    const struct {
        const char* name;
        int selectionBefore;
        QByteArray mtc;
        int selectionAfter;
    } cases[] = {
        {"before the first cue", -1, QByteArray("\x61\x00\x00\x00", 4), 0},
        {"between cues, from no selection", -1, QByteArray("\x61\x00\x15\x00", 4), 2},
        {"on a cue's in time: the cue is past", -1, QByteArray("\x61\x00\x14\x00", 4), 2},
        {"going back in time", 3, QByteArray("\x61\x00\x0b\x00", 4), 1},
        {"after the last cue selects nothing", 1, QByteArray("\x61\x05\x00\x00", 4), -1},
        {"a stale selection past the end", 9, QByteArray("\x61\x00\x15\x00", 4), 2},
        {"invalid timecode is ignored", 1, QByteArray("\x61\x3c\x00\x00", 4), 1},
        {"short data is ignored", 1, QByteArray("\x61\x00\x15", 3), 1},
    };
    for (const auto& c : cases) {
        CueSheet sheet = sheetOf("01:00:10:00 a|01:00:12:00 b|01:00:30:00 c|01:00:40:00 d");
        sheet.setSelectionIndex(c.selectionBefore);
        sheet.mtcEvent(c.mtc);
        EXPECT_EQ(sheet.selectionIndex(), c.selectionAfter) << c.name;
    }
}

TEST(CueListImporter, EdiCueText) {
    // Lines as the PDF text comes out: identifier, IN/REASON/OUT block, the
    // text lines, and "1" closing the cue. The second cue is never closed.
    const QString text = QString::fromUtf8(
        "Title page\n"
        "1M1\n\xef\x82\xb7IN: 01:00:00:00\nREASON:   timing  \nOUT: 01:00:05:00\n  Hello "
        "\nworld\n1\n"
        "1M2\nIN: 01:00:10;02\nOUT: 01:00:12:00\nLost\n"
        "2M1\nIN: 01:01:00:00\nOUT: 01:01:02:00\nKept\nREASON: late\n1\n"
        "3M1\nIN: 01:02:00:00\nOUT: 01:02:01:00\nUnfinished\n1"); // no newline: not processed
    CueSheet sheet;
    CueListImporter(sheet).ediCueToCueTable(text);
    ASSERT_EQ(sheet.count(), 2);
    EXPECT_EQ(sheet.rows()[0], cueRow("1M1", "01:00:00:00", "01:00:05:00", "Helloworld", "timing"));
    // A REASON line after the text gives the notes only.
    EXPECT_EQ(sheet.rows()[1], cueRow("2M1", "01:01:00:00", "01:01:02:00", "Kept", "late"));
}

TEST(CueListImporter, FilmlightTextPieces) {
    const QList<PDFStringTableItem> items = {
        {300, 700, QStringLiteral("Cue list")}, // page title
        {50, 650, QStringLiteral("1M1")},       // x moves left: a row starts
        {120, 650, QStringLiteral("01:00:00:00")}, {200, 650, QStringLiteral("01:00:05:00")},
        {280, 650, QStringLiteral("Hello ")},      {330, 650, QStringLiteral("big ")},
        {380, 650, QStringLiteral("world")},       {450, 650, QStringLiteral("note 1")},
        {50, 630, QStringLiteral("Header")}, // no timecode in the second piece
        {120, 630, QStringLiteral("In")},          {50, 610, QStringLiteral("2M1")},
        {120, 610, QStringLiteral("01:00:10;00")}, {200, 610, QStringLiteral("")},
        {280, 610, QStringLiteral("Hit")},         {450, 610, QStringLiteral("n2")},
        {50, 590, QStringLiteral("3M1")}, // the last item starts a row: not used
    };
    CueSheet sheet;
    CueListImporter(sheet).filmlightToCueTable(items);
    ASSERT_EQ(sheet.count(), 2);
    EXPECT_EQ(sheet.rows()[0],
              cueRow("1M1", "01:00:00:00", "01:00:05:00", "Hello big world", "note 1"));
    EXPECT_EQ(sheet.rows()[1], cueRow("2M1", "01:00:10;00", "", "Hit", "n2"));

    // The first piece starts a row without a title or header before it, and
    // so does the first piece of every page.
    QList<PDFStringTableItem> pages = items.mid(1, 7);
    pages.append({{50, 700, QStringLiteral("4M1"), 2},
                  {120, 700, QStringLiteral("01:00:20:00"), 2},
                  {200, 700, QStringLiteral(""), 2},
                  {280, 700, QStringLiteral("Page two"), 2},
                  {450, 700, QStringLiteral("n4"), 2}});
    CueSheet second;
    CueListImporter(second).filmlightToCueTable(pages);
    QStringList ids;
    for (const CueItem& row : second.rows())
        ids << row.cueId;
    EXPECT_EQ(ids, (QStringList{"1M1", "4M1"}));
}

TEST(CueListImporter, DroppedFilesReimportTheEarlierTextFiles) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    auto write = [&](const char* name, const QByteArray& bytes) {
        EXPECT_TRUE(testsupport::writeFile(dir.filePath(name), bytes));
        return dir.filePath(name);
    };
    const QString a = write("a.txt", "A 01:00:00:00 first\n");
    const QString b = write("b.TXT", "B 01:00:01:00 second");
    // Not UTF-8: read as Windows-1252, as qz62ctl reads it, and said so.
    const QString cp1252 = write("cp1252.txt", "C 01:00:02:00 caf\xe9\n");
    const QString pdf = write("sheet.PDF", "%PDF-1.4");

    CueSheet sheet;
    CueListImporter importer(sheet);
    QStringList pdfs;
    importer.pdfHandler = [&](const QString& path) { pdfs << path; };
    EXPECT_FALSE(importer.acceptDrop({a}, false));
    EXPECT_FALSE(importer.acceptDrop({}, true));
    EXPECT_EQ(sheet.count(), 0);

    EXPECT_TRUE(importer.acceptDrop({a, pdf, cp1252, b, dir.filePath("missing.txt")}, true));
    QStringList ids;
    for (const CueItem& row : sheet.rows())
        ids << row.cueId.trimmed();
    EXPECT_EQ(ids, (QStringList{"A", "A", "C", "A", "C", "B"}));
    EXPECT_EQ(sheet.rows()[2].cueText, QStringLiteral("caf\u00e9"));
    EXPECT_EQ(pdfs, QStringList{pdf});
    EXPECT_EQ(importer.notes(),
              (QStringList{"cp1252.txt: not UTF-8 or UTF-16, read as Windows-1252",
                           "missing.txt: cannot be read"}));
}

} // namespace

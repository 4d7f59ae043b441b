#include "cues/CueListImporter.h"
#include "cues/CueSheet.h"
#include "cues/CueSheetText.h"
#include "support/CueTestSupport.h"

#include <gtest/gtest.h>

namespace {

constexpr auto item = cueRow;

// The header values as one line: duplicate, midnight, text, cueId,
// pulldown, start, tctype.
QString summary(const CueSheetSettings& s) {
    return QStringLiteral("%1%2%3%4%5 %6 %7")
        .arg(int(s.duplicate))
        .arg(int(s.midnight))
        .arg(int(s.text))
        .arg(int(s.cueId))
        .arg(int(s.pulldown))
        .arg(s.start)
        .arg(s.tctype);
}

TEST(CueSheetText, HeaderValuesAreReadLikeTheWindowReadsThem) {
    const std::pair<const char*, const char*> cases[] = {
        {";midnight\tno", "10110 01:00:00:00 3"},       {";pulldown\tYES", "11111 01:00:00:00 3"},
        {";pulldown\t  -007", "11111 01:00:00:00 3"},   {";text\t0\r", "11010 01:00:00:00 3"},
        {";start\t00:59:58:00", "11110 00:59:58:00 3"}, {";tctype\t2", "11110 01:00:00:00 2"},
        {";tctype\t9", "11110 01:00:00:00 3"},          {";tctype 0", "11110 01:00:00:00 3"},
        {";Duplicate\t0", "11110 01:00:00:00 3"}};
    for (const auto& [line, expected] : cases) {
        CueSheet sheet;
        sheet.initValueFromString(QString::fromLatin1(line));
        EXPECT_EQ(summary(sheet.settings()), QString::fromLatin1(expected)) << line;
    }
}

// Times are written in display form ("---" when unset); a tab inside a cell
// becomes a blank, so every row is one line of five fields.
TEST(CueSheetText, WritesRowsInDisplayFormAndReadsThemBack) {
    CueSheet sheet;
    sheet.settings() = {false, true, false, true, true, QStringLiteral("00:59:30:00"), 1};
    sheet.addObject(item("1M1", "01:00:00:00", "01:00:05:00", "Hello", "note"));
    sheet.addObject(item("", "01:00:10:00", "", "Big hit", ""));
    sheet.addObject(item("3m2 alt", "01000012", "01001000", "Caf\xc3\xa9", "two\twords"));
    const QString written = sheet.stringFromCueTable();
    EXPECT_EQ(written,
              QString::fromUtf8(";duplicate\t0\n;midnight\t1\n;text\t0\n;cueId\t1\n"
                                ";pulldown\t1\n;start\t00:59:30:00\n;tctype\t1\n"
                                "1M1\t01:00:00:00\t01:00:05:00\tHello\tnote\n"
                                "\t01:00:10:00\t---\tBig hit\t\n"
                                "3m2 alt\t01:00:00:12\t01:00:10:00\tCaf\xc3\xa9\ttwo words\n"));
    CueSheet back;
    EXPECT_TRUE(back.cueTableFromString(written).isSheet());
    EXPECT_EQ(back.settings(), sheet.settings());
    EXPECT_EQ(back.stringFromCueTable(), written);

    // The start value is free text; a "%" in it is no placeholder.
    sheet.settings().start = QStringLiteral("1%1%");
    EXPECT_TRUE(sheet.cueSheetInitValues().endsWith(QStringLiteral(";start\t1%1%\n;tctype\t1\n")));
}

TEST(CueSheetText, ReadingSplitsAtEveryLineBreak) {
    CueSheet sheet;
    sheet.cueTableFromString(QStringLiteral(";tctype\t1\r\n1\t01:00:00:00\t---\tA\t\r\n"
                                            "\r\n2\t01:00:01:00\t---\tB\t\r\n;text\t0"));
    EXPECT_EQ(sheet.settings().tctype, 1);
    EXPECT_FALSE(sheet.settings().text);
    ASSERT_EQ(sheet.count(), 2);
    EXPECT_EQ(sheet.rows()[1].cueText, QStringLiteral("B"));
}

// Rows as the window holds them, saved, opened and saved again: every word
// comes back in its field, and the second save gives the same bytes.
TEST(CueSheetText, SaveOpenSaveKeepsEveryWord) {
    const struct {
        CueItem held;
        CueItem opened; // shown form: times as shown ("---" unset), cells as written
    } cases[] = {
        {item("1M1", "01:00:05:00", "", "Hit at 01:00:10:00 exactly", ""),
         item("1M1", "01:00:05:00", "---", "Hit at 01:00:10:00 exactly", "")},
        {item("1M2", "01000600", "", "Swell", "sync 01:00:07:00 - check"),
         item("1M2", "01:00:06:00", "---", "Swell", "sync 01:00:07:00 - check")},
        {item("1M3", "01:00:07:00", "01:00:08:00", "", "only notes"),
         item("1M3", "01:00:07:00", "01:00:08:00", "", "only notes")},
        {item("1M4", "01:00:08:00", "", "-3 dB", "fade -"),
         item("1M4", "01:00:08:00", "---", "-3 dB", "fade -")},
        {item("1M5", "00000000", "", "new cue", "notes"),
         item("1M5", "---", "---", "new cue", "notes")},
        {item("1M6", "00:00:00:00", "", "at midnight", ""),
         item("1M6", "---", "---", "at midnight", "")},
        {item(";alt", "01:00:09:00", "", "id like a header", ""),
         item(";alt", "01:00:09:00", "---", "id like a header", "")},
        {item("A\tB\t", "01:00:10:00", "", "line one\nline two", "a\tb\r\n"),
         item("A B", "01:00:10:00", "---", "line one line two", "a b  ")},
        {item("  pad", "01:00:11:00", "", "  blanks kept  ", " "),
         item("  pad", "01:00:11:00", "---", "  blanks kept  ", " ")},
        {item("1M9", "25:99:99:99", "01:00:00:45", "impossible, kept", ""),
         item("1M9", "25:99:99:99", "01:00:00:45", "impossible, kept", "")},
        {item("", "", "", "", ""), item("", "---", "---", "", "")},
    };
    for (const auto& c : cases) {
        CueSheet sheet;
        sheet.addObject(item("0M1", "01:00:00:00", "", "before", ""));
        sheet.addObject(c.held);
        const QString saved = sheet.stringFromCueTable();
        CueSheet opened;
        const sheettext::Reading reading = opened.cueTableFromString(saved);
        EXPECT_TRUE(reading.isSheet()) << saved.toStdString();
        ASSERT_EQ(opened.count(), 2) << saved.toStdString();
        const CueItem& row = opened.rows()[1];
        EXPECT_EQ((CueItem{row.cueId, row.getCueIn(), row.getCueOut(), row.cueText, row.cueNotes}),
                  c.opened);
        EXPECT_EQ(opened.stringFromCueTable(), saved);
    }
}

// A file opens as the sheet it is only when saving it loses nothing; the
// line that is not the sheet's own is named.
TEST(CueSheetText, TellsASheetFromAnotherList) {
    const QString header = QStringLiteral(";duplicate\t1\n;tctype\t2\n");
    const struct {
        QString text;
        bool sheet;
        int firstForeignLine;
        int rows;
    } cases[] = {
        {header + "1M1\t01:00:00:00\t---\tA\t\n", true, 0, 1},
        {"1M1\t01:00:00:00\t---\tA\t\r\n\r\n2M1\t01:00:01:00\t---\tB\tn\r\n", true, 0, 2},
        {header, true, 0, 0},
        {"", true, 0, 0},
        {"1M1 01:00:00:00 Hit\n", false, 1, 1},
        {header + "1M1\t01:00:00:00\t---\tA\t\nReel 1 notes\n", false, 4, 1},
        {"1M1\t01:00:00;12\t---\tdrop frame\t\n", false, 1, 1},
        {header + ";comment\tby hand\n", false, 3, 0},
    };
    for (const auto& c : cases) {
        CueSheet sheet;
        const sheettext::Reading reading = sheet.cueTableFromString(c.text);
        EXPECT_EQ(reading.isSheet(), c.sheet) << c.text.toStdString();
        EXPECT_EQ(reading.firstForeignLine, c.firstForeignLine) << c.text.toStdString();
        EXPECT_EQ(sheet.count(), c.rows) << c.text.toStdString();
    }
}

struct LineCase {
    const char* line;
    bool added;
    CueItem expected;
};

TEST(CueListImporter, TextLines) {
    const LineCase cases[] = {
        {"1M1\t01:00:00:00\t01:00:05:00\tHello\tnote", true,
         item("1M1\t", "01:00:00:00", "01:00:05:00", "Hello", "note")},
        {"01:00:00;12 Big hit", true, item("", "01:00:00;12", "", "Big hit", "")},
        {"cue 4 01:00:00:00 - 01:00:02:00 -- swell --", true,
         item("cue 4 ", "01:00:00:00", "01:00:02:00", "swell", "")},
        {"7 01:00:00:00junk01:00:01:00 text", true,
         item("7 ", "01:00:00:00", "01:00:01:00", "text", "")}, // between the times: dropped
        {"x 01:00:00:00 a\tb\tc", true, item("x ", "01:00:00:00", "", "a", "b\tc")},
        {"\xc3\xa9t\xc3\xa9 10:00:00:00 \xe2\x99\xaa", true,
         item("\xc3\xa9t\xc3\xa9 ", "10:00:00:00", "", "\xe2\x99\xaa", "")},
        {"01:00:00:00 01:00:01:00 01:00:02:00", true,
         item("", "01:00:00:00", "01:00:01:00", "01:00:02:00", "")},
        {"; 01:00:00:00 header-like", false, {}},
        {"no time at all", false, {}},
        {"24:00:00:00 too late", false, {}}};
    for (const auto& c : cases) {
        const auto row = CueListImporter::cueItemFromLine(QString::fromUtf8(c.line));
        ASSERT_EQ(row.has_value(), c.added) << c.line;
        if (row) {
            EXPECT_EQ(*row, c.expected) << c.line;
        }
    }
}

} // namespace

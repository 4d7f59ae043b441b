#include "CueTestSupport.h"
#include "cues/CueListImporter.h"
#include "cues/CueSheet.h"

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
        {";duplicate\t0", "01110 01:00:00:00 3"},
        {";midnight\tno", "10110 01:00:00:00 3"},
        {";pulldown\tYES", "11111 01:00:00:00 3"},
        {";pulldown\t  -007", "11111 01:00:00:00 3"},
        {";text\t0\r", "11010 01:00:00:00 3"},
        {";cueId\tfalse", "11100 01:00:00:00 3"},
        {";start\t00:59:58:00", "11110 00:59:58:00 3"},
        {";tctype\t2", "11110 01:00:00:00 2"},
        {";tctype\t9", "11110 01:00:00:00 3"},
        {";tctype 0", "11110 01:00:00:00 3"},
        {";Duplicate\t0", "11110 01:00:00:00 3"}};
    for (const auto& [line, expected] : cases) {
        CueSheet sheet;
        sheet.initValueFromString(QString::fromLatin1(line));
        EXPECT_EQ(summary(sheet.settings()), QString::fromLatin1(expected)) << line;
    }
}

TEST(CueSheetText, WritesRowsInDisplayForm) {
    CueSheet sheet;
    sheet.addObject(item("1M1", "01:00:00:00", "01:00:05:00", "Hello", "note"));
    sheet.addObject(item("2M3", "01020304", "", "Typed in", "")); // cell entry form
    sheet.addObject(CueItem());
    // The window's defaults head the sheet.
    EXPECT_EQ(sheet.stringFromCueTable(),
              QStringLiteral(";duplicate\t1\n;midnight\t1\n;text\t1\n;cueId\t1\n;pulldown\t0\n"
                             ";start\t01:00:00:00\n;tctype\t3\n"
                             "1M1\t01:00:00:00\t01:00:05:00\tHello\tnote\n"
                             "2M3\t01:02:03:04\t---\tTyped in\t\n"
                             "cue ID\t---\t---\tinsert cue text here\tnotes\n"));
}

// "The same" after a write and a read: header values equal; in and out
// times equal in display form (an unset out time is written "---" and read
// back empty); text and notes equal; the identifier comes back with the tab
// that separated it from the in time, because the reader keeps everything
// before the in time. Rows need a valid in time to come back at all, and a
// text must not start or end with "-" or a blank, which the reader trims.
TEST(CueSheetText, RoundTripKeepsRowsAndHeader) {
    CueSheet sheet;
    // The start value is free text; a "%" in it is no placeholder.
    sheet.settings() = {false, true, false, true, true, QStringLiteral("00:59:30:00 %1%"), 1};
    sheet.addObject(item("1M1", "01:00:00:00", "01:00:05:00", "Hello", "note"));
    sheet.addObject(item("", "01:00:10:00", "", "Big hit", ""));
    sheet.addObject(
        item("3m2 alt", "01000012", "01001000", "Caf\xc3\xa9 \xe2\x99\xaa", "two\twords"));

    CueSheet back;
    back.cueTableFromString(sheet.stringFromCueTable());
    EXPECT_EQ(back.settings(), sheet.settings());
    ASSERT_EQ(back.count(), sheet.count());
    for (int i = 0; i < sheet.count(); ++i) {
        const CueItem& a = sheet.rows()[i];
        const CueItem& b = back.rows()[i];
        EXPECT_EQ(b.cueId, a.cueId + u'\t') << i;
        EXPECT_EQ(b.getCueIn(), a.getCueIn()) << i;
        EXPECT_EQ(b.getCueOut(), a.getCueOut()) << i;
        EXPECT_EQ(b.cueText, a.cueText) << i;
        EXPECT_EQ(b.cueNotes, a.cueNotes) << i;
    }
    // Written again, only the identifiers' separators grow.
    const QString again = back.stringFromCueTable();
    EXPECT_TRUE(again.contains(QStringLiteral("1M1\t\t01:00:00:00\t01:00:05:00\tHello\tnote\n")));
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
        {"", false, {}},
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

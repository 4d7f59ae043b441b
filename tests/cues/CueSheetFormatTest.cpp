#include "cues/CueListImporter.h"
#include "cues/CueSheet.h"
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

// Times are written in display form ("---" when unset). The reader keeps the
// tab after an identifier as part of it and the writer drops it again, so
// save, open, save gives the same text.
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
                                "3m2 alt\t01:00:00:12\t01:00:10:00\tCaf\xc3\xa9\ttwo\twords\n"));
    CueSheet back;
    back.cueTableFromString(written);
    EXPECT_EQ(back.settings(), sheet.settings());
    EXPECT_EQ(back.rows().value(0).cueId, QStringLiteral("1M1\t"));
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

// The list tools: offsets round midnight, numbering patterns, find and
// replace, and each as one undo step of the document.
#include "cues/CueDocument.h"
#include "cues/CueListTools.h"

#include <gtest/gtest.h>

namespace {

CueItem row(const char* id, const char* in, const char* out, const char* text = "",
            const char* notes = "") {
    return {id, in, out, text, notes};
}

TEST(ListTools, Offsets) {
    const struct {
        const char* offset;
        int tctype;
        std::optional<int> frames;
    } offsets[] = {
        {"+01:00:00:00", 3, 108000},       {"-00:00:01:00", 1, -25},  {"00:00:00:10", 0, 10},
        {"+00:01:00;02", 2, 1800},         {"-00:00:00,500", 1, -13}, {"01:00", 3, std::nullopt},
        {"+00:00:00:27", 1, std::nullopt}, // frame 27 at 25 fps
        {"--00:00:01:00", 3, std::nullopt}};
    for (const auto& o : offsets)
        EXPECT_EQ(cuelisttools::parseOffset(o.offset, o.tctype), o.frames) << o.offset;

    QList<CueItem> rows = {row("1", "01:00:00:00", "01:00:05:00"), row("2", "23:59:59:20", ""),
                           row("3", "00000000", ""), row("4", "01:00:00:27", "")};
    // A reel moved from 1 to 2 hours; the late cue goes round midnight, the
    // unset time stays unset, a time the rate does not have is not moved.
    EXPECT_EQ(cuelisttools::offsetTimes(rows, {}, 90000, 1), 1);
    EXPECT_EQ(rows[0].cueIn, "02:00:00:00");
    EXPECT_EQ(rows[0].cueOut, "02:00:05:00");
    EXPECT_EQ(rows[1].cueIn, "00:59:59:20");
    EXPECT_EQ(rows[2].getCueIn(), "---");
    EXPECT_EQ(rows[3].cueIn, "01:00:00:27");
    EXPECT_EQ(cuelisttools::offsetTimes(rows, {1}, -90000, 1), 0);
    EXPECT_EQ(rows[1].cueIn, "23:59:59:20");
    EXPECT_EQ(rows[0].cueIn, "02:00:00:00"); // not selected
}

TEST(ListTools, NumberingAndReplace) {
    const struct {
        const char* text;
        const char* prefix;
        int start, step;
    } patterns[] = {{"1M1", "1M", 1, 1},
                    {"1M10 10", "1M", 10, 10},
                    {"42", "", 42, 1},
                    {"R2 Cue 7 -1", "R2 Cue ", 7, -1}};
    for (const auto& p : patterns) {
        const auto n = cuelisttools::parseNumbering(p.text);
        ASSERT_TRUE(n) << p.text;
        EXPECT_EQ(n->prefix, p.prefix);
        EXPECT_EQ(n->start, p.start);
        EXPECT_EQ(n->step, p.step);
    }
    EXPECT_FALSE(cuelisttools::parseNumbering("1M"));

    QList<CueItem> rows = {row("a", "01:00:00:00", "", "Anna: go", "ANNA"),
                           row("b", "01:00:01:00", "", "anna stays", "take 2"),
                           row("c", "01:00:02:00", "", "Bob", "")};
    cuelisttools::renumber(rows, {0, 2}, {"1M", 5, 5});
    EXPECT_EQ(rows[0].cueId, "1M5");
    EXPECT_EQ(rows[1].cueId, "b");
    EXPECT_EQ(rows[2].cueId, "1M10");
    EXPECT_EQ(cuelisttools::replaceText(rows, {}, "Anna", "Hanna\tK", Qt::CaseInsensitive), 3);
    EXPECT_EQ(rows[0].cueText, "Hanna K: go");
    EXPECT_EQ(rows[0].cueNotes, "Hanna K");
    EXPECT_EQ(rows[1].cueText, "Hanna K stays");
    EXPECT_EQ(cuelisttools::replaceText(rows, {}, "", "x", Qt::CaseSensitive), 0);
}

TEST(ListTools, EachToolIsOneUndoStep) {
    CueDocument doc;
    doc.appendRows(
        {row("a", "01:00:00:00", "01:00:02:00", "Go"), row("b", "01:00:10:00", "", "Go")}, "Paste");
    QString message;
    QObject::connect(&doc, &CueDocument::message, [&](const QString& m) { message = m; });
    const QList<CueItem> before = doc.rows();
    doc.offsetTimes({}, 108000);
    EXPECT_EQ(message, "Every cue moved by +01:00:00:00.");
    doc.renumber({}, {"1M", 1, 1});
    EXPECT_EQ(doc.replaceText("Go", "Stop", Qt::CaseSensitive), 2);
    EXPECT_EQ(doc.rows()[1].cueId, "1M2");
    EXPECT_EQ(doc.rows()[1].cueIn, "02:00:10:00");
    EXPECT_EQ(doc.rows()[1].cueText, "Stop");
    for (int i = 0; i < 3; ++i)
        doc.undoStack()->undo();
    EXPECT_EQ(doc.rows(), before);
}

} // namespace

// The cue window's list commands: the column dialog, the remembered choice
// and the CSV and PDF exports, with the user's answers given through the
// window's dialog seam.
#include "cues/CueDocument.h"
#include "cues/view/ColumnMappingDialog.h"
#include "cues/view/CueWindow.h"
#include "support/FilesAndTools.h"

#include <QComboBox>
#include <QFileInfo>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

const QByteArray kSpotting = "Cue,Character,Start,End,Dialogue,Take\r\n"
                             "1M1,ANNA,01:00:10:05,01:00:12:00,Hello,3\r\n"
                             "1M2,BEN,01:00:20:00,,\"Yes, sir\",1\r\n";

delimited::Table table(const QByteArray& csv) {
    return delimited::parse(QString::fromUtf8(csv));
}

TEST(ColumnMappingDialog, ShowsTheStartAndGivesWhatTheUserChose) {
    const delimited::Table preview = table(kSpotting);
    const delimited::ColumnMapping guess = delimited::guessMapping(preview, 3);
    ColumnMappingDialog dialog("spotting.csv", preview, guess);
    EXPECT_EQ(dialog.mapping(), guess);
    auto role = [&](int column) {
        return dialog.findChild<QComboBox*>(QStringLiteral("columnRole%1").arg(column));
    };
    EXPECT_EQ(role(3)->currentText(), "In");
    // Text moves to the character column: the dialogue column gives it up;
    // the notes may gather several columns.
    role(2)->setCurrentIndex(ColumnMappingDialog::RoleText);
    EXPECT_EQ(role(5)->currentIndex(), ColumnMappingDialog::RoleNone);
    role(5)->setCurrentIndex(ColumnMappingDialog::RoleNotes);
    const delimited::ColumnMapping chosen = dialog.mapping();
    EXPECT_EQ(chosen.text, 1);
    EXPECT_EQ(chosen.notes, (QList<int>{4, 5}));
    EXPECT_TRUE(chosen.header);
}

TEST(CueWindowLists, ColumnChoiceIsRememberedForTheSameHeader) {
    Scratch scratch;
    CueWindow window;
    QList<delimited::ColumnMapping> offered;
    cueDialogs().chooseColumns = [&](QWidget*, const QString&, const delimited::Table&,
                                     const delimited::ColumnMapping& start) {
        offered << start;
        delimited::ColumnMapping m = start;
        m.notes = {1};
        return std::optional<delimited::ColumnMapping>(m);
    };
    EXPECT_EQ(window.importFiles({scratch.write("a.csv", kSpotting)}), 2);
    EXPECT_EQ(window.importFiles({scratch.write("b.csv", kSpotting)}), 2);
    ASSERT_EQ(offered.size(), 2);
    EXPECT_EQ(offered[0].notes, (QList<int>{1, 5})); // the guess: character and take
    EXPECT_EQ(offered[1].notes, (QList<int>{1}));    // what was chosen for a.csv
    EXPECT_EQ(window.document()->rows()[3].cueNotes, "BEN");
}

TEST(CueWindowLists, CsvAndPdfExportsReadBack) {
    Scratch scratch;
    CueWindow window;
    cueDialogs().chooseColumns = [](QWidget*, const QString&, const delimited::Table&,
                                    const delimited::ColumnMapping& start) {
        return std::optional<delimited::ColumnMapping>(start);
    };
    ASSERT_EQ(window.importFiles({scratch.write("a.csv", kSpotting)}), 2);
    QString answer;
    cueDialogs().saveFile = [&](QWidget*, const QString&, const QString&) { return answer; };
    answer = scratch.path("out"); // ".csv" added
    window.exportCsv();
    answer = scratch.path("out.pdf");
    window.exportPdf();
    EXPECT_TRUE(window.message().contains("1 page")) << window.message().toStdString();

    for (const char* name : {"out.csv", "out.pdf"}) {
        CueWindow back;
        ASSERT_EQ(back.importFiles({scratch.path(name)}), 2) << name;
        for (int r = 0; r < 2; ++r) {
            const CueItem& a = window.document()->rows()[r];
            const CueItem& b = back.document()->rows()[r];
            EXPECT_EQ((QStringList{b.cueId, b.getCueIn(), b.getCueOut(), b.cueText, b.cueNotes}),
                      (QStringList{a.cueId, a.getCueIn(), a.getCueOut(), a.cueText, a.cueNotes}))
                << name;
        }
    }
}

} // namespace

// Lists from other programs: times in their forms, delimited text with the
// columns guessed or given, SubRip subtitles, marker lists, and CSV out and
// back in.
#include "cues/CueDocument.h"
#include "cues/DelimitedText.h"
#include "cues/ListTimes.h"
#include "cues/OtherLists.h"
#include "support/FilesAndTools.h"

#include <gtest/gtest.h>

namespace {

using namespace testsupport;

// Rows as the sheet shows them: id, in, out, text, notes.
QStringList shown(const CueItem& item) {
    return {item.cueId, item.getCueIn(), item.getCueOut(), item.cueText, item.cueNotes};
}

TEST(ListTime, FormsOfOtherPrograms) {
    const struct {
        const char* text;
        int tctype;
        const char* stored; // nullptr: not a time
    } cases[] = {
        {"01:00:10:05", 3, "01:00:10:05"},
        {" 1:00:10:05 ", 3, "01:00:10:05"},
        {"01:00:10;05", 2, "01:00:10;05"}, // drop-frame label kept
        {"01:00:10.05", 1, "01:00:10:05"}, // two digits after a point are frames
        {"01:00:10,200", 1, "01:00:10:05"},
        {"01:00:10.200", 0, "01:00:10:05"}, // 4.8 frames at 24
        {"01:00:10,200", 3, "01:00:10:06"},
        {"01:00:10,200", 2, "01:00:10;06"}, // a drop-frame sheet labels it so
        {"00:01:00,010", 2, "00:01:00;02"}, // frames 00 and 01 of minute 1 have no label
        {"00:10:00,010", 2, "00:10:00;00"}, // every tenth minute keeps them
        {"00:00:59,990", 1, "00:01:00:00"}, // rounds into the next second
        {"23:59:59,999", 1, "00:00:00:00"}, // and round midnight
        {"01:00:10", 3, "01:00:10:00"},
        {"01:00:00:27", 1, "01:00:00:27"}, // kept: the table marks it
        {"24:00:00:00", 3, nullptr},
        {"01:60:00:00", 3, nullptr},
        {"01:00:00:30", 3, nullptr},
        {"01:00:10,2", 3, nullptr},
        {"01:00:10:5", 3, nullptr},
        {"1M1", 3, nullptr},
        {"", 3, nullptr},
    };
    for (const auto& c : cases) {
        const std::optional<QString> read = listtime::read(QString::fromUtf8(c.text), c.tctype);
        if (c.stored)
            EXPECT_EQ(read.value_or("none"), QString::fromLatin1(c.stored)) << c.text;
        else
            EXPECT_FALSE(read) << c.text << " read as " << read->toStdString();
    }
}

TEST(DelimitedText, HeaderNamesChooseTheColumns) {
    const struct {
        const char* name;
        const char* field;
    } names[] = {{"Cue", "id"},        {"#", "id"},           {"Cue No.", "id"},
                 {"Start", "in"},      {"TC In", "in"},       {"Position", "in"},
                 {"LOCATION", "in"},   {"End", "out"},        {"time_out", "out"},
                 {"Dialogue", "text"}, {"Name", "text"},      {"Character", "notes"},
                 {"Take", "notes"},    {"Comments", "notes"}, {"Length", ""}};
    for (const auto& n : names)
        EXPECT_EQ(delimited::fieldForName(QString::fromUtf8(n.name)), QLatin1String(n.field))
            << n.name;
}

TEST(DelimitedText, MapSpecs) {
    const auto map = delimited::parseMapSpec("id=1,in=2,text=4,notes=5+6,notes=7");
    ASSERT_TRUE(map);
    EXPECT_EQ(map->id, 0);
    EXPECT_EQ(map->in, 1);
    EXPECT_EQ(map->out, -1);
    EXPECT_EQ(map->text, 3);
    EXPECT_EQ(map->notes, (QList<int>{4, 5, 6}));
    EXPECT_EQ(delimited::mapSpec(*map), "id=1,in=2,text=4,notes=5+6+7");
    for (const char* bad : {"id=1,text=2", "in=0", "in=x", "in", "take=3,in=1", "in=1+2"}) {
        QString error;
        EXPECT_FALSE(delimited::parseMapSpec(QString::fromLatin1(bad), &error)) << bad;
        EXPECT_FALSE(error.isEmpty()) << bad;
    }
}

class ListFiles : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(runTool("/usr/bin/python3",
                          {QZ62_TEST_DATA_DIR "/cues/list_writers.py", m_scratch.dir.path()})
                      .exitCode,
                  0);
    }
    listtime::ListRows readGuessed(const char* name, int tctype = 3) {
        const QString text = QString::fromUtf8(readFile(m_scratch.path(name)));
        const delimited::Table table = delimited::parse(text);
        return delimited::rowsFromTable(table, delimited::guessMapping(table, tctype), tctype);
    }
    Scratch m_scratch;
};

TEST_F(ListFiles, SpreadsheetWritersListsReadWithGuessedColumns) {
    const listtime::ListRows spotting = readGuessed("spotting.csv");
    ASSERT_EQ(spotting.rows.size(), 3);
    EXPECT_EQ(shown(spotting.rows[0]), (QStringList{"1M1", "01:00:10:05", "01:00:12:00",
                                                    "She said \"go\", then left", "ANNA / 3"}));
    EXPECT_EQ(shown(spotting.rows[1]),
              (QStringList{"1M2", "01:00:20:10", "---", "Line one line two", "BEN"}));
    EXPECT_EQ(shown(spotting.rows[2]),
              (QStringList{"1M4", "01:00:30:00", "---", "out unreadable", "CARL / 2"}));
    EXPECT_EQ(spotting.skipped, 1);
    EXPECT_EQ(spotting.outsDropped, 1);

    const listtime::ListRows semicolons = readGuessed("subtitles_de.csv", 1);
    ASSERT_EQ(semicolons.rows.size(), 1);
    EXPECT_EQ(shown(semicolons.rows[0]), (QStringList{"A1", "01:00:10:05", "01:00:11:00",
                                                      QString::fromUtf8("Bonjour; ça va"), "x"}));

    const listtime::ListRows tabs = readGuessed("loops.tsv");
    ASSERT_EQ(tabs.rows.size(), 1);
    EXPECT_EQ(shown(tabs.rows[0]),
              (QStringList{"7", "01:02:03:04", "01:02:05:00", "Door", "slam"}));

    const listtime::ListRows markers = readGuessed("markers.csv");
    ASSERT_EQ(markers.rows.size(), 1);
    EXPECT_EQ(shown(markers.rows[0]),
              (QStringList{"1", "01:00:05:10", "---", "Hit", "check sync"}));
}

TEST_F(ListFiles, DocumentImportAsksForColumnsAndCountsWhatItSkipped) {
    CueDocument doc;
    QString message;
    QObject::connect(&doc, &CueDocument::message, [&](const QString& m) { message = m; });
    QStringList asked;
    const int added = doc.importFiles(
        {m_scratch.path("spotting.csv"), m_scratch.path("loops.tsv")},
        [&](const QString& path, const delimited::Table& preview,
            const delimited::ColumnMapping& guess) -> std::optional<delimited::ColumnMapping> {
            asked << QFileInfo(path).fileName();
            EXPECT_FALSE(preview.records.isEmpty());
            if (path.endsWith("tsv"))
                return std::nullopt; // the user cancels this one
            delimited::ColumnMapping m = guess;
            m.notes = {1}; // the character only
            return m;
        });
    EXPECT_EQ(asked, (QStringList{"spotting.csv", "loops.tsv"}));
    EXPECT_EQ(added, 3);
    EXPECT_EQ(doc.rows()[0].cueNotes, "ANNA");
    EXPECT_TRUE(message.contains("spotting.csv: 1 row skipped (its in time cannot be read); "
                                 "1 out time that cannot be read left empty"))
        << message.toStdString();
    EXPECT_TRUE(message.contains("loops.tsv: not imported")) << message.toStdString();
    doc.undoStack()->undo();
    EXPECT_EQ(doc.rowCount(), 0); // one step
}

TEST(DelimitedText, CsvExportReadsBackUnchanged) {
    QList<CueItem> rows;
    const char* texts[][5] = {
        {"1M1", "01:00:10:05", "01:00:12:00", "Plain", ""},
        {"1M2", "01:00:20:00", "", "Commas, \"quotes\"; semicolons", "  padded  "},
        {"", "01:00:30:00", "", "", "only notes"},
        {"2M1", "23:59:59:29", "00:00:01:00", "Caf\xc3\xa9 \xe2\x99\xaa", "=1+2"},
    };
    for (const auto& t : texts)
        rows.append({QString::fromUtf8(t[0]), QString::fromUtf8(t[1]), QString::fromUtf8(t[2]),
                     QString::fromUtf8(t[3]), QString::fromUtf8(t[4])});
    CueItem typed = CueItem::blank(); // a cell's 8-digit entry form
    typed.cueId = "3M1\t";            // an identifier the line importer kept its tab on
    typed.cueIn = "01000000";
    rows.append(typed);

    const delimited::Table table = delimited::parse(QString::fromUtf8(delimited::csvForRows(rows)));
    const delimited::ColumnMapping guess = delimited::guessMapping(table, 3);
    const listtime::ListRows back = delimited::rowsFromTable(table, guess, 3);
    ASSERT_EQ(back.rows.size(), rows.size());
    for (qsizetype i = 0; i < rows.size(); ++i) {
        QStringList expected = shown(rows[i]);
        expected[0] = expected[0].trimmed();
        EXPECT_EQ(shown(back.rows[i]), expected) << i;
    }
}

TEST(DelimitedText, DelimiterAndQuotingEdges) {
    const struct {
        const char* text;
        QList<QStringList> records;
    } cases[] = {
        {"a,b\r\nc,d", {{"a", "b"}, {"c", "d"}}},
        {"a;\"b;c\"\n\nd;e\n", {{"a", "b;c"}, {"d", "e"}}},
        {"\"a\"\"b\",\"\"\n", {{"a\"b", ""}}},
        {"\"open,quote\nto the end", {{"open,quote\nto the end"}}},
        {" a , \" b \" \n", {{"a", " b "}}},
        {"x\ty\t01:00:00,500\n", {{"x", "y", "01:00:00,500"}}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(delimited::parse(QString::fromUtf8(c.text)).records, c.records) << c.text;
}

TEST(OtherLists, SubRipSubtitles) {
    const QString srt = QString::fromUtf8(
        "\xef\xbb\xbf"
        "1\r\n00:00:01,000 --> 00:00:04,000\r\n<i>Where are you</i>\r\n<font color=\"red\">going?"
        "</font>\r\n\r\n"
        "2\r\n00:00:05,500 --> 00:00:07,250 X1:0 X2:100\r\n{\\an8}Up here.\r\n\r\n"
        "3\r\n00:00:09,xyz --> 00:00:10,000\r\nBroken\r\n\r\n"
        "4\n00:01:00,000 --> 00:01:01,000\nLast\n");
    const listtime::ListRows read = otherlists::readSubRip(srt, 2);
    ASSERT_EQ(read.rows.size(), 3);
    EXPECT_EQ(read.skipped, 1);
    EXPECT_EQ(read.rows[0].cueId, "1");
    EXPECT_EQ(read.rows[0].cueIn, "00:00:01;00");
    EXPECT_EQ(read.rows[0].cueOut, "00:00:04;00");
    EXPECT_EQ(read.rows[0].cueText, "Where are you going?");
    EXPECT_EQ(read.rows[1].cueIn, "00:00:05;15");
    EXPECT_EQ(read.rows[1].cueOut, "00:00:07;08"); // 7.5 frames round up
    EXPECT_EQ(read.rows[1].cueText, "Up here.");
    EXPECT_EQ(read.rows[2].cueId, "4");
    EXPECT_EQ(read.rows[2].cueIn, "00:01:00;02"); // no frame 00 in minute 1 at 29.97
}

TEST(OtherLists, SessionMarkerList) {
    const QString text = QString::fromUtf8(
        "SESSION NAME:\tReel 1\n\nM A R K E R S  L I S T I N G\n"
        "#   \tLOCATION     \tTIME REFERENCE    \tUNITS    \tNAME                             "
        "\tCOMMENTS\n"
        "1   \t01:00:05:10  \t240000  \tSamples  \tDoor slam   \tcheck sync\n"
        "2   \t1|1|000      \t0       \tSamples  \tBars, not a time \t\n"
        "3   \t01:00:09:00  \t432000  \tSamples  \tSiren        \t\n"
        "\n"
        "4   \t01:00:30:00  \t0       \tSamples  \tAfter the list\t\n");
    EXPECT_TRUE(otherlists::hasMarkerList(text));
    const listtime::ListRows read = otherlists::readMarkerList(text, 3);
    ASSERT_EQ(read.rows.size(), 2);
    EXPECT_EQ(read.skipped, 1);
    EXPECT_EQ(shown(read.rows[0]),
              (QStringList{"1", "01:00:05:10", "---", "Door slam", "check sync"}));
    EXPECT_EQ(shown(read.rows[1]), (QStringList{"3", "01:00:09:00", "---", "Siren", ""}));
    EXPECT_FALSE(otherlists::hasMarkerList("MARKERS LISTING is not alone here"));
}

} // namespace

namespace {

// The three list commands of qz62ctl as the user runs them, one pass: a
// delimited list with its columns given, that sheet as CSV and on paper, and
// both read back.
TEST_F(ListFiles, Qz62ctlMapExportCsvAndPrintGiveTheRowsBack) {
    const ToolOutput imported =
        qz62ctl({"import", "--map", "id=1,in=3,out=4,text=5,notes=2",
                 m_scratch.path("spotting.csv"), "-o", m_scratch.path("sheet.txt")});
    ASSERT_EQ(imported.exitCode, 0) << imported.err.toStdString();
    EXPECT_TRUE(imported.err.contains("1 row skipped")) << imported.err.toStdString();
    // Long texts, so the printed table wraps them and runs over pages.
    QByteArray sheet = readFile(m_scratch.path("sheet.txt"));
    for (int i = 0; i < 40; ++i)
        sheet += QStringLiteral("9M%1\t02:00:%2:00\t---\t%3\tnote %1\n")
                     .arg(i)
                     .arg(i + 10)
                     .arg(QString("word%1 ").arg(i).repeated(12).trimmed())
                     .toUtf8();
    ASSERT_TRUE(writeFile(m_scratch.path("sheet.txt"), sheet));
    const QByteArray rows = sheet.mid(sheet.indexOf("1M1"));

    ASSERT_EQ(qz62ctl({"export-csv", m_scratch.path("sheet.txt"), "-o", m_scratch.path("s.csv")})
                  .exitCode,
              0);
    QProcessEnvironment noDisplay = QProcessEnvironment::systemEnvironment();
    noDisplay.remove("DISPLAY");
    noDisplay.remove("QT_QPA_PLATFORM");
    const ToolOutput printed = runTool(
        QZ62_BINARY_DIR "/src/cli/qz62ctl",
        {"print", m_scratch.path("sheet.txt"), "-o", m_scratch.path("s.pdf"), "--paper", "letter"},
        noDisplay);
    ASSERT_EQ(printed.exitCode, 0) << printed.err.toStdString();
    const ToolOutput info = runTool("pdfinfo", {m_scratch.path("s.pdf")});
    EXPECT_TRUE(info.out.contains("Pages:           3")) << info.out.toStdString();
    EXPECT_TRUE(info.out.contains("612 x 792 pts")) << info.out.toStdString();

    for (const char* file : {"s.csv", "s.pdf"}) {
        const ToolOutput back = qz62ctl({"import", m_scratch.path(file)});
        ASSERT_EQ(back.exitCode, 0) << back.err.toStdString();
        EXPECT_EQ(back.out.mid(back.out.indexOf("1M1")), rows) << file;
    }
}

} // namespace

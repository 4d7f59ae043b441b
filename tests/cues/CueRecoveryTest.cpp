// Recovery copies of modified sheets: written a moment after a change, gone
// once the sheet is saved, back to its file's state or discarded, and offered
// to the next run only when the run that wrote them is over.
#include "cues/CueRecovery.h"
#include "cues/CueDocument.h"
#include "support/FilesAndTools.h"

#include <QDir>
#include <QTest>
#include <gtest/gtest.h>

namespace {

using testsupport::readFile;
using testsupport::Scratch;

const QByteArray kSheet = ";tctype\t1\n1M1\t01:00:00:00\t---\tFirst\t\n";

bool copyExists(const CueRecovery& recovery, const CueDocument& doc) {
    const QString path = recovery.copyPath(&doc);
    return !path.isEmpty() && QFile::exists(path);
}

TEST(CueRecovery, CopiesAModifiedSheetUntilItIsSavedOrDiscarded) {
    Scratch scratch;
    const QString sheet = scratch.write("reel1.txt", kSheet);
    CueRecovery recovery(scratch.path("recovery"));
    recovery.setDelayMs(0);
    CueDocument doc;
    ASSERT_EQ(doc.openFile(sheet), CueDocument::Opened::Sheet);
    recovery.watch(&doc);

    // Each way a modified sheet stops needing its copy.
    const std::pair<const char*, std::function<void()>> ends[] = {
        {"saved", [&] { ASSERT_TRUE(doc.saveToFile(sheet)); }},
        {"undone to its file", [&] { doc.undoStack()->undo(); }},
        {"discarded", [&] { recovery.discard(&doc); }}};
    for (const auto& [how, end] : ends) {
        doc.paste(QStringLiteral("2M1 01:00:05:00 added (%1)").arg(QLatin1String(how)));
        ASSERT_TRUE(QTest::qWaitFor([&] { return copyExists(recovery, doc); }, 5000)) << how;
        const QString copy = recovery.copyPath(&doc);
        EXPECT_TRUE(copy.startsWith(scratch.path("recovery/run-"))) << copy.toStdString();
        EXPECT_TRUE(readFile(copy).contains("2M1\t01:00:05:00\t---\tadded")) << how;
        end();
        EXPECT_FALSE(QFile::exists(copy)) << how;
    }
    // Only Save wrote the sheet's own file.
    EXPECT_TRUE(readFile(sheet).contains("added (saved)"));
    EXPECT_FALSE(readFile(sheet).contains("(discarded)"));
}

TEST(CueRecovery, OffersOnlyTheCopiesOfRunsThatAreOver) {
    Scratch scratch;
    const QString folder = scratch.path("recovery");
    const QString oddName = scratch.write("reel\t2 50%.txt", kSheet);
    {
        // A run ending without asking (its windows never closed): the copy
        // waiting for its delay is written on the way out.
        CueDocument doc;
        CueRecovery ended(folder);
        ended.setDelayMs(60 * 60 * 1000);
        ASSERT_EQ(doc.openFile(oddName), CueDocument::Opened::Sheet);
        ended.watch(&doc);
        doc.paste("2M1 01:00:05:00 unsaved work");
    }
    CueRecovery running(folder);
    running.setDelayMs(0);
    CueDocument live;
    running.watch(&live);
    live.paste("9M9 02:00:00:00 still being edited");
    ASSERT_TRUE(QTest::qWaitFor([&] { return copyExists(running, live); }, 5000));

    CueRecovery next(folder);
    const QList<CueRecovery::Orphan> orphans = next.orphans();
    ASSERT_EQ(orphans.size(), 1);
    const CueRecovery::Orphan& copy = orphans[0];
    EXPECT_EQ(copy.name, QFileInfo(oddName).fileName());
    EXPECT_EQ(copy.sheetPath, oddName);
    EXPECT_EQ(copy.rows, 2);
    EXPECT_TRUE(copy.written.isValid());

    CueDocument restored;
    restored.restore(copy.sheetText, copy.sheetPath);
    EXPECT_EQ(restored.rowCount(), 2);
    EXPECT_EQ(restored.rows()[1].cueText, "unsaved work");
    EXPECT_EQ(restored.settings().tctype, 1);
    EXPECT_EQ(restored.filePath(), oddName);
    EXPECT_TRUE(restored.isModified());
    EXPECT_EQ(readFile(oddName), kSheet); // its file is never written by recovery

    CueRecovery::remove(copy);
    EXPECT_TRUE(next.orphans().isEmpty());
    EXPECT_FALSE(QDir(QFileInfo(copy.copyPath).absolutePath()).exists());
}

} // namespace

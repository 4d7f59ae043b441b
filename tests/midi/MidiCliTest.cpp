// qz62ctl export-midi and dump-midi, run as a user runs them.
#include "midi/MidiTrack.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <ostream>

void PrintTo(const QString& text, std::ostream* os) {
    *os << '"' << text.toStdString() << '"';
}

namespace {

struct CliRun {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

CliRun qz62ctl(const QStringList& args) {
    QProcess process;
    process.start(QStringLiteral(QZ62_BINARY_DIR "/src/cli/qz62ctl"), args);
    CliRun run;
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit)
        return run;
    run.exitCode = process.exitCode();
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

bool writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

CueItem cue(const QString& in, const QString& text) {
    CueItem item;
    item.cueId = QStringLiteral("-");
    item.cueIn = in;
    item.cueText = text;
    return item;
}

QByteArray exportQuietly(const QList<CueItem>& cues, const QString& start, int type, double offset,
                         bool text, bool pulldown, bool cueId) {
    MidiTrack track;
    track.setLogSink([](const QByteArray&) {});
    return track.exportMidi(cues, start, type, offset, text, pulldown, cueId);
}

const QByteArray kHeader = ";duplicate\t1\n;midnight\t1\n;text\t1\n;cueId\t0\n;pulldown\t0\n"
                           ";start\t01:00:00:00\n;tctype\t0\n";

class MidiCliTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_dir.isValid());
        m_sheet = m_dir.filePath(QStringLiteral("sheet.txt"));
        m_out = m_dir.filePath(QStringLiteral("cues.mid"));
    }
    QTemporaryDir m_dir;
    QString m_sheet;
    QString m_out;
};

TEST_F(MidiCliTest, ExportsTheSortedSheetWithItsHeaderValues) {
    // Out of order, with a duplicate in time: the cue window sorts (and
    // drops the second of two equal times) before it exports.
    ASSERT_TRUE(writeFile(m_sheet, kHeader + "2\t01:00:05:00\t---\tWorld\t\n"
                                             "1\t01:00:01:00\t---\tHello\t\n"
                                             "1b\t01:00:01:00\t---\tagain\t\n"));
    const CliRun run =
        qz62ctl({QStringLiteral("export-midi"), m_sheet, QStringLiteral("-o"), m_out});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, QByteArray("MIDI offset: 00:00:00:00\n"));
    EXPECT_EQ(readFile(m_out).toHex(),
              exportQuietly({cue("01:00:01:00", "Hello"), cue("01:00:05:00", "World")},
                            "01:00:00:00", 0, 0.0, true, false, false)
                  .toHex());
}

TEST_F(MidiCliTest, OptionsOverrideTheHeader) {
    ASSERT_TRUE(writeFile(m_sheet, kHeader + "1\t01:00:01:00\t---\tHello\t\n"));
    const CliRun run =
        qz62ctl({QStringLiteral("export-midi"), m_sheet, QStringLiteral("-o"), m_out,
                 QStringLiteral("--tctype"), QStringLiteral("3"), QStringLiteral("--start"),
                 QStringLiteral("01:00:00:10"), QStringLiteral("--offset"), QStringLiteral("0.5"),
                 QStringLiteral("--pulldown"), QStringLiteral("--no-text")});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, QByteArray("MIDI offset: 00:00:00:15\n"));
    EXPECT_EQ(readFile(m_out).toHex(), exportQuietly({cue("01:00:01:00", "Hello")}, "01:00:00:10",
                                                     3, 0.5, false, true, false)
                                           .toHex());
}

TEST_F(MidiCliTest, ASheetAcrossMidnightStartsInTheEvening) {
    ASSERT_TRUE(writeFile(m_sheet, kHeader + ";start\t23:58:00:00\n"
                                             "1\t00:00:10:00\t---\tafter\t\n"
                                             "2\t23:59:00:00\t---\tbefore\t\n"));
    const CliRun run =
        qz62ctl({QStringLiteral("export-midi"), m_sheet, QStringLiteral("-o"), m_out});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(readFile(m_out).toHex(),
              exportQuietly({cue("23:59:00:00", "before"), cue("00:00:10:00", "after")},
                            "23:58:00:00", 0, 0.0, true, false, false)
                  .toHex());
}

struct BadExportCase {
    const char* name;
    QStringList extraArgs;
    QByteArray sheet;  // written to the sheet file unless empty
    const char* named; // what the message must name
};

TEST_F(MidiCliTest, RefusesBadInputWithoutWriting) {
    const QByteArray good = kHeader + "1\t01:00:01:00\t---\tHello\t\n";
    const BadExportCase cases[] = {
        {"type out of range", {"--tctype", "5"}, good, "'5'"},
        {"type not a number", {"--tctype", "x"}, good, "'x'"},
        {"offset not a number", {"--offset", "abc"}, good, "'abc'"},
        {"offset not finite", {"--offset", "inf"}, good, "'inf'"},
        {"offset too large", {"--offset", "1e12"}, good, "'1e12'"},
        {"start not a timecode", {"--start", "1:00:00:00"}, good, "'1:00:00:00'"},
        {"start out of range", {"--start", "24:00:00:00"}, good, "'24:00:00:00'"},
        {"option without value", {"--offset"}, good, "--offset"},
        {"unknown option", {"--loud"}, good, "'--loud'"},
        {"no cues", {}, kHeader, "no cues"},
    };
    for (const BadExportCase& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(writeFile(m_sheet, c.sheet));
        QFile::remove(m_out);
        const CliRun run = qz62ctl(
            QStringList{QStringLiteral("export-midi"), m_sheet, QStringLiteral("-o"), m_out} +
            c.extraArgs);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_TRUE(run.err.startsWith("qz62ctl: ")) << run.err.toStdString();
        EXPECT_TRUE(run.err.contains(c.named)) << run.err.toStdString();
        EXPECT_EQ(run.err.count('\n'), 1);
        EXPECT_TRUE(run.out.isEmpty());
        EXPECT_FALSE(QFile::exists(m_out));
    }
}

TEST_F(MidiCliTest, UnusableFilesLeaveTheOutputAlone) {
    ASSERT_TRUE(writeFile(m_sheet, kHeader + "1\t01:00:01:00\t---\tHello\t\n"));
    ASSERT_TRUE(writeFile(m_out, "earlier file"));
    const QString missing = m_dir.filePath(QStringLiteral("missing.txt"));
    CliRun run = qz62ctl({QStringLiteral("export-midi"), missing, QStringLiteral("-o"), m_out});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.err.contains(missing.toUtf8())) << run.err.toStdString();
    EXPECT_EQ(readFile(m_out), QByteArray("earlier file"));

    const QString unwritable = m_dir.filePath(QStringLiteral("no/such/dir/cues.mid"));
    run = qz62ctl({QStringLiteral("export-midi"), m_sheet, QStringLiteral("-o"), unwritable});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.err.contains(unwritable.toUtf8())) << run.err.toStdString();
    EXPECT_FALSE(QFile::exists(unwritable));

    run = qz62ctl({QStringLiteral("export-midi"), m_sheet});
    EXPECT_EQ(run.exitCode, 2);
    // No temporary files left next to the output either.
    EXPECT_EQ(QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 2);
}

TEST_F(MidiCliTest, DumpsAFileAsTheReaderLogsIt) {
    const QByteArray bytes =
        exportQuietly({cue("01:00:01:00", "Hello")}, "01:00:00:00", 0, 0.0, true, false, true);
    ASSERT_TRUE(writeFile(m_out, bytes));
    const CliRun run = qz62ctl({QStringLiteral("dump-midi"), m_out});
    EXPECT_EQ(run.exitCode, 0);
    MidiTrack reader;
    QByteArray expected;
    reader.setLogSink([&expected](const QByteArray& t) { expected += t; });
    reader.importMidi(bytes);
    EXPECT_EQ(run.out, expected);
    EXPECT_TRUE(run.out.contains("\ndelta: 19200 note on: 119 64\n"));

    const QString missing = m_dir.filePath(QStringLiteral("missing.mid"));
    const CliRun bad = qz62ctl({QStringLiteral("dump-midi"), missing});
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_TRUE(bad.err.contains(missing.toUtf8()));
    EXPECT_TRUE(bad.out.isEmpty());
    EXPECT_EQ(qz62ctl({QStringLiteral("dump-midi")}).exitCode, 2);
}

} // namespace

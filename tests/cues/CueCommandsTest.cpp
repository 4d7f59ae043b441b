// qz62ctl import and tc, run as the user runs them.
#include "support/FilesAndTools.h"

#include <QDir>
#include <QFileInfo>
#include <QStringEncoder>
#include <QTemporaryDir>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace testsupport;

const QByteArray kDefaultHeader = ";duplicate\t1\n;midnight\t1\n;text\t1\n;cueId\t1\n"
                                  ";pulldown\t0\n;start\t01:00:00:00\n;tctype\t3\n";

// The arithmetic itself is tested on TcCalculator; here each subcommand
// once, the default type, and --type before and after the command.
TEST(Qz62ctlTc, AnswersAndRefusals) {
    const std::pair<QStringList, const char*> answers[] = {
        {{"frames", "01:00:00:00"}, "108000\n"}, // type 3 unless told
        {{"--type", "1", "frames", "00:00:01:00"}, "25\n"},
        {{"timecode", "-1", "--type", "0"}, "23:59:59:23\n"},
        {{"subtract", "01:00:10:00", "01:00:00:00"}, "00:00:10:00\n"},
        {{"compare", "23:59:59:00", "00:00:01:00", "--type", "0"}, "-1\n"}};
    for (const auto& [args, out] : answers) {
        const ToolOutput run = qz62ctl(QStringList{"tc"} + args);
        EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
        EXPECT_EQ(run.out, out) << args.join(' ').toStdString();
    }
    const std::pair<QStringList, const char*> refusals[] = {
        {{"frames", "24:00:00:00"}, "24:00:00:00"},
        {{"frames", "01:00:00:00", "--type", "4"}, "4"},
        {{"timecode", "12x"}, "12x"},
        {{"subtract", "01:00:00:00"}, "subtract"},
        {{"divide", "1", "2"}, "divide"},
        {{}, "missing command"}};
    for (const auto& [args, named] : refusals)
        EXPECT_TRUE(refused(qz62ctl(QStringList{"tc"} + args), named, true))
            << args.join(' ').toStdString();
}

class Qz62ctlImport : public ::testing::Test {
protected:
    QString path(const char* name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    QString file(const char* name, const QByteArray& bytes) {
        EXPECT_TRUE(writeFile(path(name), bytes));
        return path(name);
    }
    QTemporaryDir m_dir;
};

TEST_F(Qz62ctlImport, FilesInOrderEachOnce) {
    const QString a = file("a.txt", "1M1\t01:00:05:00\t01:00:07:00\tSwell\tstrings\n"
                                    "no time here\n");
    const QString b = file("b.txt", "2M1 00:59:00;10 -- Caf\xc3\xa9 hit\r\n");
    const QByteArray rowA = "1M1\t01:00:05:00\t01:00:07:00\tSwell\tstrings\n";
    const QByteArray rowB = "2M1\t00:59:00:10\t---\tCaf\xc3\xa9 hit\t\n";
    const ToolOutput run = qz62ctl({"import", a, b});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, kDefaultHeader + rowA + rowB);

    // The same sheet written to a file, then sorted.
    const ToolOutput toFile = qz62ctl({"import", a, b, "-o", path("sheet.txt")});
    EXPECT_EQ(toFile.exitCode, 0) << toFile.err.toStdString();
    EXPECT_TRUE(toFile.out.isEmpty());
    EXPECT_EQ(readFile(path("sheet.txt")), run.out);
    EXPECT_TRUE(qz62ctl({"import", "--sort", a, b}).out.endsWith(rowB + rowA));
}

// Written to standard output by its /proc name: the scanner's report stays
// off it.
TEST_F(Qz62ctlImport, PdfSheetsWithTheScannerReportKeptOffTheSheet) {
    const ToolOutput run =
        qz62ctl({"import", QStringLiteral(QZ62_TEST_DATA_DIR "/cues/filmlight.pdf"),
                 QStringLiteral(QZ62_TEST_DATA_DIR "/cues/generic.pdf"), "-o", "/proc/self/fd/1"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, kDefaultHeader + "1M1\t01:00:00:00\t01:00:05:00\tHello big world\tnote 1\n"
                                        "2M1\t01:00:10:00\t01:00:11:00\tHit\tn2\n"
                                        "1M1\t01:00:00:00\t---\tFade in\t\n"
                                        "1M2\t01:00:10:00\t---\tOut\t\n"
                                        "2M1\t01:00:20:00\t---\tsecond page\t\n");
    EXPECT_TRUE(run.err.startsWith("op_BT 0\nop_ET\n"));
    EXPECT_TRUE(run.err.contains("filmlight.pdf: 1 page read, 2 cues\n"));
    EXPECT_TRUE(run.err.contains("generic.pdf: 2 pages read, 3 cues\n"));
}

// Text in the encodings editors write, the same sheet from each; a sheet
// whose times span more than half a day is warned about.
TEST_F(Qz62ctlImport, ReadsTheUsualEncodings) {
    const QString text =
        QStringLiteral("1 01:00:00:00 Caf\u00e9 \u2019s\n8 14:00:00:00 x\n5 08:00:00:00 y\n");
    auto utf16 = [&text](QStringEncoder::Encoding encoding) {
        return QByteArray(QStringEncoder(encoding, QStringEncoder::Flag::WriteBom).encode(text));
    };
    const std::pair<QByteArray, bool> files[] = {
        {text.toUtf8(), false},
        {"\xef\xbb\xbf" + text.toUtf8(), false},
        {utf16(QStringEncoder::Utf16LE), false},
        {utf16(QStringEncoder::Utf16BE), false},
        {"1 01:00:00:00 Caf\xe9 \x92s\n8 14:00:00:00 x\n5 08:00:00:00 y\n", true}};
    for (const auto& [bytes, fallback] : files) {
        const ToolOutput run = qz62ctl({"import", file("list.txt", bytes)});
        EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
        EXPECT_EQ(run.out, kDefaultHeader + "1\t01:00:00:00\t---\tCaf\xc3\xa9 \xe2\x80\x99s\t\n"
                                            "8\t14:00:00:00\t---\tx\t\n5\t08:00:00:00\t---\ty\t\n");
        EXPECT_EQ(run.err.contains("list.txt: not UTF-8 or UTF-16, read as Windows-1252"),
                  fallback);
        EXPECT_TRUE(run.err.contains("in times span more than 12 hours")) << run.err.toStdString();
    }
}

// As the cue window does: which characters the unit cannot show, by file.
TEST_F(Qz62ctlImport, SaysWhatTheUnitCannotShow) {
    const QString a = file("a.txt", "1 01:00:00:00 Price \xe2\x82\xac"
                                    "5\n2 01:00:01:00 "
                                    "\xe2\x99\xaa Source \xe2\x82\xac\n");
    const QString b = file("b.txt", "3 01:00:02:00 Caf\xc3\xa9 \xe2\x80\x9cplain\xe2\x80\x9d\n");
    const ToolOutput run = qz62ctl({"import", a, b});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.err, "qz62ctl: import: " + a.toUtf8() +
                           ": 2 cues have characters the unit cannot show (\xe2\x80\x9c\xe2\x82"
                           "\xac\xe2\x80\x9d, \xe2\x80\x9c\xe2\x99\xaa\xe2\x80\x9d): it gets "
                           "\xe2\x80\x9c?\xe2\x80\x9d for each\n");
}

// A pipe (or device) given with -o is written in place, never replaced by a file.
TEST_F(Qz62ctlImport, WritesIntoAPipe) {
    const QByteArray fifo = QFile::encodeName(path("fifo"));
    ASSERT_EQ(mkfifo(fifo.constData(), 0600), 0);
    const int reader = open(fifo.constData(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    const ToolOutput run = qz62ctl({"import", file("a.txt", "A 01:00:00:00 one\n"), "-o", fifo});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    char buffer[512];
    const ssize_t n = read(reader, buffer, sizeof buffer);
    close(reader);
    EXPECT_EQ(QByteArray(buffer, int(std::max<ssize_t>(n, 0))),
              kDefaultHeader + "A\t01:00:00:00\t---\tone\t\n");
    EXPECT_FALSE(QFileInfo(QString::fromLocal8Bit(fifo)).isFile());
}

TEST_F(Qz62ctlImport, HeaderOptionsAndSortRules) {
    const QString a = file("a.txt", "A 01:00:02:00 two\nB 01:00:00:00 one\nC 01:00:02:00 again\n");
    const ToolOutput run =
        qz62ctl({"import", a, "--tctype", "1", "--start", "00:59:30:00", "--no-text", "--no-cue-id",
                 "--pulldown", "--sort", "--duplicates", "--no-midnight"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, ";duplicate\t1\n;midnight\t0\n;text\t0\n;cueId\t0\n;pulldown\t1\n"
                       ";start\t00:59:30:00\n;tctype\t1\nB\t01:00:00:00\t---\tone\t\n"
                       "A\t01:00:02:00\t---\ttwo\t\n");
}

// A sheet is read as the cue window opens it: its header and every field
// as written, so importing a sheet alone gives it back byte for byte; an
// option given on the command line wins over its header.
TEST_F(Qz62ctlImport, SheetsKeepTheirHeaderAndTheCommandLineWins) {
    const QByteArray sheet = ";duplicate\t0\n;midnight\t1\n;text\t0\n;cueId\t1\n;pulldown\t1\n"
                             ";start\t00:59:30:00\n;tctype\t1\n"
                             "1M1\t01:00:05:00\t---\tHit at 01:00:10:00 exactly\t-3 dB\n"
                             "1M2\t---\t---\t\tnotes only\n";
    const QString path = file("reel1.txt", sheet);
    const ToolOutput same = qz62ctl({"import", path});
    EXPECT_EQ(same.exitCode, 0) << same.err.toStdString();
    EXPECT_EQ(same.out, sheet);

    const ToolOutput told = qz62ctl({"import", path, "--tctype", "2", "--text"});
    EXPECT_EQ(told.exitCode, 0) << told.err.toStdString();
    QByteArray expected = sheet;
    expected.replace(";text\t0", ";text\t1").replace(";tctype\t1", ";tctype\t2");
    EXPECT_EQ(told.out, expected);
}

TEST_F(Qz62ctlImport, FailuresWriteNothing) {
    const QString good = file("good.txt", "A 01:00:00:00 one\n");
    const QString pdf = file("sheet.pdf", "%PDF-1.4\nnot really\n");
    const QString existing = file("existing.txt", "keep me\n");
    const QString out = path("out.txt"), noDir = path("no/such/dir/out.txt");
    const std::pair<QStringList, QString> cases[] = {
        {{good, path("missing.txt"), "-o", out}, path("missing.txt")},
        {{good, pdf, "-o", out}, pdf},
        {{good, "--tctype", "9", "-o", out}, "9"},
        {{good, "--shuffle", "-o", out}, "--shuffle"},
        {{"-o", out}, "no input files"},
        {{good, "-o"}, "-o"},
        {{good, "-o", noDir}, noDir},
        {{good, m_dir.path(), "-o", existing}, m_dir.path()}};
    for (const auto& [args, named] : cases) {
        EXPECT_TRUE(refused(qz62ctl(QStringList{"import"} + args), named, true));
        EXPECT_FALSE(QFile::exists(out)) << args.join(' ').toStdString();
        EXPECT_EQ(readFile(existing), "keep me\n");
    }
    // Nothing but the inputs is left in the folder (no temporary files).
    EXPECT_EQ(QDir(m_dir.path()).entryList(QDir::Files).size(), 3);
}

} // namespace

// qz62ctl import and tc, run as the user runs them.
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

struct CtlRun {
    int exitCode = -1;
    QString out;
    QString err;
};

CtlRun qz62ctl(const QStringList& args) {
    QProcess process;
    process.start(QStringLiteral(QZ62_BINARY_DIR "/src/cli/qz62ctl"), args);
    EXPECT_TRUE(process.waitForFinished(10000));
    CtlRun run;
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

const QString kDefaultHeader = QStringLiteral(";duplicate\t0\n;midnight\t0\n;text\t1\n;cueId\t1\n"
                                              ";pulldown\t0\n;start\t01:00:00:00\n;tctype\t3\n");

TEST(Qz62ctlTc, Answers) {
    const struct {
        QStringList args;
        const char* out;
    } cases[] = {
        {{"frames", "01:00:00:00", "--type", "2"}, "107892\n"},
        {{"frames", "01:00:00:00"}, "108000\n"},
        {{"--type", "1", "frames", "00:00:01:00"}, "25\n"},
        {{"timecode", "-1", "--type", "0"}, "23:59:59:23\n"},
        {{"timecode", "2073600", "--type", "0"}, "24:00:00:00\n"},
        {{"timecode", "1800", "--type", "2"}, "00:02:00:02\n"},
        {{"subtract", "00:01:00:00", "23:59:00:00", "--type", "3"}, "00:02:00:00\n"},
        {{"subtract", "01:00:10:00", "01:00:00:00"}, "00:00:10:00\n"},
        {{"compare", "00:00:01:00", "23:59:59:00", "--type", "0"}, "1\n"},
        {{"compare", "23:59:59:00", "00:00:01:00", "--type", "0"}, "-1\n"},
        {{"compare", "10:00:00:00", "10:00:00:00"}, "0\n"},
    };
    for (const auto& c : cases) {
        const CtlRun run = qz62ctl(QStringList{"tc"} + c.args);
        EXPECT_EQ(run.exitCode, 0) << qPrintable(c.args.join(' ')) << qPrintable(run.err);
        EXPECT_EQ(run.out, QString::fromLatin1(c.out)) << qPrintable(c.args.join(' '));
    }
}

TEST(Qz62ctlTc, BadInputIsOneLineAndExitTwo) {
    const struct {
        QStringList args;
        const char* named; // the value the message names
    } cases[] = {
        {{"frames", "24:00:00:00"}, "24:00:00:00"},
        {{"frames", "01:00:00;00"}, "01:00:00;00"},
        {{"frames", "01:00:00:00", "--type", "4"}, "4"},
        {{"frames", "01:00:00:00", "--type"}, "--type"},
        {{"timecode", "12x"}, "12x"},
        {{"subtract", "01:00:00:00"}, "subtract"},
        {{"compare", "01:00:00:00", "1:00:00:00"}, "1:00:00:00"},
        {{"divide", "1", "2"}, "divide"},
        {{"frames", "01:00:00:00", "--fps", "30"}, "--fps"},
        {{}, "missing command"},
    };
    for (const auto& c : cases) {
        const CtlRun run = qz62ctl(QStringList{"tc"} + c.args);
        EXPECT_EQ(run.exitCode, 2) << qPrintable(c.args.join(' '));
        EXPECT_TRUE(run.out.isEmpty()) << qPrintable(c.args.join(' '));
        const QStringList errLines = run.err.split(u'\n', Qt::SkipEmptyParts);
        ASSERT_FALSE(errLines.isEmpty());
        EXPECT_TRUE(errLines.last().startsWith(QLatin1String("qz62ctl: tc")));
        EXPECT_TRUE(errLines.last().contains(QString::fromLatin1(c.named)))
            << qPrintable(errLines.last());
    }
}

class Qz62ctlImport : public ::testing::Test {
protected:
    QString file(const char* name, const QByteArray& bytes) {
        QFile f(m_dir.filePath(QString::fromLatin1(name)));
        EXPECT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(bytes);
        return f.fileName();
    }
    QString path(const char* name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    static QByteArray contents(const QString& path) {
        QFile f(path);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }

    QTemporaryDir m_dir;
};

TEST_F(Qz62ctlImport, FilesInOrderEachOnce) {
    const QString a = file("a.txt", "1M1\t01:00:05:00\t01:00:07:00\tSwell\tstrings\n"
                                    "no time here\n");
    const QString b = file("b.txt", "2M1 00:59:00;10 -- Caf\xc3\xa9 hit\r\n");
    const CtlRun run = qz62ctl({"import", a, b});
    EXPECT_EQ(run.exitCode, 0) << qPrintable(run.err);
    EXPECT_EQ(run.out,
              kDefaultHeader + QString::fromUtf8("1M1\t\t01:00:05:00\t01:00:07:00\tSwell\t"
                                                 "strings\n"
                                                 "2M1 \t00:59:00:10\t---\tCaf\xc3\xa9 hit\t\n"));

    // The same sheet written to a file, then sorted.
    const CtlRun toFile = qz62ctl({"import", a, b, "-o", path("sheet.txt")});
    EXPECT_EQ(toFile.exitCode, 0) << qPrintable(toFile.err);
    EXPECT_TRUE(toFile.out.isEmpty());
    EXPECT_EQ(QString::fromUtf8(contents(path("sheet.txt"))), run.out);

    const CtlRun sorted = qz62ctl({"import", "--sort", a, b});
    EXPECT_TRUE(sorted.out.endsWith(QString::fromUtf8("2M1 \t00:59:00:10\t---\tCaf\xc3\xa9 hit\t\n"
                                                      "1M1\t\t01:00:05:00\t01:00:07:00\tSwell\t"
                                                      "strings\n")));
}

TEST_F(Qz62ctlImport, HeaderOptionsAndSortRules) {
    const QString a = file("a.txt", "A 01:00:02:00 two\nB 01:00:00:00 one\nC 01:00:02:00 again\n");
    const CtlRun run =
        qz62ctl({"import", a, "--tctype", "1", "--start", "00:59:30:00", "--no-text", "--no-cue-id",
                 "--pulldown", "--sort", "--duplicates", "--midnight"});
    EXPECT_EQ(run.exitCode, 0) << qPrintable(run.err);
    EXPECT_EQ(run.out, QStringLiteral(";duplicate\t1\n;midnight\t1\n;text\t0\n;cueId\t0\n"
                                      ";pulldown\t1\n;start\t00:59:30:00\n;tctype\t1\n"
                                      "B \t01:00:00:00\t---\tone\t\n"
                                      "A \t01:00:02:00\t---\ttwo\t\n"));
}

TEST_F(Qz62ctlImport, FailuresWriteNothing) {
    const QString good = file("good.txt", "A 01:00:00:00 one\n");
    const QString notUtf8 = file("latin1.txt", "A 01:00:00:00 caf\xe9\n");
    const QString pdf = file("sheet.pdf", "%PDF-1.4\n");
    const QString existing = file("existing.txt", "keep me\n");
    const struct {
        QStringList args;
        QString named;
    } cases[] = {
        {{"import", good, path("missing.txt"), "-o", path("out.txt")}, path("missing.txt")},
        {{"import", good, notUtf8, "-o", path("out.txt")}, notUtf8},
        {{"import", pdf, "-o", path("out.txt")}, "PDF import not available yet"},
        {{"import", good, "--tctype", "9", "-o", path("out.txt")}, "9"},
        {{"import", good, "--start", "1:00:00:00", "-o", path("out.txt")}, "1:00:00:00"},
        {{"import", good, "--shuffle", "-o", path("out.txt")}, "--shuffle"},
        {{"import", "-o", path("out.txt")}, "no input files"},
        {{"import", good, "-o"}, "-o"},
        {{"import", good, "-o", path("no/such/dir/out.txt")}, path("no/such/dir/out.txt")},
        {{"import", good, m_dir.path(), "-o", existing}, m_dir.path()},
    };
    for (const auto& c : cases) {
        const CtlRun run = qz62ctl(c.args);
        EXPECT_EQ(run.exitCode, 2) << qPrintable(c.args.join(' '));
        EXPECT_TRUE(run.out.isEmpty());
        const QStringList errLines = run.err.split(u'\n', Qt::SkipEmptyParts);
        ASSERT_FALSE(errLines.isEmpty());
        EXPECT_TRUE(errLines.last().contains(c.named)) << qPrintable(errLines.last());
        EXPECT_FALSE(QFile::exists(path("out.txt"))) << qPrintable(c.args.join(' '));
        EXPECT_EQ(contents(existing), QByteArray("keep me\n"));
    }
    // Nothing but the inputs is left in the folder (no temporary files).
    EXPECT_EQ(QDir(m_dir.path()).entryList(QDir::Files).size(), 4);
}

} // namespace

// qz62ctl srec check|image, run as a user runs them.
#include "update/SRecord.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

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

TEST(SRecCliTest, ChecksEveryLine) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString good = dir.filePath(QStringLiteral("good.s19"));
    ASSERT_TRUE(writeFile(good, "S00600004844521B\r\nS107801001FFFFFF6A\r\nS9030000FC\r\n"));
    CliRun run = qz62ctl({QStringLiteral("srec"), QStringLiteral("check"), good});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, QByteArray("line 1: ok\nline 2: ok\nline 3: ok\n"));

    // Blank lines are not records and get no verdict.
    const QString bad = dir.filePath(QStringLiteral("bad.s19"));
    ASSERT_TRUE(writeFile(bad, "S107801001FFFFFF6A\n\nS107801001FFFFFF6B\nS4030000FC\nS1130000\n"
                               "S9030000FC\n"));
    run = qz62ctl({QStringLiteral("srec"), QStringLiteral("check"), bad});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, QByteArray("line 1: ok\nline 3: checksum error\nline 4: refused\n"
                                  "line 5: refused\nline 6: ok\n"));
}

TEST(SRecCliTest, PrintsTheUpdateRecords) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString file = dir.filePath(QStringLiteral("micro.S19"));
    const QByteArray text = "S00600004844521B\nS107801001FFFFFF6A\nS9030000FC\n";
    ASSERT_TRUE(writeFile(file, text));
    const CliRun run = qz62ctl({QStringLiteral("srec"), QStringLiteral("image"), file});
    EXPECT_EQ(run.exitCode, 0);
    const QStringList expected = SRecord::updateImage(QString::fromLatin1(text).split('\n'));
    ASSERT_EQ(expected.size(), 2);
    EXPECT_EQ(run.out, (expected.join('\n') + '\n').toLatin1());
}

TEST(SRecCliTest, RefusesBadArguments) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString missing = dir.filePath(QStringLiteral("missing.s19"));
    const struct {
        QStringList args;
        const char* named;
    } cases[] = {
        {{"srec", "check", missing}, "missing.s19"},
        {{"srec", "image", missing}, "missing.s19"},
        {{"srec", "verify", missing}, "'verify'"},
        {{"srec", "check"}, "usage"},
        {{"srec"}, "usage"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args.join(' ').toStdString());
        const CliRun run = qz62ctl(c.args);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_TRUE(run.err.contains(c.named)) << run.err.toStdString();
        EXPECT_EQ(run.err.count('\n'), 1);
        EXPECT_TRUE(run.out.isEmpty());
    }
}

} // namespace

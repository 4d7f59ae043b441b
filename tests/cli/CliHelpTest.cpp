// qz62ctl --help and each command's --help.
#include "support/FilesAndTools.h"

#include <QRegularExpression>
#include <gtest/gtest.h>

namespace {

using testsupport::qz62ctl;

TEST(CliHelp, EveryCommandHasHelpThatExitsZero) {
    const auto main = qz62ctl({"--help"});
    EXPECT_EQ(main.exitCode, 0);
    EXPECT_TRUE(main.out.startsWith("usage: qz62ctl COMMAND"));
    EXPECT_TRUE(main.err.isEmpty());
    EXPECT_EQ(qz62ctl({"-h"}).out, main.out);
    // Without a command the same usage goes to standard error, as a mistake.
    const auto none = qz62ctl({});
    EXPECT_EQ(none.exitCode, 2);
    EXPECT_EQ(none.err, main.out);

    // The commands are the first words of the usage's indented lines.
    QStringList commands;
    const QRegularExpression commandLine(QStringLiteral("^  ([a-z][a-z-]*)"));
    for (const QString& line : QString::fromLocal8Bit(main.out).split('\n'))
        if (const auto m = commandLine.match(line); m.hasMatch())
            commands << m.captured(1);
    EXPECT_EQ(commands.size(), 10) << commands.join(' ').toStdString();
    for (const QString& command : commands) {
        for (const char* flag : {"--help", "-h"}) {
            SCOPED_TRACE(QStringLiteral("%1 %2").arg(command, flag).toStdString());
            const auto help = qz62ctl({command, flag});
            EXPECT_EQ(help.exitCode, 0) << help.err.toStdString();
            EXPECT_TRUE(help.out.startsWith(("usage: qz62ctl " + command).toUtf8()))
                << help.out.toStdString();
            EXPECT_TRUE(help.err.isEmpty());
        }
    }
    // Help wins wherever it stands, even after arguments that would fail.
    EXPECT_EQ(qz62ctl({"mtc", "--out", "nowhere", "--help"}).exitCode, 0);
    EXPECT_EQ(qz62ctl({"export-midi", "missing.txt", "-h"}).exitCode, 0);
}

} // namespace

#pragma once

// Small helpers for tests that read and write files and run programs
// (qz62ctl, the srecord tools, python3).
#include <QFile>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace testsupport {

inline QByteArray hex(const char* text) {
    return QByteArray::fromHex(text);
}

inline QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// A test's own folder, also holding its user defaults (the settings of the
// application under test) while it lives.
struct Scratch {
    Scratch() { qputenv("XDG_CONFIG_HOME", dir.path().toUtf8()); }
    QString path(const QString& name) const { return dir.filePath(name); }
    QString write(const QString& name, const QByteArray& text) const {
        EXPECT_TRUE(writeFile(path(name), text));
        return path(name);
    }
    QTemporaryDir dir;
};

struct ToolOutput {
    int exitCode = -1; // -1: did not start, crashed or timed out
    QByteArray out;
    QByteArray err;
};

inline ToolOutput
runTool(const QString& program, const QStringList& args,
        const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment()) {
    QProcess process;
    process.setProcessEnvironment(env);
    process.start(program, args);
    ToolOutput o;
    if (process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit)
        o = {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
    return o;
}

// The qz62ctl of this build; the unit's port comes from QZ62_PORT only when
// envPort is given.
inline ToolOutput qz62ctl(const QStringList& args, const QString& envPort = QString()) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("QZ62_PORT"));
    if (!envPort.isEmpty())
        env.insert(QStringLiteral("QZ62_PORT"), envPort);
    return runTool(QStringLiteral(QZ62_BINARY_DIR "/src/cli/qz62ctl"), args, env);
}

// A run refused the way qz62ctl refuses bad input: exit status 2, nothing
// on standard output, and a one-line message naming `named` on standard
// error (after the usage text when `afterUsage`).
inline ::testing::AssertionResult refused(const ToolOutput& o, const QString& named,
                                          bool afterUsage = false) {
    const QList<QByteArray> lines = o.err.split('\n');
    const QByteArray last = lines.size() > 1 ? lines[lines.size() - 2] : QByteArray();
    if (o.exitCode == 2 && o.out.isEmpty() && o.err.endsWith('\n') &&
        (afterUsage || lines.size() == 2) && last.startsWith("qz62ctl: ") &&
        last.contains(named.toUtf8()))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "exit " << o.exitCode << ", out \"" << o.out.toStdString() << "\", err \""
           << o.err.toStdString() << "\" (wanted " << named.toStdString() << ")";
}

} // namespace testsupport

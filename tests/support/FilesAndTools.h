#pragma once

// Small helpers for tests that read and write files and run programs
// (qz62ctl, the srecord tools, python3).
#include <QFile>
#include <QProcess>
#include <QStringList>

namespace testsupport {

inline QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

struct ToolOutput {
    int exitCode = -1; // -1: did not start, crashed or timed out
    QByteArray out;
    QByteArray err;
};

inline ToolOutput runTool(const QString& program, const QStringList& args) {
    QProcess process;
    process.start(program, args);
    ToolOutput o;
    if (process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit)
        o = {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
    return o;
}

// The qz62ctl of this build.
inline ToolOutput qz62ctl(const QStringList& args) {
    return runTool(QStringLiteral(QZ62_BINARY_DIR "/src/cli/qz62ctl"), args);
}

} // namespace testsupport

#pragma once

// Argument and file helpers shared by the qz62ctl subcommands.
#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>

namespace cli {

// The value after the option at i (i moves onto it); false when the option
// is the last argument.
bool takeValue(const QStringList& args, qsizetype& i, QString* value);

// A switch pair such as --text/--no-text; false when arg is neither. Value
// is a bool or a std::optional<bool> (set only when given).
template <typename Value>
bool takeSwitch(const QString& arg, const char* name, Value& value) {
    if (!arg.startsWith(QLatin1String("--")))
        return false;
    const QStringView rest = QStringView(arg).mid(2);
    const bool negated = rest.startsWith(QLatin1String("no-"));
    if ((negated ? rest.mid(3) : rest) != QLatin1String(name))
        return false;
    value = !negated;
    return true;
}

// A timecode type: 0 to 3.
bool parseTcType(const QString& text, int* type);

// The whole file, or nothing when it cannot be read.
std::optional<QByteArray> readFile(const QString& path);

// Bytes to standard output as they are, flushed.
void writeStdout(const QByteArray& bytes);

// True when path is the file standard output goes to (such as /dev/stdout),
// so a report printed there would mix with the data.
bool isStandardOutput(const QString& path);

// "qz62ctl: <message>" on standard error; the command goes on.
void warn(const QString& message);

} // namespace cli

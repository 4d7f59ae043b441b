#pragma once

#include <QByteArray>
#include <QString>

// Writing a finished result (a cue sheet, a MIDI file) to the path the user
// gave. A regular file, or a name that does not exist yet, is written to a
// temporary file renamed into place, so a failed write leaves the old file as
// it was. Anything else (a device such as /dev/stdout or /dev/full, a pipe)
// is written directly: renaming over it would replace the device node with a
// regular file. A pipe that nobody reads from is refused at once rather than
// waited on.
class OutputFile {
public:
    // False, with the reason in `error`, when the write fails.
    static bool write(const QString& path, const QByteArray& bytes, QString* error = nullptr);
    // True when path names something other than a regular file (links followed).
    static bool isSpecial(const QString& path);
};

#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

// Reads cue lists and cue sheets whatever editor wrote them: UTF-8 with or
// without a byte-order mark, UTF-16 with a byte-order mark, and otherwise
// Windows-1252 (the usual 8-bit encoding of office programs; Latin-1 text
// reads the same). The fallback is reported so the caller can say so.
class TextFileReader {
public:
    // What to tell the user, after the file's name.
    static constexpr const char* kWindows1252Note = "not UTF-8 or UTF-16, read as Windows-1252";
    static constexpr const char* kUnreadableNote = "cannot be read";

    struct Text {
        QString text;
        bool windows1252 = false; // not UTF-8 or UTF-16: read as Windows-1252
    };

    static Text decode(const QByteArray& bytes);
    // Nothing when the file cannot be read.
    static std::optional<Text> read(const QString& path);
    // The file's bytes; nothing when it cannot be read.
    static std::optional<QByteArray> readBytes(const QString& path);
};

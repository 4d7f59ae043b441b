#pragma once

#include <QByteArray>
#include <regex.h>

// A POSIX extended regular expression compiled once and searched many times.
// Searches run on UTF-8 bytes; offsets in a match are byte offsets into the
// searched text. regexec on a compiled pattern is safe from several threads.
class PosixRegex {
public:
    explicit PosixRegex(const char* pattern);
    ~PosixRegex();
    PosixRegex(const PosixRegex&) = delete;
    PosixRegex& operator=(const PosixRegex&) = delete;

    // Unanchored search of the NUL-terminated text from byte `from`; on
    // success the match's start and end are byte offsets into `text`.
    bool search(const QByteArray& text, int from, int* start, int* end) const;
    bool search(const QByteArray& text, int from = 0) const {
        return search(text, from, nullptr, nullptr);
    }

private:
    regex_t m_regex{};
    bool m_valid = false;
};

#include "base/PosixRegex.h"

PosixRegex::PosixRegex(const char* pattern) {
    m_valid = regcomp(&m_regex, pattern, REG_EXTENDED) == 0;
}

PosixRegex::~PosixRegex() {
    if (m_valid)
        regfree(&m_regex);
}

bool PosixRegex::search(const QByteArray& text, int from, int* start, int* end) const {
    if (!m_valid || from < 0 || from > text.size())
        return false;
    regmatch_t match[1];
    // constData() is NUL-terminated, so the search stops at the text's end.
    if (regexec(&m_regex, text.constData() + from, 1, match, from > 0 ? REG_NOTBOL : 0) != 0)
        return false;
    if (match[0].rm_so < 0)
        return false;
    if (start)
        *start = from + int(match[0].rm_so);
    if (end)
        *end = from + int(match[0].rm_eo);
    return true;
}

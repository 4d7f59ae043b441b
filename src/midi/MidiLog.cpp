#include "midi/MidiLog.h"

#include "base/Diagnostics.h"

#include <cstdarg>
#include <cstdio>

void MidiLog::write(const QByteArray& text) const {
    if (!m_enabled)
        return;
    if (m_sink)
        m_sink(text);
    else
        diag::print("%s", text.constData());
}

void MidiLog::print(const char* format, ...) const {
    if (!m_enabled)
        return;
    // Most lines fit the stack buffer; a longer one is formatted again at
    // its full length.
    char small[256];
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int n = std::vsnprintf(small, sizeof small, format, args);
    va_end(args);
    if (n >= 0 && size_t(n) < sizeof small) {
        write(QByteArray(small, n));
    } else if (n >= 0) {
        QByteArray big(n, '\0');
        std::vsnprintf(big.data(), size_t(n) + 1, format, again);
        write(big);
    }
    va_end(again);
}

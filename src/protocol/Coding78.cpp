#include "protocol/Coding78.h"

#include <algorithm>

namespace coding78 {

QByteArray encode78(const QByteArray& data) {
    const int n = std::min<int>(int(data.size()), kMaxInputBytes);
    QByteArray out(n + (n + 6) / 7, Qt::Uninitialized);
    const auto* in = reinterpret_cast<const unsigned char*>(data.constData());
    char* o = out.data();
    for (int start = 0; start < n; start += 7) {
        const int groupEnd = std::min(start + 7, n);
        unsigned char highBits = 0;
        for (int i = start; i < groupEnd; ++i) {
            *o++ = char(in[i] & 0x7f);
            if (in[i] & 0x80)
                highBits |= static_cast<unsigned char>(1u << (i - start));
        }
        *o++ = char(highBits);
    }
    return out;
}

QByteArray decode78(const QByteArray& data) {
    const int n = int(data.size());
    const auto* in = reinterpret_cast<const unsigned char*>(data.constData());
    // Every block of up to 8 bytes gives one byte fewer.
    QByteArray out(n - (n + 7) / 8, Qt::Uninitialized);
    char* o = out.data();
    for (int start = 0; start < n; start += 8) {
        const int blockEnd = std::min(start + 8, n); // one past the high-bit byte
        unsigned char highBits = in[blockEnd - 1];
        for (int i = start; i < blockEnd - 1; ++i) {
            unsigned char byte = in[i];
            if (highBits & 1)
                byte |= 0x80;
            highBits >>= 1;
            *o++ = char(byte);
        }
    }
    return out;
}

QByteArray encodeLatin1Text(const QString& text) {
    for (const QChar c : text) {
        if (c.unicode() > 0xFF)
            return encode78({});
    }
    return encode78(text.toLatin1());
}

} // namespace coding78

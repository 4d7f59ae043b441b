#include "midi/Coding78.h"

#include <algorithm>

namespace coding78 {

QByteArray encode78(const QByteArray& data) {
    const int n = std::min<int>(int(data.size()), kMaxInputBytes);
    QByteArray out;
    out.reserve(n + (n + 6) / 7);
    for (int start = 0; start < n; start += 7) {
        const int groupEnd = std::min(start + 7, n);
        unsigned char highBits = 0;
        for (int i = start; i < groupEnd; ++i) {
            const auto byte = static_cast<unsigned char>(data[i]);
            out.append(char(byte & 0x7f));
            if (byte & 0x80)
                highBits |= static_cast<unsigned char>(1u << (i - start));
        }
        out.append(char(highBits));
    }
    return out;
}

QByteArray decode78(const QByteArray& data) {
    QByteArray out;
    const int n = int(data.size());
    out.reserve(n);
    for (int start = 0; start < n; start += 8) {
        const int blockEnd = std::min(start + 8, n); // one past the high-bit byte
        auto highBits = static_cast<unsigned char>(data[blockEnd - 1]);
        for (int i = start; i < blockEnd - 1; ++i) {
            auto byte = static_cast<unsigned char>(data[i]);
            if (highBits & 1)
                byte |= 0x80;
            highBits >>= 1;
            out.append(char(byte));
        }
    }
    return out;
}

} // namespace coding78

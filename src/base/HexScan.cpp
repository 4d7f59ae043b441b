#include "base/HexScan.h"

#include <algorithm>

namespace hexscan {

int digitValue(QChar c) {
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9')
        return u - u'0';
    if (u >= u'a' && u <= u'f')
        return u - u'a' + 10;
    if (u >= u'A' && u <= u'F')
        return u - u'A' + 10;
    return -1;
}

bool scan(QStringView text, qsizetype& pos, std::uint32_t& value, Overflow overflow) {
    auto isDigit = [&](qsizetype i) { return i < text.size() && digitValue(text.at(i)) >= 0; };
    qsizetype p = pos;
    while (p < text.size() && text.at(p).isSpace())
        ++p;
    if (p + 2 < text.size() && text.at(p) == u'0' &&
        (text.at(p + 1) == u'x' || text.at(p + 1) == u'X') && isDigit(p + 2))
        p += 2;
    if (!isDigit(p))
        return false;
    std::uint64_t v = 0;
    for (; isDigit(p); ++p) {
        v = (v << 4) | std::uint64_t(digitValue(text.at(p)));
        v = overflow == Overflow::Saturate ? std::min<std::uint64_t>(v, 0xFFFFFFFFu)
                                           : v & 0xFFFFFFFFu;
    }
    value = std::uint32_t(v);
    pos = p;
    return true;
}

} // namespace hexscan

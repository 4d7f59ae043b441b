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

QString plainPunctuation(const QString& text) {
    QString plain;
    plain.reserve(text.size());
    for (const QChar c : text) {
        switch (c.unicode()) {
        case 0x2018: // left single quote
        case 0x2019: // right single quote, the apostrophe word processors type
        case 0x201A: // low single quote
        case 0x201B:
            plain += u'\'';
            break;
        case 0x201C: // left and right double quotes
        case 0x201D:
        case 0x201E: // low double quote
        case 0x201F:
            plain += u'"';
            break;
        case 0x2010: // hyphen, non-breaking hyphen, figure dash, en dash, em dash
        case 0x2011:
        case 0x2012:
        case 0x2013:
        case 0x2014:
            plain += u'-';
            break;
        case 0x2026: // ellipsis
            plain += QLatin1String("...");
            break;
        default:
            plain += c.category() == QChar::Separator_Space ? QChar(u' ') : c;
        }
    }
    return plain;
}

bool fitsLatin1(const QString& text) {
    const QString plain = plainPunctuation(text);
    return std::all_of(plain.begin(), plain.end(), [](QChar c) { return c.unicode() <= 0xFF; });
}

QByteArray encodeLatin1Text(const QString& text) {
    const QString plain = plainPunctuation(text);
    if (!fitsLatin1(plain))
        return encode78({});
    return encode78(plain.toLatin1());
}

} // namespace coding78

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

namespace {

constexpr char16_t kEllipsis = 0x2026;

// The plain form of one character (the ellipsis, which becomes three dots,
// is the callers'): typographic quotes and dashes, and every kind of space.
char16_t plainForm(char16_t u) {
    switch (u) {
    case 0x2018: // left single quote
    case 0x2019: // right single quote, the apostrophe word processors type
    case 0x201A: // low single quote
    case 0x201B:
        return u'\'';
    case 0x201C: // left and right double quotes
    case 0x201D:
    case 0x201E: // low double quote
    case 0x201F:
        return u'"';
    case 0x2010: // hyphen, non-breaking hyphen, figure dash, en dash, em dash
    case 0x2011:
    case 0x2012:
    case 0x2013:
    case 0x2014:
        return u'-';
    default:
        return QChar::category(u) == QChar::Separator_Space ? u' ' : u;
    }
}

// Walks a text as the unit gets it: `byte` for every Latin-1 byte, `missing`
// for every character without a Latin-1 form (a surrogate pair is one).
template <typename Byte, typename Missing>
void forUnit(QStringView text, const Byte& byte, const Missing& missing) {
    const qsizetype n = text.size();
    for (qsizetype i = 0; i < n; ++i) {
        const char16_t u = text[i].unicode();
        if (u < 0x80) { // nearly every character of a cue text
            byte(char(u));
            continue;
        }
        if (u == kEllipsis) {
            byte('.');
            byte('.');
            byte('.');
            continue;
        }
        const char16_t plain = plainForm(u);
        if (plain <= 0xFF) {
            byte(char(plain));
            continue;
        }
        qsizetype length = 1;
        if (QChar::isHighSurrogate(u) && i + 1 < n && text[i + 1].isLowSurrogate())
            length = 2;
        missing(text.mid(i, length));
        byte('?');
        i += length - 1;
    }
}

} // namespace

QString plainPunctuation(const QString& text) {
    QString plain;
    plain.reserve(text.size());
    for (const QChar c : text) {
        if (c.unicode() == kEllipsis)
            plain += QLatin1String("...");
        else
            plain += QChar(plainForm(c.unicode()));
    }
    return plain;
}

QByteArray latin1ForUnit(QStringView text, int* substituted) {
    QByteArray out(text.size(), Qt::Uninitialized);
    qsizetype used = 0;
    int missing = 0;
    forUnit(
        text,
        [&](char byte) {
            if (used == out.size()) // only after an ellipsis
                out.resize(used + 16);
            out.data()[used++] = byte;
        },
        [&missing](QStringView) { ++missing; });
    out.truncate(used);
    if (substituted)
        *substituted = missing;
    return out;
}

QString unitText(QStringView text, int* substituted) {
    return QString::fromLatin1(latin1ForUnit(text, substituted));
}

QString unshowableCharacters(QStringView text) {
    QString found;
    forUnit(
        text, [](char) {},
        [&found](QStringView character) {
            if (!found.contains(character))
                found += character;
        });
    return found;
}

QByteArray encodeLatin1Text(const QString& text, int* substituted) {
    return encode78(latin1ForUnit(text, substituted));
}

} // namespace coding78

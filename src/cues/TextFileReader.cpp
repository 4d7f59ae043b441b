#include "cues/TextFileReader.h"

#include <QFile>
#include <QStringDecoder>

namespace {

// Windows-1252 differs from Latin-1 only in 0x80..0x9F; the five unassigned
// codes there are kept as the Latin-1 control characters.
constexpr char16_t kWindows1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

QString fromWindows1252(const QByteArray& bytes) {
    QString text(bytes.size(), Qt::Uninitialized);
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        text[i] = QChar(byte >= 0x80 && byte < 0xA0 ? kWindows1252High[byte - 0x80] : byte);
    }
    return text;
}

} // namespace

TextFileReader::Text TextFileReader::decode(const QByteArray& bytes) {
    if (bytes.startsWith("\xFF\xFE"))
        return {QStringDecoder(QStringDecoder::Utf16LE).decode(bytes.mid(2)), false};
    if (bytes.startsWith("\xFE\xFF"))
        return {QStringDecoder(QStringDecoder::Utf16BE).decode(bytes.mid(2)), false};
    // The UTF-8 decoder drops a leading byte-order mark.
    QStringDecoder utf8(QStringDecoder::Utf8);
    QString text = utf8.decode(bytes);
    if (!utf8.hasError())
        return {text, false};
    return {fromWindows1252(bytes), true};
}

std::optional<QByteArray> TextFileReader::readBytes(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return std::nullopt;
    return bytes;
}

std::optional<TextFileReader::Text> TextFileReader::read(const QString& path) {
    const std::optional<QByteArray> bytes = readBytes(path);
    if (!bytes)
        return std::nullopt;
    return decode(*bytes);
}

#include "update/SRecord.h"

#include "base/HexScan.h"

#include <algorithm>

namespace {

using hexscan::digitValue;

// A number too large for 32 bits reads as 0xFFFFFFFF, as with the scanner
// the record reader mirrors.
bool scanHex(QStringView text, qsizetype& pos, std::uint32_t& value) {
    return hexscan::scan(text, pos, value, hexscan::Overflow::Saturate);
}

// One fixed-width field of a record line. A field holding no hex digits
// leaves value as it was, like the scanner it mirrors.
void scanField(const QString& line, qsizetype start, qsizetype digits, std::uint32_t& value) {
    const QStringView field = QStringView(line).mid(start, digits);
    qsizetype pos = 0;
    scanHex(field, pos, value);
}

QString hexField(std::uint32_t value, int width) {
    return QString::number(value, 16).rightJustified(width, u'0');
}

} // namespace

int SRecord::addressBytes(std::uint32_t recType) {
    switch (recType) {
    case 0:
    case 1:
    case 5:
    case 9:
        return 2;
    case 2:
    case 8:
        return 3;
    case 3:
    case 7:
        return 4;
    default:
        return 0;
    }
}

int SRecord::setSRec(const QString& line) {
    return parse(line) == ParseResult::Ok ? 0 : -1;
}

SRecord::ParseResult SRecord::parse(const QString& line) {
    m_sRec.clear();
    m_buffer.clear();
    m_numBytes = 0;
    m_address = 0;

    // Types 4 and 6 do not exist in this format.
    static const QString kTypes = QStringLiteral("01235789");
    if (line.size() < 6 || line.at(0) != u'S' || !kTypes.contains(line.at(1)))
        return ParseResult::Refused;
    m_recordType = std::uint32_t(digitValue(line.at(1)));

    std::uint32_t byteCount = 0;
    scanField(line, 2, 2, byteCount);
    // Every byte the count announces must be on the line; a short line is
    // refused rather than read past its end.
    if (line.size() < 4 + 2 * qsizetype(byteCount))
        return ParseResult::Refused;

    std::uint8_t sum = std::uint8_t(byteCount);
    std::uint32_t pair = 0;
    for (std::uint32_t i = 0; i < byteCount; ++i) {
        scanField(line, 4 + 2 * qsizetype(i), 2, pair);
        sum = std::uint8_t(sum + pair);
    }
    if (sum != 0xFF)
        return ParseResult::ChecksumError;

    const int addrBytes = addressBytes(m_recordType);
    if (byteCount < std::uint32_t(addrBytes) + 1)
        return ParseResult::Refused;
    scanField(line, 4, 2 * addrBytes, m_address);

    const std::uint32_t dataBytes = byteCount - std::uint32_t(addrBytes + 1);
    m_buffer = QByteArray(qsizetype(dataBytes) + 16, '\0');
    std::uint32_t value = 0;
    for (std::uint32_t i = 0; i < dataBytes; ++i) {
        scanField(line, 4 + 2 * addrBytes + 2 * qsizetype(i), 2, value);
        m_buffer[qsizetype(i)] = char(value);
    }
    m_numBytes = dataBytes;
    m_sRec = line;
    return ParseResult::Ok;
}

void SRecord::encode(const QByteArray& bytes, std::uint32_t recType, std::uint32_t address,
                     std::uint32_t numBytes) {
    numBytes = std::min<std::uint32_t>(numBytes, std::uint32_t(bytes.size()));
    const int addrBytes = addressBytes(recType);
    // The address field holds only so many bytes; a wider address (a memory
    // dump line with a long number) would make the line unreadable.
    if (addrBytes < 4)
        address &= (std::uint32_t(1) << (8 * addrBytes)) - 1;
    m_numBytes = numBytes;
    m_recordType = recType;
    m_address = address;
    m_buffer = QByteArray(qsizetype(numBytes) + 16, '\0');
    std::copy_n(bytes.constData(), numBytes, m_buffer.data());

    const std::uint32_t lengthField = numBytes + std::uint32_t(addrBytes) + 1;
    QString text = QStringLiteral("S") + QString::number(recType, 16) + hexField(lengthField, 2);
    std::uint32_t sum = lengthField;
    if (addrBytes > 0)
        text += hexField(address, 2 * addrBytes);
    for (int i = addrBytes - 1; i >= 0; --i)
        sum += (address >> (8 * i)) & 0xFF;
    for (std::uint32_t i = 0; i < numBytes; ++i) {
        const auto byte = static_cast<unsigned char>(m_buffer.at(qsizetype(i)));
        text += hexField(byte, 2);
        sum += byte;
    }
    text += hexField(~sum & 0xFF, 2);
    m_sRec = text.toUpper();
}

void SRecord::fromJString(const QString& line) {
    const QString rest = line.mid(2);
    qsizetype pos = 0;
    std::uint32_t address = 0;
    scanHex(rest, pos, address);
    QByteArray bytes(kBytesPerRecord, '\0');
    // A byte that cannot be read repeats the one before; before the first
    // there is nothing, which reads as erased flash.
    std::uint32_t value = 0xFF;
    for (int i = 0; i < kBytesPerRecord; ++i) {
        scanHex(rest, pos, value);
        bytes[i] = char(value);
    }
    encode(bytes, 1, address, kBytesPerRecord);
}

bool SRecord::empty() const {
    if (m_recordType == 9)
        return false;
    if (m_recordType < 1 || m_recordType > 3)
        return true;
    for (std::uint32_t i = 0; i < m_numBytes; ++i) {
        if (static_cast<unsigned char>(m_buffer.at(qsizetype(i))) != 0xFF)
            return false;
    }
    return true;
}

QStringList SRecord::updateImage(const QStringList& fileLines, ImageStats* stats) {
    return recordsFromImage(imageFromLines(fileLines, stats));
}

QByteArray SRecord::imageFromLines(const QStringList& fileLines, ImageStats* stats) {
    QByteArray image(kImageBytes, char(0xFF));
    SRecord record;
    ImageStats found;
    for (qsizetype i = 0; i < fileLines.size(); ++i) {
        const QString line = fileLines[i].trimmed();
        if (line.isEmpty())
            continue;
        if (record.setSRec(line) != 0) {
            found.unreadLines.append(int(i + 1));
            continue;
        }
        if ((record.recType() == 2 || record.recType() == 3) && record.count() != 0)
            ++found.wideRecords;
        if (record.recType() != 1 || record.count() == 0)
            continue;
        // An S1 address is 16 bits, but its data may run past the image end.
        const std::uint32_t start = record.address();
        if (start >= std::uint32_t(kImageBytes))
            continue;
        const std::uint32_t n = std::min<std::uint32_t>(record.count(), kImageBytes - start);
        std::copy_n(record.m_buffer.constData(), n, image.data() + start);
        ++found.dataRecords;
    }
    if (stats)
        *stats = found;
    return image;
}

QStringList SRecord::recordsFromImage(const QByteArray& image) {
    QStringList records;
    SRecord record;
    for (std::uint32_t address = kFirstSentAddress;
         address + kBytesPerRecord <= std::uint32_t(std::min<qsizetype>(image.size(), kImageBytes));
         address += kBytesPerRecord) {
        record.encode(image.mid(qsizetype(address), kBytesPerRecord), 1, address, kBytesPerRecord);
        if (!record.empty())
            records.append(record.sRec());
    }
    records.append(QString::fromLatin1(kEndRecord));
    return records;
}

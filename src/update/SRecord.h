#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>

// One line of a Motorola S-record file: record type, load address and data
// bytes. Lines are parsed with their checksum verified, or built from bytes
// (the text is then upper case). The microcontroller update reads the update
// file through this class and sends the records' text to the unit.
class SRecord {
public:
    // Why a line was accepted or not; setSRec() folds it into 0 / -1.
    enum class ParseResult { Ok, Refused, ChecksumError };

    // Load image of the microcontroller and the part of it that is sent.
    static constexpr int kImageBytes = 0x10000;
    static constexpr std::uint32_t kFirstSentAddress = 0x8000;
    static constexpr int kBytesPerRecord = 16;
    static constexpr const char* kEndRecord = "S9030000FC";

    SRecord() = default;

    // Parses one line: 0 when it is a well-formed record with a valid
    // checksum, -1 otherwise (count() is then 0).
    int setSRec(const QString& line);
    // The same, telling a malformed line from a bad checksum.
    ParseResult parse(const QString& line);

    // Builds a record of the given type from bytes. Types 0, 1, 5, 9 carry a
    // 2-byte address, 2 and 8 a 3-byte one, 3 and 7 a 4-byte one; any other
    // type is written without an address. An address wider than its field
    // keeps its low bytes.
    void encode(const QByteArray& bytes, std::uint32_t recType, std::uint32_t address,
                std::uint32_t numBytes);
    // Builds an S1 record from one line of the unit's memory dump
    // ("j fc00 01 02 ... 10": two characters, an address, 16 bytes).
    void fromJString(const QString& line);

    // True when the record carries nothing that needs writing: anything but
    // a data record (S1/S2/S3) or an end record (S9), or a data record whose
    // bytes are all 0xFF (erased flash) or that has no bytes.
    bool empty() const;

    const QString& sRec() const { return m_sRec; }
    std::uint32_t count() const { return m_numBytes; }
    // The data bytes only (address, count and checksum excluded).
    QByteArray buffer() const { return m_buffer.left(int(m_numBytes)); }
    std::uint32_t address() const { return m_address; }
    std::uint32_t recType() const { return m_recordType; }

    // Address bytes of a record type: 2, 3 or 4, or 0 for types that have
    // no address in this format.
    static int addressBytes(std::uint32_t recType);

    // The S1 records the microcontroller update sends for an update file: a
    // 64 KiB image filled with 0xFF receives the data of the file's S1
    // records (other types and unreadable lines are skipped); the image from
    // 0x8000 to 0xFFFF is cut into 16-byte records, erased (all 0xFF) ones
    // left out; the end record "S9030000FC" closes the list.
    struct ImageStats {
        int dataRecords = 0;    // S1 records whose data went into the image
        int wideRecords = 0;    // S2 and S3 data records (24- and 32-bit addresses), left out
        QList<int> unreadLines; // 1-based numbers of non-blank lines that are not records
    };
    static QStringList updateImage(const QStringList& fileLines, ImageStats* stats = nullptr);
    // The image alone (kImageBytes bytes).
    static QByteArray imageFromLines(const QStringList& fileLines, ImageStats* stats = nullptr);
    // The same starting from a ready image (at least kImageBytes bytes).
    static QStringList recordsFromImage(const QByteArray& image);

private:
    QString m_sRec;
    QByteArray m_buffer; // data bytes plus 16 spare bytes
    std::uint32_t m_numBytes = 0;
    std::uint32_t m_address = 0;
    std::uint32_t m_recordType = 1;
};

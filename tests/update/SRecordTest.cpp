#include "update/SRecord.h"

#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <ostream>

// Readable QString values in failure messages.
void PrintTo(const QString& text, std::ostream* os) {
    *os << '"' << text.toStdString() << '"';
}

namespace {

QByteArray hex(const char* text) {
    return QByteArray::fromHex(text);
}

struct ParseCase {
    const char* line;
    SRecord::ParseResult result;
    std::uint32_t type;
    std::uint32_t address;
    const char* data; // hex
    bool empty;
};

// Checksums worked out by hand: the count, every address and data byte and
// the checksum byte itself add up to 0xFF (mod 256).
const ParseCase kParseCases[] = {
    // 03 + 00 + 00 + FC = FF; the end record is never empty.
    {"S9030000FC", SRecord::ParseResult::Ok, 9, 0, "", false},
    {"S9030000fc", SRecord::ParseResult::Ok, 9, 0, "", false},
    // Header "HDR": 06 + 48 + 44 + 52 = E4, checksum 1B. Not a data record.
    {"S00600004844521B", SRecord::ParseResult::Ok, 0, 0, "484452", true},
    // 05 + 01 + 23 + 45 + AA = 118, checksum E7.
    {"S205012345AAE7", SRecord::ParseResult::Ok, 2, 0x012345, "aa", false},
    // 06 + 12 + 34 + 56 + 78 + 55 = 16F, checksum 90.
    {"S306123456785590", SRecord::ParseResult::Ok, 3, 0x12345678, "55", false},
    // 07 + 80 + 10 + 01 + FF + FF + FF = 395, checksum 6A.
    {"S107801001FFFFFF6A", SRecord::ParseResult::Ok, 1, 0x8010, "01ffffff", false},
    // Erased flash: 07 + 80 + 20 + 4 * FF = 4A3, checksum 5C.
    {"S1078020FFFFFFFF5C", SRecord::ParseResult::Ok, 1, 0x8020, "ffffffff", true},
    // A line ending (CR) after the checksum does not matter.
    {"S9030000FC\r", SRecord::ParseResult::Ok, 9, 0, "", false},
    // The last byte changed by one.
    {"S107801001FFFFFF6B", SRecord::ParseResult::ChecksumError, 1, 0, "", false},
    {"S107801001FFFFFF69", SRecord::ParseResult::ChecksumError, 1, 0, "", false},
    // Types 4 and 6 do not exist; short lines; a lower-case record mark.
    {"S4030000FC", SRecord::ParseResult::Refused, 1, 0, "", false},
    {"S6030000FC", SRecord::ParseResult::Refused, 1, 0, "", false},
    {"S9030", SRecord::ParseResult::Refused, 1, 0, "", false},
    {"s9030000FC", SRecord::ParseResult::Refused, 1, 0, "", false},
    {"X9030000FC", SRecord::ParseResult::Refused, 1, 0, "", false},
    // The count announces more bytes than the line holds.
    {"S1130000FC", SRecord::ParseResult::Refused, 1, 0, "", false},
    {"S107801001FFFF", SRecord::ParseResult::Refused, 1, 0, "", false},
    // The checksum holds (01 + FE) but the count leaves no room for the
    // address.
    {"S101FE", SRecord::ParseResult::Refused, 1, 0, "", false},
    // A count that is not hexadecimal reads as 0 and fails the checksum.
    {"S1zz0000FC", SRecord::ParseResult::ChecksumError, 1, 0, "", false},
};

TEST(SRecordTest, ParsesAndRefusesLines) {
    for (const ParseCase& c : kParseCases) {
        SCOPED_TRACE(c.line);
        SRecord record;
        const auto result = record.parse(QString::fromLatin1(c.line));
        EXPECT_EQ(result, c.result);
        EXPECT_EQ(SRecord().setSRec(QString::fromLatin1(c.line)),
                  c.result == SRecord::ParseResult::Ok ? 0 : -1);
        if (c.result != SRecord::ParseResult::Ok) {
            EXPECT_EQ(record.count(), 0u);
            EXPECT_TRUE(record.sRec().isEmpty());
            continue;
        }
        EXPECT_EQ(record.recType(), c.type);
        EXPECT_EQ(record.address(), c.address);
        EXPECT_EQ(record.buffer().toHex(), QByteArray(c.data));
        EXPECT_EQ(record.count(), std::uint32_t(hex(c.data).size()));
        EXPECT_EQ(record.empty(), c.empty);
        EXPECT_EQ(record.sRec(), QString::fromLatin1(c.line));
    }
}

TEST(SRecordTest, RefusedLineClearsThePreviousRecord) {
    SRecord record;
    ASSERT_EQ(record.setSRec(QStringLiteral("S107801001FFFFFF6A")), 0);
    EXPECT_EQ(record.setSRec(QStringLiteral("S107801001FFFFFF6B")), -1);
    EXPECT_EQ(record.count(), 0u);
    EXPECT_TRUE(record.buffer().isEmpty());
}

struct EncodeCase {
    std::uint32_t type;
    std::uint32_t address;
    const char* data;
    const char* text;
    bool empty;
};

const EncodeCase kEncodeCases[] = {
    // 13 + FC + 00 + 16 * FF = 10FF, checksum 00; erased, so empty.
    {1, 0xFC00, "ffffffffffffffffffffffffffffffff", "S113FC00FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF00",
     true},
    {9, 0, "", "S9030000FC", false},
    {1, 0x8010, "01ffffff", "S107801001FFFFFF6A", false},
    {2, 0x012345, "aa", "S205012345AAE7", false},
    {3, 0x12345678, "55", "S306123456785590", false},
    // Lower-case digits come out upper case: 06 + AB + CD + AB + CD + EF =
    // 3E5, checksum 1A.
    {1, 0xabcd, "abcdef", "S106ABCDABCDEF1A", false},
    // A type without an address in the table: 02 + AA = AC, checksum 53.
    {4, 0x1234, "aa", "S402AA53", true},
    // No data bytes (03 + 80 = 83, checksum 7C): nothing to write.
    {1, 0x8000, "", "S10380007C", true},
};

TEST(SRecordTest, BuildsRecordsThatParseBack) {
    for (const EncodeCase& c : kEncodeCases) {
        SCOPED_TRACE(c.text);
        const QByteArray data = hex(c.data);
        SRecord built;
        built.encode(data, c.type, c.address, std::uint32_t(data.size()));
        EXPECT_EQ(built.sRec(), QString::fromLatin1(c.text));
        EXPECT_EQ(built.empty(), c.empty);
        EXPECT_EQ(built.buffer(), data);
        if (SRecord::addressBytes(c.type) == 0)
            continue;
        SRecord parsed;
        ASSERT_EQ(parsed.setSRec(built.sRec()), 0);
        EXPECT_EQ(parsed.recType(), c.type);
        EXPECT_EQ(parsed.address(), c.address);
        EXPECT_EQ(parsed.buffer(), data);
    }
}

struct DumpLineCase {
    const char* line;
    std::uint32_t address;
    const char* data;
};

const DumpLineCase kDumpLineCases[] = {
    {"j fc10 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10", 0xFC10,
     "0102030405060708090a0b0c0d0e0f10"},
    // Bytes that cannot be read repeat the one before.
    {"j fc20 11 22", 0xFC20, "11222222222222222222222222222222"},
    {"j fc30 11 zz 33", 0xFC30, "11111111111111111111111111111111"},
    // Nothing at all reads as erased flash at address 0.
    {"j", 0, "ffffffffffffffffffffffffffffffff"},
};

TEST(SRecordTest, BuildsRecordsFromMemoryDumpLines) {
    for (const DumpLineCase& c : kDumpLineCases) {
        SCOPED_TRACE(c.line);
        SRecord record;
        record.fromJString(QString::fromLatin1(c.line));
        EXPECT_EQ(record.recType(), 1u);
        EXPECT_EQ(record.address(), c.address);
        EXPECT_EQ(record.buffer().toHex(), QByteArray(c.data));
        SRecord parsed;
        EXPECT_EQ(parsed.setSRec(record.sRec()), 0);
        EXPECT_EQ(parsed.buffer(), record.buffer());
    }
}

TEST(SRecordTest, UpdateImageKeepsOnlyWrittenS1Data) {
    // Only a header and an end record: only the end record goes out.
    EXPECT_EQ(SRecord::updateImage({QStringLiteral("S00600004844521B"), QString(),
                                    QStringLiteral("  S9030000FC \r")}),
              QStringList{QStringLiteral("S9030000FC")});

    SRecord s1;
    s1.encode(hex("0102"), 1, 0x8012, 2);
    SRecord low; // below the part that is sent
    low.encode(hex("0102"), 1, 0x1000, 2);
    SRecord s2; // other record types are not placed
    s2.encode(hex("0102"), 2, 0x9000, 2);
    SRecord tail; // runs past the end of the image
    tail.encode(hex("a1a2a3a4a5a6a7a8a9aaabacadaeafb0b1b2"), 1, 0xFFF8, 18);
    const QStringList records = SRecord::updateImage(
        {s1.sRec(), low.sRec(), s2.sRec(), QStringLiteral("S107801001FFFFFF6B"), tail.sRec()});

    SRecord row0;
    row0.encode(hex("ffff0102ffffffffffffffffffffffff"), 1, 0x8010, 16);
    SRecord rowLast;
    rowLast.encode(hex("ffffffffffffffffa1a2a3a4a5a6a7a8"), 1, 0xFFF0, 16);
    EXPECT_EQ(records, QStringList({row0.sRec(), rowLast.sRec(), QStringLiteral("S9030000FC")}));
}

// srec_cat, the reference tool of the srecord package.
int runTool(const QString& program, const QStringList& args) {
    QProcess process;
    process.start(program, args);
    if (!process.waitForFinished(30000))
        return -1;
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeAll(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray randomBytes(int n, quint32 seed) {
    QRandomGenerator random(seed);
    QByteArray bytes(n, '\0');
    for (char& b : bytes)
        b = char(random.bounded(256));
    return bytes;
}

struct ToolFileCase {
    int size;
    quint32 offset; // chooses S1, S2 or S3 records
    const char* recordLength;
};

TEST(SRecordTest, ReadsFilesWrittenByTheReferenceTool) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const ToolFileCase cases[] = {
        {1000, 0x0, "32"}, {4099, 0x8000, "16"}, {3000, 0x1F000, "64"}, {777, 0x1000000, "250"}};
    quint32 seed = 1;
    for (const ToolFileCase& c : cases) {
        SCOPED_TRACE(c.offset);
        const QString bin = dir.filePath(QStringLiteral("in.bin"));
        const QString s19 = dir.filePath(QStringLiteral("in.s19"));
        const QString back = dir.filePath(QStringLiteral("back.bin"));
        const QByteArray original = randomBytes(c.size, seed++);
        ASSERT_TRUE(writeAll(bin, original));
        const QString offset = QStringLiteral("0x%1").arg(c.offset, 0, 16);
        ASSERT_EQ(runTool(QStringLiteral("srec_cat"),
                          {bin, QStringLiteral("-binary"), QStringLiteral("-offset"), offset,
                           QStringLiteral("-o"), s19, QStringLiteral("-motorola"),
                           QStringLiteral("-obs=%1").arg(QLatin1String(c.recordLength))}),
                  0);
        ASSERT_EQ(runTool(QStringLiteral("srec_cat"),
                          {s19, QStringLiteral("-offset"), QStringLiteral("-") + offset,
                           QStringLiteral("-o"), back, QStringLiteral("-binary")}),
                  0);
        const QByteArray expected = readAll(back);
        ASSERT_EQ(expected, original);

        QByteArray parsed(c.size, '\0');
        int dataRecords = 0;
        const QStringList lines = QString::fromLatin1(readAll(s19)).split(QLatin1Char('\n'));
        for (const QString& raw : lines) {
            const QString line = raw.trimmed();
            if (line.isEmpty())
                continue;
            SRecord record;
            ASSERT_EQ(record.setSRec(line), 0) << line.toStdString();
            // Building the record again gives the tool's text.
            SRecord rebuilt;
            rebuilt.encode(record.buffer(), record.recType(), record.address(), record.count());
            EXPECT_EQ(rebuilt.sRec(), line);
            if (record.recType() < 1 || record.recType() > 3)
                continue;
            ++dataRecords;
            const qint64 at = qint64(record.address()) - c.offset;
            ASSERT_GE(at, 0);
            ASSERT_LE(at + record.count(), c.size);
            parsed.replace(at, record.count(), record.buffer());
        }
        EXPECT_GT(dataRecords, 0);
        EXPECT_EQ(parsed, expected);
    }
}

TEST(SRecordTest, UpdateImageReadsBackThroughTheReferenceTool) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    // The upper half of the image, with erased rows here and there.
    QByteArray image = randomBytes(0x8000, 77);
    for (int row = 0; row < 0x8000; row += 16 * 37)
        image.replace(row, 16, QByteArray(16, char(0xFF)));
    const QString bin = dir.filePath(QStringLiteral("image.bin"));
    const QString s19 = dir.filePath(QStringLiteral("image.s19"));
    ASSERT_TRUE(writeAll(bin, image));
    ASSERT_EQ(
        runTool(QStringLiteral("srec_cat"),
                {bin, QStringLiteral("-binary"), QStringLiteral("-offset"),
                 QStringLiteral("0x8000"), QStringLiteral("-o"), s19, QStringLiteral("-obs=32")}),
        0);

    const QStringList records =
        SRecord::updateImage(QString::fromLatin1(readAll(s19)).split(QLatin1Char('\n')));
    ASSERT_FALSE(records.isEmpty());
    EXPECT_EQ(records.last(), QStringLiteral("S9030000FC"));
    int erasedRows = 0;
    for (int row = 0; row < 0x8000; row += 16)
        erasedRows += image.mid(row, 16) == QByteArray(16, char(0xFF)) ? 1 : 0;
    EXPECT_EQ(records.size(), 0x8000 / 16 - erasedRows + 1);
    for (const QString& r : records.first(records.size() - 1))
        EXPECT_TRUE(r.startsWith(QLatin1String("S113"))) << r.toStdString();

    const QString out = dir.filePath(QStringLiteral("out.s19"));
    const QString back = dir.filePath(QStringLiteral("back.bin"));
    ASSERT_TRUE(writeAll(out, records.join(QLatin1Char('\n')).toLatin1() + '\n'));
    ASSERT_EQ(
        runTool(QStringLiteral("srec_cat"),
                {out, QStringLiteral("-fill"), QStringLiteral("0xFF"), QStringLiteral("0x8000"),
                 QStringLiteral("0x10000"), QStringLiteral("-offset"), QStringLiteral("-0x8000"),
                 QStringLiteral("-o"), back, QStringLiteral("-binary")}),
        0);
    EXPECT_EQ(readAll(back), image);
}

} // namespace

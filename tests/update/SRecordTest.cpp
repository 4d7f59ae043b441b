// S-record lines, the update record list, files of the srecord tools, qz62ctl srec.
#include "update/SRecord.h"

#include "support/FilesAndTools.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;
using Result = SRecord::ParseResult;

TEST(SRecordTest, ParsesAndRefusesLines) {
    // Checksums by hand: count, address, data and checksum add up to FF.
    // 06+12+34+56+78+55 = 16F -> 90; 07+80+10+01+3*FF = 395 -> 6A.
    const struct {
        const char* line;
        Result result;
        std::uint32_t type, address;
        const char* data;
        bool empty;
    } cases[] = {
        {"S9030000fc\r", Result::Ok, 9, 0, "", false}, // an end record is never empty
        {"S00600004844521B", Result::Ok, 0, 0, "484452", true},
        {"S205012345AAE7", Result::Ok, 2, 0x012345, "aa", false},
        {"S306123456785590", Result::Ok, 3, 0x12345678, "55", false},
        {"S107801001FFFFFF6A", Result::Ok, 1, 0x8010, "01ffffff", false},
        {"S1078020FFFFFFFF5C", Result::Ok, 1, 0x8020, "ffffffff", true}, // erased flash
        {"S107801001FFFFFF6B", Result::ChecksumError, 1, 0, "", false},  // last byte off by one
        {"S1zz0000FC", Result::ChecksumError, 1, 0, "", false},          // no count: 0, sum 0
        {"S4030000FC", Result::Refused, 1, 0, "", false}, // there is no type 4 (nor 6)
        {"s9030000FC", Result::Refused, 1, 0, "", false},
        {"S107801001FFFF", Result::Refused, 1, 0, "", false}, // shorter than its count
        {"S101FE", Result::Refused, 1, 0, "", false}}; // sums up, but no room for the address
    for (const auto& c : cases) {
        SRecord record;
        record.setSRec("S107801001FFFFFF6A"); // what came before must not stay
        EXPECT_EQ(record.parse(c.line), c.result) << c.line;
        EXPECT_EQ(record.setSRec(c.line), c.result == Result::Ok ? 0 : -1) << c.line;
        EXPECT_EQ(record.buffer().toHex(), QByteArray(c.data)) << c.line;
        EXPECT_EQ(record.count(), std::uint32_t(strlen(c.data) / 2)) << c.line;
        if (c.result == Result::Ok) {
            EXPECT_EQ(record.recType(), c.type) << c.line;
            EXPECT_EQ(record.address(), c.address) << c.line;
            EXPECT_EQ(record.empty(), c.empty) << c.line;
        }
    }
}

TEST(SRecordTest, BuildsRecords) {
    // 13+FC+00+16*FF = 10FF -> 00; ABCD ABCDEF: 3E5 -> 1A; type 4 has no
    // address: 02+AA -> 53.
    const struct {
        std::uint32_t type, address;
        const char *data, *text;
        bool empty;
    } cases[] = {{1, 0xFC00, "ffffffffffffffffffffffffffffffff",
                  "S113FC00FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF00", true},
                 {1, 0xabcd, "abcdef", "S106ABCDABCDEF1A", false},
                 {1, 0x8000, "", "S10380007C", true},
                 {4, 0x1234, "aa", "S402AA53", true}};
    for (const auto& c : cases) {
        SRecord built;
        built.encode(hex(c.data), c.type, c.address, std::uint32_t(strlen(c.data) / 2));
        EXPECT_EQ(built.sRec(), QLatin1String(c.text));
        EXPECT_EQ(built.empty(), c.empty) << c.text;
    }
    // Lines of the unit's memory dump; a byte that cannot be read repeats the
    // one before (erased flash before the first). 13+FC+10+(1+...+16) = 1A7
    // -> 58; 13+FC+20+16*11 = 23F -> C0; 13+16*FF = 1003 -> FC.
    const std::pair<const char*, const char*> dumps[] = {
        {"j fc10 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10",
         "S113FC100102030405060708090A0B0C0D0E0F1058"},
        {"j fc20 11 zz 33", "S113FC2011111111111111111111111111111111C0"},
        {"j", "S1130000FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFC"},
        // An address wider than 16 bits keeps its low bytes: 13+34+56+16 = AD -> 52.
        {"j 123456 01", "S11334560101010101010101010101010101010152"}};
    for (const auto& [line, text] : dumps) {
        SRecord record;
        record.fromJString(line);
        EXPECT_EQ(record.sRec(), QLatin1String(text));
    }
}

TEST(SRecordTest, UpdateImageKeepsOnlyWrittenS1Data) {
    EXPECT_EQ(SRecord::updateImage({"S00600004844521B", "", "  S9030000FC \r"}),
              QStringList{"S9030000FC"});
    // Below 0x8000, an S2 record and a bad line are not sent; data running
    // past the image's end is cut there.
    SRecord s1, low, s2, tail;
    s1.encode(hex("0102"), 1, 0x8012, 2);
    low.encode(hex("0102"), 1, 0x1000, 2);
    s2.encode(hex("0102"), 2, 0x9000, 2);
    tail.encode(hex("a1a2a3a4a5a6a7a8a9aaabacadaeafb0b1b2"), 1, 0xFFF8, 18);
    SRecord row0, rowLast;
    row0.encode(hex("ffff0102ffffffffffffffffffffffff"), 1, 0x8010, 16);
    rowLast.encode(hex("ffffffffffffffffa1a2a3a4a5a6a7a8"), 1, 0xFFF0, 16);
    EXPECT_EQ(
        SRecord::updateImage({s1.sRec(), low.sRec(), s2.sRec(), "S107801001FFFFFF6B", tail.sRec()}),
        QStringList({row0.sRec(), rowLast.sRec(), "S9030000FC"}));
}

QByteArray randomBytes(int n, quint32 seed) {
    QRandomGenerator random(seed);
    QByteArray bytes(n, '\0');
    for (char& b : bytes)
        b = char(random.bounded(256));
    return bytes;
}

TEST(SRecordTest, ReadsFilesOfTheSrecordTools) {
    // S1, S2 and S3 files of random data as srec_cat writes them: the
    // records give srec_cat's bytes and build back to the same lines.
    QTemporaryDir dir;
    const QString bin = dir.filePath("in.bin"), s19 = dir.filePath("in.s19");
    const std::pair<int, quint32> cases[] = {{4099, 0x8000}, {3000, 0x1F000}, {777, 0x1000000}};
    for (const auto& [size, offset] : cases) {
        const QByteArray original = randomBytes(size, offset);
        ASSERT_TRUE(writeFile(bin, original));
        ASSERT_EQ(runTool("srec_cat", {bin, "-binary", "-offset", QString::number(offset), "-o",
                                       s19, "-obs=" + QString::number(size % 200 + 16)})
                      .exitCode,
                  0);
        QByteArray parsed(size, '\0');
        for (const QString& line :
             QString::fromLatin1(readFile(s19)).split('\n', Qt::SkipEmptyParts)) {
            SRecord record, rebuilt;
            ASSERT_EQ(record.setSRec(line.trimmed()), 0) << line.toStdString();
            rebuilt.encode(record.buffer(), record.recType(), record.address(), record.count());
            EXPECT_EQ(rebuilt.sRec(), line.trimmed());
            if (record.recType() >= 1 && record.recType() <= 3)
                parsed.replace(record.address() - offset, record.count(), record.buffer());
        }
        EXPECT_EQ(parsed, original);
    }
    // The update record list read back by srec_cat: the image from 0x8000,
    // with erased rows (here and there) left out and filled with FF again.
    QByteArray image = randomBytes(0x8000, 77);
    for (int row = 0; row < 0x8000; row += 16 * 37)
        image.replace(row, 16, QByteArray(16, char(0xFF)));
    ASSERT_TRUE(writeFile(bin, image));
    ASSERT_EQ(runTool("srec_cat", {bin, "-binary", "-offset", "0x8000", "-o", s19}).exitCode, 0);
    const ToolOutput list = qz62ctl({"srec", "image", s19});
    EXPECT_EQ(list.exitCode, 0);
    EXPECT_EQ(list.out.count('\n'), 0x8000 / 16 - (0x8000 + 16 * 37 - 1) / (16 * 37) + 1);
    EXPECT_TRUE(list.out.endsWith("\nS9030000FC\n"));
    const QString out = dir.filePath("out.s19"), back = dir.filePath("back.bin");
    ASSERT_TRUE(writeFile(out, list.out));
    ASSERT_EQ(runTool("srec_cat", {out, "-fill", "0xFF", "0x8000", "0x10000", "-offset", "-0x8000",
                                   "-o", back, "-binary"})
                  .exitCode,
              0);
    EXPECT_EQ(readFile(back), image);
}

TEST(SRecordTest, CommandLineChecksLines) {
    QTemporaryDir dir;
    const QString good = dir.filePath("good.s19"), bad = dir.filePath("bad.s19");
    const QString missing = dir.filePath("missing.s19");
    ASSERT_TRUE(writeFile(good, "S00600004844521B\r\nS107801001FFFFFF6A\r\nS9030000FC\r\n"));
    ASSERT_TRUE(writeFile(bad, "S9030000FC\n\nS107801001FFFFFF6B\nS4030000FC\n"));
    ToolOutput o = qz62ctl({"srec", "check", good});
    EXPECT_EQ(o.exitCode, 0);
    EXPECT_EQ(o.out, "line 1: ok\nline 2: ok\nline 3: ok\n");
    o = qz62ctl({"srec", "check", bad}); // a blank line is no record
    EXPECT_EQ(o.exitCode, 1);
    EXPECT_EQ(o.out, "line 1: ok\nline 3: checksum error\nline 4: refused\n");
    // The image of a file with a bad line: what was read, and the lines named.
    o = qz62ctl({"srec", "image", good});
    EXPECT_EQ(o.exitCode, 0);
    ASSERT_TRUE(writeFile(bad, "S107801001FFFFFF6A\ngarbage\n"));
    const ToolOutput partial = qz62ctl({"srec", "image", bad});
    EXPECT_EQ(partial.exitCode, 1);
    EXPECT_EQ(partial.out, o.out);
    EXPECT_TRUE(partial.err.contains("line(s) 2 are not valid records")) << partial.err.data();

    const QString empty = dir.filePath("empty.s19"), text = dir.filePath("text.s19");
    ASSERT_TRUE(writeFile(empty, "\n"));
    ASSERT_TRUE(writeFile(text, "hello\nS9030000FC\n"));
    const std::pair<QStringList, const char*> refusals[] = {
        {{"check", missing}, "missing.s19"}, {{"image", missing}, "missing.s19"},
        {{"check", empty}, "no records"},    {{"image", text}, "no S1 data"},
        {{"verify", good}, "'verify'"},      {{"check"}, "usage"}};
    for (const auto& [args, named] : refusals)
        EXPECT_TRUE(refused(qz62ctl(QStringList{"srec"} + args), named));
}

} // namespace

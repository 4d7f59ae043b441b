#include "protocol/ReplyScanner.h"
#include "support/PanelTestSupport.h"

#include <gtest/gtest.h>

TEST(ReplyScanner, FieldsAsTheUnitWritesThem) {
    struct Case {
        const char* line;
        bool hex;
        QList<int> values; // fields read before the first that is not a number
        bool atEnd;
    };
    const Case cases[] = {
        {"H 10 20  30", false, {10, 20, 30}, true},
        {"J -3 x", false, {-3}, false},
        {"A e", true, {14}, true},
        {"C 0x1F ff", true, {31, 255}, true},
        {"G 0x", true, {0}, false}, // "0" then a stray "x"
        {"J 99999999999", false, {2147483647}, true},
        {"A ffffffffff", true, {-1}, true},
        {"M", false, {}, true},
        {"M  ", false, {}, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        ReplyScanner scan(QString::fromLatin1(c.line));
        QList<int> values;
        int v = 0;
        while (c.hex ? scan.scanHexInt(v) : scan.scanInt(v))
            values << v;
        EXPECT_EQ(values, c.values);
        EXPECT_EQ(scan.atEnd(), c.atEnd);
    }
}

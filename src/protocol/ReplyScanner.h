#pragma once

#include <QList>
#include <QString>

// Reads the number fields of a reply line, one after the other, from
// character index 2 (after the letter and its blank). Blanks before a field
// are skipped. A field that cannot be read leaves the position where it is and
// the caller's variable untouched, so with one shared variable a short line
// repeats its last value into the later fields; the overlay editors rely on
// that to keep their controls stable on a truncated report.
class ReplyScanner {
public:
    explicit ReplyScanner(const QString& line, int start = 2);

    // Decimal integer with optional sign; values beyond int are clamped.
    bool scanInt(int& value);
    // Hexadecimal integer, optional "0x" prefix; values beyond 32 bits give
    // 0xffffffff.
    bool scanHexInt(unsigned& value);
    bool scanHexInt(int& value);
    // True when only blanks are left.
    bool atEnd() const;
    int position() const { return m_pos; }

    // Every decimal integer up to the first field that is not one.
    QList<int> scanAllInts();

private:
    void skipBlanks();

    QString m_line;
    int m_pos;
};

#pragma once

#include <QStringView>
#include <cstdint>

// Hexadecimal numbers in typed or dumped text, read the way a text scanner
// reads them. Used by the S-record reader and the MIDI settings export.
namespace hexscan {

// 0 to 15 for a hex digit, -1 for anything else.
int digitValue(QChar c);

// What a number too large for 32 bits reads as.
enum class Overflow {
    Saturate,    // 0xFFFFFFFF
    KeepLowBits, // its low 32 bits
};

// Reads a hexadecimal number at pos: leading blanks skipped, an optional
// "0x" prefix, then as many hex digits as there are. Returns false (and
// leaves value and pos alone) when no digit follows.
bool scan(QStringView text, qsizetype& pos, std::uint32_t& value, Overflow overflow);

} // namespace hexscan

#pragma once

#include <QByteArray>
#include <QString>

// 7/8 coding of system-exclusive data: 8-bit bytes packed 7-bit safe in
// groups of up to 7 bytes, each group followed by a byte holding the group's
// high bits (bit j = bit 7 of the group's j-th byte). The unit accepts at most
// 217 input bytes (31 groups); longer input is cut silently.
namespace coding78 {
inline constexpr int kMaxInputBytes = 217;

QByteArray encode78(const QByteArray& data);
QByteArray decode78(const QByteArray& data);
// Word-processor punctuation as the plain characters the unit can show:
// curly single quotes to ', curly double quotes to ", en and em dashes to -,
// the ellipsis to ..., and non-breaking and other spaces to a blank.
QString plainPunctuation(const QString& text);
// True when the text, its punctuation made plain, has a Latin-1 form.
bool fitsLatin1(const QString& text);
// A text for the unit, coded: the Latin-1 bytes (the unit's character set)
// of its plainPunctuation() form, or nothing when a character still has no
// Latin-1 form, so the unit shows it empty rather than garbled.
QByteArray encodeLatin1Text(const QString& text);
} // namespace coding78

#pragma once

#include <QByteArray>
#include <QString>
#include <QStringView>

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
// A text in the unit's character set (Latin-1), in one pass: punctuation
// made plain as above, then "?" for each character that still has no Latin-1
// form (one "?" for a character outside the basic plane too). `substituted`,
// when given, receives how many characters became "?".
QByteArray latin1ForUnit(QStringView text, int* substituted = nullptr);
// The same as text, for a command that goes out as a text line.
QString unitText(QStringView text, int* substituted = nullptr);
// The characters of a text that latin1ForUnit() turns into "?", each once,
// in the order they first appear; empty when the unit can show everything.
QString unshowableCharacters(QStringView text);
// A text for the unit, coded: the 7/8 coding of its latin1ForUnit() bytes.
QByteArray encodeLatin1Text(const QString& text, int* substituted = nullptr);
} // namespace coding78

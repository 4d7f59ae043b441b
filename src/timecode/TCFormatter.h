#pragma once

#include <QString>
#include <QVariant>

// The timecode cells and fields let the user type digits only. What is stored
// is the 8-digit entry form (HHMMSSFF); what is shown is HH:MM:SS:FF, or "---"
// when all eight digits are zero. Digits beyond eight scroll out on the left.
// "Digits" are the Unicode decimal digits, kept as typed.
namespace TCFormatter {
// Display form of a stored or typed value.
QString stringForObjectValue(const QString& value);
// The same for a cell's value: a null string when the value is not a string.
QString stringForObjectValue(const QVariant& value);
// Entry form: the last eight decimal digits, padded with zeros on the left.
// Any text is accepted; separators typed by the user are dropped.
QString objectValueForString(const QString& typed);
} // namespace TCFormatter

#pragma once

#include <QString>

// The timecode cells and fields let the user type digits only. What is stored
// is the 8-digit entry form (HHMMSSFF); what is shown is HH:MM:SS:FF, or "---"
// when all eight digits are zero. Digits beyond eight scroll out on the left.
namespace TCFormatter {
// Display form of a stored or typed value.
QString stringForObjectValue(const QString& value);
// Entry form: the last eight decimal digits, padded with zeros on the left.
QString objectValueForString(const QString& typed);
} // namespace TCFormatter

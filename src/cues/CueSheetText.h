#pragma once

#include "cues/CueItem.h"

#include <QString>
#include <QStringList>
#include <optional>

// The cue sheet's own text form, read and written by the one pair of
// functions here for the cue windows and qz62ctl alike. After the header
// lines (";key<tab>value"), each row is one line: identifier, in time, out
// time, text and notes separated by tabs, the times as shown (HH:MM:SS:FF)
// or "---" when unset. A line in that form is read field by field exactly
// as written, so whatever a sheet holds comes back from its file; any other
// line is a row of some other list, for the free-form row importer.
namespace sheettext {

// The seven header keys a sheet writes.
inline constexpr const char* kHeaderKeys[] = {";duplicate", ";midnight", ";text",  ";cueId",
                                              ";pulldown",  ";start",    ";tctype"};

// Every character that ends a line: line feed, carriage return, vertical
// tab, form feed, next line, line and paragraph separators.
bool isLineBreak(QChar c);
// The lines of a text, cut at every line-break character (so CR LF files
// work; the empty line between CR and LF adds nothing).
QStringList splitLines(const QString& text);
// A cell's text as a field of a row line: a tab or a line break would end
// the field or the row, so each becomes a blank.
QString cleanCell(const QString& text);
// A header value on one line: each line break becomes a blank (a tab may stay,
// the value is all that follows the key's tab).
QString oneLine(const QString& text);

// One of the seven header lines (known key, a tab, a value).
bool isHeaderLine(const QString& line);
// The row of a line in the sheet's own form: exactly five fields, both times
// as shown or "---" ("---" reads as no time). Nothing for any other line.
std::optional<CueItem> rowFromLine(const QString& line);
// The row's line, without the newline. Trailing blanks and tabs of the
// identifier are left out (imported identifiers keep the separator that
// followed them); tabs and line breaks inside a field become blanks.
QString lineForRow(const CueItem& item);

// What reading a text found.
struct Reading {
    int headerLines = 0;
    int sheetRows = 0; // rows in the sheet's own form
    int otherRows = 0; // rows the free-form importer made of other lines
    // Lines with words that saving would not write back as they stand: rows
    // of other lists and lines that give no row.
    int foreignLines = 0;
    int firstForeignLine = 0; // its line number (from 1); 0 when none

    // The text is a cue sheet, so saving it loses nothing: every line with
    // words in it is a header line or a row in the sheet's form (an empty
    // text counts, having nothing to lose).
    bool isSheet() const { return foreignLines == 0; }
    int rows() const { return sheetRows + otherRows; }
};

} // namespace sheettext

#pragma once

#include "cues/CueItem.h"
#include "cues/ListTimes.h"

#include <QChar>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

// Lists as spreadsheets and other programs write them: records of fields
// separated by commas, semicolons or tabs, a field in double quotes holding
// delimiters, doubled quotes and line breaks. Which field is which part of a
// cue is a ColumnMapping: guessed from a header row's names or from the
// values, chosen by the user in the import dialog, or given as "id=1,in=2"
// on the command line.
namespace delimited {

struct Table {
    QList<QStringList> records;
    QChar delimiter = u',';
    int width() const; // fields of the widest record
};

// The columns of a list (from 0; -1 for none) that give each field of a cue.
// Several columns may give the notes, joined by " / " in their order.
struct ColumnMapping {
    int id = -1;
    int in = -1;
    int out = -1;
    int text = -1;
    QList<int> notes;
    bool header = false; // the first record names the columns

    friend bool operator==(const ColumnMapping&, const ColumnMapping&) = default;
};

// The delimiter the first records use consistently: tab, then semicolon,
// then comma (a list with commas in its times uses semicolons); comma when
// none of them splits the records.
QChar detectDelimiter(const QString& text);
// The records of a text (blank lines give none). Unquoted fields are trimmed
// of blanks (lists pad their columns); quoted fields are kept as written.
// `maxRecords` (> 0) stops early, for a preview.
Table parse(const QString& text, std::optional<QChar> delimiter = std::nullopt, int maxRecords = 0);

// The mapping a user would choose: a first record that holds no time and
// names known columns is a header and its names decide (cue, id, #, in,
// start, position, location, out, end, dialogue, text, name, notes,
// comments, character, take...); otherwise columns holding times give in
// and out, the first column before them the identifier, the next the text.
ColumnMapping guessMapping(const Table& table, int tctype);
// The field a header name stands for: "id", "in", "out", "text", "notes",
// or empty for a name not known.
QString fieldForName(const QString& name);

// "id=1,in=2,out=3,text=4,notes=5+6" (columns from 1; notes may repeat).
// Nothing, with the reason, when it is not such a list or names no in.
std::optional<ColumnMapping> parseMapSpec(const QString& spec, QString* error = nullptr);
QString mapSpec(const ColumnMapping& mapping);

// The cues of the records after the header, if any. A record without a
// readable in time is skipped (and counted) unless it is blank; an out time
// that cannot be read is left empty (and counted).
listtime::ListRows rowsFromTable(const Table& table, const ColumnMapping& mapping, int tctype);

// The rows as CSV (header "Cue,In,Out,Text,Notes", CR LF line ends, UTF-8
// byte-order mark for spreadsheet programs), times as shown, empty when
// unset, tabs and line breaks in a field as blanks, as the sheet saves them.
QByteArray csvForRows(const QList<CueItem>& rows);

} // namespace delimited

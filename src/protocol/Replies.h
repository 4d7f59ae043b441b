#pragma once

#include <QList>
#include <QString>

// The unit's replies: which part of the program takes each reply letter, and
// how its fields are read. The table sits beside the command table so a new
// command and its report are added in one place.
namespace reply {

// Who takes a reply line.
enum class Receiver {
    Echo,        // the unit echoes these commands back; nothing to do
    Panel,       // the control panel's own settings
    Streamer,    // the streamer editor ("C")
    Punch,       // the punch editor ("E")
    Annunciator, // the annunciator editor
    Progress,    // the transfer and update progress display
    StateMemory, // the copy of the unit's state memory
    Session,     // the keep-alive state ("S")
};

// How the fields after the letter are read. Fields start at index 2.
enum class Fields {
    None,       // nothing is read
    Line,       // the receiver reads the whole line itself
    Hex,        // one hexadecimal number
    Decimal,    // one decimal number
    Decimal5,   // five decimals through one shared value: a field that cannot
                // be read repeats the one before it (0 before the first)
    DecimalList // every decimal up to the first field that is not one
};

struct Entry {
    char letter;
    Receiver receiver;
    Fields fields;
    // A line that is only the letter (a bare query echoed back) is ignored.
    bool needsFields;
};

// The table entry of a reply letter, or nullptr for a letter the program does
// not know.
const Entry* find(char letter);

// A recognised reply with its fields read.
struct Parsed {
    const Entry* entry = nullptr;
    QString line;       // the whole trimmed line, letter included
    QList<int> numbers; // the fields as the grammar reads them
};

// Reads the fields of a line whose letter has the entry. Hexadecimal fields
// land in numbers as their 32-bit pattern.
Parsed parse(const Entry& entry, const QString& line);

} // namespace reply

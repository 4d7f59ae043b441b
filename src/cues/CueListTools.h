#pragma once

#include "cues/CueItem.h"

#include <QList>
#include <QString>
#include <optional>

// Changes to many rows at once: moving times, numbering identifiers, finding
// and replacing words. Each works on the rows listed (every row when the
// list is empty) and leaves the others as they are.
namespace cuelisttools {

// A signed offset in frames at the rate: "+01:00:00:00", "-00:00:10:00" or
// a time without a sign (forward); times as listtime::read reads them.
std::optional<int> parseOffset(const QString& text, int tctype);
// Every in and out time of the rows moved by `frames`, round midnight when
// it goes past it. Unset times stay unset; a time that does not exist at the
// rate is not moved. Returns the number of times not moved.
int offsetTimes(QList<CueItem>& rows, const QList<int>& which, int frames, int tctype);

// "1M1", "1M1 2" (a step after a blank): the prefix, the first number and
// the step. Nothing when the first identifier does not end in a number.
struct Numbering {
    QString prefix;
    int start = 1;
    int step = 1;
};
std::optional<Numbering> parseNumbering(const QString& text);
void renumber(QList<CueItem>& rows, const QList<int>& which, const Numbering& numbering);

// Every occurrence in the identifiers, texts and notes; returns how many were
// replaced. Tabs and line breaks of the replacement become blanks.
int replaceText(QList<CueItem>& rows, const QList<int>& which, const QString& find,
                const QString& replacement, Qt::CaseSensitivity cs);

} // namespace cuelisttools

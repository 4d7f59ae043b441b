#pragma once

#include "timecode/TCFormatter.h"

#include <QString>

// One cue row. Times are kept as typed: the table cells store the 8-digit
// entry form ("00000000"), the importers store HH:MM:SS:FF; every reader goes
// through the display form (getCueIn), so both work.
struct CueItem {
    QString cueId = QStringLiteral("cue ID");
    QString cueIn = QStringLiteral("00000000");
    QString cueOut;
    QString cueText = QStringLiteral("insert cue text here");
    QString cueNotes = QStringLiteral("notes");

    // In time in display form: HH:MM:SS:FF, or "---" when unset.
    QString getCueIn() const { return TCFormatter::stringForObjectValue(cueIn); }
    QString getCueOut() const { return TCFormatter::stringForObjectValue(cueOut); }

    // Order of the raw in times, ignoring case (as typed, not as shown).
    int caseInsensitiveCompare(const CueItem& other) const {
        const int order = cueIn.compare(other.cueIn, Qt::CaseInsensitive);
        return order < 0 ? -1 : (order > 0 ? 1 : 0);
    }

    // An item with every field empty, as the importers build them.
    static CueItem blank() {
        return CueItem{QString(), QString(), QString(), QString(), QString()};
    }

    friend bool operator==(const CueItem&, const CueItem&) = default;
};

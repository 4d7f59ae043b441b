#pragma once

#include "cues/CueItem.h"

#include <QString>
#include <ostream>

// Readable failure output for rows and strings.
inline void PrintTo(const CueItem& item, std::ostream* os) {
    *os << "{id \"" << item.cueId.toStdString() << "\", in \"" << item.cueIn.toStdString()
        << "\", out \"" << item.cueOut.toStdString() << "\", text \"" << item.cueText.toStdString()
        << "\", notes \"" << item.cueNotes.toStdString() << "\"}";
}

inline CueItem cueRow(const char* id, const char* in, const char* out, const char* text,
                      const char* notes) {
    return CueItem{QString::fromUtf8(id), QString::fromUtf8(in), QString::fromUtf8(out),
                   QString::fromUtf8(text), QString::fromUtf8(notes)};
}

#pragma once

#include "cues/PDFStringTableItem.h"

#include <QByteArray>
#include <QList>
#include <functional>

class QPDFPageObjectHelper;

// Collects the strings drawn by a page's content streams, each with the
// place on the page where it starts (the origin of the text matrix through
// the graphics state's matrix, in points from the page's bottom left) and the
// size its font is drawn at. The text positioning operators (Tm, Td, TD, T*,
// TL, ' and ") and the graphics state (q, Q, cm) are followed with their real
// numbers. How far a string moves the position on is not known (that takes
// the font's glyph widths), so strings drawn one after another without a new
// position start at the same place.
//
// In a TJ array the strings at the even places are joined (the odd places
// normally hold the spacing numbers): a spacing that moves on by a word
// space or more puts a blank between two strings, one of a table cell's gap
// or more (writers that join a table's cells into one array leave those) a
// tab.
namespace pdftext {

struct ScanLog {
    // Takes the report of each text block; the diagnostics when empty.
    std::function<void(const QByteArray& text)> sink;
    int textBlocks = 0; // counted over every page scanned
};

// Appends the page's strings to items, with the page number. False when a
// content stream is damaged: the strings before the damage are kept.
bool scanPage(QPDFPageObjectHelper& page, int pageNumber, ScanLog& log,
              QList<PDFStringTableItem>& items);

} // namespace pdftext

#pragma once

#include "cues/CueItem.h"

#include <QList>
#include <QString>

class QPagedPaintDevice;

// A cue sheet on paper: a table of identifier, in, out, text and notes with
// the sheet's name and "Page n of m" on every page, long texts and notes
// wrapped within their column, the column heads repeated on each page. Draws
// on any paged device (a PDF writer here and in qz62ctl, a printer in the
// window), with no widgets. The table is drawn so that the PDF import reads
// the rows back: one cell a string, a row's cells on one baseline, wrapped
// lines right of the in time.
namespace cueprint {

enum class Paper { A4, Letter };

// The paper a locale uses: Letter in the United States and Canada, A4
// elsewhere.
Paper paperForLocale();

// Draws the rows on the device's pages, from its first page on. Returns the
// number of pages.
int paint(QPagedPaintDevice& device, const QString& title, const QList<CueItem>& rows);

// The rows as a PDF file (through OutputFile, so a failed write leaves any
// old file as it was). False with the reason when it cannot be written.
bool writePdf(const QString& path, const QString& title, const QList<CueItem>& rows, Paper paper,
              QString* error = nullptr, int* pages = nullptr);

} // namespace cueprint

#pragma once

#include "cues/CueItem.h"
#include "cues/PDFStringTableItem.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <functional>
#include <optional>

class CueSheet;

// Turns foreign cue lists into rows of a cue sheet: plain text lines (typed,
// pasted, dropped, and the rows of the sheet text format), the text of an
// EdiCue PDF cue sheet and the text pieces of a filmlight PDF cue sheet.
// Lines and rows that do not fit are skipped silently.
class CueListImporter {
public:
    explicit CueListImporter(CueSheet& sheet) : m_sheet(sheet) {}

    // The row one text line gives, or nothing: header lines (";...") and
    // lines without a timecode give nothing. What comes before the first
    // timecode, separators included, is the identifier (so a sheet row's
    // identifier keeps its trailing tab); a second timecode is the out time;
    // the rest, trimmed of "-", tab, newline and blank at both ends, is the
    // text, or text and notes split at its first tab. Timecodes here may
    // have ";" before the frames.
    static std::optional<CueItem> cueItemFromLine(const QString& line);
    // Imports one text line (adds its row, if any).
    void textToCueTable(const QString& line);
    // Adds a row another reader built.
    void addRow(const CueItem& item);
    // Sheet text: header lines go to the sheet's header, the others are rows.
    void cueTableFromString(const QString& text);
    // The sheet text of a sheet's header and rows; identifiers are written
    // without trailing blanks and tabs, so save, open, save gives the same text.
    static QString stringFromCueTable(const CueSheet& sheet);
    // A pasted block: every line imported in order.
    void paste(const QString& block);

    // An EdiCue cue sheet's plain text. A cue opens at a line starting
    // with "IN:" (its identifier is the line before), takes its in and out
    // times from the next timecode lines, collects the text lines after the
    // out time (a "REASON:" line gives the notes, wherever it comes), and is
    // added only when a line "1" closes it.
    void ediCueToCueTable(const QString& documentText);
    // A filmlight cue sheet's text pieces: a row starts at the first piece
    // of each page and wherever the text moves back to the left; a row whose
    // second piece holds a timecode gives
    // identifier, in, out, text (with the pieces up to the last appended) and
    // notes (the last piece).
    void filmlightToCueTable(const QList<PDFStringTableItem>& items);

    // Files dropped on the table. Text files are read as UTF-8 and each is
    // appended to the text of the earlier text files of this drop, which is
    // then imported again as a whole (so dropping A and B imports A, A, B). A ".pdf" file goes to
    // `pdfHandler` when one is set, otherwise to PdfCueReader::importPdf. Returns false when the
    // drag does not offer linking or there are no files.
    bool acceptDrop(const QStringList& fileNames, bool sourceOffersLink = true);
    std::function<void(const QString& pdfPath)> pdfHandler;

    // True when the text holds a timecode as the importers read them.
    static bool containsTimecode(const QString& text);

    // A text file's contents as UTF-8; nothing when it cannot be read or is
    // not valid UTF-8.
    static std::optional<QString> readTextFile(const QString& path);

    // Removes symbol-font glyphs (code above 0xF000) from the front.
    static QString removeUniChars(const QString& text);

private:
    CueSheet& m_sheet;
};

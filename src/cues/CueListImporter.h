#pragma once

#include "cues/CueItem.h"
#include "cues/CueSheetText.h"
#include "cues/DelimitedText.h"
#include "cues/PDFStringTableItem.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <functional>
#include <optional>

class CueSheet;

// Turns cue lists into rows of a cue sheet: plain text lines (typed, pasted,
// dropped, and the rows of the sheet text format), the text of an EdiCue PDF
// cue sheet and the text pieces of a filmlight PDF cue sheet. Lines and rows
// that do not fit give no row; what the user should know about a file (read
// as Windows-1252, unreadable, pages not read) is collected in notes().
class CueListImporter {
public:
    // Ends of the notes, after the file's name (qz62ctl says the same).
    static constexpr const char* kUnreadablePdfNote = "cannot be read as a PDF document";

    explicit CueListImporter(CueSheet& sheet) : m_sheet(sheet) {}

    // The row one text line gives, or nothing: header lines (";...") and
    // lines without a timecode give nothing. What comes before the first
    // timecode, separators included, is the identifier (so a sheet row's
    // identifier keeps its trailing tab); a second timecode is the out time;
    // the rest, trimmed of "-", tab, newline and blank at both ends, is the
    // text, or text and notes split at its first tab. Timecodes here may
    // have ";" before the frames.
    static std::optional<CueItem> cueItemFromLine(const QString& line);
    // A line in the sheet's own form field by field, any other line as
    // cueItemFromLine reads it.
    static std::optional<CueItem> rowFromLine(const QString& line);
    // Imports one text line (adds its row, if any).
    void textToCueTable(const QString& line);
    // Adds a row another reader built.
    void addRow(const CueItem& item);
    // Sheet text: header lines go to the sheet's header, the others are rows
    // (rowFromLine). Says whether the text was a sheet in every line.
    sheettext::Reading cueTableFromString(const QString& text);
    // The sheet text of a sheet's header and rows (sheettext::lineForRow), so
    // save, open, save gives the same text.
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

    // Files dropped on the table. Text files are read by TextFileReader and
    // each is appended to the text of the earlier text files of this drop,
    // which is then imported again as a whole (so dropping A and B imports
    // A, A, B). A ".pdf" file goes to `pdfHandler` when one is set, otherwise
    // to PdfCueReader::importPdf. Returns false when the drag does not offer
    // linking or there are no files.
    bool acceptDrop(const QStringList& fileNames, bool sourceOffersLink = true);
    std::function<void(const QString& pdfPath)> pdfHandler;
    // Which columns of a delimited list or a spreadsheet give which field:
    // given the file, its first records and the guessed mapping, the mapping
    // to use, or nothing to leave the file out. Unset: the guess is used.
    using ColumnChooser = std::function<std::optional<delimited::ColumnMapping>(
        const QString& path, const delimited::Table& preview,
        const delimited::ColumnMapping& guess)>;
    ColumnChooser chooseColumns;
    // One file's rows, once: a PDF as a drop reads it, a MIDI file's cue
    // triggers counted from the start its export wrote (the sheet's settings
    // otherwise), a delimited list (".csv", ".tsv", or a text whose first
    // line names its columns) or a spreadsheet (".xlsx") through
    // chooseColumns, SubRip subtitles (".srt"), a text with a marker list
    // section as such, any other text file as a sheet is read (its header
    // lines set the sheet's header). Times in the other programs' forms are
    // read at the sheet's rate. False when it cannot be read (notes() says
    // so); rows whose times cannot be read are counted in the notes.
    bool importFile(const QString& path);
    // A file's text, read as importFile reads it.
    bool importText(const QString& path, const QString& text);
    // A delimited list's or spreadsheet's records, through chooseColumns.
    bool importTable(const QString& path, const delimited::Table& table);
    // What the user should know about the files read, one line each,
    // beginning with the file's name.
    const QStringList& notes() const { return m_notes; }

    // True when the text holds a timecode as the importers read them.
    static bool containsTimecode(const QString& text);
    static bool isPdf(const QString& path);
    static bool isMidi(const QString& path);
    static bool isDelimited(const QString& path);
    static bool isSpreadsheet(const QString& path);
    // A text whose first line names the columns of a delimited list (an in
    // time among them) rather than being a sheet or a free-form list.
    static bool looksDelimited(const QString& text);

    // Removes symbol-font glyphs (code above 0xF000) from the front.
    static QString removeUniChars(const QString& text);

private:
    void note(const QString& path, const QString& what);
    std::optional<QString> readText(const QString& path);
    bool importPdf(const QString& path);
    bool importMidi(const QString& path);
    void addList(const QString& path, const listtime::ListRows& read);

    CueSheet& m_sheet;
    QStringList m_notes;
};

#pragma once

#include "cues/PDFStringTableItem.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <functional>
#include <optional>

class CueListImporter;

// Cue sheets from PDF files. The information dictionary says who made the
// document: an EdiCue sheet is read from the document's plain text; any
// other document has the strings drawn on every page collected, page after
// page, each with the place where it starts, and turned into rows by the
// filmlight layout (author "filmlight", any letter case) or by the generic
// one (a row of a table or a line of text for each cue, pdfTextToCueTable).
//
// The scanner reports each text block it passes to the log sink; unless one
// is set, the report goes to the diagnostics.
class PdfCueReader {
public:
    // 0 when the document opens, is not locked and has a page; author() and
    // creator() then hold its information dictionary's values (nested
    // dictionaries searched too; "" when absent). -1 otherwise.
    int getAuthorAndCreator(const QString& path);
    QString author() const { return m_author; }
    QString creator() const { return m_creator; }

    // The strings drawn on every page, page after page in drawing order.
    // Nothing when the document cannot be read; a damaged page gives the
    // strings before the damage.
    QList<PDFStringTableItem> scanPages(const QString& path);
    // Pages of the document last read (0 when it could not be read).
    int pageCount() const { return m_pageCount; }
    // For the user, after the last document was read: "3 pages read, 12 cues".
    QString summary(int rows) const;
    // Scans every page and builds rows with the builder the last
    // getAuthorAndCreator() call chose. Returns "" (callers ignore it).
    QString parsePdf(const QString& path, CueListImporter& importer);
    // Generic rows. The strings are grouped into lines by their baseline
    // (the same height on the page within a small tolerance, top to bottom,
    // pages in order) and each line ordered left to right. A line holding
    // a timecode is a cue: a line drawn as one string (or whose timecode
    // string goes on with text) is a text line for the row importer, as
    // lines pasted; a table row gives identifier (the cells left of the
    // in time), in time, out time (a timecode cell right after it), text
    // (the next cell) and notes (the cells after that, joined by blanks). A
    // line without a timecode right below a cue, starting right of the cue's
    // in time, goes on with its text (or notes, by column); other lines
    // without a timecode (titles, headers, page numbers) are skipped.
    static void pdfTextToCueTable(const QList<PDFStringTableItem>& items,
                                  CueListImporter& importer);
    // The document's plain text, pages joined by newlines; pageCount, when
    // given, gets the number of pages.
    static std::optional<QString> documentText(const QString& path, int* pageCount = nullptr);

    // What a PDF dropped on the table does: false when it cannot be read
    // (it is then skipped), otherwise its rows are added.
    bool importPdf(const QString& path, CueListImporter& importer);

    using LogSink = std::function<void(const QByteArray& text)>;
    // Where the scanner's report goes; an empty sink restores the diagnostics.
    void setLogSink(LogSink sink) { m_log = std::move(sink); }

private:
    QString m_author;
    QString m_creator;
    LogSink m_log;
    int m_pageCount = 0;
};

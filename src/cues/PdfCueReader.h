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
// other document has the strings drawn on its first page collected, with the
// text position in force when each was drawn, and turned into rows by the
// filmlight layout (author "filmlight", any letter case) or by the generic
// rule (a row starts at every string holding a timecode).
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

    // The strings drawn on page 1, in drawing order. Later pages are not
    // looked at (unreadPagesNote() says so). Nothing when the document
    // cannot be read.
    QList<PDFStringTableItem> scanFirstPage(const QString& path);
    // Pages of the document last scanned (0 when it could not be read).
    int pageCount() const { return m_pageCount; }
    // For the user when the last scanned document has pages after the
    // first: which pages were not read. Empty otherwise.
    QString unreadPagesNote() const;
    // Scans page 1 and builds rows with the builder the last
    // getAuthorAndCreator() call chose. Returns "" (callers ignore it).
    QString parsePdf(const QString& path, CueListImporter& importer);
    // Generic rows: from the first string holding a timecode on, strings are
    // joined until the next one holding a timecode; each joined line is one
    // text line for the row importer.
    static void pdfTextToCueTable(const QList<PDFStringTableItem>& items,
                                  CueListImporter& importer);
    // The document's plain text, pages joined by newlines.
    static std::optional<QString> documentText(const QString& path);

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

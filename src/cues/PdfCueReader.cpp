#include "cues/PdfCueReader.h"

#include "cues/CueListImporter.h"
#include "cues/internal/PdfTextScanner.h"

#include <QFile>
#include <memory>
#include <poppler-document.h>
#include <poppler-page.h>
// qpdf's own smart pointers are not used here.
#define POINTERHOLDER_TRANSITION 4
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <vector>

namespace {

QString fromUtf8(const std::string& text) {
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

// Opens a document for reading; null when it cannot be read or needs a
// password. qpdf reports problems by throwing and warns on standard error
// unless told otherwise.
std::unique_ptr<QPDF> openDocument(const QString& path) {
    auto pdf = std::make_unique<QPDF>();
    pdf->setSuppressWarnings(true);
    try {
        pdf->processFile(QFile::encodeName(path).constData());
    } catch (const std::exception&) {
        return nullptr;
    }
    return pdf;
}

// Author and Creator of an information dictionary, searching nested
// dictionaries as well; the last value found wins.
void listDictionaryObjects(QPDFObjectHandle dictionary, QString& author, QString& creator,
                           int depth = 0) {
    if (depth > 16 || !dictionary.isDictionary())
        return;
    for (auto& [key, value] : dictionary.getDictAsMap()) {
        if (value.isString()) {
            if (key == "/Author")
                author = fromUtf8(value.getUTF8Value());
            else if (key == "/Creator")
                creator = fromUtf8(value.getUTF8Value());
        } else if (value.isDictionary()) {
            listDictionaryObjects(value, author, creator, depth + 1);
        }
    }
}

} // namespace

int PdfCueReader::getAuthorAndCreator(const QString& path) {
    m_author.clear();
    m_creator.clear();
    const std::unique_ptr<QPDF> pdf = openDocument(path);
    if (!pdf)
        return -1;
    try {
        if (QPDFPageDocumentHelper(*pdf).getAllPages().empty())
            return -1;
        listDictionaryObjects(pdf->getTrailer().getKey("/Info"), m_author, m_creator);
    } catch (const std::exception&) {
        return -1;
    }
    return 0;
}

QList<PDFStringTableItem> PdfCueReader::scanPages(const QString& path) {
    m_pageCount = 0;
    const std::unique_ptr<QPDF> pdf = openDocument(path);
    if (!pdf)
        return {};
    QList<PDFStringTableItem> items;
    pdftext::ScanLog log{m_log, 0};
    try {
        std::vector<QPDFPageObjectHelper> pages = QPDFPageDocumentHelper(*pdf).getAllPages();
        for (QPDFPageObjectHelper& page : pages) {
            ++m_pageCount;
            pdftext::scanPage(page, m_pageCount, log, items);
        }
    } catch (const std::exception&) {
        // A damaged page tree: keep the pages read before the damage.
    }
    return items;
}

QString PdfCueReader::summary(int rows) const {
    return QStringLiteral("%1 read, %2")
        .arg(m_pageCount == 1 ? QStringLiteral("1 page")
                              : QStringLiteral("%1 pages").arg(m_pageCount),
             rows == 1 ? QStringLiteral("1 cue") : QStringLiteral("%1 cues").arg(rows));
}

QString PdfCueReader::parsePdf(const QString& path, CueListImporter& importer) {
    const QList<PDFStringTableItem> items = scanPages(path);
    if (m_author.compare(QLatin1String("filmlight"), Qt::CaseInsensitive) == 0)
        importer.filmlightToCueTable(items);
    else
        pdfTextToCueTable(items, importer);
    return QString();
}

std::optional<QString> PdfCueReader::documentText(const QString& path, int* pageCount) {
    std::unique_ptr<poppler::document> document(
        poppler::document::load_from_file(QFile::encodeName(path).toStdString()));
    if (!document || document->is_locked())
        return std::nullopt;
    QStringList pages;
    if (pageCount)
        *pageCount = document->pages();
    for (int i = 0; i < document->pages(); ++i) {
        std::unique_ptr<poppler::page> page(document->create_page(i));
        if (!page)
            continue;
        const poppler::byte_array utf8 = page->text().to_utf8();
        pages << QString::fromUtf8(utf8.data(), qsizetype(utf8.size()));
    }
    return pages.join(u'\n');
}

bool PdfCueReader::importPdf(const QString& path, CueListImporter& importer) {
    m_pageCount = 0;
    if (getAuthorAndCreator(path) != 0)
        return false;
    if (m_creator.contains(QLatin1String("EdiCue"))) {
        const std::optional<QString> text = documentText(path, &m_pageCount);
        if (!text)
            return false;
        importer.ediCueToCueTable(*text);
    } else {
        parsePdf(path, importer);
    }
    return true;
}

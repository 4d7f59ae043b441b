#include "cues/PdfCueReader.h"

#include "base/Diagnostics.h"
#include "cues/CueListImporter.h"
#include "cues/internal/PdfFontDecoder.h"

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

// Collects the drawn strings of a content stream, operator by operator.
class TextScanner : public QPDFObjectHandle::ParserCallbacks {
public:
    TextScanner(const PdfCueReader::LogSink& log, PdfFontDecoder* fonts = nullptr)
        : m_log(log), m_fonts(fonts) {}

    void handleObject(QPDFObjectHandle object) override {
        if (!object.isOperator()) {
            m_operands.push_back(object);
            return;
        }
        const std::string op = object.getOperatorValue();
        if (op == "Tm")
            opTm();
        else if (op == "Tj" || op == "'" || op == "\"")
            opTj(); // ' and " move to the next line first; the string is on top
        else if (op == "TJ")
            opTJ();
        else if (op == "BT")
            opBT();
        else if (op == "ET")
            opET();
        else if (op == "Tf" && m_fonts && m_operands.size() >= 2 && m_operands.front().isName())
            m_fonts->selectFont(m_operands.front().getName());
        m_operands.clear();
    }
    void handleEOF() override {}

    QList<PDFStringTableItem> items;

private:
    std::optional<QPDFObjectHandle> pop() {
        if (m_operands.empty())
            return std::nullopt;
        QPDFObjectHandle top = m_operands.back();
        m_operands.pop_back();
        return top;
    }
    void add(const QString& text) { items.append({m_x, m_y, text}); }
    // A shown string's text through its font's map when the font has one.
    QString textOf(QPDFObjectHandle string) {
        if (m_fonts) {
            if (std::optional<QString> text = m_fonts->decode(string.getStringValue()))
                return *text;
        }
        return fromUtf8(string.getUTF8Value());
    }

    // Only the translation of the text matrix matters, and only when it is
    // given in whole numbers.
    void opTm() {
        if (auto y = pop(); y && y->isInteger())
            m_y = y->getIntValue();
        if (auto x = pop(); x && x->isInteger())
            m_x = x->getIntValue();
    }
    void opTj() {
        if (auto text = pop(); text && text->isString())
            add(textOf(*text));
    }
    // The strings at the even places of the array (the odd places are
    // normally the spacing numbers); an item even for an empty array.
    void opTJ() {
        QString text;
        if (auto array = pop(); array && array->isArray()) {
            const std::vector<QPDFObjectHandle> parts = array->getArrayAsVector();
            for (size_t i = 0; i < parts.size(); i += 2) {
                QPDFObjectHandle part = parts[i];
                if (part.isString())
                    text += textOf(part);
            }
        }
        add(text);
    }
    void opBT() {
        report("op_BT " + QByteArray::number(m_textBlocks++) + '\n');
        if (auto operand = pop()) {
            if (operand->isName())
                report("stray name operand\n");
            else if (operand->isString())
                report("stray string operand\n");
        }
    }
    void opET() {
        report("op_ET\n");
        if (auto operand = pop()) {
            if (operand->isName())
                report("stray name operand\n");
            else if (operand->isArray())
                report("stray array operand\n");
        }
    }
    void report(const QByteArray& line) {
        if (m_log)
            m_log(line);
        else
            diag::print("%s", line.constData());
    }

    const PdfCueReader::LogSink& m_log;
    PdfFontDecoder* m_fonts;
    std::vector<QPDFObjectHandle> m_operands;
    std::int64_t m_x = -1;
    std::int64_t m_y = -1;
    int m_textBlocks = 0;
};

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

QList<PDFStringTableItem> PdfCueReader::scanFirstPage(const QString& path) {
    m_pageCount = 0;
    const std::unique_ptr<QPDF> pdf = openDocument(path);
    if (!pdf)
        return {};
    PdfFontDecoder fonts;
    TextScanner scanner(m_log, &fonts);
    try {
        std::vector<QPDFPageObjectHelper> pages = QPDFPageDocumentHelper(*pdf).getAllPages();
        m_pageCount = int(pages.size());
        if (pages.empty())
            return {};
        fonts = PdfFontDecoder(pages.front().getAttribute("/Resources", false));
        pages.front().parseContents(&scanner);
    } catch (const std::exception&) {
        // A damaged stream: keep what was read before the damage.
    }
    return scanner.items;
}

QString PdfCueReader::unreadPagesNote() const {
    if (m_pageCount < 2)
        return QString();
    if (m_pageCount == 2)
        return QStringLiteral("only page 1 of 2 was read; page 2 was not");
    return QStringLiteral("only page 1 of %1 was read; pages 2 to %1 were not").arg(m_pageCount);
}

QString PdfCueReader::parsePdf(const QString& path, CueListImporter& importer) {
    const QList<PDFStringTableItem> items = scanFirstPage(path);
    if (m_author.compare(QLatin1String("filmlight"), Qt::CaseInsensitive) == 0)
        importer.filmlightToCueTable(items);
    else
        pdfTextToCueTable(items, importer);
    return QString();
}

void PdfCueReader::pdfTextToCueTable(const QList<PDFStringTableItem>& items,
                                     CueListImporter& importer) {
    qsizetype first = 0;
    while (first < items.size() && !CueListImporter::containsTimecode(items[first].text))
        ++first;
    if (first == items.size())
        return; // no timecode anywhere: no rows
    QString line = items[first].text;
    for (qsizetype i = first + 1; i < items.size(); ++i) {
        if (CueListImporter::containsTimecode(items[i].text)) {
            importer.textToCueTable(line);
            line = items[i].text;
        } else {
            line += items[i].text;
        }
    }
    importer.textToCueTable(line);
}

std::optional<QString> PdfCueReader::documentText(const QString& path) {
    std::unique_ptr<poppler::document> document(
        poppler::document::load_from_file(QFile::encodeName(path).toStdString()));
    if (!document || document->is_locked())
        return std::nullopt;
    QStringList pages;
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
    if (getAuthorAndCreator(path) != 0)
        return false;
    if (m_creator.contains(QLatin1String("EdiCue"))) {
        const std::optional<QString> text = documentText(path);
        if (!text)
            return false;
        importer.ediCueToCueTable(*text);
    } else {
        parsePdf(path, importer);
    }
    return true;
}

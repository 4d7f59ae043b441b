#include "cues/CueListImporter.h"

#include "base/PosixRegex.h"
#include "cues/CueSheet.h"
#include "cues/CueText.h"
#include "cues/PdfCueReader.h"
#include "cues/TextFileReader.h"
#include "timecode/TCFormatter.h"
#include "timecode/TcCalculator.h"

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

namespace {

// Cue lists write drop-frame times with ";" before the frames, so the
// importers accept it (the validator of the sheet's own times does not).
const PosixRegex& importPattern() {
    return TcCalculator::timecodePattern(true);
}

constexpr int kTcLength = 11;

bool isLineBreak(QChar c) {
    const char16_t u = c.unicode();
    return u == u'\n' || u == u'\r' || u == 0x0b || u == 0x0c || u == 0x85 || u == 0x2028 ||
           u == 0x2029;
}

// Lines of a text, cut at every line-break character (so CR LF files work).
QStringList splitLines(const QString& text) {
    QStringList lines;
    qsizetype start = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (isLineBreak(text[i])) {
            lines.append(text.mid(start, i - start));
            start = i + 1;
        }
    }
    lines.append(text.mid(start));
    return lines;
}

bool isRowTrimChar(QChar c) {
    return c == u'-' || c == u'\t' || c == u'\n' || c == u' ';
}

QString trimRowRest(const QString& rest) {
    qsizetype begin = 0;
    qsizetype end = rest.size();
    while (begin < end && isRowTrimChar(rest[begin]))
        ++begin;
    while (end > begin && isRowTrimChar(rest[end - 1]))
        --end;
    return rest.mid(begin, end - begin);
}

} // namespace

QString CueListImporter::removeUniChars(const QString& text) {
    return cuetext::withoutLeadingSymbols(text);
}

bool CueListImporter::containsTimecode(const QString& text) {
    return importPattern().search(text.toUtf8());
}

std::optional<CueItem> CueListImporter::cueItemFromLine(const QString& line) {
    if (line.startsWith(u';'))
        return std::nullopt;
    const QByteArray utf8 = line.toUtf8();
    int start = 0;
    if (!importPattern().search(utf8, 0, &start, nullptr))
        return std::nullopt;

    CueItem item = CueItem::blank();
    // The pattern is ASCII, so byte offsets at its ends are character boundaries.
    item.cueId = QString::fromUtf8(utf8.left(start));
    item.cueIn = QString::fromUtf8(utf8.mid(start, kTcLength));
    int pos = start + kTcLength;
    if (importPattern().search(utf8, pos, &start, nullptr)) {
        item.cueOut = QString::fromUtf8(utf8.mid(start, kTcLength));
        pos = start + kTcLength;
    }
    const QString rest = trimRowRest(QString::fromUtf8(utf8.mid(pos)));
    const qsizetype tab = rest.indexOf(u'\t');
    if (tab >= 0) {
        item.cueText = rest.left(tab);
        item.cueNotes = rest.mid(tab + 1);
    } else {
        item.cueText = rest;
    }
    return item;
}

void CueListImporter::textToCueTable(const QString& line) {
    if (auto item = cueItemFromLine(line))
        m_sheet.addObject(*item);
}

void CueListImporter::addRow(const CueItem& item) {
    m_sheet.addObject(item);
}

void CueListImporter::cueTableFromString(const QString& text) {
    for (const QString& line : splitLines(text)) {
        if (line.startsWith(u';'))
            m_sheet.initValueFromString(line);
        else
            textToCueTable(line);
    }
}

QString CueListImporter::stringFromCueTable(const CueSheet& sheet) {
    QString text = sheet.cueSheetInitValues();
    for (const CueItem& item : sheet.rows()) {
        // The reader keeps the separator after an identifier as part of it;
        // writing it again would add a tab on every save and open.
        qsizetype idEnd = item.cueId.size();
        while (idEnd > 0 && (item.cueId[idEnd - 1] == u'\t' || item.cueId[idEnd - 1] == u' '))
            --idEnd;
        text += QStringView(item.cueId).left(idEnd);
        text += u'\t';
        text += item.getCueIn();
        text += u'\t';
        text += item.getCueOut();
        text += u'\t';
        text += item.cueText;
        text += u'\t';
        text += item.cueNotes;
        text += u'\n';
    }
    return text;
}

void CueListImporter::paste(const QString& block) {
    for (const QString& line : splitLines(block))
        textToCueTable(line);
}

void CueListImporter::ediCueToCueTable(const QString& documentText) {
    QStringList linesSeen;
    std::optional<CueItem> row;
    bool inTimeNext = true;
    bool inText = false;

    QStringList lines = documentText.split(u'\n');
    lines.removeLast(); // text after the last newline is not part of a cue
    for (const QString& rawLine : lines) {
        const QString line = removeUniChars(rawLine.trimmed());
        if (line.startsWith(QLatin1String("IN:"))) {
            row = CueItem();
            row->cueId = linesSeen.isEmpty() ? QString() : linesSeen.last();
            row->cueNotes = QString();
            inTimeNext = true;
        }
        if (row && line.startsWith(QLatin1String("REASON:"))) {
            row->cueNotes = line.mid(7).trimmed(); // the notes only, never the text
            linesSeen.append(line);
            continue;
        }
        if (row && inText && line == QLatin1String("1")) {
            m_sheet.addObject(*row);
            row.reset();
        }
        if (row) {
            if (importPattern().search(line.toUtf8())) {
                if (inTimeNext) {
                    row->cueIn = TCFormatter::stringForObjectValue(line);
                    inTimeNext = false;
                } else {
                    row->cueOut = TCFormatter::stringForObjectValue(line);
                    inText = true;
                    row->cueText = QString();
                }
            } else if (inText) {
                row->cueText += line;
            }
        }
        linesSeen.append(line);
    }
}

void CueListImporter::filmlightToCueTable(const QList<PDFStringTableItem>& items) {
    const int n = int(items.size());
    // A page's first piece starts a row even when no header line came
    // before it.
    QList<int> rowStarts;
    for (int i = 0; i < n; ++i) {
        if (i == 0 || items[i].page != items[i - 1].page || items[i].x < items[i - 1].x)
            rowStarts.append(i);
    }
    auto textAt = [&](int i) { return i < n ? items[i].text : QString(); };

    for (int r = 0; r < rowStarts.size(); ++r) {
        const int s = rowStarts[r];
        if (s >= n - 1)
            break;
        const int last = r + 1 < rowStarts.size() ? rowStarts[r + 1] - 1 : n - 1;
        if (!importPattern().search(items[s + 1].text.toUtf8()))
            continue;
        CueItem item = CueItem::blank();
        item.cueId = textAt(s);
        item.cueIn = textAt(s + 1);
        item.cueOut = textAt(s + 2);
        item.cueText = textAt(s + 3);
        for (int i = s + 4; i < last; ++i)
            item.cueText += items[i].text;
        item.cueNotes = items[last].text;
        m_sheet.addObject(item);
    }
}

std::optional<QString> CueListImporter::readTextFile(const QString& path) {
    const std::optional<QByteArray> bytes = TextFileReader::readBytes(path);
    if (!bytes)
        return std::nullopt;
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder.decode(*bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

bool CueListImporter::acceptDrop(const QStringList& fileNames, bool sourceOffersLink) {
    if (!sourceOffersLink || fileNames.isEmpty())
        return false;
    QString accumulated;
    for (const QString& path : fileNames) {
        if (QFileInfo(path).suffix().compare(QLatin1String("pdf"), Qt::CaseInsensitive) == 0) {
            if (pdfHandler)
                pdfHandler(path);
            else
                PdfCueReader().importPdf(path, *this);
            continue;
        }
        const std::optional<QString> text = readTextFile(path);
        if (!text)
            continue;
        accumulated += *text;
        paste(accumulated);
    }
    return true;
}

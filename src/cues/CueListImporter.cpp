#include "cues/CueListImporter.h"

#include "base/PosixRegex.h"
#include "cues/CueMidiExport.h"
#include "cues/CueSheet.h"
#include "cues/CueSheetText.h"
#include "cues/CueText.h"
#include "cues/OtherLists.h"
#include "cues/PdfCueReader.h"
#include "cues/TextFileReader.h"
#include "timecode/TCFormatter.h"
#include "timecode/TcCalculator.h"

#include <QFileInfo>
#include <QObject>

namespace {

// Cue lists write drop-frame times with ";" before the frames, so the
// importers accept it (the validator of the sheet's own times does not).
const PosixRegex& importPattern() {
    return TcCalculator::timecodePattern(true);
}

constexpr int kTcLength = 11;

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

std::optional<CueItem> CueListImporter::rowFromLine(const QString& line) {
    if (std::optional<CueItem> row = sheettext::rowFromLine(line))
        return row;
    return cueItemFromLine(line);
}

void CueListImporter::textToCueTable(const QString& line) {
    if (auto item = rowFromLine(line))
        m_sheet.addObject(*item);
}

void CueListImporter::addRow(const CueItem& item) {
    m_sheet.addObject(item);
}

sheettext::Reading CueListImporter::cueTableFromString(const QString& text) {
    sheettext::Reading reading;
    const QStringList lines = sheettext::splitLines(text);
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QString& line = lines[i];
        // A row in the sheet's form is a row even when its identifier
        // starts with ";": no header line has five fields with two times.
        std::optional<CueItem> row = sheettext::rowFromLine(line);
        bool foreign = false;
        if (row) {
            ++reading.sheetRows;
        } else if (sheettext::isHeaderLine(line)) {
            ++reading.headerLines;
            m_sheet.initValueFromString(line);
        } else {
            // Other keys and lines without a time are not read; the sheet
            // would not write them back.
            foreign = !line.trimmed().isEmpty();
            if ((row = cueItemFromLine(line)))
                ++reading.otherRows;
        }
        if (row)
            m_sheet.addObject(*row);
        if (foreign && reading.foreignLines++ == 0)
            reading.firstForeignLine = int(i) + 1;
    }
    return reading;
}

QString CueListImporter::stringFromCueTable(const CueSheet& sheet) {
    QString text = sheet.cueSheetInitValues();
    for (const CueItem& item : sheet.rows()) {
        text += sheettext::lineForRow(item);
        text += u'\n';
    }
    return text;
}

void CueListImporter::paste(const QString& block) {
    for (const QString& line : sheettext::splitLines(block))
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

void CueListImporter::note(const QString& path, const QString& what) {
    m_notes << QStringLiteral("%1: %2").arg(QFileInfo(path).fileName(), what);
}

std::optional<QString> CueListImporter::readText(const QString& path) {
    const std::optional<TextFileReader::Text> text = TextFileReader::read(path);
    if (!text) {
        note(path, QLatin1String(TextFileReader::kUnreadableNote));
        return std::nullopt;
    }
    if (text->windows1252)
        note(path, QLatin1String(TextFileReader::kWindows1252Note));
    return text->text;
}

bool CueListImporter::importPdf(const QString& path) {
    if (pdfHandler) {
        pdfHandler(path);
        return true;
    }
    const int before = m_sheet.count();
    PdfCueReader reader;
    if (!reader.importPdf(path, *this)) {
        note(path, QLatin1String(kUnreadablePdfNote));
        return false;
    }
    note(path, reader.summary(m_sheet.count() - before));
    return true;
}

bool CueListImporter::importMidi(const QString& path) {
    QString error;
    const std::optional<cuemidi::FileRows> read =
        cuemidi::rowsFromFile(path, m_sheet.settings(), &error);
    if (!read) {
        note(path, error);
        return false;
    }
    for (const CueItem& row : read->rows)
        m_sheet.addObject(row);
    note(path, cuemidi::importNote(*read));
    return true;
}

bool CueListImporter::importFile(const QString& path) {
    if (isPdf(path))
        return importPdf(path);
    if (isMidi(path))
        return importMidi(path);
    const std::optional<QString> text = readText(path);
    if (!text)
        return false;
    return importText(path, *text);
}

bool CueListImporter::importText(const QString& path, const QString& text) {
    const int tctype = m_sheet.settings().tctype;
    if (otherlists::isSubRip(path)) {
        addList(path, otherlists::readSubRip(text, tctype));
        return true;
    }
    if (isDelimited(path) || looksDelimited(text)) {
        // A ".csv" of one column is a list of lines, read as such.
        if (delimited::Table table = delimited::parse(text); table.width() >= 2)
            return importTable(path, table);
    }
    if (otherlists::hasMarkerList(text))
        addList(path, otherlists::readMarkerList(text, tctype));
    else
        cueTableFromString(text);
    return true;
}

bool CueListImporter::importTable(const QString& path, const delimited::Table& table) {
    const int tctype = m_sheet.settings().tctype;
    const delimited::ColumnMapping guess = delimited::guessMapping(table, tctype);
    std::optional<delimited::ColumnMapping> mapping = guess;
    if (chooseColumns) {
        delimited::Table preview = table;
        preview.records = table.records.mid(0, 12);
        mapping = chooseColumns(path, preview, guess);
    }
    if (!mapping) {
        note(path, QObject::tr("not imported (no columns chosen)"));
        return false;
    }
    if (mapping->in < 0) {
        note(path, QObject::tr("no column holds in times, so no cues were read"));
        return false;
    }
    addList(path, delimited::rowsFromTable(table, *mapping, tctype));
    return true;
}

void CueListImporter::addList(const QString& path, const listtime::ListRows& read) {
    for (const CueItem& row : read.rows)
        m_sheet.addObject(row);
    if (const QString problems = listtime::problemsNote(read); !problems.isEmpty())
        note(path, problems);
}

bool CueListImporter::isDelimited(const QString& path) {
    const QString suffix = QFileInfo(path).suffix().toLower();
    return suffix == QLatin1String("csv") || suffix == QLatin1String("tsv");
}

bool CueListImporter::isSpreadsheet(const QString& path) {
    return QFileInfo(path).suffix().compare(QLatin1String("xlsx"), Qt::CaseInsensitive) == 0;
}

bool CueListImporter::looksDelimited(const QString& text) {
    const delimited::Table head = delimited::parse(text, std::nullopt, 2);
    if (head.records.size() < 2 || head.records.first().size() < 2)
        return false;
    delimited::Table first = head;
    first.records = {head.records.first()};
    const delimited::ColumnMapping m = delimited::guessMapping(first, 3);
    return m.header && m.in >= 0 &&
           delimited::fieldForName(head.records.first().value(m.in)) == QLatin1String("in");
}

bool CueListImporter::isPdf(const QString& path) {
    return QFileInfo(path).suffix().compare(QLatin1String("pdf"), Qt::CaseInsensitive) == 0;
}

bool CueListImporter::isMidi(const QString& path) {
    const QString suffix = QFileInfo(path).suffix();
    return suffix.compare(QLatin1String("mid"), Qt::CaseInsensitive) == 0 ||
           suffix.compare(QLatin1String("midi"), Qt::CaseInsensitive) == 0;
}

bool CueListImporter::acceptDrop(const QStringList& fileNames, bool sourceOffersLink) {
    if (!sourceOffersLink || fileNames.isEmpty())
        return false;
    QString accumulated;
    for (const QString& path : fileNames) {
        if (isPdf(path)) {
            importPdf(path);
            continue;
        }
        const std::optional<QString> text = readText(path);
        if (!text)
            continue;
        // Lists of other programs are read as File > Import reads them.
        if (isDelimited(path) || otherlists::isSubRip(path) || looksDelimited(*text) ||
            otherlists::hasMarkerList(*text)) {
            importText(path, *text);
            continue;
        }
        accumulated += *text;
        paste(accumulated);
    }
    return true;
}

#include "cues/CueDocument.h"

#include "base/Diagnostics.h"
#include "base/OutputFile.h"
#include "cues/CueListImporter.h"
#include "cues/CueMidiExport.h"
#include "cues/CueNotes.h"
#include "cues/CueText.h"
#include "cues/TextFileReader.h"
#include "midi/MidiFileReader.h"

#include <QFile>
#include <QFileInfo>
#include <QUndoCommand>
#include <algorithm>
#include <optional>

namespace {

// Before and after of the whole row list. The lists share their rows with
// the sheet until one of them changes, so a step costs little even on a
// long sheet.
class RowsCommand : public QUndoCommand {
public:
    RowsCommand(CueDocument& doc, QList<CueItem> before, QList<CueItem> after, const QString& text)
        : QUndoCommand(text), m_doc(doc), m_before(std::move(before)), m_after(std::move(after)) {}
    void redo() override { m_doc.applyRows(m_after); }
    void undo() override { m_doc.applyRows(m_before); }

private:
    CueDocument& m_doc;
    QList<CueItem> m_before;
    QList<CueItem> m_after;
};

class CellCommand : public QUndoCommand {
public:
    CellCommand(CueDocument& doc, int row, int column, QString before, QString after)
        : QUndoCommand(QObject::tr("Edit")), m_doc(doc), m_row(row), m_column(column),
          m_before(std::move(before)), m_after(std::move(after)) {}
    void redo() override { m_doc.applyCell(m_row, m_column, m_after); }
    void undo() override { m_doc.applyCell(m_row, m_column, m_before); }

private:
    CueDocument& m_doc;
    int m_row;
    int m_column;
    QString m_before;
    QString m_after;
};

// The field shown in a column (null for a column that does not exist).
template <typename Item>
auto field(Item& item, int column) -> decltype(&item.cueId) {
    switch (column) {
    case CueDocument::ColumnId:
        return &item.cueId;
    case CueDocument::ColumnIn:
        return &item.cueIn;
    case CueDocument::ColumnOut:
        return &item.cueOut;
    case CueDocument::ColumnText:
        return &item.cueText;
    case CueDocument::ColumnNotes:
        return &item.cueNotes;
    default:
        return nullptr;
    }
}

bool isTimeColumn(int column) {
    return column == CueDocument::ColumnIn || column == CueDocument::ColumnOut;
}

QString columnName(int column) {
    return column == CueDocument::ColumnIn ? QObject::tr("in time") : QObject::tr("out time");
}

// "a.txt", "a.txt and b.txt", "a.txt, b.txt and 3 more files".
QString fileNames(const QStringList& paths) {
    QStringList names;
    for (const QString& path : paths)
        names << QStringLiteral("\u201c%1\u201d").arg(QFileInfo(path).fileName());
    if (names.size() > 3) {
        const qsizetype more = names.size() - 2;
        names = names.mid(0, 2);
        names << QObject::tr("%1 more files").arg(more);
    }
    if (names.size() < 2)
        return names.value(0);
    const QString last = names.takeLast();
    return QObject::tr("%1 and %2").arg(names.join(QStringLiteral(", ")), last);
}

// "2 times do not exist at 24 fps: they are marked in the table"
QString notAtRate(int marked, int type) {
    const QString rate = TcCalculator::rateName(type);
    if (marked == 1)
        return QObject::tr("1 time does not exist at %1: it is marked in the table").arg(rate);
    return QObject::tr("%1 times do not exist at %2: they are marked in the table")
        .arg(marked)
        .arg(rate);
}

QString cues(int count) {
    return count == 1 ? QObject::tr("1 cue") : QObject::tr("%1 cues").arg(count);
}

} // namespace

CueDocument::CueDocument(QObject* parent) : QObject(parent) {
    connect(&m_undo, &QUndoStack::cleanChanged, this,
            [this] { emit modifiedChanged(isModified()); });
}

CueDocument::~CueDocument() {
    // The commands refer to this document; drop them before it goes.
    m_undo.clear();
}

QString CueDocument::cellValue(const CueItem& item, int column) {
    const QString* value = field(item, column);
    return value ? *value : QString();
}

bool CueDocument::setCell(int row, int column, const QString& value) {
    if (row < 0 || row >= rowCount() || column < 0 || column >= kColumnCount)
        return false;
    const bool time = isTimeColumn(column);
    // A tab or a line break would end the field in the sheet file.
    const QString stored =
        time ? TCFormatter::objectValueForString(value) : sheettext::cleanCell(value);
    const QString before = cellValue(rows()[row], column);
    if (stored == before)
        return false;
    const QString shown = TCFormatter::stringForObjectValue(stored);
    const QString problem = time && shown != QLatin1String("---")
                                ? TcCalculator::problemAtRate(shown, settings().tctype)
                                : QString();
    if (!problem.isEmpty()) {
        emit message(tr("%1: %2 refused as the %3: %4. The cell keeps %5.")
                         .arg(cuenotes::sentence(cuenotes::rowName(row, rows()[row])), shown,
                              columnName(column), problem,
                              TCFormatter::stringForObjectValue(before)));
        return false;
    }
    m_undo.push(new CellCommand(*this, row, column, before, stored));
    return true;
}

void CueDocument::applyCell(int row, int column, const QString& value) {
    if (row < 0 || row >= rowCount())
        return;
    if (QString* cell = field(m_sheet.rows()[row], column))
        *cell = value;
    emit cellChanged(row, column);
    emit rowsChanged();
}

void CueDocument::applyRows(const QList<CueItem>& rows) {
    m_sheet.setRows(rows);
    emit rowsReset();
    emit rowsChanged();
}

void CueDocument::replaceRows(const QList<CueItem>& rows, const QString& actionName) {
    if (rows == m_sheet.rows())
        return;
    m_undo.push(new RowsCommand(*this, m_sheet.rows(), rows, actionName));
}

int CueDocument::insertRow(int at) {
    QList<CueItem> after = rows();
    if (at < 0 || at > after.size())
        at = int(after.size());
    after.insert(at, CueItem());
    m_undo.push(new RowsCommand(*this, rows(), after, tr("Add Row")));
    return at;
}

void CueDocument::removeRows(const QList<int>& rowList, const QString& actionName) {
    QList<int> sorted = rowList;
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    QList<CueItem> after = rows();
    for (auto it = sorted.crbegin(); it != sorted.crend(); ++it) {
        if (*it >= 0 && *it < after.size())
            after.removeAt(*it);
    }
    replaceRows(after, actionName);
}

void CueDocument::appendRows(const QList<CueItem>& added, const QString& actionName) {
    if (added.isEmpty())
        return;
    QList<CueItem> after = rows();
    after.append(added);
    replaceRows(after, actionName);
}

QList<CueItem> CueDocument::rowsFromText(const QString& block) const {
    CueSheet scratch;
    CueListImporter(scratch).paste(block);
    return scratch.rows();
}

int CueDocument::paste(const QString& block) {
    const QList<CueItem> added = rowsFromText(block);
    appendRows(added, tr("Paste"));
    if (const QString note = cuetext::substitutionNote(added, settings().cueId, settings().text);
        !note.isEmpty())
        emit message(note);
    return int(added.size());
}

bool CueDocument::dropFiles(const QStringList& paths, bool sourceOffersLink) {
    // The importers add to a scratch sheet; the document takes its rows in
    // one step once every file has been read.
    CueSheet scratch;
    CueListImporter importer(scratch);
    const bool accepted = importer.acceptDrop(paths, sourceOffersLink);
    if (accepted)
        addImported(scratch.rows(), tr("Drop"), paths, importer.notes());
    return accepted;
}

int CueDocument::importFiles(const QStringList& paths) {
    CueSheet scratch;
    // A MIDI file without a start of its own is counted from this sheet's.
    scratch.settings() = settings();
    CueListImporter importer(scratch);
    for (const QString& path : paths)
        importer.importFile(path);
    addImported(scratch.rows(), tr("Import"), paths, importer.notes());
    return scratch.count();
}

void CueDocument::addImported(const QList<CueItem>& added, const QString& actionName,
                              const QStringList& paths, const QStringList& notes) {
    appendRows(added, actionName);
    QStringList lines;
    if (added.isEmpty())
        lines << tr("No cues found in %1.").arg(fileNames(paths));
    else
        lines << tr("%1 added from %2.").arg(cues(int(added.size())), fileNames(paths));
    lines << notes;
    lines << cuetext::substitutionNote(added, settings().cueId, settings().text);
    lines.removeAll(QString());
    emit message(lines.join(u'\n'));
}

int CueDocument::importMidiFile(const QString& path,
                                const std::function<void(const QByteArray&)>& log) {
    const QString name = QFileInfo(path).fileName();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        emit message(tr("%1 cannot be read: %2").arg(name, file.errorString()));
        return 0;
    }
    MidiFileReader reader;
    reader.setLogSink(log);
    QString error;
    const std::optional<cuemidi::FileRows> read =
        cuemidi::readRows(reader, file.readAll(), settings(), &error);
    if (!read) {
        emit message(tr("%1: no cues added: %2").arg(name, error));
        return 0;
    }
    appendRows(read->rows, tr("Import MIDI File"));
    emit message(name + QStringLiteral(": ") + cuemidi::importNote(*read));
    return int(read->rows.size());
}

void CueDocument::selectRow(int row) {
    m_sheet.tableViewSelectionDidChange(row);
    if (row < 0 || row >= rowCount())
        return;
    const QString note = cuetext::substitutionNote(rows()[row], settings().cueId, settings().text);
    if (!note.isEmpty())
        emit message(note);
}

QStringList CueDocument::sort() {
    CueSheet scratch;
    scratch.setRows(rows());
    scratch.settings() = settings();
    QStringList notes;
    QString span;
    const int removed = scratch.OnSort(&span);
    replaceRows(scratch.rows(), tr("Sort"));
    if (removed > 0)
        notes << tr("%1 \u2014 Undo brings %2 back")
                     .arg(cuenotes::duplicatesRemoved(removed),
                          removed == 1 ? tr("it") : tr("them"));
    if (!span.isEmpty())
        notes << cuenotes::sentence(span);
    if (!notes.isEmpty())
        emit message(notes.join(u'\n'));
    return notes;
}

void CueDocument::clearAll() {
    replaceRows(QList<CueItem>(), tr("Clear All"));
}

void CueDocument::setSettings(const CueSheetSettings& settings) {
    if (settings == m_sheet.settings())
        return;
    const bool rateChanged = settings.tctype != m_sheet.settings().tctype;
    m_sheet.settings() = settings;
    setSettingsModified(true);
    emit settingsChanged();
    // The cells stay as they are; the user learns which no longer fit.
    if (const int marked = rateChanged ? timesNotAtRate() : 0; marked > 0)
        emit message(notAtRate(marked, settings.tctype) +
                     tr("; changing the rate never alters a cell."));
}

QString CueDocument::timeProblem(int row, int column) const {
    if (row < 0 || row >= rowCount() || !isTimeColumn(column))
        return QString();
    const QString shown = TCFormatter::stringForObjectValue(cellValue(rows()[row], column));
    if (shown == QLatin1String("---"))
        return QString();
    return TcCalculator::problemAtRate(shown, settings().tctype);
}

int CueDocument::timesNotAtRate() const {
    int count = 0;
    for (int row = 0; row < rowCount(); ++row) {
        for (int column : {int(ColumnIn), int(ColumnOut)})
            count += timeProblem(row, column).isEmpty() ? 0 : 1;
    }
    return count;
}

void CueDocument::initSettings(const CueSheetSettings& settings) {
    m_sheet.settings() = settings;
    emit settingsChanged();
}

void CueDocument::setSettingsModified(bool modified) {
    const bool was = isModified();
    m_settingsModified = modified;
    if (was != isModified())
        emit modifiedChanged(isModified());
}

QString CueDocument::displayName() const {
    return m_filePath.isEmpty() ? tr("Untitled") : QFileInfo(m_filePath).fileName();
}

bool CueDocument::isPristine() const {
    return m_filePath.isEmpty() && !isModified() && rowCount() == 0 && m_undo.count() == 0;
}

CueDocument::Opened CueDocument::openFile(const QString& path) {
    const std::optional<TextFileReader::Text> text = TextFileReader::read(path);
    if (!text)
        return Opened::Unreadable;
    CueSheet read;
    read.settings() = settings();
    const sheettext::Reading reading = read.cueTableFromString(text->text);
    QStringList notes;
    if (text->windows1252)
        notes << tr("%1: %2 (Save writes UTF-8)")
                     .arg(QFileInfo(path).fileName(),
                          QLatin1String(TextFileReader::kWindows1252Note));
    if (reading.isSheet()) {
        openAsSheet(path, read);
        if (const int marked = timesNotAtRate(); marked > 0)
            notes << notAtRate(marked, settings().tctype) + u'.';
    } else {
        openAsOtherList(read, reading);
        notes.prepend(tr("%1 is not a cue sheet (line %2 is not in the sheet's form), so it is "
                         "left as it is; this untitled sheet holds its %3, and Save asks for "
                         "a name.")
                          .arg(fileNames({path}))
                          .arg(reading.firstForeignLine)
                          .arg(cues(read.count())));
    }
    if (!notes.isEmpty())
        emit message(notes.join(u'\n'));
    return reading.isSheet() ? Opened::Sheet : Opened::OtherList;
}

void CueDocument::openAsSheet(const QString& path, const CueSheet& read) {
    m_undo.clear();
    m_sheet.settings() = read.settings();
    applyRows(read.rows());
    m_filePath = path;
    setSettingsModified(false);
    emit settingsChanged();
    emit filePathChanged(m_filePath);
    emit modifiedChanged(isModified());
}

void CueDocument::openAsOtherList(const CueSheet& read, const sheettext::Reading& reading) {
    // Its header lines, if any, are options the user may keep; its rows
    // are one step, so the sheet counts as changed until it is saved.
    if (reading.headerLines > 0)
        setSettings(read.settings());
    appendRows(read.rows(), tr("Open"));
}

void CueDocument::restore(const QString& sheetText, const QString& filePath) {
    CueSheet read;
    read.settings() = settings();
    read.cueTableFromString(sheetText);
    openAsSheet(filePath, read);
    setSettingsModified(true);
}

bool CueDocument::saveToFile(const QString& path, QString* error) {
    const QByteArray bytes = m_sheet.stringFromCueTable().toUtf8();
    const bool special = OutputFile::isSpecial(path);
    QString why;
    const bool ok = OutputFile::write(path, bytes, &why);
    diag::print("status: %d\n", ok ? 1 : 0);
    if (!ok) {
        if (error)
            *error = why;
        return false;
    }
    if (special) {
        emit message(tr("The sheet was written to %1, which is a device or a pipe, not a file: "
                        "it is not kept there, so it still counts as unsaved.")
                         .arg(path));
        return true;
    }
    m_undo.setClean();
    setSettingsModified(false);
    if (m_filePath != path) {
        m_filePath = path;
        emit filePathChanged(m_filePath);
    }
    return true;
}

int CueDocument::onTxInOuts() {
    const int pairs = m_sheet.onTxInOuts();
    if (m_sheet.comThread()) {
        emit inOutsSent(pairs);
        tellInOutsResult();
    } else {
        emit message(tr("No unit is connected: no in and out times were sent."));
    }
    return pairs;
}

void CueDocument::tellInOutsResult() {
    const int pairs = m_sheet.inOutPairsSent();
    QStringList lines;
    lines << (pairs == 1 ? tr("1 in/out pair sent to the unit.")
                         : tr("%1 in/out pairs sent to the unit.").arg(pairs));
    if (const int stop = m_sheet.inOutStopRow(); stop >= 0) {
        const CueItem& item = rows()[stop];
        const QString in = item.getCueIn();
        const QString why = in == QLatin1String("---")
                                ? tr("it has no in time")
                                : tr("its in time %1 cannot be sent: %2")
                                      .arg(in, TcCalculator::problemAtRate(in, 3));
        lines << tr("Send In/Outs stopped at %1: %2. The rows from there on were not sent.")
                     .arg(cuenotes::rowName(stop, item), why);
    }
    for (const int row : m_sheet.inOutOutsDropped()) {
        const CueItem& item = rows()[row];
        lines << tr("%1 went without its out time %2: %3.")
                     .arg(cuenotes::sentence(cuenotes::rowName(row, item)), item.getCueOut(),
                          TcCalculator::problemAtRate(item.getCueOut(), 3));
    }
    emit message(lines.join(u'\n'));
}

void CueDocument::setStepperStreamerDuration(int fiftieths) {
    if (fiftieths == m_sheet.stepperStreamerDuration())
        return;
    m_sheet.setStepperStreamerDuration(fiftieths);
    emit rowsChanged();
}

QString CueDocument::onButtonTest() {
    const QString line = m_sheet.onButtonTest();
    // The result is the log's; whoever watches the terminal sees it too.
    diag::print("%s", qPrintable(line));
    emit logText(line);
    return line;
}

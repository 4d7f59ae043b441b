#include "cues/CueDocument.h"

#include "base/Diagnostics.h"
#include "cues/CueListImporter.h"
#include "cues/CueMidiExport.h"
#include "cues/CueText.h"
#include "cues/PdfCueReader.h"
#include "midi/MidiFileReader.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
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
    const QString stored = (column == ColumnIn || column == ColumnOut)
                               ? TCFormatter::objectValueForString(value)
                               : value;
    const QString before = cellValue(rows()[row], column);
    if (stored == before)
        return false;
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
    QStringList notes;
    importer.pdfHandler = [&scratch, &importer, &notes](const QString& path) {
        const int before = scratch.count();
        PdfCueReader reader;
        const QString name = QFileInfo(path).fileName();
        if (reader.importPdf(path, importer))
            notes << name + QStringLiteral(": ") + reader.summary(scratch.count() - before);
        else
            notes << name + QStringLiteral(": cannot be read as a PDF document");
    };
    const bool accepted = importer.acceptDrop(paths, sourceOffersLink);
    appendRows(scratch.rows(), tr("Drop"));
    notes << cuetext::substitutionNote(scratch.rows(), settings().cueId, settings().text);
    notes.removeAll(QString());
    if (!notes.isEmpty())
        emit message(notes.join(u'\n'));
    return accepted;
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

void CueDocument::sort() {
    CueSheet scratch;
    scratch.setRows(rows());
    scratch.settings() = settings();
    scratch.OnSort();
    replaceRows(scratch.rows(), tr("Sort"));
}

void CueDocument::clearAll() {
    replaceRows(QList<CueItem>(), tr("Clear All"));
}

void CueDocument::setSettings(const CueSheetSettings& settings) {
    if (settings == m_sheet.settings())
        return;
    m_sheet.settings() = settings;
    setSettingsModified(true);
    emit settingsChanged();
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

bool CueDocument::openFile(const QString& path) {
    const std::optional<QString> text = CueListImporter::readTextFile(path);
    if (!text)
        return false;
    CueSheet scratch;
    scratch.settings() = settings();
    CueListImporter(scratch).cueTableFromString(*text);
    m_undo.clear();
    m_sheet.settings() = scratch.settings();
    applyRows(scratch.rows());
    m_filePath = path;
    setSettingsModified(false);
    emit settingsChanged();
    emit filePathChanged(m_filePath);
    emit modifiedChanged(isModified());
    return true;
}

bool CueDocument::saveToFile(const QString& path, QString* error) {
    QSaveFile file(path);
    bool ok = file.open(QIODevice::WriteOnly);
    if (ok) {
        const QByteArray bytes = m_sheet.stringFromCueTable().toUtf8();
        ok = file.write(bytes) == bytes.size();
        ok = ok ? file.commit() : (file.cancelWriting(), false);
    }
    diag::print("status: %d\n", ok ? 1 : 0);
    if (!ok) {
        if (error)
            *error = file.errorString();
        return false;
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
    if (m_sheet.comThread())
        emit inOutsSent(pairs);
    return pairs;
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

#include "cues/view/CueWindow.h"

#include "base/Alerts.h"
#include "cues/CueDocument.h"
#include "cues/CueMidiExport.h"
#include "cues/CueNotes.h"
#include "cues/CueSheetPrinter.h"
#include "cues/view/ColumnMappingDialog.h"
#include "cues/view/CueTableView.h"
#include "midi/MidiTrack.h"

#include "base/OutputFile.h"

#include <QCryptographicHash>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QLineEdit>
#include <QPrintDialog>
#include <QPrinter>
#include <QSettings>

CueDialogs& cueDialogs() {
    static CueDialogs dialogs{
        [](QWidget* parent, const QString& caption, const QString& filter) {
            return QFileDialog::getOpenFileName(parent, caption, QString(), filter);
        },
        [](QWidget* parent, const QString& caption, const QString& filter) {
            return QFileDialog::getOpenFileNames(parent, caption, QString(), filter);
        },
        [](QWidget* parent, const QString& caption, const QString& filter) {
            return QFileDialog::getSaveFileName(parent, caption, QString(), filter);
        },
        [](QWidget* parent, const QString& name) {
            return QMessageBox::question(
                parent, QObject::tr("Unsaved cue sheet"),
                QObject::tr("Save the changes to \"%1\" before closing?").arg(name),
                QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
        },
        [](QWidget* parent, const QString& path) {
            return QMessageBox::question(parent, QObject::tr("Replace file"),
                                         QObject::tr("\"%1\" already exists. Replace it?")
                                             .arg(QFileInfo(path).fileName()),
                                         QMessageBox::Yes | QMessageBox::Cancel,
                                         QMessageBox::Cancel) == QMessageBox::Yes;
        },
        [](QWidget* parent, int rows) {
            return QMessageBox::question(
                       parent, QObject::tr("Clear All"),
                       QObject::tr("Delete all %n cue(s) of this sheet? Undo brings them back.",
                                   nullptr, rows),
                       QMessageBox::Yes | QMessageBox::Cancel,
                       QMessageBox::Cancel) == QMessageBox::Yes;
        },
        [](QWidget* parent, const QString& path, const delimited::Table& preview,
           const delimited::ColumnMapping& start) -> std::optional<delimited::ColumnMapping> {
            ColumnMappingDialog dialog(QFileInfo(path).fileName(), preview, start, parent);
            if (dialog.exec() != QDialog::Accepted)
                return std::nullopt;
            return dialog.mapping();
        },
        [](QWidget* parent, QPrinter& printer) {
            QPrintDialog dialog(&printer, parent);
            return dialog.exec() == QDialog::Accepted;
        },
        [](QWidget* parent, const QString& title, const QString& label,
           const QString& start) -> std::optional<QString> {
            bool ok = false;
            const QString text =
                QInputDialog::getText(parent, title, label, QLineEdit::Normal, start, &ok);
            return ok ? std::optional<QString>(text) : std::nullopt;
        }};
    return dialogs;
}

namespace {
const QString kSheetFilter = QStringLiteral("Cue sheets (*.txt *.TXT)");
const QString kMidiFilter = QStringLiteral("MIDI files (*.mid *.MID)");
const QString kListFilter =
    QStringLiteral("Cue lists (*.txt *.TXT *.csv *.CSV *.tsv *.TSV *.text *.pdf *.PDF *.srt "
                   "*.SRT *.xlsx *.XLSX);;All files (*)");
const QString kCsvFilter = QStringLiteral("CSV files (*.csv *.CSV)");
const QString kPdfFilter = QStringLiteral("PDF files (*.pdf *.PDF)");

// Where the columns chosen for a header row are remembered.
QString mappingKey(const QStringList& header) {
    const QByteArray names = header.join(QChar(0x1f)).toUtf8();
    return QStringLiteral("ImportColumns/") +
           QString::fromLatin1(QCryptographicHash::hash(names, QCryptographicHash::Sha1).toHex());
}

// A name without an extension gets the one its kind of file has (the
// import dialogs show files by extension); any other name stays as given.
QString withExtension(const QString& path, const char* extension) {
    if (!QFileInfo(path).suffix().isEmpty())
        return path;
    return (path.endsWith(u'.') ? path : path + u'.') + QLatin1String(extension);
}
} // namespace

QString CueWindow::askSavePath(const QString& caption, const QString& filter,
                               const char* extension) {
    const QString chosen = cueDialogs().saveFile(this, caption, filter);
    if (chosen.isEmpty())
        return QString();
    const QString path = withExtension(chosen, extension);
    // The dialog asked about replacing the name it was given, not this one.
    if (path != chosen && QFileInfo::exists(path) && !cueDialogs().confirmReplace(this, path))
        return QString();
    return path;
}

bool CueWindow::save() {
    if (m_document->filePath().isEmpty())
        return saveAs();
    return writeSheet(m_document->filePath());
}

bool CueWindow::saveAs() {
    const QString path = askSavePath(tr("Save Cue Sheet"), kSheetFilter, "txt");
    if (path.isEmpty())
        return false;
    if (QFileInfo(path).suffix().toLower() != QLatin1String("txt")) {
        alerts::show(QStringLiteral("select a file with .txt extension"));
        return false;
    }
    return writeSheet(path);
}

bool CueWindow::writeSheet(const QString& path) {
    QString error;
    if (!m_document->saveToFile(path, &error)) {
        alerts::show(tr("The cue sheet could not be saved to %1: %2").arg(path, error));
        return false;
    }
    // A device or a pipe does not keep the sheet: it is not the sheet's file.
    if (m_document->filePath() == path)
        emit saved(path);
    return true;
}

void CueWindow::importLists() {
    const QStringList paths = cueDialogs().openFiles(this, tr("Import Cue Lists"), kListFilter);
    if (!paths.isEmpty())
        importFiles(paths);
}

int CueWindow::importFiles(const QStringList& paths) {
    return m_document->importFiles(paths,
                                   [this](const QString& path, const delimited::Table& preview,
                                          const delimited::ColumnMapping& guess) {
                                       return chooseColumns(path, preview, guess);
                                   });
}

std::optional<delimited::ColumnMapping>
CueWindow::chooseColumns(const QString& path, const delimited::Table& preview,
                         const delimited::ColumnMapping& guess) {
    delimited::ColumnMapping start = guess;
    const QString key = guess.header && !preview.records.isEmpty()
                            ? mappingKey(preview.records.first())
                            : QString();
    QSettings settings;
    if (!key.isEmpty()) {
        if (auto remembered = delimited::parseMapSpec(settings.value(key).toString())) {
            start = *remembered;
            start.header = true;
        }
    }
    std::optional<delimited::ColumnMapping> chosen =
        cueDialogs().chooseColumns(this, path, preview, start);
    if (chosen && chosen->header && !preview.records.isEmpty())
        settings.setValue(mappingKey(preview.records.first()), delimited::mapSpec(*chosen));
    return chosen;
}

void CueWindow::exportCsv() {
    if (m_document->rowCount() == 0) {
        showMessage(tr("There are no cues to export."));
        return;
    }
    const QString path = askSavePath(tr("Export CSV"), kCsvFilter, "csv");
    if (path.isEmpty())
        return;
    QString error;
    if (!OutputFile::write(path, delimited::csvForRows(m_document->rows()), &error)) {
        alerts::show(tr("The CSV file could not be written to %1: %2").arg(path, error));
        return;
    }
    showMessage(tr("%1 written to \u201c%2\u201d.")
                    .arg(m_document->rowCount() == 1 ? tr("1 cue")
                                                     : tr("%1 cues").arg(m_document->rowCount()),
                         QFileInfo(path).fileName()));
}

void CueWindow::exportMidi() {
    if (m_document->rowCount() == 0) {
        showMessage(tr("There are no cues to export."));
        return;
    }
    const QString path = askSavePath(tr("Export MIDI File"), kMidiFilter, "mid");
    if (path.isEmpty())
        return;
    // Sorted first, as one undo step, so the duplicate and midnight options apply.
    QStringList lines = m_document->sort();
    const CueSheetSettings& s = m_document->settings();
    MidiTrack track;
    track.setLogSink([this](const QByteArray& text) { emit logText(QString::fromUtf8(text)); });
    QString error;
    if (!cuemidi::onExportMidi(track, path, m_document->rows(), s.start, s.tctype,
                               m_document->sheet().offset(), s.text, s.pulldown, s.cueId, &error)) {
        alerts::show(tr("The MIDI file could not be written: %1").arg(error));
        return;
    }
    lines.prepend(tr("%1 written to \u201c%2\u201d.")
                      .arg(m_document->rowCount() == 1 ? tr("1 cue")
                                                       : tr("%1 cues").arg(m_document->rowCount()),
                           QFileInfo(path).fileName()));
    for (const QString& note : cuenotes::exportNotes(track.lastExportReport()))
        lines << cuenotes::sentence(note) + u'.';
    showMessage(lines.join(u'\n'));
}

void CueWindow::importMidi() {
    const QString path = cueDialogs().openFile(this, tr("Import MIDI File"), kMidiFilter);
    if (path.isEmpty())
        return;
    m_document->importMidiFile(
        path, [this](const QByteArray& text) { emit logText(QString::fromUtf8(text)); });
}

void CueWindow::exportPdf() {
    const QString path = askSavePath(tr("Export PDF"), kPdfFilter, "pdf");
    if (path.isEmpty())
        return;
    QString error;
    int pages = 0;
    if (!cueprint::writePdf(path, m_document->displayName(), m_document->rows(),
                            cueprint::paperForLocale(), &error, &pages)) {
        alerts::show(tr("The PDF could not be written to %1: %2").arg(path, error));
        return;
    }
    showMessage(tr("\u201c%1\u201d written: %2.")
                    .arg(QFileInfo(path).fileName(),
                         pages == 1 ? tr("1 page") : tr("%1 pages").arg(pages)));
}

void CueWindow::print() {
    QPrinter printer;
    printer.setPageSize(QPageSize(
        cueprint::paperForLocale() == cueprint::Paper::Letter ? QPageSize::Letter : QPageSize::A4));
    printer.setDocName(m_document->displayName());
    if (!cueDialogs().setUpPrinter(this, printer))
        return;
    cueprint::paint(printer, m_document->displayName(), m_document->rows());
}

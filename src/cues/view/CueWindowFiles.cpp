#include "cues/view/CueWindow.h"

#include "base/Alerts.h"
#include "cues/CueDocument.h"
#include "cues/CueMidiExport.h"
#include "cues/CueNotes.h"
#include "cues/view/CueTableView.h"
#include "midi/MidiTrack.h"

#include <QFileDialog>
#include <QFileInfo>

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
        }};
    return dialogs;
}

namespace {
const QString kSheetFilter = QStringLiteral("Cue sheets (*.txt *.TXT)");
const QString kMidiFilter = QStringLiteral("MIDI files (*.mid *.MID)");
const QString kListFilter =
    QStringLiteral("Cue lists (*.txt *.TXT *.csv *.CSV *.tsv *.TSV *.text *.pdf *.PDF);;"
                   "All files (*)");

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
        m_document->importFiles(paths);
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

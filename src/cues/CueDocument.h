#pragma once

#include "cues/CueListImporter.h"
#include "cues/CueListTools.h"
#include "cues/CueSheet.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUndoStack>
#include <functional>

class CommandSink;

// One open cue sheet as the user edits it: the sheet, the file it came from,
// whether it differs from that file, and the undo history. Every change to
// the rows goes through an undoable command; the header values (the option
// boxes of the window) are not undoable but count as a modification.
//
// Main thread only. Whoever needs the cue times (the timecode firing path)
// reads sheet() and listens to rowsChanged(), which is emitted after any
// change of the rows, their order or the streamer duration.
//
// What an action changed beyond what it was asked to, or could not do, is
// told in words through message() (the cue window's message line shows it).
class CueDocument : public QObject {
    Q_OBJECT
public:
    enum Column { ColumnId, ColumnIn, ColumnOut, ColumnText, ColumnNotes, kColumnCount };

    explicit CueDocument(QObject* parent = nullptr);
    ~CueDocument() override;

    const CueSheet& sheet() const { return m_sheet; }
    const QList<CueItem>& rows() const { return m_sheet.rows(); }
    // The selection moved without the user: nothing is sent for it.
    void selectRowQuietly(int row) { m_sheet.setSelectionIndex(row); }
    int rowCount() const { return m_sheet.count(); }
    QUndoStack* undoStack() { return &m_undo; }

    // --- editing, each one undo step ---
    // A cell as typed: in and out times take the digits of what was typed
    // (the 8-digit entry form); a tab or line break in a text becomes a
    // blank. A time that does not exist at the sheet's rate is refused, and
    // message() says why. False when nothing changed.
    bool setCell(int row, int column, const QString& value);
    // A new row with the default contents, inserted before `at` (appended
    // when out of range). Returns its index.
    int insertRow(int at);
    void removeRows(const QList<int>& rows, const QString& actionName = tr("Delete"));
    void appendRows(const QList<CueItem>& rows, const QString& actionName);
    // A pasted block of text lines; returns the number of rows added.
    int paste(const QString& block);
    // Files dropped on the table (text files and PDFs). False when the drag
    // does not offer linking or holds no files; the sheet changes only once
    // every file has been read. The message says what each PDF gave (pages
    // read, cues) and which characters of the new rows the unit cannot show.
    bool dropFiles(const QStringList& paths, bool sourceOffersLink = true,
                   const CueListImporter::ColumnChooser& chooseColumns = {});
    // The rows of cue list files (text in the encodings TextFileReader
    // knows, PDFs), each file read once, added as one step. Returns the
    // number of rows added; message() says how many and what the files held.
    // A delimited list's or spreadsheet's columns come from `chooseColumns`
    // (the guess when unset).
    int importFiles(const QStringList& paths,
                    const CueListImporter::ColumnChooser& chooseColumns = {});
    // A MIDI file's cues added as rows (cuemidi::readRows), its contents
    // logged to `log` as it is read; the message says what was added or why
    // nothing was. Returns the number of rows added.
    int importMidiFile(const QString& path, const std::function<void(const QByteArray&)>& log);
    // Sorts the rows as one step. Returns what the user should know (the
    // duplicates removed, in times over more than 12 hours), also told by
    // message().
    QStringList sort();
    void clearAll();
    // The list tools (cuelisttools) on the rows given, every row when none;
    // each one step, and the message says what changed.
    void offsetTimes(const QList<int>& rows, int frames);
    void renumber(const QList<int>& rows, const cuelisttools::Numbering& numbering);
    int replaceText(const QString& find, const QString& replacement, Qt::CaseSensitivity cs);

    // --- header values ---
    const CueSheetSettings& settings() const { return m_sheet.settings(); }
    void setSettings(const CueSheetSettings& settings);
    // The values a new sheet starts with; not a change of the sheet.
    void initSettings(const CueSheetSettings& settings);

    // --- file ---
    QString filePath() const { return m_filePath; }
    // The file's name, or "Untitled" before the sheet was saved.
    QString displayName() const;
    bool isModified() const { return m_settingsModified || !m_undo.isClean(); }
    // True for a new window nobody has touched: an opened file may use it.
    bool isPristine() const;
    enum class Opened { Unreadable, Sheet, OtherList };
    // Reads a text file (TextFileReader's encodings). A sheet file (nothing
    // in it that saving would not write back) replaces the sheet, which then
    // is that file's. Any other list's rows (and header lines) are read into
    // this sheet as one step, and the sheet stays untitled, so that saving
    // never writes over a list in the sheet's form; message() says so.
    // Unreadable: nothing changed.
    Opened openFile(const QString& path);
    // A sheet brought back from a recovery copy: the header and rows it had,
    // and the file it belongs to (not read). It counts as modified, since
    // what it holds was never saved.
    void restore(const QString& sheetText, const QString& filePath);
    // Writes the sheet text to path through OutputFile (a temporary file
    // renamed into place, so an interrupted write leaves the old file as it
    // was). Prints "status: 1" or "status: 0". On success the document takes
    // the path, unless it names a device or a pipe: the sheet is written
    // there but is not kept anywhere, so it stays as it was (and says so).
    bool saveToFile(const QString& path, QString* error = nullptr);

    // --- times at the sheet's rate ---
    // Why the time in a cell does not exist at the sheet's timecode type;
    // empty when it does, is unset, or the cell holds no time.
    QString timeProblem(int row, int column) const;
    // Cells whose time does not exist at the sheet's timecode type.
    int timesNotAtRate() const;

    // --- to the unit ---
    void setComThread(CommandSink* comThread) { m_sheet.setComThread(comThread); }
    // The user selected a row: its text goes to the unit ("s ..."); the
    // message says so when the unit gets "?" for some of its characters.
    void selectRow(int row);
    // "h 0" and the in/out pairs; returns how many pairs went out.
    int onTxInOuts();
    void onClearText() { m_sheet.onClearText(); }
    QString onButtonTest();

    // --- from the status report ---
    // Streamer offset (seconds, for the MIDI export) and duration (the
    // firing lead), as the unit reports them.
    void setOffset(double seconds) { m_sheet.setOffset(seconds); }
    void setStepperStreamerDuration(int fiftieths);

    // Used by the undo commands.
    void applyRows(const QList<CueItem>& rows);
    void applyCell(int row, int column, const QString& value);

    static QString cellValue(const CueItem& item, int column);
    // The row importer's rows for a block of text, without touching the sheet.
    QList<CueItem> rowsFromText(const QString& block) const;

signals:
    void rowsChanged();
    // The whole row list was replaced (undo, sort, paste, ...).
    void rowsReset();
    void cellChanged(int row, int column);
    void settingsChanged();
    void modifiedChanged(bool modified);
    void filePathChanged(const QString& path);
    void inOutsSent(int pairs);
    // Lines for the user to read: the MIDI file reader's log, the 7/8 self-test.
    void logText(const QString& text);
    // What the last action changed beyond what was asked, or could not do.
    void message(const QString& text);

private:
    void setSettingsModified(bool modified);
    void replaceRows(const QList<CueItem>& rows, const QString& actionName);
    void addImported(const QList<CueItem>& rows, const QString& actionName,
                     const QStringList& paths, const QStringList& notes);
    void openAsSheet(const QString& path, const CueSheet& read);
    void openAsOtherList(const CueSheet& read, const sheettext::Reading& reading);
    void tellInOutsResult();

    CueSheet m_sheet;
    QUndoStack m_undo;
    QString m_filePath;
    bool m_settingsModified = false;
};

#pragma once

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
class CueDocument : public QObject {
    Q_OBJECT
public:
    enum Column { ColumnId, ColumnIn, ColumnOut, ColumnText, ColumnNotes, kColumnCount };

    explicit CueDocument(QObject* parent = nullptr);
    ~CueDocument() override;

    const CueSheet& sheet() const { return m_sheet; }
    const QList<CueItem>& rows() const { return m_sheet.rows(); }
    int rowCount() const { return m_sheet.count(); }
    QUndoStack* undoStack() { return &m_undo; }

    // --- editing, each one undo step ---
    // A cell as typed: in and out times take the digits of what was typed
    // (the 8-digit entry form). False when nothing changed.
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
    bool dropFiles(const QStringList& paths, bool sourceOffersLink = true);
    // A MIDI file's cues added as rows (cuemidi::readRows), its contents
    // logged to `log` as it is read; the message says what was added or why
    // nothing was. Returns the number of rows added.
    int importMidiFile(const QString& path, const std::function<void(const QByteArray&)>& log);
    void sort();
    void clearAll();

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
    // Replaces the sheet with a sheet text file's header and rows. False
    // (and nothing changed) when the file cannot be read as UTF-8 text.
    bool openFile(const QString& path);
    // Writes the sheet text to path through a temporary file renamed into
    // place, so an interrupted write leaves the old file as it was. Prints
    // "status: 1" or "status: 0". On success the document takes the path.
    bool saveToFile(const QString& path, QString* error = nullptr);

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
    // What an action did that the user should know (the window's message line).
    void message(const QString& text);

private:
    void setSettingsModified(bool modified);
    void replaceRows(const QList<CueItem>& rows, const QString& actionName);

    CueSheet m_sheet;
    QUndoStack m_undo;
    QString m_filePath;
    bool m_settingsModified = false;
};

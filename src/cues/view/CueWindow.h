#pragma once

#include "cues/CueSheet.h"
#include "cues/DelimitedText.h"

#include <QMainWindow>
#include <QMessageBox>
#include <QVariantHash>
#include <functional>

class CueDocument;
class CueTableModel;
class CueTableView;
class MessageLine;
class QCheckBox;
class QComboBox;
class QLabel;
class QLayout;
class QLineEdit;
class QMenu;
class QPrinter;
class QPushButton;
class QVBoxLayout;
class QAction;

// The questions a cue window asks the user. Tests replace them; the
// defaults are the file dialogs and a message box.
struct CueDialogs {
    // A file to open or save: the path, or empty when cancelled.
    std::function<QString(QWidget* parent, const QString& caption, const QString& filter)> openFile;
    // Files to read: the paths, or none when cancelled.
    std::function<QStringList(QWidget* parent, const QString& caption, const QString& filter)>
        openFiles;
    std::function<QString(QWidget* parent, const QString& caption, const QString& filter)> saveFile;
    // Save, Discard or Cancel for a modified sheet about to close.
    std::function<QMessageBox::StandardButton(QWidget* parent, const QString& name)> askSave;
    // Whether to replace an existing file the save dialog did not ask about
    // (the name it was given had no extension).
    std::function<bool(QWidget* parent, const QString& path)> confirmReplace;
    // Whether every one of `rows` rows may go (Undo brings them back).
    std::function<bool(QWidget* parent, int rows)> confirmClearAll;
    // The columns of a delimited list or spreadsheet, over its first rows,
    // starting from `start`: the mapping, or nothing when cancelled.
    std::function<std::optional<delimited::ColumnMapping>(QWidget* parent, const QString& path,
                                                          const delimited::Table& preview,
                                                          const delimited::ColumnMapping& start)>
        chooseColumns;
    // The printer to print on, set up by the user: false when cancelled.
    std::function<bool(QWidget* parent, QPrinter& printer)> setUpPrinter;
    // A line of text for a list tool (an offset, a numbering, words to find):
    // nothing when cancelled.
    std::function<std::optional<QString>(QWidget* parent, const QString& title,
                                         const QString& label, const QString& start)>
        askText;
};
CueDialogs& cueDialogs();

// One cue sheet's window. From the top: a slot for the timecode counter
// beside the buttons that talk to the unit, the option boxes (what the unit
// text holds, how sorting treats duplicates and midnight, the MIDI file's
// start, type and pulldown), the table, and the row buttons with a count.
// The option boxes start from the user's defaults and write them back when
// the user changes them; an opened sheet's header sets them for the sheet.
class CueWindow : public QMainWindow {
    Q_OBJECT
public:
    // The defaults keys the option boxes are bound to.
    static constexpr const char* kKeyRollover = "Rollover";
    static constexpr const char* kKeyIncludeDialog = "IncludeDialog";
    static constexpr const char* kKeyIncludeCueId = "IncludeCueID";
    static constexpr const char* kKeyRemoveDuplicates = "RemoveDuplicates";
    static constexpr const char* kKeyPulldown = "Pulldown";
    static constexpr const char* kKeyTcType = "TcType";
    static constexpr const char* kKeyTcStart = "TcStart";

    explicit CueWindow(QWidget* parent = nullptr);
    ~CueWindow() override;

    // The option values the user's defaults give a new sheet.
    static CueSheetSettings defaultSettings();
    // Defaults for this run only, by the keys above (the application's
    // command line): they win over the remembered ones until the user
    // changes that option in a window, and are never written back.
    static void setDefaultsForThisRun(const QVariantHash& values);

    CueDocument* document() const { return m_document; }
    CueTableView* table() const { return m_table; }
    CueTableModel* model() const { return m_model; }
    // Where the application puts its file commands.
    QMenu* fileMenu() const { return m_fileMenu; }
    // Holds the timecode counter; a placeholder label until one is set.
    void setCounterWidget(QWidget* counter);
    // The message line under the table: what the last action changed or
    // could not do (empty: hidden).
    void showMessage(const QString& text);
    QString message() const;

    // Save to the sheet's file, or ask for one when it has none. A name
    // without an extension gets ".txt"; another extension is refused. False
    // when cancelled or the write failed (an alert says why).
    bool save();
    bool saveAs();
    // File > Import…: rows from cue lists (text in any encoding the reader
    // knows, PDFs) added to this sheet; the message line says what came in.
    void importLists();
    // The cues of these files added to this sheet; a delimited list or a
    // spreadsheet asks for its columns (starting from the choice made for
    // the last file with the same header row, or from the guess).
    int importFiles(const QStringList& paths);
    // File > Export CSV…: the rows as CSV, which File > Import reads back.
    void exportCsv();
    // File > Export PDF… and File > Print…: the sheet as a paginated table.
    void exportPdf();
    void print();

    // --- the window's commands ---
    void copy();
    void cut();
    void paste();
    void deleteSelectedRows();
    void addRow();
    // Empties the sheet once the user has agreed.
    void clearAll();
    // Sorts, then writes the MIDI file (".mid" added to a bare name); the
    // message line says what the sort and the export changed.
    void exportMidi();
    void importMidi();
    // The list tools, on the selected rows (every row when none is
    // selected for the offset): each asks its question, then one step.
    void offsetTimes();
    void renumber();
    void findReplace();

    // --- the take ---
    // Whether this is the armed sheet, the one the time code fires. The
    // window says so plainly at its top.
    void setArmed(bool armed);
    // Selects the row without sending its text to the unit (time code
    // moving the selection while held).
    void selectRowQuietly(int row);
    bool isArmed() const { return m_armed; }
    // Hold: nothing is sent for the time code; shown unmistakably.
    void setHeld(bool held);
    // The incoming rate ("29.97 drop"; empty before any) and whether time
    // code runs: shown beside the counter, which greys out when stopped.
    void setTimecodeState(const QString& rate, bool running);
    // A line about the time code for this sheet, with a button when
    // `actionText` is not empty (pressing it emits timecodeWarningAction).
    // Empty hides it.
    void showTimecodeWarning(const QString& text, const QString& actionText = QString());
    QString timecodeWarning() const;

signals:
    void activated(CueWindow* window);
    void saved(const QString& path);
    void closed(CueWindow* window);
    // Lines for the user to read: a MIDI file's log, the 7/8 self-test.
    void logText(const QString& text);
    // Cues > Arm This Sheet, Hold, Fire Next; the warning line's button.
    void armRequested(CueWindow* window);
    void holdRequested(bool held);
    void fireNextRequested();
    void timecodeWarningAction();

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void buildControls(QVBoxLayout* layout);
    QLayout* buildTopRow();
    QWidget* buildUnitTextOptions();
    QWidget* buildSortOptions();
    QWidget* buildMidiFileOptions();
    QLayout* buildRowButtons();
    void buildMenus();
    QWidget* buildTakeBar();
    void buildTakeMenu(QMenu* cues);
    void showTakeState();
    void connectControls();
    void connectOptions();
    void showSettings();
    void takeSettingsFromControls(const char* changedKey);
    void updateTitle();
    void updateCount();
    QString askSavePath(const QString& caption, const QString& filter, const char* extension);
    bool writeSheet(const QString& path);
    std::optional<delimited::ColumnMapping> chooseColumns(const QString& path,
                                                          const delimited::Table& preview,
                                                          const delimited::ColumnMapping& guess);

    CueDocument* m_document = nullptr;
    CueTableModel* m_model = nullptr;
    CueTableView* m_table = nullptr;
    QMenu* m_fileMenu = nullptr;
    QWidget* m_counterSlot = nullptr;
    QWidget* m_counter = nullptr;
    QLabel* m_countLabel = nullptr;
    MessageLine* m_messageLine = nullptr;
    QCheckBox* m_checkBoxExportText = nullptr;
    QCheckBox* m_checkBoxCueIdInText = nullptr;
    QCheckBox* m_checkBoxDuplicate = nullptr;
    QCheckBox* m_checkBoxMidnightCalc = nullptr;
    QCheckBox* m_checkBoxPulldown = nullptr;
    QLineEdit* m_textBoxMidiStart = nullptr;
    QComboBox* m_comboBoxMidiTcType = nullptr;
    // The take.
    bool m_armed = false;
    bool m_held = false;
    bool m_quietSelection = false;
    QLabel* m_armedLabel = nullptr;
    QLabel* m_rateLabel = nullptr;
    QPushButton* m_armButton = nullptr;
    QPushButton* m_holdButton = nullptr;
    QPushButton* m_fireNextButton = nullptr;
    QAction* m_armAction = nullptr;
    QAction* m_holdAction = nullptr;
    QAction* m_fireNextAction = nullptr;
    QWidget* m_warningBar = nullptr;
    QLabel* m_warningLabel = nullptr;
    QPushButton* m_warningButton = nullptr;
};

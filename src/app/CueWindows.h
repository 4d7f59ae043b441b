#pragma once

#include "cues/CueRecovery.h"
#include "protocol/ReplyReceivers.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <functional>
#include <memory>

class CueFiring;
class TakeControl;
class CueWindow;
class MidiController;
class QAction;
class QMenu;
class QWidget;
class qz62View;

// The open cue windows and the File commands that act on them. The File
// commands and the expected count of an in/out list work with the frontmost
// window; the streamer's offset and duration from each status report reach
// every sheet, so the armed one (TakeControl), in front or not, fires with
// the current lead. The File commands appear in the main window's menu and
// in every cue window's.
//
// Every modified sheet is copied for recovery (CueRecovery); the copies an
// earlier run left are offered at start-up (offerRecovery()).
class CueWindows : public QObject {
    Q_OBJECT
public:
    static constexpr int kMaxRecentFiles = 8;
    static constexpr const char* kKeyRecentFiles = "RecentCueSheets";

    enum class RestoreAnswer { Restore, Discard, Later };
    // Whether to restore an earlier run's copy. Tests replace it; the
    // default is a message box (askRestore).
    using RestoreQuestion =
        std::function<RestoreAnswer(QWidget* parent, const CueRecovery::Orphan& copy)>;
    static RestoreAnswer askRestore(QWidget* parent, const CueRecovery::Orphan& copy);

    CueWindows(qz62View* panel, QMenu* mainFileMenu, QObject* parent = nullptr);
    // The copies of sheets that were neither saved nor discarded are written
    // out for the next start before the windows go.
    ~CueWindows() override;

    CueWindow* newCueSheet();
    // Opens a sheet text file (in the encodings TextFileReader knows): in the
    // window that already shows it, in an untouched new window, or in a
    // window of its own. A file that is not a sheet opens as an untitled
    // sheet holding its rows (the window says so), so saving never writes
    // over it. Alerts "select a file with .txt extension" for other names;
    // null when not opened.
    CueWindow* open(const QString& path);
    void openWithDialog();
    // File > Import…: rows from cue lists (text in any encoding the reader
    // knows, PDFs) added to the front sheet, or to a new one.
    void importWithDialog();
    CueWindow* importFiles(const QStringList& paths);
    // A file handed over from outside (the command line, "open with", a
    // second start): a ".txt" file opens as open() does; a PDF or another
    // text cue list becomes a new untitled sheet, as importing it would.
    // Anything else gives the message the menu gives. Null when not opened.
    CueWindow* openHandedFile(const QString& path);

    // Asks about each copy an earlier run left (oldest first): a restored
    // sheet opens in a window of its own, modified, with its own file name.
    // Returns the windows restored.
    QList<CueWindow*> offerRecovery();
    void setRestoreQuestion(RestoreQuestion question) { m_restoreQuestion = std::move(question); }
    CueRecovery* recovery() const { return m_recovery.get(); }
    bool save();
    bool saveAs();
    void closeFront();
    // Asks about every modified sheet; false when the user cancelled.
    bool closeAll();

    // MIDI Time Code fires the armed sheet's cues (take()), and every
    // window's counter follows it. Detached (and the firing gone) before
    // this object goes.
    void attachTimecode(MidiController* midi);
    CueFiring* cueFiring() const;
    TakeControl* take() const { return m_take.get(); }

    CueWindow* front() const;
    QList<CueWindow*> windows() const;
    QStringList recentFiles() const;

private:
    void setFront(CueWindow* window);
    void forget(CueWindow* window);
    void addRecent(const QString& path);
    void rebuildRecentMenu();
    void updateActions();
    void addFileActions(QMenu* menu);
    void linkChanged();
    CueWindow* untouchedOrNewWindow();
    void windowClosed(CueWindow* window);

    // The status report's streamer values, passed on to every sheet.
    struct AllSheets : CueDocumentTarget {
        explicit AllSheets(CueWindows& owner) : m_owner(owner) {}
        void setOffset(double seconds) override;
        void setStepperStreamerDuration(int fiftieths) override;
        CueWindows& m_owner;
    };

    qz62View* m_panel;
    AllSheets m_allSheets{*this};
    int m_streamerDuration = 100; // fiftieths of a second, as a new sheet has it
    double m_streamerOffset = 0.0;
    QList<QPointer<CueWindow>> m_windows;
    QPointer<CueWindow> m_front;
    QAction* m_new = nullptr;
    QAction* m_open = nullptr;
    QAction* m_import = nullptr;
    QMenu* m_recent = nullptr;
    QAction* m_save = nullptr;
    QAction* m_saveAs = nullptr;
    QAction* m_close = nullptr;
    std::unique_ptr<TakeControl> m_take;
    std::unique_ptr<CueRecovery> m_recovery;
    RestoreQuestion m_restoreQuestion = &CueWindows::askRestore;
};

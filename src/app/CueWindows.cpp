#include "app/CueWindows.h"

#include "app/TakeControl.h"
#include "base/Alerts.h"
#include "cues/CueDocument.h"
#include "cues/CueFiring.h"
#include "cues/CueListImporter.h"
#include "cues/TextFileReader.h"
#include "cues/view/CueTableView.h"
#include "cues/view/CueWindow.h"
#include "link/ComThread.h"
#include "midi/MidiController.h"
#include "panel/view/qz62View.h"

#include <QAction>
#include <QDir>
#include <QFileInfo>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QMenuBar>
#include <QScreen>
#include <QSettings>
#include <QTabWidget>
#include <algorithm>

namespace {
QString unreadableMessage(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists())
        return QObject::tr("cannot open \u201c%1\u201d: there is no such file").arg(path);
    return QObject::tr("cannot open \u201c%1\u201d: %2")
        .arg(path, QLatin1String(TextFileReader::kUnreadableNote));
}

// Any list the importers read; MIDI files come in through their own command.
const QString kListFilter =
    QStringLiteral("Cue lists (*.txt *.TXT *.csv *.CSV *.tsv *.TSV *.text *.pdf *.PDF *.srt "
                   "*.SRT *.xlsx *.XLSX);;All files (*)");
} // namespace

CueWindows::CueWindows(qz62View* panel, QMenu* mainFileMenu, QObject* parent)
    : QObject(parent), m_panel(panel),
      m_take(std::make_unique<TakeControl>([this] { return front(); })),
      m_recovery(std::make_unique<CueRecovery>()) {
    m_new = new QAction(tr("&New Cue Sheet"), this);
    m_new->setShortcut(QKeySequence::New);
    m_open = new QAction(tr("&Open…"), this);
    m_open->setShortcut(QKeySequence::Open);
    m_import = new QAction(tr("&Import…"), this);
    m_import->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_I));
    m_import->setToolTip(
        tr("Add the cues of text, CSV and spreadsheet lists, subtitles, marker lists and PDF "
           "cue sheets to the front sheet"));
    m_recent = new QMenu(tr("Open &Recent"));
    m_save = new QAction(tr("&Save"), this);
    m_save->setShortcut(QKeySequence::Save);
    m_saveAs = new QAction(tr("Save &As…"), this);
    // Some desktops bind no key to Save As: Ctrl+Shift+S always works.
    QList<QKeySequence> saveAsKeys = QKeySequence::keyBindings(QKeySequence::SaveAs);
    const QKeySequence ctrlShiftS(Qt::CTRL | Qt::SHIFT | Qt::Key_S);
    if (!saveAsKeys.contains(ctrlShiftS))
        saveAsKeys.append(ctrlShiftS);
    m_saveAs->setShortcuts(saveAsKeys);
    m_close = new QAction(tr("&Close"), this);
    m_close->setShortcut(QKeySequence::Close);
    connect(m_new, &QAction::triggered, this, &CueWindows::newCueSheet);
    connect(m_open, &QAction::triggered, this, &CueWindows::openWithDialog);
    connect(m_import, &QAction::triggered, this, &CueWindows::importWithDialog);
    connect(m_save, &QAction::triggered, this, &CueWindows::save);
    connect(m_saveAs, &QAction::triggered, this, &CueWindows::saveAs);
    connect(m_close, &QAction::triggered, this, &CueWindows::closeFront);
    if (mainFileMenu)
        addFileActions(mainFileMenu);
    connect(&panel->controller(), &PanelController::linkStateChanged, this,
            &CueWindows::linkChanged);
    panel->controller().parser().setCueDocument(&m_allSheets);
    rebuildRecentMenu();
    updateActions();
}

CueWindows::~CueWindows() {
    // The MIDI thread lets go of the firing before it goes.
    m_take->attach(nullptr);
    // Sheets nobody saved or discarded (the program ends without asking)
    // stay in their copies for the next start.
    m_recovery->flush();
    const QList<CueWindow*> open = windows();
    m_windows.clear();
    for (CueWindow* w : open) {
        w->disconnect(this);
        delete w;
    }
    m_panel->controller().parser().setCueDocument(nullptr);
    delete m_recent;
}

void CueWindows::addFileActions(QMenu* menu) {
    QAction* first = menu->actions().isEmpty() ? nullptr : menu->actions().first();
    menu->insertActions(first, {m_new, m_open});
    menu->insertMenu(first, m_recent);
    menu->insertAction(first, m_import);
    menu->insertActions(first, {m_save, m_saveAs, m_close});
    if (first)
        menu->insertSeparator(first);
}

CueWindow* CueWindows::front() const {
    return m_front;
}

QList<CueWindow*> CueWindows::windows() const {
    QList<CueWindow*> list;
    for (const QPointer<CueWindow>& w : m_windows) {
        if (w)
            list.append(w);
    }
    return list;
}

CueWindow* CueWindows::newCueSheet() {
    auto* window = new CueWindow;
    addFileActions(window->fileMenu());
    m_windows.append(window);
    CueDocument* doc = window->document();
    doc->setComThread(m_panel->controller().comThread());
    connect(window, &CueWindow::activated, this, &CueWindows::setFront);
    connect(window, &CueWindow::closed, this, &CueWindows::windowClosed);
    m_recovery->watch(doc);
    connect(window, &CueWindow::saved, this, &CueWindows::addRecent);
    connect(window, &QObject::destroyed, this, [this, window] { forget(window); });
    // The status report's streamer values as they are now.
    doc->setStepperStreamerDuration(m_streamerDuration);
    doc->setOffset(m_streamerOffset);
    m_take->addWindow(window);
    connect(doc, &CueDocument::inOutsSent, this,
            [this](int pairs) { m_panel->controller().parser().setFMax(pairs); });
    // What the user asked to read shows in the unit tab's log, brought forward.
    connect(window, &CueWindow::logText, m_panel, [this](const QString& text) {
        m_panel->appendDebugText(text);
        m_panel->tabView()->setCurrentIndex(qz62View::kUnitTab);
    });
    setFront(window);
    // A new sheet opens whole on the main window's screen, a little below and
    // right of the main window (cascading), and in front of it. Frames drawn
    // by the window manager are not known before the window is shown: room
    // is kept for them. Windows appear with the application's main window
    // (tests keep both hidden).
    QWidget* main = m_panel->window();
    if (const QScreen* screen = main->screen()) {
        constexpr int kFrameRoom = 48;
        constexpr int kCascadeStep = 32;
        const QRect room = screen->availableGeometry().adjusted(0, 0, -kFrameRoom, -kFrameRoom);
        window->resize(window->size().boundedTo(room.size()));
        const int step = kCascadeStep * int(windows().size() % 8);
        QPoint at = main->geometry().topLeft() + QPoint(step, step);
        at.setX(std::clamp(at.x(), room.left(), room.x() + room.width() - window->width()));
        at.setY(std::clamp(at.y(), room.top(), room.y() + room.height() - window->height()));
        window->move(at);
    }
    if (main->isVisible()) {
        window->show();
        window->raise();
        window->activateWindow();
    }
    return window;
}

CueWindow* CueWindows::untouchedOrNewWindow() {
    if (m_front && m_front->document()->isPristine())
        return m_front;
    return newCueSheet();
}

CueWindow* CueWindows::open(const QString& path) {
    if (QFileInfo(path).suffix().toLower() != QLatin1String("txt")) {
        alerts::show(QStringLiteral("select a file with .txt extension"));
        return nullptr;
    }
    const QString canonical = QFileInfo(path).absoluteFilePath();
    for (CueWindow* w : windows()) {
        if (QFileInfo(w->document()->filePath()).absoluteFilePath() == canonical &&
            !w->document()->filePath().isEmpty()) {
            setFront(w);
            w->raise();
            return w;
        }
    }
    const bool fresh = !(m_front && m_front->document()->isPristine());
    CueWindow* window = untouchedOrNewWindow();
    switch (window->document()->openFile(canonical)) {
    case CueDocument::Opened::Unreadable:
        // It adds nothing, and says why.
        if (fresh)
            window->close();
        alerts::show(unreadableMessage(canonical));
        return nullptr;
    case CueDocument::Opened::Sheet:
        addRecent(canonical);
        break;
    case CueDocument::Opened::OtherList:
        break; // untitled: the list itself is not the sheet's file
    }
    setFront(window);
    return window;
}

CueWindow* CueWindows::openHandedFile(const QString& path) {
    const QFileInfo info(path);
    if (info.suffix().toLower() == QLatin1String("txt"))
        return open(path);
    if (!info.isFile() || !info.isReadable()) {
        alerts::show(unreadableMessage(info.absoluteFilePath()));
        return nullptr;
    }
    CueWindow* window = untouchedOrNewWindow();
    window->importFiles({info.absoluteFilePath()});
    setFront(window);
    return window;
}

void CueWindows::openWithDialog() {
    const QString path =
        cueDialogs().openFile(m_front ? static_cast<QWidget*>(m_front) : nullptr,
                              tr("Open Cue Sheet"), QStringLiteral("Cue sheets (*.txt *.TXT)"));
    if (!path.isEmpty())
        open(path);
}

void CueWindows::importWithDialog() {
    const QStringList paths = cueDialogs().openFiles(
        m_front ? static_cast<QWidget*>(m_front) : nullptr, tr("Import Cue Lists"), kListFilter);
    if (!paths.isEmpty())
        importFiles(paths);
}

CueWindow* CueWindows::importFiles(const QStringList& paths) {
    CueWindow* window = m_front ? m_front.data() : newCueSheet();
    window->importFiles(paths);
    setFront(window);
    return window;
}

QList<CueWindow*> CueWindows::offerRecovery() {
    QList<CueWindow*> restored;
    for (const CueRecovery::Orphan& copy : m_recovery->orphans()) {
        switch (m_restoreQuestion(m_panel->window(), copy)) {
        case RestoreAnswer::Restore: {
            CueWindow* window = untouchedOrNewWindow();
            window->document()->restore(copy.sheetText, copy.sheetPath);
            // This run's own copy is written before the old one goes.
            m_recovery->flush();
            CueRecovery::remove(copy);
            window->showMessage(
                tr("Restored from the copy written %1, which was never saved: Save keeps it.")
                    .arg(QLocale().toString(copy.written, QLocale::ShortFormat)));
            restored << window;
            break;
        }
        case RestoreAnswer::Discard:
            CueRecovery::remove(copy);
            break;
        case RestoreAnswer::Later:
            break;
        }
    }
    return restored;
}

void CueWindows::windowClosed(CueWindow* window) {
    // Closed while still modified: the user chose not to save it.
    m_recovery->discard(window->document());
    forget(window);
}

bool CueWindows::save() {
    return m_front && m_front->save();
}

bool CueWindows::saveAs() {
    return m_front && m_front->saveAs();
}

void CueWindows::closeFront() {
    if (m_front)
        m_front->close();
}

bool CueWindows::closeAll() {
    for (CueWindow* w : windows()) {
        if (!w->close())
            return false;
    }
    return true;
}

void CueWindows::setFront(CueWindow* window) {
    m_front = window;
    updateActions();
}

void CueWindows::attachTimecode(MidiController* midi) {
    m_take->setCommandSink(m_panel->controller().comThread());
    m_take->attach(midi);
}

CueFiring* CueWindows::cueFiring() const {
    return m_take->firing();
}

void CueWindows::forget(CueWindow* window) {
    m_take->removeWindow(window);
    m_windows.removeIf([window](const QPointer<CueWindow>& w) { return !w || w == window; });
    if (m_front == window || !m_front) {
        const QList<CueWindow*> rest = windows();
        setFront(rest.isEmpty() ? nullptr : rest.last());
    }
}

void CueWindows::AllSheets::setOffset(double seconds) {
    m_owner.m_streamerOffset = seconds;
    for (CueWindow* w : m_owner.windows())
        w->document()->setOffset(seconds);
}

void CueWindows::AllSheets::setStepperStreamerDuration(int fiftieths) {
    m_owner.m_streamerDuration = fiftieths;
    for (CueWindow* w : m_owner.windows())
        w->document()->setStepperStreamerDuration(fiftieths);
}

void CueWindows::linkChanged() {
    for (CueWindow* w : windows())
        w->document()->setComThread(m_panel->controller().comThread());
    m_take->setCommandSink(m_panel->controller().comThread());
}

QStringList CueWindows::recentFiles() const {
    return QSettings().value(QLatin1String(kKeyRecentFiles)).toStringList();
}

void CueWindows::addRecent(const QString& path) {
    QStringList files = recentFiles();
    files.removeAll(path);
    files.prepend(path);
    while (files.size() > kMaxRecentFiles)
        files.removeLast();
    QSettings().setValue(QLatin1String(kKeyRecentFiles), files);
    rebuildRecentMenu();
}

void CueWindows::rebuildRecentMenu() {
    m_recent->clear();
    const QStringList files = recentFiles();
    for (const QString& path : files) {
        QAction* a = m_recent->addAction(QDir::toNativeSeparators(path));
        connect(a, &QAction::triggered, this, [this, path] { open(path); });
    }
    if (!files.isEmpty()) {
        m_recent->addSeparator();
        m_recent->addAction(tr("Clear Menu"), this, [this] {
            QSettings().remove(QLatin1String(kKeyRecentFiles));
            rebuildRecentMenu();
        });
    }
    m_recent->setEnabled(!files.isEmpty());
}

void CueWindows::updateActions() {
    for (QAction* a : {m_save, m_saveAs, m_close})
        a->setEnabled(m_front != nullptr);
}

#include "cues/view/CueWindow.h"

#include "cues/CueDocument.h"
#include "cues/CueTableModel.h"
#include "cues/view/CueTableView.h"
#include "cues/view/MessageLine.h"
#include "cues/view/internal/CueWindowParts.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QFontDatabase>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QMimeData>
#include <QVBoxLayout>

using cuewindowparts::button;

namespace {
QLabel* counterPlaceholder() {
    auto* placeholder = new QLabel(QStringLiteral("--:--:--:--"));
    placeholder->setObjectName(QStringLiteral("labelTimecodeCounter"));
    QFont counterFont = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    counterFont.setPointSizeF(counterFont.pointSizeF() * 2.6);
    counterFont.setBold(true);
    placeholder->setFont(counterFont);
    placeholder->setStyleSheet(QStringLiteral(
        "QLabel { background: #101418; color: #7fdc7f; padding: 4px 14px; border-radius: 4px; }"));
    placeholder->setAlignment(Qt::AlignCenter);
    return placeholder;
}
} // namespace

CueWindow::CueWindow(QWidget* parent) : QMainWindow(parent) {
    setAttribute(Qt::WA_DeleteOnClose);
    m_document = new CueDocument(this);
    m_document->setObjectName(QStringLiteral("cueDocument"));
    m_document->initSettings(defaultSettings());

    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    buildControls(layout);
    setCentralWidget(central);
    buildMenus();
    connectControls();
    showSettings();
    updateTitle();
    updateCount();
    resize(900, 620);
}

CueWindow::~CueWindow() {
    // The document and the table go after this window's own parts: nothing
    // they say on the way out may reach it.
    m_table->selectionModel()->disconnect(this);
    m_document->blockSignals(true);
}

void CueWindow::buildControls(QVBoxLayout* layout) {
    layout->addWidget(buildTakeBar());
    layout->addLayout(buildTopRow());
    auto* options = new QHBoxLayout;
    options->addWidget(buildUnitTextOptions());
    options->addWidget(buildSortOptions());
    options->addWidget(buildMidiFileOptions());
    options->addStretch(1);
    layout->addLayout(options);

    m_table = new CueTableView;
    m_table->setObjectName(QStringLiteral("cueTable"));
    m_model = new CueTableModel(m_document, this);
    m_table->setModel(m_model);
    layout->addWidget(m_table, 1);
    m_messageLine = new MessageLine;
    layout->addWidget(m_messageLine);
    layout->addLayout(buildRowButtons());
}

QLayout* CueWindow::buildTopRow() {
    // The counter, read from across the stage, and the unit buttons.
    auto* top = new QHBoxLayout;
    m_counterSlot = new QWidget;
    m_counterSlot->setObjectName(QStringLiteral("counterSlot"));
    auto* slotLayout = new QHBoxLayout(m_counterSlot);
    slotLayout->setContentsMargins(0, 0, 0, 0);
    m_counter = counterPlaceholder();
    slotLayout->addWidget(m_counter);
    top->addWidget(m_counterSlot);
    m_rateLabel = new QLabel;
    m_rateLabel->setObjectName(QStringLiteral("labelTimecodeRate"));
    top->addWidget(m_rateLabel);

    auto* unit = new QGroupBox(tr("Unit"));
    auto* unitLayout = new QHBoxLayout(unit);
    unitLayout->addWidget(button(tr("Send In/Outs"), "buttonTxInOuts",
                                 tr("Send every in and out time to the unit, in table order, "
                                    "up to the first row without a valid in time")));
    unitLayout->addWidget(
        button(tr("Clear Unit Text"), "buttonClearText", tr("Clear the text the unit shows")));
    top->addWidget(unit);
    top->addStretch(1);
    return top;
}

QLayout* CueWindow::buildRowButtons() {
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(
        button(tr("Add Row"), "buttonAddRow", tr("Add a new cue after the selection")));
    bottom->addWidget(button(tr("Delete"), "buttonDeleteRows", tr("Delete the selected rows")));
    bottom->addWidget(
        button(tr("Clear All"), "buttonClearAll", tr("Delete every row, after asking")));
    bottom->addSpacing(24);
    bottom->addWidget(button(tr("7/8 Test"), "buttonTest",
                             tr("Check the MIDI text coding on all 256 byte values")));
    bottom->addStretch(1);
    m_countLabel = new QLabel;
    m_countLabel->setObjectName(QStringLiteral("labelCueCount"));
    bottom->addWidget(m_countLabel);
    return bottom;
}

void CueWindow::setCounterWidget(QWidget* counter) {
    if (!counter || counter == m_counter)
        return;
    m_counterSlot->layout()->replaceWidget(m_counter, counter);
    delete m_counter;
    m_counter = counter;
}

void CueWindow::showMessage(const QString& text) {
    m_messageLine->showMessage(text);
}

QString CueWindow::message() const {
    return m_messageLine->text();
}

void CueWindow::buildMenus() {
    m_fileMenu = menuBar()->addMenu(tr("&File"));
    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    QAction* undo = m_document->undoStack()->createUndoAction(this, tr("&Undo"));
    undo->setShortcut(QKeySequence::Undo);
    QAction* redo = m_document->undoStack()->createRedoAction(this, tr("&Redo"));
    redo->setShortcut(QKeySequence::Redo);
    edit->addAction(undo);
    edit->addAction(redo);
    edit->addSeparator();
    const struct {
        QString text;
        QKeySequence keys;
        void (CueWindow::*slot)();
    } commands[] = {
        {tr("Cu&t"), QKeySequence::Cut, &CueWindow::cut},
        {tr("&Copy"), QKeySequence::Copy, &CueWindow::copy},
        {tr("&Paste"), QKeySequence::Paste, &CueWindow::paste},
        {tr("&Delete Rows"), QKeySequence::Delete, &CueWindow::deleteSelectedRows},
        {tr("&Add Row"), QKeySequence(Qt::CTRL | Qt::Key_Return), &CueWindow::addRow},
    };
    for (const auto& c : commands) {
        QAction* action = edit->addAction(c.text, this, c.slot);
        action->setShortcut(c.keys);
        // Within the table only, so a field being typed in keeps its own keys.
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        m_table->addAction(action);
    }
    edit->addAction(tr("Select &All"), m_table, &QTableView::selectAll);
    edit->addAction(tr("C&lear All"), this, &CueWindow::clearAll);
    edit->addSeparator();
    QAction* replace = edit->addAction(tr("&Find and Replace…"), this, &CueWindow::findReplace);
    replace->setShortcut(QKeySequence::Replace);

    QMenu* cues = menuBar()->addMenu(tr("&Cues"));
    cues->addAction(tr("&Sort"), m_document, &CueDocument::sort);
    cues->addAction(tr("Send &In/Outs"), m_document, &CueDocument::onTxInOuts);
    cues->addAction(tr("&Clear Unit Text"), m_document, &CueDocument::onClearText);
    cues->addSeparator();
    cues->addAction(tr("&Offset Times…"), this, &CueWindow::offsetTimes);
    cues->addAction(tr("&Renumber…"), this, &CueWindow::renumber);
    cues->addSeparator();
    cues->addAction(tr("&Export MIDI File…"), this, &CueWindow::exportMidi);
    cues->addAction(tr("&Import MIDI File…"), this, &CueWindow::importMidi);

    m_fileMenu->addAction(tr("Export &CSV…"), this, &CueWindow::exportCsv);
    m_fileMenu->addAction(tr("Export P&DF…"), this, &CueWindow::exportPdf);
    QAction* print = m_fileMenu->addAction(tr("&Print…"), this, &CueWindow::print);
    print->setShortcut(QKeySequence::Print);
    buildTakeMenu(cues);
}

void CueWindow::connectControls() {
    auto clicked = [this](const char* name, auto slot) {
        connect(findChild<QPushButton*>(QLatin1String(name)), &QPushButton::clicked, this, slot);
    };
    clicked("buttonTxInOuts", [this] { m_document->onTxInOuts(); });
    clicked("buttonClearText", [this] { m_document->onClearText(); });
    clicked("buttonSort", [this] { m_document->sort(); });
    clicked("buttonExportMidi", [this] { exportMidi(); });
    clicked("buttonImportMidi", [this] { importMidi(); });
    clicked("buttonTest", [this] { m_document->onButtonTest(); });
    clicked("buttonAddRow", [this] { addRow(); });
    clicked("buttonDeleteRows", [this] { deleteSelectedRows(); });
    clicked("buttonClearAll", [this] { clearAll(); });

    connectOptions();
    connect(m_document, &CueDocument::modifiedChanged, this, &CueWindow::updateTitle);
    connect(m_document, &CueDocument::filePathChanged, this, &CueWindow::updateTitle);
    connect(m_document, &CueDocument::rowsChanged, this, &CueWindow::updateCount);
    connect(m_document, &CueDocument::logText, this, &CueWindow::logText);
    connect(m_document, &CueDocument::message, this, &CueWindow::showMessage);
    connect(m_table, &CueTableView::filesDropped, this,
            [this](const QStringList& paths, bool sourceOffersLink) {
                m_document->dropFiles(paths, sourceOffersLink,
                                      [this](const QString& path, const delimited::Table& preview,
                                             const delimited::ColumnMapping& guess) {
                                          return chooseColumns(path, preview, guess);
                                      });
            });
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        if (m_quietSelection)
            m_document->selectRowQuietly(m_table->firstSelectedRow());
        else
            m_document->selectRow(m_table->firstSelectedRow());
    });
}

void CueWindow::updateTitle() {
    setWindowTitle(tr("%1[*] — Cue Sheet").arg(m_document->displayName()));
    setWindowModified(m_document->isModified());
    setWindowFilePath(m_document->filePath());
}

void CueWindow::updateCount() {
    const int n = m_document->rowCount();
    m_countLabel->setText(n == 1 ? tr("1 cue") : tr("%1 cues").arg(n));
}

void CueWindow::copy() {
    QList<CueItem> rows;
    for (int r : m_table->selectedRowList())
        rows.append(m_document->rows()[r]);
    if (!rows.isEmpty())
        QApplication::clipboard()->setMimeData(CueTableModel::mimeDataForRows(rows));
}

void CueWindow::cut() {
    const QList<int> rows = m_table->selectedRowList();
    if (rows.isEmpty())
        return;
    copy();
    m_document->removeRows(rows, tr("Cut"));
}

void CueWindow::paste() {
    const QMimeData* data = QApplication::clipboard()->mimeData();
    if (const std::optional<QList<CueItem>> rows = CueTableModel::rowsFromMimeData(data))
        m_document->appendRows(*rows, tr("Paste"));
    else if (data && data->hasText())
        m_document->paste(data->text());
}

void CueWindow::deleteSelectedRows() {
    m_document->removeRows(m_table->selectedRowList());
}

void CueWindow::addRow() {
    const QList<int> selected = m_table->selectedRowList();
    const int row = m_document->insertRow(selected.isEmpty() ? -1 : selected.last() + 1);
    m_table->setCurrentIndex(m_model->index(row, CueDocument::ColumnId));
}

void CueWindow::clearAll() {
    const int rows = m_document->rowCount();
    if (rows > 0 && cueDialogs().confirmClearAll(this, rows))
        m_document->clearAll();
}

void CueWindow::closeEvent(QCloseEvent* event) {
    if (m_document->isModified()) {
        switch (cueDialogs().askSave(this, m_document->displayName())) {
        case QMessageBox::Save:
            // Still modified after a save to a device or a pipe: not kept.
            if (!save() || m_document->isModified()) {
                event->ignore();
                return;
            }
            break;
        case QMessageBox::Discard:
            break;
        default:
            event->ignore();
            return;
        }
    }
    event->accept();
    emit closed(this);
}

void CueWindow::changeEvent(QEvent* event) {
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        emit activated(this);
    QMainWindow::changeEvent(event);
}

void CueWindow::offsetTimes() {
    const QList<int> rows = m_table->selectedRowList();
    const std::optional<QString> answer = cueDialogs().askText(
        this, tr("Offset Times"),
        rows.isEmpty()
            ? tr("Move the in and out times of every cue by (such as +01:00:00:00 "
                 "or -00:00:10:00):")
            : tr("Move the in and out times of the %1 selected cues by:").arg(rows.size()),
        QStringLiteral("+01:00:00:00"));
    if (!answer)
        return;
    const std::optional<int> frames =
        cuelisttools::parseOffset(*answer, m_document->settings().tctype);
    if (!frames) {
        showMessage(tr("\u201c%1\u201d is not an offset such as +01:00:00:00 at this sheet's rate; "
                       "no time was moved.")
                        .arg(*answer));
        return;
    }
    m_document->offsetTimes(rows, *frames);
}

void CueWindow::renumber() {
    const QList<int> rows = m_table->selectedRowList();
    if (rows.isEmpty()) {
        showMessage(tr("Select the cues to renumber first."));
        return;
    }
    const std::optional<QString> answer = cueDialogs().askText(
        this, tr("Renumber"),
        tr("First identifier, and a step after a blank if it is not 1 (such as 1M1, or 1M10 10):"),
        QStringLiteral("1M1"));
    if (!answer)
        return;
    const std::optional<cuelisttools::Numbering> numbering = cuelisttools::parseNumbering(*answer);
    if (!numbering) {
        showMessage(
            tr("\u201c%1\u201d does not end in a number; nothing was renumbered.").arg(*answer));
        return;
    }
    m_document->renumber(rows, *numbering);
}

void CueWindow::findReplace() {
    const std::optional<QString> find = cueDialogs().askText(
        this, tr("Find and Replace"), tr("Find (in identifiers, texts and notes):"), QString());
    if (!find || find->isEmpty())
        return;
    const std::optional<QString> replacement = cueDialogs().askText(
        this, tr("Find and Replace"), tr("Replace \u201c%1\u201d with:").arg(*find), QString());
    if (!replacement)
        return;
    m_document->replaceText(*find, *replacement, Qt::CaseSensitive);
}

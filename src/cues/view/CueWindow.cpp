#include "cues/view/CueWindow.h"

#include "base/Alerts.h"
#include "cues/CueDocument.h"
#include "cues/CueMidiExport.h"
#include "cues/CueTableModel.h"
#include "cues/view/CueTableView.h"
#include "cues/view/MessageLine.h"
#include "midi/MidiTrack.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMimeData>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QSettings>
#include <QVBoxLayout>

CueDialogs& cueDialogs() {
    static CueDialogs dialogs{
        [](QWidget* parent, const QString& caption, const QString& filter) {
            return QFileDialog::getOpenFileName(parent, caption, QString(), filter);
        },
        [](QWidget* parent, const QString& caption, const QString& filter) {
            return QFileDialog::getSaveFileName(parent, caption, QString(), filter);
        },
        [](QWidget* parent, const QString& name) {
            return QMessageBox::question(
                parent, QObject::tr("Unsaved cue sheet"),
                QObject::tr("Save the changes to \"%1\" before closing?").arg(name),
                QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
        }};
    return dialogs;
}

namespace {
const QString kSheetFilter = QStringLiteral("Cue sheets (*.txt *.TXT)");
const QString kMidiFilter = QStringLiteral("MIDI files (*.mid *.MID)");

QPushButton* button(const QString& text, const char* name, const QString& tip) {
    auto* b = new QPushButton(text);
    b->setObjectName(QLatin1String(name));
    b->setToolTip(tip);
    return b;
}

QCheckBox* checkBox(const QString& text, const char* name, const QString& tip) {
    auto* c = new QCheckBox(text);
    c->setObjectName(QLatin1String(name));
    c->setToolTip(tip);
    return c;
}

// What the counter slot shows until the application puts its counter there.
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

namespace {
QVariantHash& defaultsForThisRun() {
    static QVariantHash values;
    return values;
}
} // namespace

void CueWindow::setDefaultsForThisRun(const QVariantHash& values) {
    defaultsForThisRun() = values;
}

CueSheetSettings CueWindow::defaultSettings() {
    // The remembered defaults, under this run's own where it has them.
    const QSettings remembered;
    const auto value = [&remembered](const char* key, const QVariant& fallback) {
        const QString name = QLatin1String(key);
        return defaultsForThisRun().value(name, remembered.value(name, fallback));
    };
    CueSheetSettings s;
    s.midnight = value(kKeyRollover, true).toBool();
    s.text = value(kKeyIncludeDialog, true).toBool();
    s.cueId = value(kKeyIncludeCueId, true).toBool();
    s.duplicate = value(kKeyRemoveDuplicates, true).toBool();
    s.pulldown = value(kKeyPulldown, false).toBool();
    s.tctype = qBound(0, value(kKeyTcType, 3).toInt(), 3);
    s.start = value(kKeyTcStart, QStringLiteral("01:00:00:00")).toString();
    return s;
}

void CueWindow::buildControls(QVBoxLayout* layout) {
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

QWidget* CueWindow::buildUnitTextOptions() {
    auto* text = new QGroupBox(tr("Unit text"));
    auto* textLayout = new QVBoxLayout(text);
    m_checkBoxExportText = checkBox(tr("Cue text"), "checkBoxExportText",
                                    tr("Send the cue text (also into MIDI files)"));
    m_checkBoxCueIdInText = checkBox(tr("Cue ID in front"), "checkBoxCueIdInText",
                                     tr("Put the cue identifier in front of the text"));
    textLayout->addWidget(m_checkBoxExportText);
    textLayout->addWidget(m_checkBoxCueIdInText);
    return text;
}

QWidget* CueWindow::buildSortOptions() {
    auto* sorting = new QGroupBox(tr("Sort"));
    auto* sortLayout = new QGridLayout(sorting);
    m_checkBoxDuplicate = checkBox(tr("Remove duplicates"), "checkBoxDuplicate",
                                   tr("Keep only the first row of equal in times"));
    m_checkBoxMidnightCalc =
        checkBox(tr("Across midnight"), "checkBoxMidnightCalc",
                 tr("A sheet that runs past midnight starts with its evening cues"));
    sortLayout->addWidget(m_checkBoxDuplicate, 0, 0);
    sortLayout->addWidget(m_checkBoxMidnightCalc, 1, 0);
    sortLayout->addWidget(button(tr("Sort"), "buttonSort", tr("Sort the rows by in time")), 0, 1, 2,
                          1);
    return sorting;
}

QWidget* CueWindow::buildMidiFileOptions() {
    auto* midi = new QGroupBox(tr("MIDI file"));
    auto* midiLayout = new QGridLayout(midi);
    m_textBoxMidiStart = new QLineEdit;
    m_textBoxMidiStart->setObjectName(QStringLiteral("textBoxMidiStart"));
    m_textBoxMidiStart->setToolTip(tr("Timecode at the start of the MIDI file"));
    m_textBoxMidiStart->setValidator(new QRegularExpressionValidator(
        QRegularExpression(QStringLiteral("[0-9:;]{0,11}")), m_textBoxMidiStart));
    m_textBoxMidiStart->setMaximumWidth(
        m_textBoxMidiStart->fontMetrics().horizontalAdvance(QStringLiteral("00:00:00:000")) + 16);
    m_comboBoxMidiTcType = new QComboBox;
    m_comboBoxMidiTcType->setObjectName(QStringLiteral("comboBoxMidiTcType"));
    m_comboBoxMidiTcType->addItems(
        {tr("24 fps"), tr("25 fps"), tr("29.97 fps drop"), tr("30 fps")});
    m_comboBoxMidiTcType->setToolTip(tr("Timecode type of the MIDI file"));
    m_checkBoxPulldown =
        checkBox(tr("Pulldown"), "checkBoxPulldown", tr("Write the MIDI file for pulldown"));
    midiLayout->addWidget(new QLabel(tr("Start")), 0, 0);
    midiLayout->addWidget(m_textBoxMidiStart, 0, 1);
    midiLayout->addWidget(m_comboBoxMidiTcType, 0, 2);
    midiLayout->addWidget(m_checkBoxPulldown, 1, 1);
    auto* midiButtons = new QHBoxLayout;
    midiButtons->addWidget(
        button(tr("Export…"), "buttonExportMidi", tr("Sort, then write the cues to a MIDI file")));
    midiButtons->addWidget(
        button(tr("Import…"), "buttonImportMidi",
               tr("Add a MIDI file's cues to the sheet; its contents go to the unit tab's log")));
    midiLayout->addLayout(midiButtons, 1, 2);
    return midi;
}

QLayout* CueWindow::buildRowButtons() {
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(
        button(tr("Add Row"), "buttonAddRow", tr("Add a new cue after the selection")));
    bottom->addWidget(button(tr("Delete"), "buttonDeleteRows", tr("Delete the selected rows")));
    bottom->addWidget(button(tr("Clear All"), "buttonClearAll", tr("Delete every row")));
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
    edit->addAction(tr("C&lear All"), m_document, &CueDocument::clearAll);

    QMenu* cues = menuBar()->addMenu(tr("&Cues"));
    cues->addAction(tr("&Sort"), m_document, &CueDocument::sort);
    cues->addAction(tr("Send &In/Outs"), m_document, &CueDocument::onTxInOuts);
    cues->addAction(tr("&Clear Unit Text"), m_document, &CueDocument::onClearText);
    cues->addSeparator();
    cues->addAction(tr("&Export MIDI File…"), this, &CueWindow::exportMidi);
    cues->addAction(tr("&Import MIDI File…"), this, &CueWindow::importMidi);
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
    clicked("buttonClearAll", [this] { m_document->clearAll(); });

    const std::pair<QCheckBox*, const char*> boxes[] = {{m_checkBoxExportText, kKeyIncludeDialog},
                                                        {m_checkBoxCueIdInText, kKeyIncludeCueId},
                                                        {m_checkBoxDuplicate, kKeyRemoveDuplicates},
                                                        {m_checkBoxMidnightCalc, kKeyRollover},
                                                        {m_checkBoxPulldown, kKeyPulldown}};
    for (const auto& [box, key] : boxes) {
        const char* k = key;
        connect(box, &QCheckBox::clicked, this, [this, k] { takeSettingsFromControls(k); });
    }
    connect(m_comboBoxMidiTcType, &QComboBox::activated, this,
            [this] { takeSettingsFromControls(kKeyTcType); });
    connect(m_textBoxMidiStart, &QLineEdit::editingFinished, this,
            [this] { takeSettingsFromControls(kKeyTcStart); });

    connect(m_document, &CueDocument::settingsChanged, this, &CueWindow::showSettings);
    connect(m_document, &CueDocument::modifiedChanged, this, &CueWindow::updateTitle);
    connect(m_document, &CueDocument::filePathChanged, this, &CueWindow::updateTitle);
    connect(m_document, &CueDocument::rowsChanged, this, &CueWindow::updateCount);
    connect(m_document, &CueDocument::logText, this, &CueWindow::logText);
    connect(m_document, &CueDocument::message, this, &CueWindow::showMessage);
    connect(m_table, &CueTableView::filesDropped, m_document, &CueDocument::dropFiles);
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { m_document->selectRow(m_table->firstSelectedRow()); });
}

void CueWindow::showSettings() {
    const CueSheetSettings& s = m_document->settings();
    const std::pair<QCheckBox*, bool> boxes[] = {{m_checkBoxExportText, s.text},
                                                 {m_checkBoxCueIdInText, s.cueId},
                                                 {m_checkBoxDuplicate, s.duplicate},
                                                 {m_checkBoxMidnightCalc, s.midnight},
                                                 {m_checkBoxPulldown, s.pulldown}};
    for (const auto& [box, on] : boxes)
        box->setChecked(on);
    m_comboBoxMidiTcType->setCurrentIndex(s.tctype);
    m_textBoxMidiStart->setText(s.start);
}

void CueWindow::takeSettingsFromControls(const char* changedKey) {
    CueSheetSettings s = m_document->settings();
    s.text = m_checkBoxExportText->isChecked();
    s.cueId = m_checkBoxCueIdInText->isChecked();
    s.duplicate = m_checkBoxDuplicate->isChecked();
    s.midnight = m_checkBoxMidnightCalc->isChecked();
    s.pulldown = m_checkBoxPulldown->isChecked();
    s.tctype = qMax(0, m_comboBoxMidiTcType->currentIndex());
    s.start = m_textBoxMidiStart->text();
    m_document->setSettings(s);

    // What the user changes becomes the default of the next new sheet.
    const std::pair<const char*, QVariant> values[] = {{kKeyIncludeDialog, s.text},
                                                       {kKeyIncludeCueId, s.cueId},
                                                       {kKeyRemoveDuplicates, s.duplicate},
                                                       {kKeyRollover, s.midnight},
                                                       {kKeyPulldown, s.pulldown},
                                                       {kKeyTcType, s.tctype},
                                                       {kKeyTcStart, s.start}};
    QSettings settings;
    for (const auto& [key, value] : values) {
        if (qstrcmp(key, changedKey) == 0) {
            settings.setValue(QLatin1String(key), value);
            defaultsForThisRun().remove(QLatin1String(key));
        }
    }
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

bool CueWindow::save() {
    if (m_document->filePath().isEmpty())
        return saveAs();
    if (!m_document->saveToFile(m_document->filePath()))
        return false;
    emit saved(m_document->filePath());
    return true;
}

bool CueWindow::saveAs() {
    const QString path = cueDialogs().saveFile(this, tr("Save Cue Sheet"), kSheetFilter);
    if (path.isEmpty())
        return false;
    if (QFileInfo(path).suffix().toLower() != QLatin1String("txt")) {
        alerts::show(QStringLiteral("select a file with .txt extension"));
        return false;
    }
    if (!m_document->saveToFile(path))
        return false;
    emit saved(path);
    return true;
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

void CueWindow::exportMidi() {
    if (m_document->rowCount() == 0)
        return;
    const QString path = cueDialogs().saveFile(this, tr("Export MIDI File"), kMidiFilter);
    if (path.isEmpty())
        return;
    // Sorted first, as one undo step, so the duplicate and midnight options apply.
    m_document->sort();
    const CueSheetSettings& s = m_document->settings();
    MidiTrack track;
    track.setLogSink([this](const QByteArray& text) { emit logText(QString::fromUtf8(text)); });
    QString error;
    if (!cuemidi::onExportMidi(track, path, m_document->rows(), s.start, s.tctype,
                               m_document->sheet().offset(), s.text, s.pulldown, s.cueId, &error))
        alerts::show(tr("The MIDI file could not be written: %1").arg(error));
}

void CueWindow::importMidi() {
    const QString path = cueDialogs().openFile(this, tr("Import MIDI File"), kMidiFilter);
    if (path.isEmpty())
        return;
    m_document->importMidiFile(
        path, [this](const QByteArray& text) { emit logText(QString::fromUtf8(text)); });
}

void CueWindow::closeEvent(QCloseEvent* event) {
    if (m_document->isModified()) {
        switch (cueDialogs().askSave(this, m_document->displayName())) {
        case QMessageBox::Save:
            if (!save()) {
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

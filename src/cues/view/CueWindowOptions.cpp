#include "cues/view/CueWindow.h"

#include "cues/CueDocument.h"
#include "cues/view/internal/CueWindowParts.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpressionValidator>
#include <QSettings>
#include <QVBoxLayout>

// The option boxes: what the unit text holds, how sorting treats duplicates
// and midnight, the MIDI file's start, type and pulldown. They start from
// the user's defaults and write back the one the user changes.

using cuewindowparts::button;
using cuewindowparts::checkBox;

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
    m_comboBoxMidiTcType->setToolTip(
        tr("The sheet's timecode type: the times its cells can hold, and the MIDI file's rate"));
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

void CueWindow::connectOptions() {
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

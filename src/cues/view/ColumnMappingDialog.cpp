#include "cues/view/ColumnMappingDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

ColumnMappingDialog::ColumnMappingDialog(const QString& fileName, const delimited::Table& preview,
                                         const delimited::ColumnMapping& start, QWidget* parent)
    : QDialog(parent), m_preview(preview) {
    setWindowTitle(tr("Import Columns"));
    auto* layout = new QVBoxLayout(this);
    auto* intro = new QLabel(tr("Choose what each column of \u201c%1\u201d holds. Several columns "
                                "may go into the notes; the others are left out.")
                                 .arg(fileName));
    intro->setWordWrap(true);
    layout->addWidget(intro);
    m_header = new QCheckBox(tr("The first row names the columns (it is not a cue)"));
    m_header->setObjectName(QStringLiteral("checkBoxHeader"));
    m_header->setChecked(start.header);
    layout->addWidget(m_header);

    const int width = std::max(1, preview.width());
    m_table = new QTableWidget(int(preview.records.size()) + 1, width);
    m_table->setObjectName(QStringLiteral("tablePreview"));
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->verticalHeader()->hide();
    for (int c = 0; c < width; ++c) {
        m_table->setHorizontalHeaderItem(c, new QTableWidgetItem(tr("Column %1").arg(c + 1)));
        auto* box = new QComboBox;
        box->setObjectName(QStringLiteral("columnRole%1").arg(c + 1));
        box->addItems(
            {tr("(not used)"), tr("Identifier"), tr("In"), tr("Out"), tr("Text"), tr("Notes")});
        m_roles << box;
        m_table->setCellWidget(0, c, box);
        for (int r = 0; r < preview.records.size(); ++r)
            m_table->setItem(r + 1, c, new QTableWidgetItem(preview.records[r].value(c)));
    }
    for (int c : start.notes)
        setRole(c, RoleNotes);
    const std::pair<int, Role> single[] = {
        {start.id, RoleId}, {start.in, RoleIn}, {start.out, RoleOut}, {start.text, RoleText}};
    for (const auto& [column, role] : single)
        setRole(column, role);
    m_table->resizeColumnsToContents();
    m_table->setMinimumSize(640, 260);
    layout->addWidget(m_table, 1);

    m_hint = new QLabel;
    m_hint->setObjectName(QStringLiteral("labelHint"));
    layout->addWidget(m_hint);
    m_buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    m_buttons->button(QDialogButtonBox::Ok)->setText(tr("Import"));
    layout->addWidget(m_buttons);
    connect(m_buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_header, &QCheckBox::toggled, this, &ColumnMappingDialog::showHeader);
    for (int c = 0; c < m_roles.size(); ++c)
        connect(m_roles[c], &QComboBox::currentIndexChanged, this, [this, c] { roleChanged(c); });
    showHeader();
    roleChanged(-1);
}

void ColumnMappingDialog::setRole(int column, Role role) {
    if (column >= 0 && column < m_roles.size())
        m_roles[column]->setCurrentIndex(role);
}

void ColumnMappingDialog::roleChanged(int column) {
    const int role = column >= 0 ? m_roles[column]->currentIndex() : RoleNone;
    if (role != RoleNone && role != RoleNotes) {
        for (int c = 0; c < m_roles.size(); ++c) {
            if (c != column && m_roles[c]->currentIndex() == role)
                m_roles[c]->setCurrentIndex(RoleNone);
        }
    }
    const bool hasIn = mapping().in >= 0;
    m_buttons->button(QDialogButtonBox::Ok)->setEnabled(hasIn);
    m_hint->setText(hasIn ? tr("Rows whose in time cannot be read are skipped and counted.")
                          : tr("Choose the column that holds the in times."));
}

void ColumnMappingDialog::showHeader() {
    // The names row in bold, so it reads as a header and not as a cue.
    for (int c = 0; c < m_table->columnCount(); ++c) {
        if (QTableWidgetItem* item = m_table->item(1, c)) {
            QFont font = item->font();
            font.setBold(m_header->isChecked());
            item->setFont(font);
        }
    }
}

delimited::ColumnMapping ColumnMappingDialog::mapping() const {
    delimited::ColumnMapping m;
    m.header = m_header->isChecked();
    for (int c = 0; c < m_roles.size(); ++c) {
        switch (m_roles[c]->currentIndex()) {
        case RoleId:
            m.id = c;
            break;
        case RoleIn:
            m.in = c;
            break;
        case RoleOut:
            m.out = c;
            break;
        case RoleText:
            m.text = c;
            break;
        case RoleNotes:
            m.notes << c;
            break;
        default:
            break;
        }
    }
    return m;
}

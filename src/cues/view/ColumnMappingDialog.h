#pragma once

#include "cues/DelimitedText.h"

#include <QDialog>
#include <QList>

class QCheckBox;
class QComboBox;
class QDialogButtonBox;
class QLabel;
class QTableWidget;

// Asks which column of a delimited list or spreadsheet holds the
// identifier, the in and out times, the text and the notes, over the list's
// first rows. One column per field, except the notes, which may gather
// several (character, take...); choosing a field for a column takes it from
// the column that had it. OK needs an in column.
class ColumnMappingDialog : public QDialog {
    Q_OBJECT
public:
    ColumnMappingDialog(const QString& fileName, const delimited::Table& preview,
                        const delimited::ColumnMapping& start, QWidget* parent = nullptr);

    delimited::ColumnMapping mapping() const;
    // What a column gives, by the entries of its box.
    enum Role { RoleNone, RoleId, RoleIn, RoleOut, RoleText, RoleNotes };
    void setRole(int column, Role role);

private:
    void roleChanged(int column);
    void showHeader();

    delimited::Table m_preview;
    QList<QComboBox*> m_roles;
    QCheckBox* m_header = nullptr;
    QTableWidget* m_table = nullptr;
    QLabel* m_hint = nullptr;
    QDialogButtonBox* m_buttons = nullptr;
};

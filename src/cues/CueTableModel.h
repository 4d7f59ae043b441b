#pragma once

#include "cues/CueItem.h"

#include <QAbstractTableModel>
#include <QList>
#include <QPointer>
#include <optional>

class CueDocument;
class QMimeData;

// The cue table's rows, read straight from the document's sheet: nothing is
// copied per row, so a long sheet opens and sorts at the cost of a reset.
// In and out times show in display form (HH:MM:SS:FF or "---") and take
// typed text, of which only the digits count; a time that does not exist at
// the sheet's rate is marked (red, with the reason as its tip).
//
// Rows travel on the clipboard twice: as sheet text lines for other
// programs, and in a cue-row form that carries every field as it is stored,
// so another cue window gets them whole.
class CueTableModel : public QAbstractTableModel {
    Q_OBJECT
public:
    static constexpr const char* kRowMimeType = "application/x-qz62-cue-rows";

    explicit CueTableModel(CueDocument* document, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDragActions() const override;
    Qt::DropActions supportedDropActions() const override;

    // Both clipboard forms of the rows.
    static QMimeData* mimeDataForRows(const QList<CueItem>& rows);
    // The rows of the cue-row form, every field trimmed; nothing when the
    // data does not carry that form.
    static std::optional<QList<CueItem>> rowsFromMimeData(const QMimeData* data);

private:
    QVariant timeMark(int row, int column, int role) const;

    QPointer<CueDocument> m_document;
};

#include "cues/CueTableModel.h"

#include "cues/CueDocument.h"

#include <QColor>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMimeData>
#include <set>

namespace {
// The row archive's keys, in the order the fields are written.
constexpr const char* kKeys[] = {"cueId", "cueIn", "cueOut", "cueText", "cueNotes"};
constexpr int kColumnOfKey[] = {CueDocument::ColumnId, CueDocument::ColumnIn,
                                CueDocument::ColumnOut, CueDocument::ColumnText,
                                CueDocument::ColumnNotes};
} // namespace

CueTableModel::CueTableModel(CueDocument* document, QObject* parent)
    : QAbstractTableModel(parent), m_document(document) {
    // The document has already changed when it tells: a reset is the only
    // honest notice for a list replaced as a whole.
    connect(document, &CueDocument::rowsReset, this, [this] {
        beginResetModel();
        endResetModel();
    });
    connect(document, &CueDocument::cellChanged, this, [this](int row, int column) {
        const QModelIndex i = index(row, column);
        emit dataChanged(i, i);
    });
    // Another rate marks other times.
    connect(document, &CueDocument::settingsChanged, this, [this] {
        if (rowCount() > 0)
            emit dataChanged(index(0, CueDocument::ColumnIn),
                             index(rowCount() - 1, CueDocument::ColumnOut));
    });
}

int CueTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() || !m_document ? 0 : m_document->rowCount();
}

int CueTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : CueDocument::kColumnCount;
}

QVariant CueTableModel::data(const QModelIndex& index, int role) const {
    if (!m_document || !index.isValid() || index.row() >= m_document->rowCount())
        return QVariant();
    const CueItem& item = m_document->rows()[index.row()];
    const int column = index.column();
    const bool time = column == CueDocument::ColumnIn || column == CueDocument::ColumnOut;
    switch (role) {
    case Qt::DisplayRole:
        if (time)
            return TCFormatter::stringForObjectValue(CueDocument::cellValue(item, column));
        // Imported identifiers keep the separator that followed them.
        return column == CueDocument::ColumnId ? item.cueId.trimmed()
                                               : CueDocument::cellValue(item, column);
    case Qt::EditRole: {
        // The editor starts from what is shown, empty for an unset time.
        if (!time)
            return CueDocument::cellValue(item, column);
        const QString shown =
            TCFormatter::stringForObjectValue(CueDocument::cellValue(item, column));
        return shown == QLatin1String("---") ? QString() : shown;
    }
    case Qt::TextAlignmentRole:
        return time ? QVariant(int(Qt::AlignCenter)) : QVariant();
    case Qt::BackgroundRole:
    case Qt::ForegroundRole:
    case Qt::ToolTipRole:
        return time ? timeMark(index.row(), column, role) : QVariant();
    default:
        return QVariant();
    }
}

QVariant CueTableModel::timeMark(int row, int column, int role) const {
    // A time the sheet's rate does not have (kept as it came, never altered).
    const QString problem = m_document->timeProblem(row, column);
    if (problem.isEmpty())
        return QVariant();
    switch (role) {
    case Qt::BackgroundRole:
        return QColor(0xff, 0xc4, 0xc4);
    case Qt::ForegroundRole:
        return QColor(0x80, 0x00, 0x00);
    default:
        return tr("Not a time at this sheet's rate: %1").arg(problem);
    }
}

QVariant CueTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole)
        return QVariant();
    if (orientation == Qt::Vertical)
        return section + 1;
    switch (section) {
    case CueDocument::ColumnId:
        return tr("Cue ID");
    case CueDocument::ColumnIn:
        return tr("In");
    case CueDocument::ColumnOut:
        return tr("Out");
    case CueDocument::ColumnText:
        return tr("Text");
    case CueDocument::ColumnNotes:
        return tr("Notes");
    default:
        return QVariant();
    }
}

Qt::ItemFlags CueTableModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsEditable | Qt::ItemIsDragEnabled;
}

bool CueTableModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (!m_document || role != Qt::EditRole || !index.isValid())
        return false;
    return m_document->setCell(index.row(), index.column(), value.toString());
}

QStringList CueTableModel::mimeTypes() const {
    return {QString::fromLatin1(kRowMimeType), QStringLiteral("text/plain"),
            QStringLiteral("text/uri-list")};
}

QMimeData* CueTableModel::mimeData(const QModelIndexList& indexes) const {
    std::set<int> rowSet;
    for (const QModelIndex& i : indexes)
        rowSet.insert(i.row());
    QList<CueItem> rows;
    for (int r : rowSet) {
        if (m_document && r < m_document->rowCount())
            rows.append(m_document->rows()[r]);
    }
    return mimeDataForRows(rows);
}

Qt::DropActions CueTableModel::supportedDragActions() const {
    return Qt::CopyAction;
}

Qt::DropActions CueTableModel::supportedDropActions() const {
    return Qt::CopyAction | Qt::LinkAction;
}

QMimeData* CueTableModel::mimeDataForRows(const QList<CueItem>& rows) {
    QString text;
    QJsonArray array;
    for (const CueItem& item : rows) {
        text += QStringLiteral("%1\t%2\t%3\t%4\t%5\n")
                    .arg(item.cueId.trimmed(), item.getCueIn(), item.getCueOut(), item.cueText,
                         item.cueNotes);
        QJsonObject object;
        for (size_t k = 0; k < std::size(kKeys); ++k)
            object.insert(QLatin1String(kKeys[k]), CueDocument::cellValue(item, kColumnOfKey[k]));
        array.append(object);
    }
    auto* data = new QMimeData;
    data->setText(text);
    data->setData(QString::fromLatin1(kRowMimeType), QJsonDocument(array).toJson());
    return data;
}

std::optional<QList<CueItem>> CueTableModel::rowsFromMimeData(const QMimeData* data) {
    if (!data || !data->hasFormat(QString::fromLatin1(kRowMimeType)))
        return std::nullopt;
    const QJsonDocument doc =
        QJsonDocument::fromJson(data->data(QString::fromLatin1(kRowMimeType)));
    if (!doc.isArray())
        return std::nullopt;
    QList<CueItem> rows;
    const QJsonArray array = doc.array();
    for (const QJsonValue& value : array) {
        const QJsonObject object = value.toObject();
        CueItem item = CueItem::blank();
        item.cueId = object.value(QLatin1String("cueId")).toString().trimmed();
        item.cueIn = object.value(QLatin1String("cueIn")).toString().trimmed();
        item.cueOut = object.value(QLatin1String("cueOut")).toString().trimmed();
        item.cueText = object.value(QLatin1String("cueText")).toString().trimmed();
        item.cueNotes = object.value(QLatin1String("cueNotes")).toString().trimmed();
        rows.append(item);
    }
    return rows;
}

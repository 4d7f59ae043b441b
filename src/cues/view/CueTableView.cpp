#include "cues/view/CueTableView.h"

#include "cues/CueDocument.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFontDatabase>
#include <QHeaderView>
#include <QLineEdit>
#include <QMimeData>
#include <QRegularExpressionValidator>
#include <QStyledItemDelegate>
#include <QUrl>
#include <algorithm>

namespace {

// In and out cells: the editor shows HH:MM:SS:FF and lets through digits
// and the separators only; the model keeps the digits.
class TimecodeDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override {
        QWidget* editor = QStyledItemDelegate::createEditor(parent, option, index);
        if (auto* line = qobject_cast<QLineEdit*>(editor)) {
            line->setValidator(new QRegularExpressionValidator(
                QRegularExpression(QStringLiteral("[0-9:;. ]*")), line));
            line->setAlignment(Qt::AlignCenter);
            line->setPlaceholderText(QStringLiteral("HHMMSSFF"));
        }
        return editor;
    }
};

} // namespace

CueTableView::CueTableView(QWidget* parent) : QTableView(parent) {
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                    QAbstractItemView::AnyKeyPressed);
    setAlternatingRowColors(true);
    setWordWrap(false);
    setDragEnabled(true);
    setAcceptDrops(true);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDropIndicatorShown(true);
    setDefaultDropAction(Qt::CopyAction);
    setCornerButtonEnabled(false);

    auto* delegate = new TimecodeDelegate(this);
    setItemDelegateForColumn(CueDocument::ColumnIn, delegate);
    setItemDelegateForColumn(CueDocument::ColumnOut, delegate);

    // Fixed row heights: a long sheet is laid out without measuring rows.
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 8);
    horizontalHeader()->setHighlightSections(false);
}

void CueTableView::setModel(QAbstractItemModel* model) {
    QTableView::setModel(model);
    // Times and identifiers get what they need, the text takes the rest.
    QHeaderView* header = horizontalHeader();
    const int timeWidth = fontMetrics().horizontalAdvance(QStringLiteral("00:00:00:00")) + 28;
    header->resizeSection(CueDocument::ColumnId, timeWidth * 3 / 4);
    header->resizeSection(CueDocument::ColumnIn, timeWidth);
    header->resizeSection(CueDocument::ColumnOut, timeWidth);
    header->resizeSection(CueDocument::ColumnNotes, timeWidth * 2);
    header->setSectionResizeMode(CueDocument::ColumnText, QHeaderView::Stretch);
}

int CueTableView::firstSelectedRow() const {
    const QList<int> rows = selectedRowList();
    return rows.isEmpty() ? -1 : rows.first();
}

QList<int> CueTableView::selectedRowList() const {
    QList<int> rows;
    if (!selectionModel())
        return rows;
    for (const QModelIndex& index : selectionModel()->selectedRows())
        rows.append(index.row());
    std::sort(rows.begin(), rows.end());
    return rows;
}

bool CueTableView::acceptsDrag(QDropEvent* event) const {
    // Rows dragged within the table would only be copied onto its end.
    if (event->source() == this || !event->mimeData()->hasUrls())
        return false;
    const QList<QUrl> urls = event->mimeData()->urls();
    return std::any_of(urls.cbegin(), urls.cend(), [](const QUrl& u) { return u.isLocalFile(); });
}

void CueTableView::dragEnterEvent(QDragEnterEvent* event) {
    dragMoveEvent(event);
}

void CueTableView::dragMoveEvent(QDragMoveEvent* event) {
    if (!acceptsDrag(event)) {
        event->ignore();
        return;
    }
    event->setDropAction((event->possibleActions() & Qt::LinkAction) ? Qt::LinkAction
                                                                     : Qt::CopyAction);
    event->accept();
}

void CueTableView::dropEvent(QDropEvent* event) {
    if (!acceptsDrag(event)) {
        event->ignore();
        return;
    }
    QStringList paths;
    const QList<QUrl> urls = event->mimeData()->urls();
    for (const QUrl& url : urls) {
        if (url.isLocalFile())
            paths << url.toLocalFile();
    }
    event->setDropAction((event->possibleActions() & Qt::LinkAction) ? Qt::LinkAction
                                                                     : Qt::CopyAction);
    event->accept();
    emit filesDropped(paths, (event->possibleActions() & Qt::LinkAction) != 0);
}

#pragma once

#include <QStringList>
#include <QTableView>

// The cue table: whole rows are selected, in and out cells take digits
// only, and files dropped from elsewhere are handed on for import. A drag
// that starts in this table is refused here (rows are not reordered by
// dragging; they may be dragged out to other windows and programs).
class CueTableView : public QTableView {
    Q_OBJECT
public:
    explicit CueTableView(QWidget* parent = nullptr);
    void setModel(QAbstractItemModel* model) override;

    // The first selected row, -1 when none.
    int firstSelectedRow() const;
    QList<int> selectedRowList() const;

signals:
    // Local files dropped; `offersLink` says whether the drag allowed linking.
    void filesDropped(const QStringList& paths, bool offersLink);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    bool acceptsDrag(QDropEvent* event) const;
};

#include "app/library_table_view.h"

#include <QHeaderView>

namespace slidebox::app {

LibraryTableView::LibraryTableView(QWidget* parent) : QTableView(parent) {
    setSelectionMode(QAbstractItemView::SingleSelection);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setShowGrid(false);
    horizontalHeader()->hide();
    horizontalHeader()->setStretchLastSection(true);
    verticalHeader()->hide();
}

void LibraryTableView::selectRow(int row) {
    if (!model() || !selectionModel())
        return;
    const QModelIndex index = model()->index(row, 0);
    if (!index.isValid())
        return;
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect |
                                                 QItemSelectionModel::Rows);
}

int LibraryTableView::selectedRow() const {
    if (!selectionModel())
        return -1;
    const QModelIndexList rows = selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.first().row();
}

void LibraryTableView::initViewItemOption(QStyleOptionViewItem* option) const {
    QTableView::initViewItemOption(option);
    option->decorationPosition = QStyleOptionViewItem::Top;
    option->decorationAlignment = Qt::AlignCenter;
}

QItemSelectionModel::SelectionFlags LibraryTableView::selectionCommand(const QModelIndex& index,
                                                                       const QEvent* event) const {
    QItemSelectionModel::SelectionFlags flags = QTableView::selectionCommand(index, event);
    if (flags.testFlag(QItemSelectionModel::Deselect))
        return QItemSelectionModel::NoUpdate;
    return flags;
}

} // namespace slidebox::app

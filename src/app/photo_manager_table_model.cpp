#include "app/photo_manager_table_model.h"

#include <QPixmap>

namespace slidebox::app {

PhotoManagerTableModel::PhotoManagerTableModel(RowCount rowCount, RowImage rowImage,
                                               QObject* parent)
    : QAbstractTableModel(parent), rowCountSource_(std::move(rowCount)),
      rowImageSource_(std::move(rowImage)) {}

void PhotoManagerTableModel::noteNumberOfRowsChanged() {
    const int rows = std::max(0, rowCountSource_());
    if (rows > rows_) {
        beginInsertRows(QModelIndex(), rows_, rows - 1);
        rows_ = rows;
        endInsertRows();
    }
}

void PhotoManagerTableModel::reloadData() {
    const int rows = std::max(0, rowCountSource_());
    if (rows > rows_) {
        noteNumberOfRowsChanged();
    } else if (rows < rows_) {
        beginRemoveRows(QModelIndex(), rows, rows_ - 1);
        rows_ = rows;
        endRemoveRows();
    }
    if (rows_ > 0)
        emit dataChanged(index(0, 0), index(rows_ - 1, 0), {Qt::DecorationRole});
}

int PhotoManagerTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : rows_;
}

int PhotoManagerTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : 1;
}

QVariant PhotoManagerTableModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rows_ || role != Qt::DecorationRole)
        return {};
    return QPixmap::fromImage(rowImageSource_(index.row()));
}

} // namespace slidebox::app

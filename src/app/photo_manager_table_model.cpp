#include "app/photo_manager_table_model.h"

#include <QFile>
#include <QPixmap>

namespace slidebox::app {

PhotoManagerTableModel::PhotoManagerTableModel(RowCount rowCount, RowImage rowImage,
                                               RowPath rowPath, QObject* parent)
    : QAbstractTableModel(parent), rowCountSource_(std::move(rowCount)),
      rowImageSource_(std::move(rowImage)), rowPathSource_(std::move(rowPath)) {}

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
        emit dataChanged(index(0, 0), index(rows_ - 1, 0),
                         {Qt::DecorationRole, Qt::DisplayRole, Qt::ToolTipRole});
}

QString PhotoManagerTableModel::libraryName(const std::filesystem::path& path) {
    std::string name = path.native();
    while (name.size() > 1 && name.back() == '/')
        name.pop_back();
    if (const auto slash = name.rfind('/'); slash != std::string::npos && name != "/")
        name = name.substr(slash + 1);
    return QFile::decodeName(name.c_str());
}

int PhotoManagerTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : rows_;
}

int PhotoManagerTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : 1;
}

QVariant PhotoManagerTableModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rows_)
        return {};
    switch (role) {
    case Qt::DecorationRole:
        return QPixmap::fromImage(rowImageSource_(index.row()));
    case Qt::DisplayRole:
    case Qt::ToolTipRole: {
        const auto path = rowPathSource_ ? rowPathSource_(index.row()) : std::nullopt;
        if (!path)
            return {};
        return role == Qt::DisplayRole ? libraryName(*path) : QFile::decodeName(path->c_str());
    }
    case Qt::TextAlignmentRole:
        return QVariant::fromValue(Qt::AlignHCenter | Qt::AlignVCenter);
    default:
        return {};
    }
}

} // namespace slidebox::app

#include "color/profile_table_model.h"

namespace slidebox::color {

ProfileTableModel::ProfileTableModel(std::unique_ptr<ProfileManager> manager,
                                     QStringList columnIdentifiers, QObject* parent)
    : QAbstractTableModel(parent), manager_(std::move(manager)),
      columnIdentifiers_(std::move(columnIdentifiers)) {}

int ProfileTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() || !manager_ ? 0 : manager_->numberOfRowsInTableView();
}

int ProfileTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(columnIdentifiers_.size());
}

QVariant ProfileTableModel::data(const QModelIndex& index, int role) const {
    if (role != Qt::DisplayRole || !manager_ || !index.isValid() || index.row() >= rowCount() ||
        index.column() >= columnCount())
        return {};
    const QByteArray identifier = columnIdentifiers_.at(index.column()).toUtf8();
    auto value = manager_->objectValueForTableColumn(
        std::string_view(identifier.constData(), static_cast<std::size_t>(identifier.size())),
        index.row());
    if (!value)
        return {};
    return QString::fromUtf8(value->data(), static_cast<qsizetype>(value->size()));
}

QVariant ProfileTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole || section < 0)
        return {};
    if (orientation == Qt::Horizontal)
        return section < columnCount() ? QVariant(columnIdentifiers_.at(section)) : QVariant();
    return section;
}

} // namespace slidebox::color

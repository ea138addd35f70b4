#pragma once

#include <functional>

#include <QAbstractTableModel>
#include <QImage>

namespace slidebox::app {

/// The table's data source: one column, one row per library, each cell the
/// picture that the controller composes for the row when it is asked.
/// Knows the row count only from the last reload, as a table does.
class PhotoManagerTableModel : public QAbstractTableModel {
    Q_OBJECT
public:
    using RowCount = std::function<int()>;
    using RowImage = std::function<QImage(int row)>;

    PhotoManagerTableModel(RowCount rowCount, RowImage rowImage, QObject* parent = nullptr);

    /// reloadData: takes the new row count (rows come and go at the end, the
    /// selection stays on its index) and asks for every picture anew.
    void reloadData();
    /// Takes the row count only when it grew, so that a row just appended
    /// can be selected before the table reloads.
    void noteNumberOfRowsChanged();

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    RowCount rowCountSource_;
    RowImage rowImageSource_;
    int rows_ = 0;
};

} // namespace slidebox::app

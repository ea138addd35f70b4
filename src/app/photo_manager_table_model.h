#pragma once

#include <filesystem>
#include <functional>
#include <optional>

#include <QAbstractTableModel>
#include <QImage>

namespace slidebox::app {

/// The table's data source: one column, one row per library. A cell shows
/// the picture that the controller composes for the row, the library's
/// folder name under it, and the library's path as its tool tip; all are
/// asked for when the table needs them. Knows the row count only from the
/// last reload, as a table does.
class PhotoManagerTableModel : public QAbstractTableModel {
    Q_OBJECT
  public:
    using RowCount = std::function<int()>;
    using RowImage = std::function<QImage(int row)>;
    /// The library's folder; nothing for a record without one.
    using RowPath = std::function<std::optional<std::filesystem::path>(int row)>;

    PhotoManagerTableModel(RowCount rowCount, RowImage rowImage, RowPath rowPath,
                           QObject* parent = nullptr);

    /// reloadData: takes the new row count (rows come and go at the end, the
    /// selection stays on its index) and asks for every cell anew.
    void reloadData();
    /// Takes the row count only when it grew, so that a row just appended
    /// can be selected before the table reloads.
    void noteNumberOfRowsChanged();

    /// The last component of a library's path, a trailing slash ignored,
    /// as text ("" for "").
    static QString libraryName(const std::filesystem::path& path);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;

  private:
    RowCount rowCountSource_;
    RowImage rowImageSource_;
    RowPath rowPathSource_;
    int rows_ = 0;
};

} // namespace slidebox::app

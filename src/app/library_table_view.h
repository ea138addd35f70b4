#pragma once

#include <QTableView>

namespace slidebox::app {

/// The table of libraries: one column of pictures, one row selected at a
/// time. A click with Control held on the selected row keeps it selected,
/// as Control is the key that lets the row being left keep the image on
/// show, not a way to empty the selection.
class LibraryTableView : public QTableView {
    Q_OBJECT
  public:
    explicit LibraryTableView(QWidget* parent = nullptr);

    /// Selects that row alone and makes it the current one.
    void selectRow(int row);
    /// The one selected row, or -1.
    int selectedRow() const;

  protected:
    /// The picture of a row stands centred in its cell.
    void initViewItemOption(QStyleOptionViewItem* option) const override;
    QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex& index,
                                                         const QEvent* event) const override;
};

} // namespace slidebox::app

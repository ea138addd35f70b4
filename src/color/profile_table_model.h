#pragma once

#include <QAbstractTableModel>
#include <QStringList>

#include <memory>

#include "color/profile_manager.h"

namespace slidebox::color {

/// A catalogue as the data source of a table: one row per catalogue row,
/// separators included, and one column per identifier, each answered by the
/// catalogue accessor of that name ("name", "colorSpace", "kindOfUse",
/// "pcs", "profilCreator", "creationDate", "headerInfos"). Asking for a
/// cell moves the catalogue's current row there, as a table does.
class ProfileTableModel : public QAbstractTableModel {
  public:
    /// Takes the catalogue over; the columns' identifiers in their order.
    ProfileTableModel(std::unique_ptr<ProfileManager> manager, QStringList columnIdentifiers,
                      QObject* parent = nullptr);

    /// The catalogue's rows (numberOfRowsInTableView); 0 under a valid parent.
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    /// The number of identifiers; 0 under a valid parent.
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    /// For the display role, the text of the column's accessor on the row
    /// (UTF-8, NUL bytes kept); nothing for an unknown identifier or another role.
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    /// The column's identifier, across; the row number, down.
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

    /// The catalogue behind the model, which lives as long as the model;
    /// null when it was given none (then the table is empty).
    ProfileManager* manager() const { return manager_.get(); }
    const QStringList& columnIdentifiers() const { return columnIdentifiers_; }

  private:
    std::unique_ptr<ProfileManager> manager_;
    QStringList columnIdentifiers_;
};

} // namespace slidebox::color

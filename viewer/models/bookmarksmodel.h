#pragma once

#include "bookmarks.h"

#include <QAbstractTableModel>

namespace quenlofar {

/// The bookmarks of a document as a table; names and notes can be edited.
class BookmarksModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { NameColumn, OffsetColumn, SizeColumn, NoteColumn, ColumnCount };

    /// Shows `bookmarks`, which outlive the model.
    explicit BookmarksModel(Bookmarks &bookmarks, QObject *parent = nullptr);

    void setOffsetsInHex(bool isHex); ///< otherwise decimal

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    void update();

    Bookmarks &m_bookmarks;
    int m_rows = 0; // that were announced
    bool m_offsetsInHex = true;
};

} // namespace quenlofar

#pragma once

#include "bytesearch.h"
#include "growingtree.h"

#include <QAbstractListModel>

namespace quenlofar {

/// The places that a search in the bytes has found, as a list: offset, and the item that the first byte belongs to.
class PlacesModel : public QAbstractListModel
{
    Q_OBJECT

public:
    /// Shows what `search` found in the file of `tree`; both outlive the model.
    PlacesModel(const ByteSearch &search, const GrowingTree &tree, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

private:
    void update();

    const ByteSearch &m_search;
    const GrowingTree &m_tree;
    size_t m_rows = 0; // that were announced
};

} // namespace quenlofar

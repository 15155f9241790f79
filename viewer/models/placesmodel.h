#pragma once

#include "bytesearch.h"
#include "growingtree.h"
#include "treesearch.h"

#include <QAbstractListModel>

namespace quenlofar {

/// What was found, as a list: places in the bytes, with the item that the first byte belongs to, or items of the tree
/// with their values.
class PlacesModel : public QAbstractListModel
{
    Q_OBJECT

public:
    /// Shows what `bytes`, or `items` where there are any, found in the file of `tree`; all three outlive the model. At
    /// first it shows bytes.
    PlacesModel(const ByteSearch &bytes, const TreeSearch *items, const GrowingTree &tree, QObject *parent = nullptr);

    void showItems(bool areItems); ///< those of the tree from now on, otherwise those of the bytes

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

private:
    size_t found() const { return m_areItems ? m_items->matches().size() : m_bytes.places().size(); }
    void update();

    const ByteSearch &m_bytes;
    const TreeSearch *const m_items; // null: only bytes are shown
    const GrowingTree &m_tree;
    bool m_areItems = false;
    size_t m_rows = 0; // that were announced
};

} // namespace quenlofar

#pragma once

#include "growingtree.h"

#include <QAbstractItemModel>

#include <functional>
#include <unordered_map>
#include <vector>

namespace quenlofar {

/**
 * The tree of a file for item views. Children of a node that has more than rowsOfGroup of them stand in groups of that
 * many, "0 ... 999", so that a view never has to lay out a million rows at once.
 *
 * The model reads the tree itself and keeps nothing but the numbers of rows that were announced for nodes that are
 * still open; grow() announces what has come since. An index is an item, or the group that begins with an item: which
 * one is told by a bit of its internal id, so parent and row are found as fast as in the tree.
 */
class ElementModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    static constexpr quint32 rowsOfGroup = 1000; ///< children of a group, but the last
    static constexpr int mostCharacters = 1000; ///< of a text; the rest is cut off

    enum Column { NameColumn, ValueColumn, MeaningColumn, OffsetColumn, SizeColumn, ColumnCount };
    /// The TreeItem of an index; of a group the node that it belongs to.
    static constexpr int ItemRole = Qt::UserRole;

    /// Shows `tree`, which outlives the model.
    explicit ElementModel(const GrowingTree &tree, QObject *parent = nullptr);

    /// Announces the rows that the tree got since the last call.
    void grow();
    bool showsOffsetsInHex() const { return m_offsetsInHex; } ///< otherwise decimal
    void setOffsetsInHex(bool isHex); ///< how offsets and sizes are shown

    /// From now on items for which `isMarked` holds are marked, by bold letters and for screen readers.
    void setMarks(std::function<bool(TreeItem)> isMarked);
    void updateMarks(); ///< other items are marked now

    QModelIndex indexOf(TreeItem item, int column = NameColumn) const; ///< invalid for the root
    TreeItem itemOf(const QModelIndex &index) const; ///< root for an invalid index; of a group its node
    bool isGroup(const QModelIndex &index) const; ///< the index stands for a stretch of children

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    bool hasChildren(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    static constexpr quint64 groupBit = quint64(1) << 63;
    static_assert(sizeof(quintptr) == sizeof(quint64), "an index holds an item's handle");

    static TreeItem idItem(const QModelIndex &index) { return index.internalId() & ~groupBit; }
    quint32 shown(TreeItem node) const;
    bool isGrouped(TreeItem node) const { return shown(node) > rowsOfGroup; }
    QModelIndex groupIndex(TreeItem node, quint32 group, int column = NameColumn) const;
    void growNode(TreeItem node);
    QString numberText(quint64 number) const;
    QVariant groupData(const QModelIndex &index, int role) const;
    QVariant cellData(TreeItem item, int column, int role) const;

    const GrowingTree &m_tree;
    std::unordered_map<TreeItem, quint32> m_shown; // children of open nodes that were announced
    bool m_offsetsInHex = false;
    std::function<bool(TreeItem)> m_isMarked;
};

} // namespace quenlofar

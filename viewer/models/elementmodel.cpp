#include "elementmodel.h"

#include "displaytext.h"
#include "sizetext.h"

#include <QFont>

#include <algorithm>

namespace quenlofar {

namespace {

quint32 groupCount(quint32 children)
{
    return (children + ElementModel::rowsOfGroup - 1) / ElementModel::rowsOfGroup;
}

QString shownText(const QString &text)
{
    if (text.size() <= ElementModel::mostCharacters)
        return displayText(text);
    return displayText(QStringView(text).left(ElementModel::mostCharacters)) + QChar(0x2026);
}

} // namespace

ElementModel::ElementModel(const GrowingTree &tree, QObject *parent) : QAbstractItemModel(parent), m_tree(tree)
{
    m_shown[GrowingTree::root()] = m_tree.childCount(GrowingTree::root());
    for (const TreeItem node : m_tree.openNodes())
        m_shown[node] = m_tree.childCount(node);
}

quint32 ElementModel::shown(TreeItem node) const
{
    const auto found = m_shown.find(node);
    return found == m_shown.end() ? m_tree.childCount(node) : found->second;
}

void ElementModel::grow()
{
    // Nodes that were open before may have more children by now; all others came with all that they have.
    std::vector<TreeItem> grown;
    for (const auto &[node, count] : m_shown) {
        if (count != m_tree.childCount(node))
            grown.push_back(node);
    }
    std::sort(grown.begin(), grown.end()); // outer nodes have come first
    // Nodes that come now: what they have is what is shown of them. No view knows them yet.
    for (const TreeItem node : m_tree.openNodes())
        m_shown.emplace(node, m_tree.childCount(node));
    for (const TreeItem node : grown)
        growNode(node);
    // Of nodes that are complete the tree itself tells how many children are shown.
    std::unordered_map<TreeItem, quint32> stillOpen;
    for (const TreeItem node : m_tree.openNodes())
        stillOpen[node] = m_tree.childCount(node);
    m_shown = std::move(stillOpen);
}

void ElementModel::growNode(TreeItem node)
{
    quint32 &count = m_shown[node];
    const quint32 wanted = m_tree.childCount(node);
    if (wanted <= rowsOfGroup) {
        beginInsertRows(indexOf(node), int(count), int(wanted) - 1);
        count = wanted;
        endInsertRows();
        return;
    }
    if (count > 0 && count <= rowsOfGroup) {
        // From now on they stand in groups.
        beginRemoveRows(indexOf(node), 0, int(count) - 1);
        count = 0;
        endRemoveRows();
    }
    const quint32 inLastGroup = count % rowsOfGroup;
    if (inLastGroup > 0) {
        const quint32 more = std::min(rowsOfGroup - inLastGroup, wanted - count);
        const QModelIndex group = groupIndex(node, count / rowsOfGroup);
        beginInsertRows(group, int(inLastGroup), int(inLastGroup + more) - 1);
        count += more;
        endInsertRows();
        Q_EMIT dataChanged(group, group);
    }
    if (count < wanted) {
        beginInsertRows(indexOf(node), int(groupCount(count)), int(groupCount(wanted)) - 1);
        count = wanted;
        endInsertRows();
    }
}

void ElementModel::setOffsetsInHex(bool isHex)
{
    if (isHex == m_offsetsInHex)
        return;
    m_offsetsInHex = isHex;
    // Views ask anew for what they show.
    if (rowCount() > 0)
        Q_EMIT dataChanged(index(0, OffsetColumn), index(rowCount() - 1, SizeColumn), {Qt::DisplayRole});
}

void ElementModel::setMarks(std::function<bool(TreeItem)> isMarked)
{
    m_isMarked = std::move(isMarked);
    updateMarks();
}

void ElementModel::updateMarks()
{
    if (rowCount() > 0)
        Q_EMIT dataChanged(index(0, NameColumn), index(rowCount() - 1, SizeColumn), {Qt::FontRole});
}

QModelIndex ElementModel::groupIndex(TreeItem node, quint32 group, int column) const
{
    return createIndex(int(group), column, quintptr(m_tree.child(node, group * rowsOfGroup) | groupBit));
}

QModelIndex ElementModel::indexOf(TreeItem item, int column) const
{
    if (item == GrowingTree::root())
        return {};
    const quint32 row = m_tree.row(item);
    return createIndex(int(isGrouped(m_tree.parent(item)) ? row % rowsOfGroup : row), column, quintptr(item));
}

TreeItem ElementModel::itemOf(const QModelIndex &index) const
{
    if (!index.isValid())
        return GrowingTree::root();
    return isGroup(index) ? m_tree.parent(idItem(index)) : idItem(index);
}

bool ElementModel::isGroup(const QModelIndex &index) const
{
    return index.isValid() && (index.internalId() & groupBit) != 0;
}

QModelIndex ElementModel::index(int row, int column, const QModelIndex &parent) const
{
    if (row < 0 || column < 0 || column >= ColumnCount || row >= rowCount(parent))
        return {};
    const TreeItem node = itemOf(parent);
    if (isGroup(parent))
        return createIndex(row, column, quintptr(m_tree.child(node, m_tree.row(idItem(parent)) + quint32(row))));
    if (isGrouped(node))
        return groupIndex(node, quint32(row), column);
    return createIndex(row, column, quintptr(m_tree.child(node, quint32(row))));
}

QModelIndex ElementModel::parent(const QModelIndex &child) const
{
    if (!child.isValid())
        return {};
    const TreeItem item = idItem(child);
    const TreeItem node = m_tree.parent(item);
    if (!isGroup(child) && isGrouped(node))
        return groupIndex(node, m_tree.row(item) / rowsOfGroup);
    return indexOf(node);
}

int ElementModel::rowCount(const QModelIndex &parent) const
{
    if (parent.column() > 0)
        return 0;
    const TreeItem node = itemOf(parent);
    const quint32 count = m_tree.isNode(node) ? shown(node) : 0;
    if (isGroup(parent))
        return int(std::min(rowsOfGroup, count - m_tree.row(idItem(parent))));
    return int(count > rowsOfGroup ? groupCount(count) : count);
}

int ElementModel::columnCount(const QModelIndex &) const
{
    return ColumnCount;
}

bool ElementModel::hasChildren(const QModelIndex &parent) const
{
    return rowCount(parent) > 0;
}

QString ElementModel::numberText(quint64 number) const
{
    return m_offsetsInHex ? QStringLiteral("0x") + QString::number(number, 16).toUpper() : QString::number(number);
}

QVariant ElementModel::groupData(const QModelIndex &index, int role) const
{
    const quint32 first = m_tree.row(idItem(index));
    const quint32 last = first + quint32(rowCount(index.sibling(index.row(), NameColumn))) - 1;
    if (role == ItemRole)
        return m_tree.parent(idItem(index));
    if (role != Qt::DisplayRole)
        return {};
    switch (index.column()) {
    case NameColumn:
        return tr("%1 ... %2").arg(first).arg(last);
    case OffsetColumn:
        return numberText(m_tree.offset(idItem(index)));
    default:
        return {};
    }
}

QVariant ElementModel::cellData(TreeItem item, int column, int role) const
{
    switch (role) {
    case ItemRole:
        return item;
    case Qt::TextAlignmentRole:
        return column == OffsetColumn || column == SizeColumn ? QVariant(int(Qt::AlignRight | Qt::AlignVCenter))
                                                              : QVariant();
    case Qt::ToolTipRole:
        return shownText(m_tree.description(item));
    case Qt::FontRole: {
        const bool isMarked = column == NameColumn && m_isMarked && m_isMarked(item);
        const bool isUnparsed = column == NameColumn && m_tree.isUnparsedData(item);
        if (!isMarked && !isUnparsed)
            return {};
        QFont font;
        font.setItalic(isUnparsed);
        font.setBold(isMarked);
        return font;
    }
    case Qt::AccessibleDescriptionRole:
        return column == NameColumn && m_isMarked && m_isMarked(item) ? tr("match") : QString();
    case Qt::DisplayRole:
        break;
    default:
        return {};
    }
    switch (column) {
    case NameColumn:
        return m_tree.isUnparsedData(item) ? tr("unparsed data") : quotedIfBlank(shownText(m_tree.name(item)));
    case ValueColumn:
        return shownText(m_tree.value(item));
    case MeaningColumn:
        return shownText(m_tree.meaning(item));
    case OffsetColumn:
        return numberText(m_tree.offset(item));
    case SizeColumn:
        return numberText(m_tree.size(item));
    default:
        return {};
    }
}

QVariant ElementModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    return isGroup(index) ? groupData(index, role) : cellData(idItem(index), index.column(), role);
}

QVariant ElementModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case NameColumn:
        return tr("Name");
    case ValueColumn:
        return tr("Value");
    case MeaningColumn:
        return tr("Meaning");
    case OffsetColumn:
        return tr("Offset");
    case SizeColumn:
        return tr("Size");
    default:
        return {};
    }
}

} // namespace quenlofar

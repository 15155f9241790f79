#include "placesmodel.h"

#include "displaytext.h"

namespace quenlofar {

PlacesModel::PlacesModel(const ByteSearch &bytes, const TreeSearch *items, const GrowingTree &tree, QObject *parent)
    : QAbstractListModel(parent), m_bytes(bytes), m_items(items), m_tree(tree), m_rows(found())
{
    connect(&bytes, &ByteSearch::changed, this, &PlacesModel::update);
    if (items)
        connect(items, &TreeSearch::changed, this, &PlacesModel::update);
}

void PlacesModel::showItems(bool areItems)
{
    if (areItems == m_areItems)
        return;
    beginResetModel();
    m_areItems = areItems;
    m_rows = found();
    endResetModel();
}

void PlacesModel::update()
{
    const size_t rows = found();
    if (rows < m_rows) {
        beginResetModel();
        m_rows = rows;
        endResetModel();
    } else if (rows > m_rows) {
        beginInsertRows({}, int(m_rows), int(rows) - 1);
        m_rows = rows;
        endInsertRows();
    }
}

int PlacesModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows);
}

QVariant PlacesModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || role != Qt::DisplayRole || size_t(index.row()) >= found())
        return {};
    const auto row = size_t(index.row());
    const quint64 offset = m_areItems ? m_tree.offset(m_items->matches()[row]) : m_bytes.places()[row];
    const TreeItem item = m_areItems ? m_items->matches()[row] : m_tree.itemAt(offset);
    const QString path = m_tree.path(item);
    const QString place = QStringLiteral("0x") + QString::number(offset, 16).toUpper();
    if (path.isNull())
        return place;
    const QString value = m_areItems ? m_tree.value(item) : QString();
    const QString meaning = value.isEmpty() ? QString() : m_tree.meaning(item);
    return place + QStringLiteral("  ") + path
        + (value.isEmpty() ? QString() : QStringLiteral(" = ") + displayText(value))
        + (meaning.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(displayText(meaning)));
}

} // namespace quenlofar

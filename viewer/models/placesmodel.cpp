#include "placesmodel.h"

namespace quenlofar {

PlacesModel::PlacesModel(const ByteSearch &search, const GrowingTree &tree, QObject *parent)
    : QAbstractListModel(parent), m_search(search), m_tree(tree), m_rows(search.places().size())
{
    connect(&search, &ByteSearch::changed, this, &PlacesModel::update);
}

void PlacesModel::update()
{
    const size_t rows = m_search.places().size();
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
    if (!index.isValid() || role != Qt::DisplayRole || size_t(index.row()) >= m_search.places().size())
        return {};
    const quint64 offset = m_search.places()[size_t(index.row())];
    const QString path = m_tree.path(m_tree.itemAt(offset));
    const QString place = QStringLiteral("0x") + QString::number(offset, 16).toUpper();
    return path.isNull() ? place : place + QStringLiteral("  ") + path;
}

} // namespace quenlofar

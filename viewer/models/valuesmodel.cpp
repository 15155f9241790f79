#include "valuesmodel.h"

namespace quenlofar {

ValuesModel::ValuesModel(QObject *parent) : QAbstractTableModel(parent), m_values(valuesOf({})) { }

void ValuesModel::setBytes(const QByteArray &bytes)
{
    m_values = valuesOf(bytes);
    Q_EMIT dataChanged(index(0, LittleColumn), index(rowCount() - 1, BigColumn));
}

int ValuesModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_values.size());
}

int ValuesModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(ColumnCount);
}

QVariant ValuesModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || role != Qt::DisplayRole)
        return {};
    const ByteValue &value = m_values[size_t(index.row())];
    return index.column() == NameColumn ? value.name : index.column() == LittleColumn ? value.little : value.big;
}

QVariant ValuesModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return section == NameColumn ? tr("Kind") : section == LittleColumn ? tr("Little-endian") : tr("Big-endian");
}

} // namespace quenlofar

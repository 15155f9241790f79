#pragma once

#include "bytevalues.h"

#include <QAbstractTableModel>

namespace quenlofar {

/// The bytes at a place as values of all kinds: a row for each kind, a column for each order of bytes.
class ValuesModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { NameColumn, LittleColumn, BigColumn, ColumnCount };

    explicit ValuesModel(QObject *parent = nullptr);

    /// Shows these bytes; as many as there are, at most mostValueBytes count.
    void setBytes(const QByteArray &bytes);

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    std::vector<ByteValue> m_values; // always the same kinds
};

} // namespace quenlofar

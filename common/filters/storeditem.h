#pragma once

#include "treewriter.h"

#include <QString>

namespace quenlofar {

/// A node or leaf with texts of its own, for what cannot be decided when it comes.
class StoredItem
{
public:
    StoredItem(quint64 offset, quint64 size, QStringView title, qint64 index, const ItemNotes &notes);
    StoredItem(const Field &field, const ItemNotes &notes);

    /// Opens the node in `writer`, or adds the leaf to it.
    bool writeTo(TreeWriter &writer) const;
    /// Bytes that its texts take.
    size_t textBytes() const;

private:
    bool m_isNode;
    bool m_flag = false;
    uchar m_code = 0;
    quint64 m_offset;
    quint64 m_size;
    qint64 m_index;
    QString m_name;
    QString m_value;
    QString m_meaning;
    QString m_description;
    QString m_path;
    QString m_bytes;
};

} // namespace quenlofar

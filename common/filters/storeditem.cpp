#include "storeditem.h"

namespace quenlofar {

StoredItem::StoredItem(quint64 offset, quint64 size, QStringView title, qint64 index, const ItemNotes &notes)
    : m_isNode(true), m_offset(offset), m_size(size), m_index(index), m_name(title.toString()),
      m_path(notes.path.toString()), m_bytes(notes.bytes.toString())
{
}

StoredItem::StoredItem(const Field &field, const ItemNotes &notes)
    : m_isNode(false), m_flag(field.flag), m_code(field.code), m_offset(field.offset), m_size(field.size),
      m_index(field.index), m_name(field.name.toString()), m_value(field.value.toString()),
      m_meaning(field.meaning.toString()), m_description(field.description.toString()), m_path(notes.path.toString()),
      m_bytes(notes.bytes.toString())
{
}

bool StoredItem::writeTo(TreeWriter &writer) const
{
    writer.setNotes({m_path, m_bytes});
    if (m_isNode)
        return writer.beginElement(m_offset, m_size, m_name, m_index);
    return writer.addField({m_flag, m_code, m_offset, m_size, m_index, m_name, m_value, m_meaning, m_description});
}

size_t StoredItem::textBytes() const
{
    const auto units =
        m_name.size() + m_value.size() + m_meaning.size() + m_description.size() + m_path.size() + m_bytes.size();
    return size_t(units) * sizeof(QChar);
}

} // namespace quenlofar

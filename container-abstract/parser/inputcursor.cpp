#include "inputcursor.h"

#include "filedevice.h"

#include <algorithm>

namespace quenlofar {

InputCursor::InputCursor(FileDevice &file, quint64 begin, quint64 end, ByteOrder order)
    : m_file(&file), m_position(begin), m_end(std::max(begin, std::min(end, quint64(file.size())))), m_order(order)
{
}

quint64 InputCursor::skip(quint64 count)
{
    const quint64 skipped = std::min(count, bytesLeft());
    m_position += skipped;
    return skipped;
}

QByteArray InputCursor::peek(quint64 count) const
{
    const quint64 size = std::min(count, bytesLeft());
    if (size == 0)
        return {};
    // The end is inside the file: no number here is too large for a signed one.
    m_file->seek(qint64(m_position));
    return m_file->read(qint64(size));
}

QByteArray InputCursor::read(quint64 count)
{
    QByteArray bytes = peek(count);
    m_position += quint64(bytes.size());
    return bytes;
}

InputCursor InputCursor::part(quint64 size)
{
    InputCursor part = *this;
    part.m_end = m_position + skip(size);
    return part;
}

} // namespace quenlofar

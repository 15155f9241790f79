#include "treeannotator.h"

#include "digits.h"
#include "runresult.h"
#include "statuscodes.h"

#include <limits>

namespace quenlofar {

bool TreeAnnotator::beginDocument(const DocumentStart &start)
{
    const bool isTaken = m_next.beginDocument(start);
    m_paths.clear();
    m_file.close();
    m_trouble = QString();
    if (m_choice.bytes && start.fileSize >= 0 && m_file.open(start.file) != StatusOk)
        m_trouble = QStringLiteral("its bytes cannot be read: ") + m_file.errorText();
    return isTaken;
}

bool TreeAnnotator::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    ItemNotes notes;
    if (m_choice.paths) {
        m_paths.enter(title);
        notes.path = m_paths.path();
    }
    m_next.setNotes(notes);
    return m_next.beginElement(offset, size, title, index);
}

bool TreeAnnotator::addField(const Field &field)
{
    ItemNotes notes;
    if (m_choice.paths) {
        m_paths.leaf(field.name);
        notes.path = m_paths.path();
    }
    if (m_choice.bytes)
        notes.bytes = bytesAt(field.offset, field.size);
    m_next.setNotes(notes);
    return m_next.addField(field);
}

bool TreeAnnotator::endElement()
{
    if (m_choice.paths)
        m_paths.leave();
    return m_next.endElement();
}

bool TreeAnnotator::endDocument(const RunResult &result)
{
    // If the walk could not read the file either, that is said.
    if (m_file.hasReadError() && result.error.kind == FileError::None)
        m_trouble = QStringLiteral("its bytes cannot be read: ") + m_file.errorText();
    return m_next.endDocument(result) && m_trouble.isNull();
}

QString TreeAnnotator::errorText() const
{
    const QString text = m_next.errorText();
    return text.isNull() ? m_trouble : text;
}

/// As pairs of digits, valid until the next call; empty when nothing can be read there.
QStringView TreeAnnotator::bytesAt(quint64 offset, quint64 size)
{
    m_bytes.truncate(0);
    if (offset > quint64(std::numeric_limits<qint64>::max()) || !m_file.seek(qint64(offset)))
        return {};
    char bytes[mostBytes];
    const qint64 count = m_file.read(bytes, qint64(qMin(size, mostBytes)));
    for (qint64 i = 0; i < count; ++i) {
        if (i > 0)
            m_bytes += QLatin1Char(' ');
        m_bytes += QLatin1Char(lowerHexDigit(uchar(bytes[i]) >> 4U));
        m_bytes += QLatin1Char(lowerHexDigit(uchar(bytes[i])));
    }
    if (size > mostBytes && count == qint64(mostBytes)) {
        m_bytes += QLatin1Char(' ');
        m_bytes += QChar(0x2026);
    }
    return m_bytes;
}

} // namespace quenlofar

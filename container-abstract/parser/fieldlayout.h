#pragma once

#include "containerabstract_export.h"

#include <QByteArray>
#include <QString>
#include <QStringView>
#include <QtEndian>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace quenlofar {

/// How the bytes of a field are read and shown; the width in bytes follows from it, but for the last two.
enum class FieldKind : quint8 {
    U8,
    U16,
    I16,
    U32,
    I32,
    U64,
    FourCC, ///< four Latin-1 characters, ending early at the first zero byte
    Words3, ///< three 32-bit words, "1 2 3"
    Words4,
    Guid, ///< 16 bytes as Windows stores them, "{00000001-0000-0010-8000-00aa00389b71}"
    Text, ///< as many bytes as the row says, see bytesToText
    Hex, ///< the same as two hexadecimal digits each, "00 1f ff"
};

/// The bytes of a field of this kind; 0 where only the row says it.
constexpr int widthOf(FieldKind kind)
{
    switch (kind) {
    case FieldKind::U8:
        return 1;
    case FieldKind::U16:
    case FieldKind::I16:
        return 2;
    case FieldKind::U64:
        return 8;
    case FieldKind::Words3:
        return 12;
    case FieldKind::Words4:
    case FieldKind::Guid:
        return 16;
    case FieldKind::Text:
    case FieldKind::Hex:
        return 0;
    case FieldKind::U32:
    case FieldKind::I32:
    case FieldKind::FourCC:
        break;
    }
    return 4;
}

/// Which byte of a number comes first.
enum class ByteOrder : quint8 { LittleEndian, BigEndian };

/// Bytes of one record, which it does not own. Bytes past its end read as zero, so no field can overrun.
class CONTAINERABSTRACT_EXPORT RecordView
{
public:
    /// The bytes have to outlive the view.
    RecordView(const void *bytes, size_t size, ByteOrder order = ByteOrder::LittleEndian)
        : m_bytes(static_cast<const char *>(bytes)), m_size(size), m_order(order)
    {
    }
    /// The same over all bytes of an array.
    explicit RecordView(const QByteArray &bytes, ByteOrder order = ByteOrder::LittleEndian)
        : RecordView(bytes.constData(), size_t(bytes.size()), order)
    {
    }

    /// Bytes that there are.
    size_t size() const { return m_size; }
    /// The number that begins `at` bytes from the start, in the record's byte order.
    template <typename Number> Number read(size_t at) const
    {
        char bytes[sizeof(Number)] = {};
        if (at < m_size)
            std::memcpy(bytes, m_bytes + at, std::min(sizeof bytes, m_size - at));
        return m_order == ByteOrder::LittleEndian ? qFromLittleEndian<Number>(bytes) : qFromBigEndian<Number>(bytes);
    }
    /// Up to `count` bytes, fewer at the end of the record; shared, not copied: they live as long as the record's.
    QByteArray lentBytes(size_t at, size_t count) const;
    /// Four characters as Latin-1, ending early at the first zero byte.
    QString fourCC(size_t at) const;

private:
    const char *m_bytes;
    size_t m_size;
    ByteOrder m_order;
};

/// One row of a record's layout. `meaning` sees the whole record and nothing else.
struct FieldRow
{
    QStringView name; ///< the structure's own member name
    int offset; ///< bytes from the start of the record
    FieldKind kind; ///< how the bytes are read and shown
    QString (*meaning)(const RecordView &) = nullptr; ///< what the value stands for; null for nothing to add
    QStringView description = {}; ///< a longer explanation
    int valueOffset = -1; ///< where the value is read, if not at `offset`
    int givenWidth = 0; ///< bytes of a Text or Hex; see textRow

    /// Bytes that the field takes.
    constexpr int width() const { return givenWidth > 0 ? givenWidth : widthOf(kind); }
};

/// A row of the kind Text, or Hex, that is `width` bytes wide.
constexpr FieldRow textRow(QStringView name, int offset, int width, FieldKind kind = FieldKind::Text)
{
    return {name, offset, kind, nullptr, {}, -1, width};
}

/// The rows of a table. They are not copied: a table is a constant.
class FieldRows
{
public:
    constexpr FieldRows() = default;
    /// All rows of a table.
    template <size_t Count> constexpr FieldRows(const FieldRow (&rows)[Count]) : m_begin(rows), m_end(rows + Count) { }

    /// The first row.
    constexpr const FieldRow *begin() const { return m_begin; }
    /// Behind the last row.
    constexpr const FieldRow *end() const { return m_end; }
    /// True for a table without rows.
    constexpr bool isEmpty() const { return m_begin == m_end; }
    /// Where the last field ends, in bytes from the start of the record.
    constexpr int width() const { return isEmpty() ? 0 : (m_end - 1)->offset + (m_end - 1)->width(); }

private:
    const FieldRow *m_begin = nullptr;
    const FieldRow *m_end = nullptr;
};

/// True when the rows cover the bytes from `from` to `to` in their order, without a gap or an overlap.
template <size_t Count> constexpr bool tiles(const FieldRow (&rows)[Count], int from, int to)
{
    int at = from;
    for (const FieldRow &row : rows) {
        if (row.offset != at)
            return false;
        at += row.width();
    }
    return at == to;
}

/// One bit, or group of bits of which any counts, and its name.
struct FlagName
{
    quint32 mask; ///< the bits
    QStringView name; ///< as the format calls them
};

/// The names of the rows of which a bit is set in `flags`, in table order, joined by `separator`.
template <size_t Count> QString flagNames(quint32 flags, const FlagName (&rows)[Count], QStringView separator)
{
    QString names;
    for (const FlagName &row : rows) {
        if ((flags & row.mask) == 0)
            continue;
        if (!names.isEmpty())
            names.append(separator.toString());
        names.append(row.name.toString());
    }
    return names;
}

/// The text that FieldKind gives to the bytes at `at` of `record`; `width` counts for the kinds Text and Hex.
CONTAINERABSTRACT_EXPORT QString fieldText(const RecordView &record, size_t at, FieldKind kind, int width = 0);

} // namespace quenlofar

#pragma once

#include "containerabstract_export.h"
#include "textencoding.h"

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
    I8,
    U16,
    I16,
    U24,
    U32,
    I32,
    U64,
    I64,
    F32, ///< IEEE 754, the shortest text that reads back as the same number; "inf", "nan"
    F64, ///< IEEE 754 of 64 bits, shown as F32
    F80, ///< the extended format of 80 bits with its integer bit stored, shown like a double where it is one
    FourCC, ///< four Latin-1 characters, ending early at the first zero byte
    Words3, ///< three 32-bit words, "1 2 3"
    Words4,
    Guid, ///< 16 bytes as Windows stores them, "{00000001-0000-0010-8000-00aa00389b71}"
    Text, ///< as many bytes as the row says, see bytesToText
    Hex, ///< bytes as two hexadecimal digits each, "00 1f ff"
};

/// The bytes of a field of this kind; 0 where only the row says it.
constexpr int widthOf(FieldKind kind)
{
    switch (kind) {
    case FieldKind::U8:
    case FieldKind::I8:
        return 1;
    case FieldKind::U16:
    case FieldKind::I16:
        return 2;
    case FieldKind::U24:
        return 3;
    case FieldKind::U64:
    case FieldKind::I64:
    case FieldKind::F64:
        return 8;
    case FieldKind::F80:
        return 10;
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
    case FieldKind::F32:
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
    /// Covers all bytes of an array.
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
    /// The number of `width` bytes, 1 to 8, that begins `at` bytes from the start, in the record's byte order.
    quint64 readUnsigned(size_t at, int width) const;
    /// Which byte of its numbers comes first.
    ByteOrder byteOrder() const { return m_order; }
    /// Up to `count` bytes, fewer at the end of the record; shared, not copied: they live as long as the record's.
    QByteArray lentBytes(size_t at, size_t count) const;
    /// Four characters as Latin-1, ending early at the first zero byte.
    QString fourCC(size_t at) const;

private:
    const char *m_bytes;
    size_t m_size;
    ByteOrder m_order;
};

struct FieldRow;
/// Says what a row's value stands for, from the record and the row and from nothing else; empty for nothing to add.
using FieldMeaning = QString (*)(const RecordView &record, const FieldRow &row);

/// One row of a record's layout.
// Its members stand in the order in which a row is read; another order would spare 8 bytes of a table's row.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct FieldRow
{
    QStringView name; ///< the structure's own member name
    int offset; ///< bytes from the start of the record
    FieldKind kind; ///< how the bytes are read and shown
    FieldMeaning meaning = nullptr; ///< what the value stands for; null for nothing to add. See fieldmeanings.h
    QStringView description = {}; ///< a longer explanation
    int valueOffset = -1; ///< where the value is read, if not at `offset`
    int givenWidth = 0; ///< bytes of a Text or Hex; see textRow
    TextEncoding encoding = TextEncoding::Guessed; ///< of a Text

    /// Bytes that the field takes.
    constexpr int width() const { return givenWidth > 0 ? givenWidth : widthOf(kind); }
    /// Where the value is read, in bytes from the start of the record.
    constexpr int valueAt() const { return valueOffset >= 0 ? valueOffset : offset; }
};

/// A row of the kind Text, or Hex, that is `width` bytes wide.
constexpr FieldRow textRow(QStringView name, int offset, int width, FieldKind kind = FieldKind::Text)
{
    return {name, offset, kind, nullptr, {}, -1, width};
}
/// A row of the kind Text that is `width` bytes wide and in `encoding`.
constexpr FieldRow textRow(QStringView name, int offset, int width, TextEncoding encoding)
{
    return {name, offset, FieldKind::Text, nullptr, {}, -1, width, encoding};
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

/// The number that a row of an integer kind shows, with its sign extended to 64 bits; 0 for all other kinds.
CONTAINERABSTRACT_EXPORT quint64 storedNumber(const RecordView &record, const FieldRow &row);

/// The text that FieldKind gives to the bytes at `at` of `record`; `width` counts for the kinds Text and Hex,
/// `encoding` for Text.
CONTAINERABSTRACT_EXPORT QString fieldText(const RecordView &record, size_t at, FieldKind kind, int width = 0,
                                           TextEncoding encoding = TextEncoding::Guessed);

} // namespace quenlofar

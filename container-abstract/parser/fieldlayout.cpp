#include "fieldlayout.h"

#include <QUuid>

#include <charconv>
#include <cmath>
#include <limits>

namespace quenlofar {

namespace {

/// `count` 32-bit words from `at` on, in decimal, with a blank between them.
QString wordsText(const RecordView &record, size_t at, size_t count)
{
    QString text;
    for (size_t word = 0; word < count; ++word) {
        if (word > 0)
            text.append(QLatin1Char(' '));
        text.append(QString::number(record.read<quint32>(at + 4 * word)));
    }
    return text;
}

/// The first three numbers are little-endian whatever the container; then come eight single bytes.
QString guidText(const RecordView &record, size_t at)
{
    char bytes[16] = {};
    const QByteArray stored = record.lentBytes(at, sizeof bytes);
    std::memcpy(bytes, stored.constData(), size_t(stored.size()));
    const RecordView guid(bytes, sizeof bytes);
    return QUuid(guid.read<quint32>(0), guid.read<quint16>(4), guid.read<quint16>(6), guid.read<quint8>(8),
                 guid.read<quint8>(9), guid.read<quint8>(10), guid.read<quint8>(11), guid.read<quint8>(12),
                 guid.read<quint8>(13), guid.read<quint8>(14), guid.read<quint8>(15))
        .toString();
}

/// The shortest decimal text that reads back as the same number.
template <typename Real> QString realText(Real number)
{
    char digits[32];
    const char *const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    return QString::fromLatin1(digits, int(end - digits));
}

template <typename Real, typename Bits> Real realOf(Bits bits)
{
    static_assert(sizeof(Real) == sizeof(Bits) && std::numeric_limits<Real>::is_iec559);
    Real number;
    std::memcpy(&number, &bits, sizeof number);
    return number;
}

/// Sign and exponent in 16 bits, then the mantissa, whose highest bit is the integer part.
QString extendedText(const RecordView &record, size_t at)
{
    constexpr int bias = 16383 + 63; // of the exponent where the mantissa counts as an integer
    constexpr int specialExponent = 0x7FFF;
    const bool isLittle = record.byteOrder() == ByteOrder::LittleEndian;
    const quint64 head = record.readUnsigned(at + (isLittle ? 8 : 0), 2);
    const quint64 mantissa = record.readUnsigned(at + (isLittle ? 0 : 2), 8);
    const int exponent = int(head & specialExponent);
    const double sign = (head & 0x8000) != 0 ? -1.0 : 1.0;
    if (exponent == specialExponent) {
        return realText((mantissa << 1) == 0 ? sign * std::numeric_limits<double>::infinity()
                                             : std::numeric_limits<double>::quiet_NaN());
    }
    const double number = std::ldexp(double(mantissa), exponent - bias);
    if (mantissa == 0 || std::isnormal(number))
        return realText(sign * number);
    // No double is that large or that small.
    return QStringLiteral("%1%2p%3")
        .arg(sign < 0 ? QStringLiteral("-0x") : QStringLiteral("0x"))
        .arg(mantissa, 0, 16)
        .arg(exponent - bias);
}

} // namespace

quint64 RecordView::readUnsigned(size_t at, int width) const
{
    quint64 number = 0;
    for (int i = 0; i < width; ++i) {
        const size_t from = at + size_t(m_order == ByteOrder::LittleEndian ? width - 1 - i : i);
        number = number << 8 | (from < m_size ? static_cast<uchar>(m_bytes[from]) : 0U);
    }
    return number;
}

QByteArray RecordView::lentBytes(size_t at, size_t count) const
{
    if (at >= m_size)
        return {};
    return QByteArray::fromRawData(m_bytes + at, int(std::min(count, m_size - at)));
}

QString RecordView::fourCC(size_t at) const
{
    char bytes[4] = {};
    if (at < m_size)
        std::memcpy(bytes, m_bytes + at, std::min(sizeof bytes, m_size - at));
    return QString::fromLatin1(bytes, int(qstrnlen(bytes, sizeof bytes)));
}

quint64 storedNumber(const RecordView &record, const FieldRow &row)
{
    const size_t at = size_t(row.valueAt());
    switch (row.kind) {
    case FieldKind::I8:
        return quint64(record.read<qint8>(at));
    case FieldKind::I16:
        return quint64(record.read<qint16>(at));
    case FieldKind::I32:
        return quint64(record.read<qint32>(at));
    case FieldKind::U8:
    case FieldKind::U16:
    case FieldKind::U24:
    case FieldKind::U32:
    case FieldKind::U64:
    case FieldKind::I64:
        return record.readUnsigned(at, row.width());
    default:
        return 0;
    }
}

QString fieldText(const RecordView &record, size_t at, FieldKind kind, int width, TextEncoding encoding)
{
    switch (kind) {
    case FieldKind::U8:
        return QString::number(record.read<quint8>(at));
    case FieldKind::I8:
        return QString::number(record.read<qint8>(at));
    case FieldKind::U24:
        return QString::number(record.readUnsigned(at, 3));
    case FieldKind::I64:
        return QString::number(record.read<qint64>(at));
    case FieldKind::F32:
        return realText(realOf<float>(record.read<quint32>(at)));
    case FieldKind::F64:
        return realText(realOf<double>(record.read<quint64>(at)));
    case FieldKind::F80:
        return extendedText(record, at);
    case FieldKind::U16:
        return QString::number(record.read<quint16>(at));
    case FieldKind::I16:
        return QString::number(record.read<qint16>(at));
    case FieldKind::U32:
        return QString::number(record.read<quint32>(at));
    case FieldKind::I32:
        return QString::number(record.read<qint32>(at));
    case FieldKind::U64:
        return QString::number(record.read<quint64>(at));
    case FieldKind::FourCC:
        return record.fourCC(at);
    case FieldKind::Words3:
        return wordsText(record, at, 3);
    case FieldKind::Words4:
        return wordsText(record, at, 4);
    case FieldKind::Guid:
        return guidText(record, at);
    case FieldKind::Text:
        return decodedText(record.lentBytes(at, size_t(width)), encoding);
    case FieldKind::Hex:
        return QString::fromLatin1(record.lentBytes(at, size_t(width)).toHex(' '));
    }
    return {};
}

} // namespace quenlofar

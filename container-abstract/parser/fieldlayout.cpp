#include "fieldlayout.h"

#include "texts.h"

#include <QUuid>

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

} // namespace

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

QString fieldText(const RecordView &record, size_t at, FieldKind kind, int width)
{
    switch (kind) {
    case FieldKind::U8:
        return QString::number(record.read<quint8>(at));
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
        return bytesToText(record.lentBytes(at, size_t(width)));
    case FieldKind::Hex:
        return QString::fromLatin1(record.lentBytes(at, size_t(width)).toHex(' '));
    }
    return {};
}

} // namespace quenlofar

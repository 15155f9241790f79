#include "fieldlayout.h"

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

} // namespace

QString RecordView::fourCC(size_t at) const
{
    char bytes[4] = {};
    if (at < m_size)
        std::memcpy(bytes, m_bytes + at, std::min(sizeof bytes, m_size - at));
    return QString::fromLatin1(bytes, int(qstrnlen(bytes, sizeof bytes)));
}

QString fieldText(const RecordView &record, size_t at, FieldKind kind)
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
    }
    return {};
}

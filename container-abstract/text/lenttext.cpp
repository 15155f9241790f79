#include "lenttext.h"

#include "digits.h"

#include <QtAlgorithms>
#include <QtEndian>

namespace quenlofar {

const QString &LentText::firstCharacters(int count)
{
    QString &text = m_bySize[count];
    if (Q_UNLIKELY(text.size() != count))
        text = QString::fromRawData(reinterpret_cast<const QChar *>(m_characters), count);
    return text;
}

const QString &LentText::borrow(QStringView text)
{
    // Emptying m_borrowed would give up its header in Qt 5.
    if (text.isEmpty())
        return firstCharacters(0);
    m_borrowed.setRawData(reinterpret_cast<const QChar *>(text.utf16()), int(text.size()));
    return m_borrowed;
}

const QString &LentText::decimal(quint64 number)
{
    return firstCharacters(int(writeDecimal(number, m_characters) - m_characters));
}

const QString &LentText::decimal(qint64 number)
{
    if (number >= 0)
        return decimal(quint64(number));
    // Negated as unsigned: the smallest number has no positive counterpart.
    m_characters[0] = u'-';
    return firstCharacters(int(writeDecimal(0 - quint64(number), m_characters + 1) - m_characters));
}

const QString &LentText::latin1(const char *bytes, int size)
{
    if (size == 4) {
        // Ids come by the million: four bytes are widened at once.
        const quint32 word = qFromLittleEndian<quint32>(bytes);
        for (int i = 0; i < 4; ++i)
            m_characters[i] = char16_t(word >> (8 * i) & 0xFF);
        const quint32 zeros = (word - 0x01010101) & ~word & 0x80808080; // the lowest bit set is right
        return firstCharacters(Q_LIKELY(zeros == 0) ? 4 : int(qCountTrailingZeroBits(zeros)) / 8);
    }
    int count = 0;
    while (count < size && count < capacity && bytes[count] != '\0') {
        m_characters[count] = char16_t(static_cast<unsigned char>(bytes[count]));
        ++count;
    }
    return firstCharacters(count);
}

} // namespace quenlofar

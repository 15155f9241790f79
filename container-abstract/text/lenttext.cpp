#include "lenttext.h"

#include <QtAlgorithms>
#include <QtEndian>

namespace {

/// "00", "01" .. "99": two digits per division.
constexpr struct DigitPairs
{
    char16_t pair[200];
    constexpr DigitPairs() : pair()
    {
        for (size_t i = 0; i < 100; ++i) {
            pair[2 * i] = char16_t(u'0' + i / 10);
            pair[2 * i + 1] = char16_t(u'0' + i % 10);
        }
    }
} digitPairs;

int decimalDigits(quint64 number)
{
    int digits = 1;
    for (quint64 limit = 10; number >= limit; limit *= 10) {
        ++digits;
        if (digits == 20)
            break; // the largest number; the next limit does not fit
    }
    return digits;
}

/// Writes the `count` digits of `number`.
void writeDecimal(quint64 number, char16_t *begin, int count)
{
    char16_t *end = begin + count;
    while (number >= 100) {
        const quint64 rest = number % 100;
        number /= 100;
        *--end = digitPairs.pair[2 * rest + 1];
        *--end = digitPairs.pair[2 * rest];
    }
    if (number >= 10) {
        *--end = digitPairs.pair[2 * number + 1];
        *--end = digitPairs.pair[2 * number];
    } else {
        *--end = char16_t(u'0' + number);
    }
}

} // namespace

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
    const int count = decimalDigits(number);
    writeDecimal(number, m_characters, count);
    return firstCharacters(count);
}

const QString &LentText::decimal(qint64 number)
{
    if (number >= 0)
        return decimal(quint64(number));
    // Negated as unsigned: the smallest number has no positive counterpart.
    const quint64 magnitude = 0 - quint64(number);
    const int count = decimalDigits(magnitude);
    m_characters[0] = u'-';
    writeDecimal(magnitude, m_characters + 1, count);
    return firstCharacters(1 + count);
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

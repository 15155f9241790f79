#include "bytepattern.h"

#include <QCoreApplication>

#include <algorithm>
#include <utility>

namespace quenlofar {

namespace {

/// Texts for people, translated.
struct BytePatternTexts
{
    Q_DECLARE_TR_FUNCTIONS(quenlofar::BytePattern)
};

int digitOf(QChar character)
{
    const char16_t unit = character.unicode();
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    const int letter = unit | 0x20;
    return letter >= u'a' && letter <= u'f' ? letter - u'a' + 10 : -1;
}

/// How much a byte of a pattern tells: the more bits count, and the rarer its value is in files, the more.
int weightOf(uchar value, uchar mask)
{
    int bits = 0;
    for (int bit = 0; bit < 8; ++bit)
        bits += mask >> bit & 1;
    const bool isCommon = value == 0 || value == 0xFF;
    return bits * 2 - (isCommon ? 3 : value < 0x20 ? 1 : 0);
}

QByteArray inOrder(quint64 number, int size, bool isBigEndian)
{
    QByteArray bytes;
    for (int i = 0; i < size; ++i)
        bytes.append(char(number >> (8 * (isBigEndian ? size - 1 - i : i))));
    return bytes;
}

/// The number and how many bytes it needs; for a negative one its two's complement.
std::optional<std::pair<quint64, int>> numberOf(const QString &text)
{
    bool isNumber = false;
    const bool isHex = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive);
    const quint64 number = isHex ? text.mid(2).toULongLong(&isNumber, 16) : text.toULongLong(&isNumber);
    if (isNumber) {
        const int size = number <= 0xFF ? 1 : number <= 0xFFFF ? 2 : number <= 0xFFFFFFFF ? 4 : 8;
        return std::pair(number, size);
    }
    const qint64 negative = text.toLongLong(&isNumber);
    if (!isNumber)
        return std::nullopt;
    const int size = negative >= -0x80 ? 1 : negative >= -0x8000 ? 2 : negative >= -0x80000000LL ? 4 : 8;
    return std::pair(quint64(negative), size);
}

} // namespace

BytePattern BytePattern::exactly(const QByteArray &bytes)
{
    BytePattern pattern;
    pattern.m_values.assign(bytes.begin(), bytes.end());
    pattern.m_masks.assign(size_t(bytes.size()), 0xFF);
    pattern.choose();
    return pattern;
}

std::optional<BytePattern> BytePattern::parse(const QString &text, QString *error)
{
    BytePattern pattern;
    int digits = 0;
    bool isAnyTold = false;
    for (const QChar character : text) {
        if (character.isSpace()) {
            if (digits % 2 == 0)
                continue;
            *error = BytePatternTexts::tr("A byte has two digits: there is a blank behind one.");
            return std::nullopt;
        }
        const bool isAny = character == QLatin1Char('?');
        const int digit = isAny ? 0 : digitOf(character);
        if (digit < 0) {
            *error = BytePatternTexts::tr("\"%1\" is no hexadecimal digit and no \"?\".").arg(character);
            return std::nullopt;
        }
        if (digits % 2 == 0) {
            pattern.m_values.push_back(0);
            pattern.m_masks.push_back(0);
        }
        const int shift = digits % 2 == 0 ? 4 : 0;
        pattern.m_values.back() = uchar(pattern.m_values.back() | digit << shift);
        pattern.m_masks.back() = uchar(pattern.m_masks.back() | (isAny ? 0 : 0xF << shift));
        isAnyTold = isAnyTold || !isAny;
        ++digits;
    }
    if (digits % 2 != 0)
        *error = BytePatternTexts::tr("A byte has two digits: the last one is missing.");
    else if (!isAnyTold)
        *error = BytePatternTexts::tr("Type the bytes to look for, such as 00 DC ?? 4?.");
    else if (pattern.size() > mostBytes)
        *error = BytePatternTexts::tr("At most %1 bytes can be looked for.").arg(mostBytes);
    else {
        pattern.choose();
        return pattern;
    }
    return std::nullopt;
}

void BytePattern::choose()
{
    const auto tellsMore = [this](size_t one, size_t other) {
        return weightOf(m_values[one], m_masks[one]) > weightOf(m_values[other], m_masks[other]);
    };
    m_first = 0;
    for (size_t i = 1; i < m_values.size(); ++i)
        m_first = tellsMore(i, m_first) ? i : m_first;
    m_second = m_first;
    for (size_t i = 0; i < m_values.size(); ++i) {
        if (i != m_first && (m_second == m_first || tellsMore(i, m_second)))
            m_second = i;
    }
    m_canBeZero = std::all_of(m_values.begin(), m_values.end(), [](uchar value) { return value == 0; });
}

bool BytePattern::matchesAt(const uchar *bytes) const
{
    for (size_t i = 0; i < m_values.size(); ++i) {
        if ((bytes[i] & m_masks[i]) != m_values[i])
            return false;
    }
    return true;
}

void BytePattern::find(const uchar *bytes, size_t count, std::vector<size_t> *found) const
{
    if (count < m_values.size())
        return;
    // Two bytes of the pattern are looked at for many places at once, which compilers make vectors of.
    constexpr size_t places = 64;
    const size_t end = count - m_values.size() + 1;
    const uchar *const first = bytes + m_first;
    const uchar *const second = bytes + m_second;
    const uchar firstValue = m_values[m_first];
    const uchar firstMask = m_masks[m_first];
    const uchar secondValue = m_values[m_second];
    const uchar secondMask = m_masks[m_second];
    size_t at = 0;
    for (; at + places <= end; at += places) {
        uchar differences[places];
        uchar hasAny = 0;
        for (size_t i = 0; i < places; ++i) {
            differences[i] =
                uchar(((first[at + i] & firstMask) ^ firstValue) | ((second[at + i] & secondMask) ^ secondValue));
            hasAny = uchar(hasAny | (differences[i] == 0 ? 1 : 0));
        }
        if (hasAny == 0)
            continue;
        for (size_t i = 0; i < places; ++i) {
            if (differences[i] == 0 && matchesAt(bytes + at + i))
                found->push_back(at + i);
        }
    }
    for (; at < end; ++at) {
        if (matchesAt(bytes + at))
            found->push_back(at);
    }
}

std::optional<ByteQuery> ByteQuery::parse(Kind kind, const QString &text, QString *error)
{
    ByteQuery query;
    if (kind == Kind::Bytes) {
        const std::optional<BytePattern> pattern = BytePattern::parse(text, error);
        if (!pattern)
            return std::nullopt;
        query.patterns = {*pattern};
        return query;
    }
    if (kind == Kind::Number) {
        const std::optional<std::pair<quint64, int>> number = numberOf(text.trimmed());
        if (!number) {
            *error = BytePatternTexts::tr("\"%1\" is no number of at most 64 bits.").arg(text);
            return std::nullopt;
        }
        for (const bool isBigEndian : {false, true}) {
            if (!isBigEndian || number->second > 1)
                query.patterns.push_back(BytePattern::exactly(inOrder(number->first, number->second, isBigEndian)));
        }
        return query;
    }
    const QByteArray bytes = kind == Kind::Text ? text.toUtf8() : text.toLatin1();
    if (kind == Kind::FourCC && bytes.size() != 4) {
        *error = BytePatternTexts::tr("A FourCC has four characters.");
        return std::nullopt;
    }
    if (bytes.isEmpty() || bytes.size() > BytePattern::mostBytes) {
        *error = BytePatternTexts::tr("Type 1 to %1 bytes of text.").arg(BytePattern::mostBytes);
        return std::nullopt;
    }
    query.patterns = {BytePattern::exactly(bytes)};
    return query;
}

} // namespace quenlofar

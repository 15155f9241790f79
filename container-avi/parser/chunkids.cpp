#include "chunkids.h"

#include "chunktable.h"

namespace quenlofar {

namespace {

constexpr quint32 pair(char first, char second)
{
    return quint32(static_cast<unsigned char>(first)) | quint32(static_cast<unsigned char>(second)) << 8;
}

constexpr quint32 dataPairs[] = {pair('d', 'b'), pair('d', 'c'), pair('p', 'c'), pair('w', 'b')};
constexpr quint32 indexPair = pair('i', 'x');

// Everything that QString::toInt may accept in one of two places: digits, signs, white space, and the text's end.
constexpr char numberCharacters[] = "0123456789abcdefABCDEF+- \t\n\v\f\r\x85\xA0";

/// Latin-1 text of two bytes, ending early at the first zero byte.
QString pairText(quint32 bytes)
{
    const char text[] = {char(bytes & 0xFF), char(bytes >> 8), '\0'};
    return QString::fromLatin1(text);
}

} // namespace

QString ChunkId::text() const
{
    const char bytes[] = {char(byte(0)), char(byte(1)), char(byte(2)), char(byte(3)), '\0'};
    return QString::fromLatin1(bytes);
}

const ChunkIdTable &ChunkIdTable::instance()
{
    static const ChunkIdTable table;
    return table;
}

ChunkIdTable::ChunkIdTable()
{
    // QString::toInt itself decides what is a number: signs and white space count as it counts them.
    for (const char first : numberCharacters) {
        for (const char second : numberCharacters)
            noteNumber(pair(first, second));
    }
    for (int row = 0; row < rowCount; ++row) {
        m_rowIds[row] = ChunkId::fromBytes(ChunkRow::rows[row].id);
        note(m_rowIds[row].word() & 0xFFFF, m_rowIds[row].word() >> 16);
    }
    // Shorter texts end in a zero byte; findCandidate takes them apart.
    for (quint32 byte = 0; byte < 256; ++byte) {
        m_lastPairs[byte] = true; // the fourth byte is zero
        m_lastPairs[byte << 8] = true; // the third one is
    }
    // Texts of three characters, and of two, which are the first and the last two at once. Zero bytes, of which files
    // have many, are none of the middle pairs: a text of no or one character is not known.
    for (const quint32 last : dataPairs) {
        m_middlePairs[last] = true;
        m_middlePairs[last >> 8] = true;
    }
    m_middlePairs[indexPair] = true;
    m_middlePairs[indexPair >> 8] = true;
}

/// A known id begins and ends with these pairs.
void ChunkIdTable::note(quint32 first, quint32 last)
{
    m_lastPairs[last] = true;
    m_middlePairs[first >> 8 | (last & 0xFF) << 8] = true;
}

/// The ids of stream chunks with these two characters, where they are a number.
void ChunkIdTable::noteNumber(quint32 bytes)
{
    bool isNumber = false;
    pairText(bytes).toInt(&isNumber, 16);
    if (isNumber) {
        m_hexadecimal[bytes] = true;
        for (const quint32 last : dataPairs)
            note(bytes, last);
    }
    pairText(bytes).toInt(&isNumber, 10);
    if (isNumber) {
        m_decimal[bytes] = true;
        note(bytes, indexPair);
        note(indexPair, bytes);
    }
}

quint64 ChunkIdTable::findFirst(const char *bytes, quint64 count) const
{
    constexpr quint64 step = 8;
    quint64 at = 0;
    for (; count - at >= step; at += step) {
        const char *const words = bytes + at;
        if (qFromUnaligned<quint64>(words) == 0)
            continue; // no id begins with a zero byte
        // Not "||": in arbitrary data each of eight branches would cost more than all the looks into the table.
        unsigned candidates = 0;
        for (quint64 i = 0; i < step; ++i)
            candidates |= unsigned(canBeKnown(words + i));
        if (candidates == 0)
            continue;
        for (quint64 i = 0; i < step; ++i) {
            if (canBeKnown(words + i) && find(ChunkId::fromBytes(words + i)) != unknown)
                return at + i;
        }
    }
    for (; at < count; ++at) {
        if (find(ChunkId::fromBytes(bytes + at)) != unknown)
            return at;
    }
    return count;
}

int ChunkIdTable::findCandidate(ChunkId id) const
{
    const quint32 word = id.word();
    // The first two and the last two characters of the text, which overlap when a zero byte ends it early.
    quint32 first = word & 0xFFFF;
    quint32 last = word >> 16;
    if (id.byte(0) == 0)
        return unknown;
    if (id.byte(1) == 0)
        last = first = id.byte(0);
    else if (id.byte(2) == 0)
        last = first;
    else if (id.byte(3) == 0)
        last = id.byte(1) | id.byte(2) << 8;

    for (const quint32 dataPair : dataPairs) {
        if (last == dataPair)
            return m_hexadecimal[first] ? streamChunk : unknown;
    }
    if (last == indexPair)
        return m_decimal[first] ? streamChunk : unknown;
    if (first == indexPair)
        return m_decimal[last] ? streamChunk : unknown;
    for (int row = 0; row < rowCount; ++row) {
        if (m_rowIds[row] == id)
            return row;
    }
    return unknown;
}

} // namespace quenlofar

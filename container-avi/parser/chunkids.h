#pragma once

#include <QString>
#include <QtEndian>

#include <array>
#include <bitset>
#include <cstring>

namespace quenlofar {

/// The four bytes of a chunk id as they stand in the file; the first byte is the lowest.
class ChunkId
{
public:
    constexpr ChunkId() = default;
    explicit constexpr ChunkId(quint32 word) : m_word(word) { }
    static ChunkId fromBytes(const char *bytes) { return ChunkId(qFromLittleEndian<quint32>(bytes)); }

    constexpr quint32 word() const { return m_word; }
    constexpr unsigned byte(int at) const { return (m_word >> (8 * at)) & 0xFF; }
    /// Latin-1, ending early at the first zero byte.
    QString text() const;
    friend constexpr bool operator==(ChunkId a, ChunkId b) { return a.m_word == b.m_word; }

private:
    quint32 m_word = 0;
};

/**
 * Answers for the raw four bytes of an id what ContainerAVI::searchID answers for its text, without making a text.
 * Nearly all words of arbitrary data are dismissed by one look at their last two bytes.
 */
class ChunkIdTable
{
public:
    static constexpr int rowCount = 38; // of the chunk table
    static constexpr int unknown = -2; // not a known id
    static constexpr int streamChunk = -1; // a stream data or stream index chunk: known, without a row

    /// Built at its first use.
    static const ChunkIdTable &instance();

    /// Row of the chunk table, or streamChunk, or unknown.
    int find(ChunkId id) const { return m_lastPairs[id.word() >> 16] ? findCandidate(id) : unknown; }
    /// False for most words that are unknown, told by two of their bytes alone. `bytes` are the four of the word.
    bool canBeKnown(const char *bytes) const { return m_middlePairs[qFromLittleEndian<quint16>(bytes + 1)]; }
    /// The first of `count` places, a byte from one to the next, at which a known id begins; `count` if there is none.
    /// Three bytes follow the last place.
    quint64 findFirst(const char *bytes, quint64 count) const;

private:
    ChunkIdTable();
    int findCandidate(ChunkId id) const;
    void note(quint32 first, quint32 last);
    void noteNumber(quint32 bytes);

    std::array<bool, 65536> m_lastPairs{}; // last two bytes, the third one lowest, of an id that can be known
    std::array<bool, 65536> m_middlePairs{}; // second and third byte, the second one lowest, of such an id
    std::bitset<65536> m_hexadecimal; // two bytes, first one lowest, whose text QString::toInt reads in base 16
    std::bitset<65536> m_decimal; // and in base 10
    ChunkId m_rowIds[rowCount];
};

} // namespace quenlofar

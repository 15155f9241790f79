#pragma once

#include <QByteArray>
#include <QtEndian>

#include <array>

namespace quenlofar {

// The bytes of indexes: AVIOLDINDEX, AVISUPERINDEX and AVISTDINDEX.

constexpr quint64 legacyEntrySize = 16;
constexpr quint32 legacyKeyFrameFlag = 0x00000010; // AVIIF_KEYFRAME
constexpr quint32 legacyNoTimeFlag = 0x00000100; // AVIIF_NO_TIME: a palette

constexpr quint32 openDmlHeaderSize = 24; // of AVISUPERINDEX and AVISTDINDEX, before the entries
constexpr quint32 superEntrySize = 16;
constexpr quint32 standardEntrySize = 8;
constexpr quint32 standardNotKeyFlag = 0x80000000; // of an entry's size

/// Appends a number, its lowest byte first.
template <typename Number> void appendNumber(QByteArray *bytes, Number number)
{
    std::array<char, sizeof(Number)> buffer = {};
    qToLittleEndian(number, buffer.data());
    bytes->append(buffer.data(), int(buffer.size()));
}
/// The bytes of a number, the lowest first.
template <typename Number> QByteArray numberBytes(Number number)
{
    QByteArray bytes;
    appendNumber(&bytes, number);
    return bytes;
}

/// An entry of idx1; `offset` counts from the form type of `movi`.
inline void appendLegacyEntry(QByteArray *index, quint32 id, quint32 flags, quint32 offset, quint32 size)
{
    appendNumber(index, id);
    appendNumber(index, flags);
    appendNumber(index, offset);
    appendNumber(index, size);
}
/// An entry of a standard index; `offset` is that of the data, counted from the base of the index.
inline void appendStandardEntry(QByteArray *index, quint32 offset, quint32 size, bool isKey)
{
    appendNumber(index, offset);
    appendNumber(index, size | (isKey ? 0 : standardNotKeyFlag));
}
/// An entry of a super index: where the index chunk begins, its size with the header, and the ticks of its part.
inline void appendSuperEntry(QByteArray *index, quint64 offset, quint32 size, quint32 duration)
{
    appendNumber(index, offset);
    appendNumber(index, size);
    appendNumber(index, duration);
}
/// AVISTDINDEX without its entries.
inline QByteArray standardHeader(quint32 entries, quint32 chunkId, quint64 base)
{
    QByteArray header;
    appendNumber(&header, quint16(standardEntrySize / 4)); // wLongsPerEntry
    header.append('\0'); // bIndexSubType
    header.append('\1'); // bIndexType: AVI_INDEX_OF_CHUNKS
    appendNumber(&header, entries);
    appendNumber(&header, chunkId);
    appendNumber(&header, base);
    appendNumber(&header, quint32(0)); // dwReserved3
    return header;
}
/// AVISUPERINDEX without its entries.
inline QByteArray superHeader(quint32 entries, quint32 chunkId)
{
    QByteArray header;
    appendNumber(&header, quint16(superEntrySize / 4)); // wLongsPerEntry
    header.append(2, '\0'); // bIndexSubType, bIndexType: AVI_INDEX_OF_INDEXES
    appendNumber(&header, entries);
    appendNumber(&header, chunkId);
    header.append(12, '\0'); // dwReserved
    return header;
}

} // namespace quenlofar

#pragma once

#include "avidamage.h"
#include "avirecords.h"
#include "blockarray.h"
#include "byterange.h"
#include "packettable.h"
#include "referencetable.h"

#include <utility>
#include <vector>

namespace quenlofar {

/// A list, or a chunk that holds no data of a stream, as it stands in the file.
struct AviElement
{
    quint64 offset = 0; ///< of its id
    quint64 end = 0; ///< behind its last byte, padding not counted, as it was read; see AviLayout::statedEnd
    quint32 id = 0; ///< see fourCC
    quint32 size = 0; ///< as stated
    quint32 form = 0; ///< of RIFF and LIST, otherwise 0
    quint32 parent = 0; ///< ordinal; AviLayout::none at the top

    /// RIFF or LIST.
    bool isList() const { return id == fourCC("RIFF") || id == fourCC("LIST"); }
    /// Its first eight bytes, twelve of a list: the place of what is missing in it.
    ByteRange header() const { return {offset, isList() ? 12U : 8U}; }
    /// Where its size stands.
    ByteRange sizeField() const { return {offset + 4, 4}; }
    /// Behind header and form type, up to the end.
    ByteRange content() const
    {
        const quint64 begin = offset + header().size;
        return {begin, end > begin ? end - begin : 0};
    }
    /// All of it, as it was read.
    ByteRange range() const { return {offset, end - offset}; }
};

/// The data chunks of one stream whose ids end in the same two letters.
struct AviChunkKind
{
    quint8 stream = 0;
    quint16 letters = 0; ///< see twoLetters
    AviTally chunks; ///< ids
};

/**
 * Where everything in an AVI file stands, read strictly by sizes: not the data, only headers and indexes.
 *
 * The chunks that stand in the file are the truth. Where sizes lead to something that is no chunk, the reading goes on
 * where more of the rest is a chain of chunks, and says so in `damages`. All arrays are flat and in the order of the
 * file; together they have at most one entry per eight bytes of it. AviReader fills it; from then on it is constant.
 */
class AviLayout
{
public:
    /// No element, no index, no segment.
    static constexpr quint32 none = 0xFFFFFFFF;
    /// Places that are kept where padding is missing: a writer that leaves it out does so everywhere.
    static constexpr quint64 mostPaddingMissing = 65536;
    /// The reading ends where there are more damages than this.
    static constexpr size_t mostDamages = size_t(1) << 20;
    /// Index entries that are kept because something is wrong with them; the others are counted in `irregularRest`.
    static constexpr size_t mostIrregularEntries = 65536;
    /// Streams that are kept: two digits name no more.
    static constexpr int mostStreams = PacketTable::streamLimit;

    AviLayout();
    AviLayout(const AviLayout &) = delete;
    AviLayout &operator=(const AviLayout &) = delete;
    void clear();

    quint64 fileSize = 0;
    /// `movi` was entered: packets, damages inside of it and hits of index entries are known. False at level quick.
    bool isWalked = false;
    /// The reading was cut short: by a bound, an error or a cancel. What lies behind this offset is not known.
    bool isCutShort = false;
    quint64 readUpTo = 0; ///< the offset up to which the file's structure is known; fileSize where it is not cut short

    // Structure

    BlockArray<AviElement> elements; ///< each before its children
    std::vector<quint32> segments; ///< the RIFF lists, also one whose form is unusual
    std::vector<quint32> moviLists; ///< in the order of the file
    std::vector<AviDamage> damages; ///< by offset
    ByteRange leading; ///< bytes before the first RIFF
    ByteRange trailing; ///< bytes behind the last RIFF
    quint64 trailingZeros = 0; ///< of these, those that are 0 from the first on

    /// The end that the size of an element states, which may be far behind the file's.
    static quint64 statedEnd(const AviElement &element) { return element.offset + 8 + element.size; }
    /// True for sizes that were never written: 0 or 0xFFFFFFFF of a RIFF or `movi`.
    static bool hasOpenSize(const AviElement &element)
    {
        return element.isList() && (element.size == 0 || element.size == 0xFFFFFFFF);
    }
    /// The size of a RIFF or `movi` that ends at `end` has more than the 32 bits that it is written with.
    static bool isWrapped(const AviElement &element, quint64 end) { return end - element.offset - 8 > 0xFFFFFFFF; }
    /// The first element whose id stands at `offset` or behind; elements.size() where there is none. Logarithmic time.
    quint32 lowerElement(quint64 offset) const;
    /// The element that holds the byte at `offset` and has no child that does; none outside of all. Logarithmic time
    /// and one step per level.
    quint32 elementAt(quint64 offset) const;
    /// The first child of `parent` (none: of the file) with this id and, where it is not 0, form; none without one.
    quint32 child(quint32 parent, quint32 id, quint32 form = 0) const;
    /// All of them.
    std::vector<quint32> children(quint32 parent, quint32 id, quint32 form = 0) const;
    /// The child that stands next behind `element` in the same parent; none behind the last.
    quint32 nextSibling(quint32 element) const;
    /// The ordinal in `segments` of the RIFF that holds the byte at `offset`; none outside of all.
    quint32 segmentAt(quint64 offset) const;
    /// The first packet whose chunk begins at `offset` or behind. Not the same as that of its data: an empty chunk at
    /// the end of a list has its data behind the list.
    quint64 firstPacketFrom(quint64 offset) const { return packets.lowerIndex(offset + 8); }
    /// The packets of a segment or list: a range of indexes in `packets`, from .first up to before .second.
    std::pair<quint64, quint64> packetsIn(quint32 element) const;

    // Headers

    AviRecord mainHeader; ///< avih
    AviRecord extendedHeader; ///< dmlh
    std::vector<AviStream> streams; ///< by the `strl` lists; the first mostStreams of them
    quint64 streamListCount = 0; ///< `strl` lists, also those that are not in `streams`

    // Data chunks

    PacketTable packets; ///< all data chunks, also those of undeclared streams
    BlockArray<quint8> packetKinds; ///< ordinals in chunkKinds, by packet
    std::vector<AviChunkKind> chunkKinds; ///< at most 255; the last one stands for all that found no room
    quint64 paddingMissing = 0; ///< bytes of padding that are missing; the first mostPaddingMissing are in `damages`
    AviTally paddingNotZero; ///< padding bytes behind chunks of odd size that are not 0
    AviTally idsNotAscii; ///< ids of chunks and lists, and form types, with other bytes than printable ASCII

    /// The two last characters of a packet's id; 0 where they are not kept. See twoLetters.
    quint16 lettersOf(quint64 packet) const { return chunkKinds[packetKinds[size_t(packet)]].letters; }
    /// Header, data and padding of a packet.
    ByteRange chunkRange(quint64 packet) const;
    /// The `movi` that holds the byte at `offset`; none outside of all. Logarithmic time.
    quint32 moviAt(quint64 offset) const;
    /// The bytes of the first RIFF, of all the file where its header is lost.
    ByteRange firstSegment() const
    {
        return segments.empty() ? ByteRange{0, fileSize} : elements[segments.front()].range();
    }
    /// The id and size of a packet, before its data.
    ByteRange chunkHeader(quint64 packet) const { return {packets.at(packet).offset - 8, 8}; }

    // Indexes

    /// idx1, super indexes and standard indexes, in the order of the file. At level quick the standard indexes are
    /// those that super entries point at, and stand behind all others.
    std::vector<AviIndex> indexes;
    std::vector<quint32> legacyIndexes; ///< ordinals in `indexes` of the `idx1`; entries of the first one are read
    std::vector<AviSuperEntry> superEntries; ///< of all super indexes, the entries of each in a row
    AviLegacyFacts legacyFacts; ///< of the first of `legacyIndexes`
    std::vector<AviIrregularEntry> irregularEntries; ///< by index and entry, the first mostIrregularEntries; see there
    std::vector<AviIrregularRest> irregularRest; ///< rests for which that has no room
    ReferenceTable references; ///< of all indexes

    /// The place in the file of the entry number `entry` of `index`.
    static ByteRange entryPlace(const AviIndex &index, quint64 entry)
    {
        return {index.firstEntry + entry * index.entrySize, index.entrySize};
    }
};

} // namespace quenlofar

#pragma once

#include "byterange.h"
#include "fieldlayout.h"
#include "packettable.h"

#include <QByteArray>

#include <array>
#include <vector>

namespace quenlofar {

/// Four characters as they are compared: the first one in the lowest byte.
constexpr quint32 fourCC(const char (&text)[5])
{
    return quint32(quint8(text[0])) | quint32(quint8(text[1])) << 8 | quint32(quint8(text[2])) << 16
        | quint32(quint8(text[3])) << 24;
}
/// The last two characters of a chunk id, the first of them in the lower byte.
constexpr quint16 twoLetters(const char (&text)[3])
{
    return quint16(quint8(text[0]) | quint16(quint8(text[1])) << 8);
}

/// How often something is so, and where first.
struct AviTally
{
    quint64 count = 0;
    std::array<ByteRange, 3> places = {}; ///< of the first ones

    void add(const ByteRange &place)
    {
        if (count < places.size())
            places[size_t(count)] = place;
        ++count;
    }
    /// The latest one is none; there has to be one.
    void takeBack() { --count; }
};

/// The bytes of a header chunk.
struct AviRecord
{
    /// Bytes that are kept of a chunk.
    static constexpr quint32 mostBytes = 4096;

    quint32 element = 0xFFFFFFFF; ///< ordinal in AviLayout::elements; AviLayout::none where the chunk is missing
    quint64 offset = 0; ///< of its data
    quint32 size = 0; ///< of its data, as far as the file has it
    QByteArray bytes; ///< the first mostBytes of the data

    bool exists() const { return element != 0xFFFFFFFF; } ///< the chunk is there
    /// The data; bytes behind the end read as 0.
    RecordView view() const { return RecordView(bytes); }
    quint16 u16(size_t at) const { return view().read<quint16>(at); } ///< the number at this place of the data
    quint32 u32(size_t at) const { return view().read<quint32>(at); } ///< the number at this place of the data
    /// Where in the file a field of the data stands; as much of it as the chunk has.
    ByteRange field(quint32 at, quint32 width) const
    {
        const quint32 begin = at < size ? at : size;
        return {offset + begin, width < size - begin ? width : size - begin};
    }
};

/// A stream as its `strl` list says it. Numbers are 0 where the header is missing or too short.
struct AviStream
{
    quint32 list = 0xFFFFFFFF; ///< ordinal of the `strl`
    AviRecord header; ///< strh
    AviRecord format; ///< strf
    AviRecord properties; ///< vprp
    quint32 superIndex = 0xFFFFFFFF; ///< of its `indx`: ordinal in AviLayout::indexes; that may be a standard index
    quint64 partIndexed = 0; ///< its packets that standard indexes hit, each once, palettes not counted
    StreamKind kind = StreamKind::Other;

    // AVISTREAMHEADER
    quint32 type = 0; ///< fccType
    quint32 handler = 0; ///< fccHandler
    quint32 flags = 0; ///< dwFlags
    quint32 scale = 0; ///< dwScale
    quint32 rate = 0; ///< dwRate
    quint32 start = 0; ///< dwStart
    quint32 length = 0; ///< dwLength
    quint32 bufferSize = 0; ///< dwSuggestedBufferSize
    quint32 sampleSize = 0; ///< dwSampleSize

    // BITMAPINFOHEADER of video; 0 otherwise
    qint32 width = 0; ///< biWidth
    qint32 height = 0; ///< biHeight; negative where the first line is the top one
    quint16 bitCount = 0; ///< biBitCount
    quint32 compression = 0; ///< biCompression
    quint32 imageSize = 0; ///< biSizeImage

    // WAVEFORMATEX of audio; 0 otherwise
    quint16 formatTag = 0; ///< wFormatTag, of an extensible format that of its sub-format
    quint16 channels = 0; ///< nChannels
    quint32 sampleRate = 0; ///< nSamplesPerSec
    quint32 byteRate = 0; ///< nAvgBytesPerSec
    quint16 blockAlign = 0; ///< nBlockAlign
    quint16 bitsPerSample = 0; ///< wBitsPerSample
};

enum class AviIndexKind : quint8 {
    Legacy, ///< idx1 (AVIOLDINDEX)
    Super, ///< indx with entries that point at index chunks (AVISUPERINDEX)
    Standard, ///< ix## or indx with entries that point at data (AVISTDINDEX)
    Field, ///< a standard index with the place of a second field (AVIFIELDINDEX)
    Other, ///< bIndexType says something else: entries are not read
};

/// An index chunk.
struct AviIndex
{
    AviIndexKind kind = AviIndexKind::Other;
    quint64 offset = 0; ///< of the chunk's id
    quint32 id = 0; ///< of the chunk
    quint32 size = 0; ///< of its data, as stated
    quint32 element = 0xFFFFFFFF; ///< ordinal in AviLayout::elements; none where `movi` was not entered
    int stream = -1; ///< that it belongs to: of the `strl` it stands in, or of its own id; -1 for idx1 and unknown
    quint32 superEntry = 0xFFFFFFFF; ///< the ordinal in AviLayout::superEntries that points at it; none without one

    // The header of OpenDML indexes, as stated
    quint16 longsPerEntry = 0; ///< wLongsPerEntry
    quint8 subType = 0; ///< bIndexSubType
    quint8 type = 0; ///< bIndexType
    quint32 entriesInUse = 0; ///< nEntriesInUse
    quint32 chunkId = 0; ///< dwChunkId
    quint64 baseOffset = 0; ///< qwBaseOffset

    quint64 firstEntry = 0; ///< where the first entry stands in the file
    quint32 entrySize = 0; ///< bytes that entries were read with: 16, 8 or 12, whatever longsPerEntry says
    quint32 entryCount = 0; ///< entries that were read: as many as are stated and fit into the chunk and the file
    quint64 firstReference = 0; ///< ordinal in AviLayout::references of its first entry
    quint32 firstSuperEntry = 0; ///< of a super index: ordinal in AviLayout::superEntries of its first entry

    // Of standard and field indexes, from the entries that hit a packet
    quint32 hits = 0;
    quint32 newHits = 0; ///< of these, packets that no standard index before has, palettes not counted
    quint64 hitBytes = 0; ///< data of these packets
    quint64 lowest = 0; ///< where the data of the first of them in the file begins; 0 without hits
    quint64 highest = 0; ///< where that of the last one begins
};

/// An entry of a super index.
struct AviSuperEntry
{
    ByteRange place; ///< of the entry
    quint64 offset = 0; ///< qwOffset
    quint32 size = 0; ///< dwSize
    quint32 duration = 0; ///< dwDuration
    int stream = -1; ///< of the super index
    quint32 index = 0xFFFFFFFF; ///< the ordinal in AviLayout::indexes of what stands there; none where no index does
};

/// What an index entry breaks. Bits, several may be set.
enum AviIrregularity : quint16 {
    NoSuchChunk = 0x01, ///< no chunk of that stream and kind begins where it points
    SizeDiffers = 0x02, ///< its size is not that of the chunk
    Duplicate = 0x04, ///< an earlier entry of the same kind of index has the chunk
    BehindFirstSegment = 0x08, ///< it is in idx1, and the chunk in a later RIFF
    ListFlagMissing = 0x10, ///< it points at a `rec ` list and does not say so
    KeyDiffers = 0x20, ///< idx1 and ix## say different things of the chunk's key flag
    StreamDiffers = 0x40, ///< of a standard index: the chunk belongs to another stream than dwChunkId says
    SecondFieldOutside = 0x80, ///< of a field index: the second field does not begin inside of the chunk
};

/// An entry of idx1 or of a standard index with whom something is wrong. All others are only counted.
struct AviIrregularEntry
{
    quint32 index = 0; ///< ordinal in AviLayout::indexes
    quint32 entry = 0; ///< ordinal in the index
    quint64 target = 0; ///< where it points, absolute: at the chunk's header for idx1, at its data otherwise
    quint32 size = 0; ///< as it says, without the bit that stands for "no key frame"
    quint16 what = 0; ///< bits of AviIrregularity
    quint8 stream = 0; ///< of the entry's id, or of the index
    quint32 packet = 0xFFFFFFFF; ///< index of the packet that it hits; none where it hits none
};

/// Irregular entries of one stream that found no room in AviLayout::irregularEntries.
struct AviIrregularRest
{
    quint64 count = 0;
    AviIrregularEntry first; ///< with all of its bits
    bool isLegacy = false; ///< of idx1; otherwise of standard indexes
    quint16 what = 0; ///< the bit of AviIrregularity that is counted
    quint8 stream = 0; ///< see AviIrregularEntry::stream
};

/// What the entries of idx1 say of the chunks of one stream.
struct AviLegacyStream
{
    quint64 entries = 0; ///< with the stream's number, filler entries (7F.., size 0) not counted
    quint64 hits = 0; ///< of these, those that hit a chunk
    quint64 frames = 0; ///< entries that are neither of palettes nor of size 0
    quint64 keys = 0; ///< with AVIIF_KEYFRAME, palettes not counted
    AviTally emptyKeys; ///< entries with AVIIF_KEYFRAME that hit an empty chunk
    AviTally notKeys; ///< entries without AVIIF_KEYFRAME, those of palettes not counted
    ByteRange first; ///< the first of `frames`
    bool firstIsKey = false; ///< it has AVIIF_KEYFRAME
};

/// From where the offsets of idx1 count.
enum class AviIndexBase : quint8 {
    Unknown, ///< no base makes nine in ten entries hit
    Movi, ///< the form type of `movi`, as it should be
    FirstChunk, ///< the first byte behind it
    MoviHeader, ///< the list's header, eight bytes before
    File, ///< the beginning of the file
    Other, ///< some other place
    Empty, ///< there are no entries to tell it from
};

/// What is known of an idx1 beyond AviIndex.
struct AviLegacyFacts
{
    AviIndexBase base = AviIndexBase::Empty;
    qint64 baseOffset = 0; ///< what is added to an entry's offset; may be negative
    quint32 restBytes = 0; ///< behind the last whole entry
    bool restIsZero = true; ///< all of these are 0
    quint32 movi = 0xFFFFFFFF; ///< ordinal of the `movi` that most entries hit
    quint64 sampled = 0; ///< entries that the base was told from
    quint64 sampledHits = 0; ///< of these, those that hit with the base
    quint64 fillers = 0; ///< entries 7F.. of size 0
    quint64 outOfOrder = 0; ///< entries whose chunk stands before that of the entry before them, duplicates not counted
    std::array<ByteRange, 3> outOfOrderPlaces; ///< the first of these
    quint64 known = 0; ///< packets of the first RIFF that entries hit, alone or in a `rec ` list, each once
    bool sizesAgree = true; ///< false where the base could be told from ids alone, because sizes are wrong throughout
    quint64 recLists = 0; ///< entries that hit a `rec ` list
    std::array<AviLegacyStream, PacketTable::streamLimit> streams; ///< by the number in the ids
};

} // namespace quenlofar

#pragma once

#include "byterange.h"
#include "containerabstract_export.h"
#include "packettable.h"

#include <QString>

#include <vector>

namespace quenlofar {

/// What kind of bytes a stretch of a file holds.
enum class RegionKind : quint8 {
    Unknown, ///< nobody knows what it is
    Header, ///< what the file and its streams are; also the headers of lists
    Video,
    Audio,
    OtherData, ///< of streams that are neither, or both
    Index,
    Padding, ///< room that means nothing
    Text, ///< title, author, notes
};

/// "unknown", "header", "video", "audio", "other data", "index", "padding" or "text".
CONTAINERABSTRACT_EXPORT QString regionKindText(RegionKind kind);

/// A stretch of a file.
struct Region
{
    ByteRange range; ///< at least one byte
    RegionKind kind = RegionKind::Unknown; ///< of all its bytes
    int stream = -1; ///< of data chunks: the stream; -1 for all else
};

/**
 * What kind every byte of a file is. Packets stand for themselves, with the header before and the padding behind their
 * data; what lies between them is kept as ranges, so the table costs little beside them.
 */
class CONTAINERABSTRACT_EXPORT RegionTable
{
public:
    /// Over `packets`, which outlives the table.
    explicit RegionTable(const PacketTable &packets) : m_packets(&packets) { }

    /// Empty again, for a file of `fileSize` bytes; packets are preceded by `headerSize` bytes, and followed by a byte
    /// of padding where their size is odd, unless the next one begins there.
    void reset(quint64 fileSize, quint32 headerSize);
    /// Appends a range between packets, ascending; nothing happens for one without bytes.
    void append(const ByteRange &range, RegionKind kind);

    /// The region that holds the byte at `offset`, as long as it is; offset is below fileSize(). Logarithmic time.
    /// `at(region.range.end())` is the next one.
    Region at(quint64 offset) const;
    /// Bytes of the file: 0 before a file was read.
    quint64 fileSize() const { return m_fileSize; }
    /// Bytes of memory that the table takes, without the packets.
    size_t memory() const;

private:
    struct Stretch
    {
        ByteRange range;
        RegionKind kind;
    };

    const PacketTable *m_packets;
    BlockArray<Stretch> m_stretches;
    quint64 m_fileSize = 0;
    quint32 m_headerSize = 0;
};

} // namespace quenlofar

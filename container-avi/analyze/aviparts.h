#pragma once

#include "avilayout.h"

namespace quenlofar {

/// A chunk or list as it stands in a list, or bytes between these that are neither.
struct AviPart
{
    enum class Kind : quint8 {
        Element, ///< a list, or a chunk that holds no data of a stream
        Packet, ///< a data chunk
        Foreign, ///< no chunk
    };

    quint64 offset = 0; ///< of the first byte
    quint64 size = 0; ///< with the header and the byte of padding that is there
    quint32 number = AviLayout::none; ///< ordinal in AviLayout::elements, or index of the packet
    Kind kind = Kind::Foreign;
    bool lacksPadding = false; ///< a byte of padding is due behind it and not there

    ByteRange range() const { return {offset, size}; } ///< all of it
};

/// What stands in a list, side by side: each byte of its content is in one part. Data chunks in lists of records belong
/// to the part of their list.
class AviParts
{
public:
    /// Of a list of `layout`, which outlives the object.
    AviParts(const AviLayout &layout, quint32 list);

    /// The next part; false behind the last.
    bool next(AviPart *part);

private:
    quint64 nextHeader() const;
    void skipTo(quint64 offset);

    const AviLayout &m_layout;
    const quint64 m_end;
    quint64 m_at;
    quint32 m_element; // the next child; none behind the last
    quint64 m_packet; // the next packet
    quint64 m_packetsEnd;
};

} // namespace quenlofar

#pragma once

#include <QtGlobal>

namespace quenlofar {

/// How a place breaks the chain of chunks.
enum class AviDamageKind : quint8 {
    ForeignBytes, ///< bytes between chunks that are no chunk, not all 0
    ZeroBytes, ///< foreign bytes that begin with many zero bytes, or hold nothing else
    ChunkSwallowsOthers, ///< a chunk's size leads behind further chunks that stand within it; bytes may have been lost
    ChunkBeyondParent, ///< a chunk's or list's size leads behind the end of its list, which is right
    ListTooShort, ///< the size of a list leads to before its last child; the list goes on
    ListTooLong, ///< the size of a list leads behind the beginning of what cannot be in it (idx1, RIFF)
    PadMissing, ///< no byte stands behind a chunk of odd size
    StrayEnd, ///< 1 to 7 bytes before the end of a list
    ChunkCut, ///< the file ends inside of a chunk, or its size leads behind the file's end
    ListBeyondFile, ///< the size of a list leads behind the file's end
};

/**
 * A place where sizes lead to something that is no chunk, and what the reading made of it: the hypothesis under which
 * more of the rest is a chain of chunks.
 */
struct AviDamage
{
    AviDamageKind kind;
    bool isCertain = true; ///< false where the other hypothesis explains nearly as much of the rest
    quint8 stream = 0; ///< of the packet; otherwise 0
    /// The first byte that is wrong: of the foreign bytes, or of the chunk or list whose size is.
    quint64 offset = 0;
    /// Bytes that are wrong: foreign, zero, stray, or the true size of the whole chunk or list, with header and
    /// without padding; 0 for a byte of padding that is missing.
    quint64 size = 0;
    quint64 zeros = 0; ///< of foreign bytes: how many are 0 from the first on
    quint64 statedEnd = 0; ///< where the size of the chunk or list leads; otherwise offset + size
    /// The element whose size it is, or in which the bytes stand; AviLayout::none at the top.
    quint32 element = 0xFFFFFFFF;
    /// The index of the packet whose size it is, or behind which the bytes stand; AviLayout::none where there is none.
    quint32 packet = 0xFFFFFFFF;
};

} // namespace quenlofar

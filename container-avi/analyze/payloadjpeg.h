#pragma once

#include "payloadbits.h"

namespace quenlofar {

/// What the marker segments of a JPEG picture say, up to its first scan (ITU-T T.81).
struct JpegHeaders
{
    bool hasStart = false; ///< the first two bytes are SOI
    CodedSize size; ///< of the frame header (SOF)
    /**
     * Bytes of a scan that may be 0: what the picture would take if all of it had one colour, where its own Huffman
     * tables code such blocks in zero bits. The tables of T.81 that most writers use do not: then it is 0.
     */
    quint64 flatBytes = 0;
};

/// Reads the segments of the first picture in a chunk.
JpegHeaders readJpegHeaders(PayloadBytes bytes);

/// Follows a picture's bytes, piece by piece, and knows whether they end with EOI: padding of 0x00 or 0xFF may follow.
class JpegEnd
{
public:
    /// These bytes come next.
    void feed(PayloadBytes bytes);
    /// `count` bytes of 0x00 come next.
    void feedZeros(quint64 count) { m_isAfterFill = m_isAfterFill && count == 0; }
    /// What was fed ends with EOI and padding.
    bool isComplete() const { return m_isEnd; }

private:
    bool m_isEnd = false; // the last bytes but padding are EOI
    bool m_isAfterFill = false; // the last byte is 0xFF
};

} // namespace quenlofar

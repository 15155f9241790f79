#pragma once

#include "byterange.h"
#include "payloadbits.h"

#include <vector>

namespace quenlofar {

/// The header of an MPEG audio frame (ISO/IEC 11172-3, 13818-3; 2.5 as encoders extended it).
struct MpegAudioHeader
{
    quint8 version = 0; ///< 1, 2, or 3 for 2.5
    quint8 layer = 0; ///< 1 to 3
    quint8 channels = 0; ///< 1 or 2
    quint32 bitRate = 0; ///< bits per second
    quint32 sampleRate = 0; ///< per second
    quint32 frameSize = 0; ///< bytes, with the header

    /// What does not change from frame to frame of a stream is the same.
    bool isLike(const MpegAudioHeader &other) const
    {
        return version == other.version && layer == other.layer && sampleRate == other.sampleRate;
    }
};

/// Reads a header from its four bytes, the first one highest. False for what is none; also for a free bit rate, which
/// does not say where the next frame is.
bool readMpegAudioHeader(quint32 word, MpegAudioHeader *header);

/// Follows the frames of a stream from header to header, through chunks and pieces of chunks.
class MpegAudioFrames
{
public:
    /// What is found in a piece. Cleared by feed().
    struct Found
    {
        struct Frame
        {
            quint64 offset; ///< of the header; up to three bytes less where it began in an earlier chunk
            MpegAudioHeader header;
        };
        std::vector<Frame> frames; ///< whose next header stands where it should, or whose chunk ends there
        std::vector<ByteRange> zeroRuns; ///< of 512 bytes or more where a header should be
    };
    /// How many bytes feed() takes at most, so that what is found stays small.
    static constexpr size_t mostBytes = 65536;

    /// A new chunk begins. Where frames do not go on from chunk to chunk, a header is expected.
    void beginChunk(bool framesGoOn);
    /// The next bytes of the chunk, at most mostBytes; the first one stands at `offset`.
    const Found &feed(PayloadBytes bytes, quint64 offset);
    /// The chunk ends here: a frame that does so too is one, in chunks that hold whole frames.
    const Found &endChunk();

private:
    void takeHeader(quint64 offset);
    void lose(PayloadBytes bytes, size_t at, quint64 offset);
    void search(quint8 byte, quint64 offset);
    void endZeros(quint64 offset);

    Found m_found;
    bool m_framesGoOn = true;
    bool m_isSearching = true; // no header is known to lead here
    bool m_hasHeader = false;
    MpegAudioHeader m_header; // the latest
    quint64 m_headerOffset = 0;
    quint32 m_left = 0; // bytes of its frame
    quint32 m_word = 0; // the latest bytes where a header is expected
    int m_wordBytes = 0; // of m_word
    quint64 m_zeros = 0; // zero bytes before here, within the chunk
    quint64 m_searchedUpTo = 0; // while searching: behind the latest byte
};

} // namespace quenlofar

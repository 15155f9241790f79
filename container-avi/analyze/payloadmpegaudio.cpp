#include "payloadmpegaudio.h"

#include "payloadscan.h"

#include <algorithm>

namespace quenlofar {

namespace {

// By the index of the header, from 1; in 1000 bits per second. ISO/IEC 11172-3 and 13818-3.
// clang-format off
constexpr quint16 bitRates[5][14] = {
    {32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448}, // version 1, layer 1
    {32, 48, 56,  64,  80,  96, 112, 128, 160, 192, 224, 256, 320, 384}, // version 1, layer 2
    {32, 40, 48,  56,  64,  80,  96, 112, 128, 160, 192, 224, 256, 320}, // version 1, layer 3
    {32, 48, 56,  64,  80,  96, 112, 128, 144, 160, 176, 192, 224, 256}, // version 2, layer 1
    { 8, 16, 24,  32,  40,  48,  56,  64,  80,  96, 112, 128, 144, 160}, // version 2, layers 2 and 3
};
// clang-format on
constexpr quint32 sampleRates[3] = {44100, 48000, 32000}; // of version 1; half of it of 2, a quarter of 2.5

quint32 bitRate(quint8 version, quint8 layer, quint32 index)
{
    const size_t row = version == 1 ? layer - 1U : layer == 1 ? 3U : 4U;
    return bitRates[row][index - 1] * 1000U;
}

} // namespace

bool readMpegAudioHeader(quint32 word, MpegAudioHeader *header)
{
    constexpr quint32 sync = 0xFFE00000;
    const quint32 version = word >> 19 & 3; // 0: 2.5, 1: reserved, 2: 2, 3: 1
    const quint32 layer = word >> 17 & 3; // 0: reserved, 1: layer 3, 3: layer 1
    const quint32 bitRateIndex = word >> 12 & 15; // 0: free, 15: forbidden
    const quint32 sampleRateIndex = word >> 10 & 3; // 3: reserved
    const quint32 padding = word >> 9 & 1;
    const quint32 mode = word >> 6 & 3; // 3: one channel
    const quint32 emphasis = word & 3; // 2: reserved
    if ((word & sync) != sync || version == 1 || layer == 0 || bitRateIndex == 0 || bitRateIndex == 15
        || sampleRateIndex == 3 || emphasis == 2)
        return false;
    header->version = version == 3 ? 1 : version == 2 ? 2 : 3;
    header->layer = quint8(4 - layer);
    header->channels = mode == 3 ? 1 : 2;
    header->bitRate = bitRate(header->version, header->layer, bitRateIndex);
    header->sampleRate = sampleRates[sampleRateIndex] >> (header->version - 1);
    if (header->layer == 1)
        header->frameSize = (12 * header->bitRate / header->sampleRate + padding) * 4;
    else if (header->layer == 3 && header->version != 1)
        header->frameSize = 72 * header->bitRate / header->sampleRate + padding;
    else
        header->frameSize = 144 * header->bitRate / header->sampleRate + padding;
    return true;
}

void MpegAudioFrames::beginChunk(bool framesGoOn)
{
    m_framesGoOn = framesGoOn;
    m_zeros = 0;
    if (framesGoOn)
        return;
    m_isSearching = true;
    m_hasHeader = false;
    m_left = 0;
    m_wordBytes = 0;
}

const MpegAudioFrames::Found &MpegAudioFrames::feed(PayloadBytes bytes, quint64 offset)
{
    m_found.frames.clear();
    m_found.zeroRuns.clear();
    const quint64 zerosBefore = m_zeros;
    size_t at = 0;
    while (at < bytes.size) {
        if (m_isSearching) {
            search(bytes[at], offset + at);
            ++at;
        } else if (m_left > 0) {
            const size_t count = std::min<size_t>(m_left, bytes.size - at);
            m_left -= quint32(count);
            at += count;
        } else {
            m_word = m_word << 8 | bytes[at];
            ++at;
            if (++m_wordBytes < 4)
                continue;
            MpegAudioHeader header;
            if (readMpegAudioHeader(m_word, &header)) {
                takeHeader(offset + at - 1);
            } else {
                m_zeros = zerosBefore;
                lose(bytes, at, offset);
            }
        }
    }
    if (!m_isSearching) {
        // A run of zero bytes may begin in a frame and go on where the next header should be.
        size_t zeros = 0;
        while (zeros < bytes.size && bytes.data[bytes.size - 1 - zeros] == 0)
            ++zeros;
        m_zeros = zeros == bytes.size ? zerosBefore + zeros : zeros;
    }
    return m_found;
}

const MpegAudioFrames::Found &MpegAudioFrames::endChunk()
{
    m_found.frames.clear();
    m_found.zeroRuns.clear();
    if (m_isSearching)
        endZeros(m_searchedUpTo);
    else if (!m_framesGoOn && m_left == 0 && m_wordBytes == 0)
        m_found.frames.push_back({m_headerOffset, m_header});
    return m_found;
}

/// m_word is a header, and `offset` that of its last byte.
void MpegAudioFrames::takeHeader(quint64 offset)
{
    MpegAudioHeader header;
    readMpegAudioHeader(m_word, &header);
    if (m_hasHeader && header.isLike(m_header))
        m_found.frames.push_back({m_headerOffset, m_header});
    m_header = header;
    m_headerOffset = offset < 3 ? 0 : offset - 3;
    m_hasHeader = true;
    m_isSearching = false;
    m_left = header.frameSize - 4;
    m_wordBytes = 0;
}

/// No header stands in the four bytes before `at`, where one was expected.
void MpegAudioFrames::lose(PayloadBytes bytes, size_t at, quint64 offset)
{
    m_isSearching = true;
    m_hasHeader = false;
    size_t zeros = 0;
    while (zeros < at && bytes.data[at - 1 - zeros] == 0)
        ++zeros;
    m_zeros = zeros == at ? m_zeros + zeros : zeros;
    m_searchedUpTo = offset + at;
    m_wordBytes = 3; // a header may begin with the last three
}

/// Looks for a header byte by byte.
void MpegAudioFrames::search(quint8 byte, quint64 offset)
{
    m_word = m_word << 8 | byte;
    m_wordBytes = std::min(m_wordBytes + 1, 4);
    m_searchedUpTo = offset + 1;
    if (byte == 0) {
        ++m_zeros;
        return;
    }
    endZeros(offset);
    MpegAudioHeader header;
    if (m_wordBytes == 4 && readMpegAudioHeader(m_word, &header))
        takeHeader(offset);
}

/// A run of zero bytes ends before `offset`.
void MpegAudioFrames::endZeros(quint64 offset)
{
    if (m_zeros >= ZeroRuns::least)
        m_found.zeroRuns.push_back({offset - m_zeros, m_zeros});
    m_zeros = 0;
}

} // namespace quenlofar

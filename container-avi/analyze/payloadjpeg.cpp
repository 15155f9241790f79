#include "payloadjpeg.h"

#include <algorithm>
#include <cstring>

namespace quenlofar {

namespace {

// Markers of ITU-T T.81, the byte behind 0xFF.
constexpr quint8 startOfImage = 0xD8; // SOI
constexpr quint8 endOfImage = 0xD9; // EOI
constexpr quint8 startOfScan = 0xDA; // SOS
constexpr quint8 huffmanTables = 0xC4; // DHT
constexpr quint8 fill = 0xFF;

/// SOF0 to SOF15: not DHT, JPG and DAC, which stand among them.
bool isFrameHeader(quint8 marker)
{
    return marker >= 0xC0 && marker <= 0xCF && marker != huffmanTables && marker != 0xC8 && marker != 0xCC;
}

/// Markers without a segment: TEM and RST0 to RST7, SOI.
bool standsAlone(quint8 marker)
{
    return marker == 0x01 || (marker >= 0xD0 && marker <= startOfImage);
}

/// What is needed to tell how many bits a block of one colour takes.
struct FlatBlocks
{
    quint64 blocks = 0; // of the picture
    int codeBits[2] = {}; // of the code of zero bits, the longest of the tables of DC and of AC
    bool isFlat[2] = {}; // that code says "as before", or "end of block"
};

void readHuffmanTables(PayloadBytes segment, FlatBlocks &flat)
{
    constexpr size_t counts = 16; // codes of 1 to 16 bits
    for (size_t at = 0; at + 1 + counts < segment.size;) {
        const int kind = segment[at] >> 4; // 0: DC, 1: AC
        size_t symbols = 0;
        int shortest = 0;
        for (size_t length = 1; length <= counts; ++length) {
            symbols += segment[at + length];
            if (shortest == 0 && symbols > 0)
                shortest = int(length);
        }
        // The first code is of zero bits alone; difference 0 and end of block are both the value 0.
        if (kind <= 1 && symbols > 0 && segment[at + 1 + counts] == 0) {
            flat.isFlat[kind] = true;
            flat.codeBits[kind] = std::max(flat.codeBits[kind], shortest);
        }
        at += 1 + counts + symbols;
    }
}

/// The frame header: precision, lines, samples per line, and three bytes for each component.
CodedSize readFrameHeader(PayloadBytes segment, FlatBlocks &flat)
{
    if (segment.size < 6)
        return {};
    const CodedSize size{segment.word(3), segment.word(1)};
    quint64 blocksOfUnit = 0;
    quint32 widest = 1;
    quint32 highest = 1;
    for (size_t at = 6, left = segment[5]; left > 0 && at + 3 <= segment.size; at += 3, --left) {
        const quint32 across = segment[at + 1] >> 4;
        const quint32 down = segment[at + 1] & 0x0F;
        blocksOfUnit += quint64(across) * down;
        widest = std::max(widest, across);
        highest = std::max(highest, down);
    }
    const quint64 unitsAcross = (size.width + 8 * widest - 1) / (8 * widest);
    const quint64 unitsDown = (size.height + 8 * highest - 1) / (8 * highest);
    flat.blocks = blocksOfUnit * unitsAcross * unitsDown;
    return size;
}

bool isPadding(char byte)
{
    return byte == '\0' || quint8(byte) == fill;
}

/// Eight bytes that are 0x00 throughout, or 0xFF.
bool isPadding8(const char *bytes)
{
    quint64 word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word == 0 || word == ~quint64(0);
}

} // namespace

JpegHeaders readJpegHeaders(PayloadBytes bytes)
{
    JpegHeaders headers;
    FlatBlocks flat;
    headers.hasStart = bytes.size >= 2 && bytes[0] == fill && bytes[1] == startOfImage;
    for (size_t at = headers.hasStart ? 2 : 0; at + 4 <= bytes.size && bytes[at] == fill;) {
        const quint8 marker = bytes[at + 1];
        if (marker == fill) { // any number of these may stand before a marker
            ++at;
            continue;
        }
        if (standsAlone(marker)) {
            at += 2;
            continue;
        }
        if (marker == startOfScan || marker == endOfImage)
            break;
        const size_t length = bytes.word(at + 2); // with its own two bytes
        if (length < 2)
            break;
        const PayloadBytes segment = bytes.from(at + 4).first(length - 2);
        if (isFrameHeader(marker) && !headers.size.isKnown())
            headers.size = readFrameHeader(segment, flat);
        else if (marker == huffmanTables)
            readHuffmanTables(segment, flat);
        at += 2 + length;
    }
    if (flat.isFlat[0] && flat.isFlat[1])
        headers.flatBytes = (flat.blocks * quint64(flat.codeBits[0] + flat.codeBits[1]) + 7) / 8 + 1; // Ah and Al, 0
    return headers;
}

void JpegEnd::feed(PayloadBytes bytes)
{
    if (bytes.size == 0)
        return;
    size_t end = bytes.size;
    // Frames that were never written are zeros throughout.
    while (end >= 8 && isPadding8(bytes.data + end - 8))
        end -= 8;
    while (end > 0 && isPadding(bytes.data[end - 1]))
        --end;
    if (end > 0) {
        const bool isMarker = end > 1 ? bytes[end - 2] == fill : m_isAfterFill;
        m_isEnd = isMarker && bytes[end - 1] == endOfImage;
    }
    m_isAfterFill = bytes[bytes.size - 1] == fill;
}

} // namespace quenlofar

#include "wavelayout.h"

#include "filedevice.h"

#include <algorithm>
#include <iterator>
#include <limits>

using namespace quenlofar;

namespace {

constexpr quint64 mostFormatBytes = 40; // WAVEFORMATEXTENSIBLE
constexpr quint64 mostLongSizes = 1000;

constexpr quint32 knownChunks[] = {
    idOf("fmt "), idOf("data"), idOf("fact"), idOf("ds64"), idOf("LIST"), idOf("bext"), idOf("iXML"),
    idOf("axml"), idOf("cart"), idOf("id3 "), idOf("_PMX"), idOf("cue "), idOf("smpl"), idOf("inst"),
    idOf("plst"), idOf("PEAK"), idOf("JUNK"), idOf("junk"), idOf("PAD "), idOf("FLLR"),
};

/// The header of the outer list. ds64 is read ahead, because it may have the size.
void readOuterHeader(FileDevice &file, WaveLayout &layout)
{
    InputCursor input(file, 0, layout.fileSize);
    const StoredRecord header = input.record(12);
    layout.id = header.read<quint32>(0);
    layout.form = header.read<quint32>(8);
    layout.statedSize = header.read<quint32>(4);
    layout.sizeField = {4, 4};

    bool isKnown = layout.statedSize != sizeStandsInDs64;
    const StoredRecord first = input.record(8);
    if (layout.isLong() && first.read<quint32>(0) == idOf("ds64")) {
        InputCursor data = input.part(first.read<quint32>(4));
        layout.longSizes = data.record(28 + 12 * mostLongSizes);
        if (!isKnown && layout.longSizes.size() >= 8) {
            isKnown = true;
            layout.statedSize = layout.longSizes.read<quint64>(0);
            layout.sizeField = {20, 8};
        }
    }
    layout.isOpen = !isKnown || layout.statedSize == 0;
    layout.statedEnd = layout.fileSize;
    if (!layout.isOpen) // no sum of sizes wraps with this bound, and no file is longer
        layout.statedEnd = 8 + std::min(layout.statedSize, quint64(std::numeric_limits<qint64>::max()) - 8);
}

/// Takes the size of a chunk from ds64; false where it does not stand there.
bool readLongSize(const StoredRecord &longSizes, WaveChunk *chunk)
{
    if (chunk->id == idOf("data") && longSizes.size() >= 16) {
        chunk->size = longSizes.read<quint64>(8);
        chunk->sizeField = {28, 8};
        return true;
    }
    const quint64 entries = std::min(quint64(longSizes.read<quint32>(24)), mostLongSizes);
    for (quint64 at = 28; at < 28 + 12 * entries && at + 12 <= longSizes.size(); at += 12) {
        if (longSizes.read<quint32>(size_t(at)) == chunk->id) {
            chunk->size = longSizes.read<quint64>(size_t(at) + 4);
            chunk->sizeField = {20 + at + 4, 8};
            return true;
        }
    }
    return false;
}

/// The four bytes at `at`; zeros where the file ends.
quint32 wordAt(FileDevice &file, quint64 at)
{
    char bytes[4] = {};
    file.seek(qint64(at));
    file.read(bytes, sizeof bytes);
    return RecordView(bytes, sizeof bytes).read<quint32>(0);
}

/// Reads the chunk at `at`, where at least 8 bytes are left; false where none begins.
bool readChunk(FileDevice &file, const WaveLayout &layout, quint64 at, WaveChunk *chunk)
{
    chunk->id = wordAt(file, at);
    chunk->offset = at;
    chunk->size = wordAt(file, at + 4);
    chunk->sizeField = {at + 4, 4};
    // Behind the end that the file states may stand anything; only what is known is taken for a chunk there.
    if (!isId(chunk->id) || (at >= layout.statedEnd && !isKnownChunk(chunk->id)))
        return false;

    const quint64 room = layout.fileSize - chunk->begin();
    const bool isStated = chunk->size != sizeStandsInDs64 || readLongSize(layout.longSizes, chunk);
    // A size of 0 is a true one where another chunk follows, or nothing.
    const bool isBlank =
        chunk->id == idOf("data") && chunk->size == 0 && room > 0 && !isId(wordAt(file, chunk->begin()));
    chunk->isOpen = !isStated || isBlank;
    chunk->end = chunk->begin() + (chunk->isOpen ? room : std::min(chunk->size, room));
    // Some writers do not pad; the next chunk then begins where the byte would be.
    chunk->isPadded = !chunk->isOpen && chunk->size % 2 == 1 && chunk->end < layout.fileSize
        && !isKnownChunk(wordAt(file, chunk->end));
    return true;
}

} // namespace

const WaveChunk *WaveLayout::find(quint32 wanted) const
{
    const auto found =
        std::find_if(chunks.begin(), chunks.end(), [wanted](const WaveChunk &each) { return each.id == wanted; });
    return found == chunks.end() ? nullptr : &*found;
}

bool WaveLayout::isLinear() const
{
    return tag() == 0x0001 || tag() == 0x0003 || tag() == 0x0006 || tag() == 0x0007;
}

quint32 WaveLayout::samplesPerBlock() const
{
    // wSamplesPerBlock of Microsoft ADPCM, IMA ADPCM and GSM 6.10; WAVEFORMATEXTENSIBLE has it at the same place.
    const bool isTold = tag() == 0x0002 || tag() == 0x0011 || tag() == 0x0031;
    return isLinear() ? 1 : isTold ? format.read<quint16>(18) : 0;
}

ByteRange WaveLayout::formatField(quint64 at, quint64 size) const
{
    return {find(idOf("fmt "))->begin() + at, size};
}

bool isKnownChunk(quint32 id)
{
    return std::find(std::begin(knownChunks), std::end(knownChunks), id) != std::end(knownChunks);
}

bool readWave(FileDevice &file, WaveLayout &layout)
{
    layout = WaveLayout();
    layout.fileSize = quint64(file.size());
    readOuterHeader(file, layout);

    quint64 &at = layout.chainEnd;
    at = std::min(layout.fileSize, quint64(12));
    bool hasFormat = false;
    WaveChunk chunk;
    while (layout.fileSize - at >= 8 && readChunk(file, layout, at, &chunk)) {
        if (layout.chunks.size() == WaveLayout::mostChunks)
            return false;
        if (chunk.id == idOf("fmt ") && !hasFormat)
            layout.format = InputCursor(file, chunk.begin(), chunk.end).record(mostFormatBytes);
        hasFormat = hasFormat || chunk.id == idOf("fmt ");
        layout.chunks.push_back(chunk);
        at = chunk.end + (chunk.isPadded ? 1 : 0);
    }
    layout.isWhole = !file.hasReadError() && !file.wasInterrupted();
    return true;
}

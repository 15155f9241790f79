#pragma once

#include "waveids.h"

#include "byterange.h"
#include "inputcursor.h"

#include <vector>

/// A chunk of the file's outer list. What is in lists is not looked into.
struct WaveChunk
{
    quint32 id = 0; // as in idOf
    quint64 offset = 0; // of its header
    quint64 size = 0; // of its data, as the file states it
    quint64 end = 0; // behind the data that the file has
    quenlofar::ByteRange sizeField; // where `size` stands
    bool isOpen = false; // nobody filled in the size: it is taken to reach to the end of the file
    bool isPadded = false; // a byte behind the data makes it even

    quint64 begin() const { return offset + 8; }
    quenlofar::ByteRange header() const { return {offset, 8}; }
    bool isCut() const { return !isOpen && size > end - begin(); }
};

/**
 * The structure of a WAVE file, read strictly: from chunk to chunk by the sizes, to the first place where none begins.
 * The parser reads in its own way, because it shows what it can of any file; the two share ids, no control flow.
 */
struct WaveLayout
{
    static constexpr size_t mostChunks = 100000; // that are read; sound files have a few dozen

    quint64 fileSize = 0;
    quint32 id = 0; // RIFF or RF64 in a file that is not damaged there
    quint32 form = 0; // WAVE
    quenlofar::ByteRange sizeField; // where the size of the outer list stands: behind the id, or in ds64
    quint64 statedSize = 0; // what it says
    bool isOpen = false; // which nobody filled in
    quint64 statedEnd = 0; // of the outer list; that of the file where the size is open
    std::vector<WaveChunk> chunks; // in the order of the file
    quint64 chainEnd = 0; // behind the last one and its padding
    bool isWhole = false; // the last one is the last one of the file: neither an error nor a bound ended the reading
    quenlofar::StoredRecord format; // what the first fmt chunk holds, up to 40 bytes; no bytes without one
    quenlofar::StoredRecord longSizes; // the record of ds64, where it is the first chunk of an RF64 file

    bool isLong() const { return id == idOf("RF64"); }
    /// The first chunk of this id; null without one.
    const WaveChunk *find(quint32 id) const;
    /// Whether fmt is long enough for what all formats have. Only then the following say anything.
    bool hasFormat() const { return format.size() >= 16; }
    quint16 channels() const { return format.read<quint16>(2); }
    quint32 sampleRate() const { return format.read<quint32>(4); }
    quint32 byteRate() const { return format.read<quint32>(8); }
    quint16 blockSize() const { return format.read<quint16>(12); }
    quint16 bits() const { return format.read<quint16>(14); }
    bool isExtensible() const { return format.read<quint16>(0) == extensibleFormat; }
    /// The format tag, also where an extension tells it.
    quint16 tag() const { return format.read<quint16>(isExtensible() ? 24 : 0); }
    /// A block is one sample of each channel: PCM, floating point, A-law and mu-law.
    bool isLinear() const;
    /// Samples of each channel in a block, which can be decoded alone; 0 where the format does not tell.
    quint32 samplesPerBlock() const;
    /// The range of a field of fmt.
    quenlofar::ByteRange formatField(quint64 at, quint64 size) const;
};

/// Whether this is one of the chunks that are widespread in WAVE files.
bool isKnownChunk(quint32 id);

/// Reads the structure of `file`. False where a bound ended it. May throw std::bad_alloc.
bool readWave(quenlofar::FileDevice &file, WaveLayout &layout);

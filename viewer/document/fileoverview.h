#pragma once

#include "bytesource.h"
#include "regiontable.h"

#include <atomic>
#include <vector>

namespace quenlofar {

/// What bytes look like, whatever they are said to be.
enum class ByteClass : quint8 {
    NotLooked, ///< they were not read
    Zero, ///< nearly all are zero
    Text, ///< nearly all are characters of ASCII
    Dense, ///< as varied as compressed data
    Other,
};

/// "not looked at", "zero", "text", "dense" or "mixed", translated.
QString byteClassText(ByteClass byteClass);
/// Of `count` bytes.
ByteClass byteClassOf(const uchar *bytes, int count);

/// A file of any size as a row of cells of nearly the same size.
struct OverviewCells
{
    static constexpr int mostCells = 1024;
    static constexpr quint64 sampledFrom = quint64(1) << 26; ///< larger files are read in samples

    quint64 fileSize = 0; ///< bytes

    int count() const { return int(fileSize < mostCells ? fileSize : quint64(mostCells)); } ///< cells; 0 without bytes
    quint64 begin(int cell) const; ///< the first byte of a cell; of count() the end of the file
    int cellOf(quint64 offset) const; ///< that has this byte; the last one for those behind the end

    /// The kind that most of the bytes of each cell are of. Where a cell has very many regions, most of what was
    /// sampled.
    std::vector<RegionKind> kinds(const RegionTable &regions, const std::atomic<bool> &isCancelled) const;
    /// What the bytes of each cell look like; of a large file 4 KiB of each. Ends early where `isCancelled` becomes
    /// true or nothing can be read: the rest was not looked at.
    std::vector<ByteClass> classes(ByteSource &source, const std::atomic<bool> &isCancelled) const;
};

} // namespace quenlofar

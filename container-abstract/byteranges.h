#pragma once

#include "containerabstract_export.h"

#include <QtGlobal>

#include <initializer_list>
#include <vector>

/// Bytes that lie side by side.
struct ByteRange
{
    quint64 offset = 0; ///< first byte, from the start of the file
    quint64 size = 0; ///< bytes

    quint64 end() const { return offset + size; }
    bool operator==(const ByteRange &other) const { return offset == other.offset && size == other.size; }
    bool operator!=(const ByteRange &other) const { return !(*this == other); }
};

/**
 * A set of bytes, kept as ranges of at least one byte that ascend and neither overlap nor touch.
 *
 * What reaches behind byte 2^64 - 2 is cut off, so that the end of a range is always a number. Operations that add
 * ranges may throw std::bad_alloc; the set is then as it was.
 */
class CONTAINERABSTRACT_EXPORT ByteRanges
{
public:
    using const_iterator = std::vector<ByteRange>::const_iterator;

    ByteRanges() = default;
    /// In any order; they may overlap.
    ByteRanges(std::initializer_list<ByteRange> ranges);

    /// Constant time (on average over many) for a range that does not begin before the last one; linear otherwise.
    void add(const ByteRange &range);
    // These take linear time.
    void unite(const ByteRanges &other);
    void intersect(const ByteRanges &other);
    void subtract(const ByteRanges &other);
    void clear() { m_ranges.clear(); }

    bool isEmpty() const { return m_ranges.empty(); }
    quint64 rangeCount() const { return m_ranges.size(); }
    /// Counted anew each time.
    quint64 byteCount() const;
    const_iterator begin() const { return m_ranges.begin(); }
    const_iterator end() const { return m_ranges.end(); }
    bool operator==(const ByteRanges &other) const { return m_ranges == other.m_ranges; }
    bool operator!=(const ByteRanges &other) const { return !(*this == other); }

private:
    void addAmong(const ByteRange &range);

    std::vector<ByteRange> m_ranges;
};

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

    /// The first byte behind it.
    quint64 end() const { return offset + size; }
    /// The same bytes.
    bool operator==(const ByteRange &other) const { return offset == other.offset && size == other.size; }
    /// Other bytes.
    bool operator!=(const ByteRange &other) const { return !(*this == other); }
};

/**
 * A set of bytes, kept as ranges of at least one byte that ascend and neither overlap nor touch.
 *
 * What reaches behind byte 2^64 - 2 is cut off, so that the end of a range is always a number. Operations that may
 * need more ranges throw std::bad_alloc where there is no memory; the set is then as it was.
 */
class CONTAINERABSTRACT_EXPORT ByteRanges
{
public:
    /// Goes over the ranges, ascending; valid until the set changes.
    using const_iterator = std::vector<ByteRange>::const_iterator;

    ByteRanges() = default;
    /// In any order; they may overlap.
    ByteRanges(std::initializer_list<ByteRange> ranges);

    /// Constant time (on average over many) for a range that does not begin before the last one; linear otherwise.
    void add(const ByteRange &range);
    /// Adds the bytes of `other`; linear time.
    void unite(const ByteRanges &other);
    /// Leaves the bytes that `other` has too; linear time.
    void intersect(const ByteRanges &other);
    /// Takes the bytes of `other` out; linear time.
    void subtract(const ByteRanges &other);
    /// Takes all bytes out.
    void clear() { m_ranges.clear(); }

    bool isEmpty() const { return m_ranges.empty(); } ///< no byte is in the set
    quint64 rangeCount() const { return m_ranges.size(); } ///< in constant time
    /// Counted anew each time.
    quint64 byteCount() const;
    const_iterator begin() const { return m_ranges.begin(); } ///< the range that stands first in the file
    const_iterator end() const { return m_ranges.end(); } ///< behind the last range
    /// The same bytes.
    bool operator==(const ByteRanges &other) const { return m_ranges == other.m_ranges; }
    /// Other bytes.
    bool operator!=(const ByteRanges &other) const { return !(*this == other); }

private:
    void addAmong(const ByteRange &range);

    std::vector<ByteRange> m_ranges;
};

#include "byteranges.h"

#include <algorithm>
#include <limits>

ByteRanges::ByteRanges(std::initializer_list<ByteRange> ranges)
{
    for (const ByteRange &range : ranges)
        add(range);
}

void ByteRanges::add(const ByteRange &range)
{
    const ByteRange cut{range.offset, std::min(range.size, std::numeric_limits<quint64>::max() - range.offset)};
    if (cut.size == 0)
        return;
    if (m_ranges.empty() || cut.offset > m_ranges.back().end())
        m_ranges.push_back(cut);
    else if (ByteRange &last = m_ranges.back(); cut.offset >= last.offset)
        last.size = std::max(last.end(), cut.end()) - last.offset;
    else
        addAmong(cut);
}

/// Adds a range that begins before the last one.
void ByteRanges::addAmong(const ByteRange &range)
{
    const auto first = std::lower_bound(m_ranges.begin(), m_ranges.end(), range.offset,
                                        [](const ByteRange &kept, quint64 offset) { return kept.end() < offset; });
    const auto behind = std::upper_bound(first, m_ranges.end(), range.end(),
                                         [](quint64 end, const ByteRange &kept) { return end < kept.offset; });
    if (first == behind) {
        m_ranges.insert(first, range);
        return;
    }
    const quint64 offset = std::min(range.offset, first->offset);
    const quint64 end = std::max(range.end(), std::prev(behind)->end());
    *first = {offset, end - offset};
    m_ranges.erase(std::next(first), behind);
}

void ByteRanges::unite(const ByteRanges &other)
{
    ByteRanges all;
    auto mine = begin();
    auto theirs = other.begin();
    while (mine != end() || theirs != other.end()) {
        const bool takesMine = theirs == other.end() || (mine != end() && mine->offset < theirs->offset);
        all.add(takesMine ? *mine++ : *theirs++);
    }
    m_ranges.swap(all.m_ranges);
}

void ByteRanges::intersect(const ByteRanges &other)
{
    ByteRanges common;
    auto mine = begin();
    auto theirs = other.begin();
    while (mine != end() && theirs != other.end()) {
        const quint64 offset = std::max(mine->offset, theirs->offset);
        const quint64 last = std::min(mine->end(), theirs->end());
        if (offset < last)
            common.add({offset, last - offset});
        // The one that ends first has met all that it can meet.
        if (mine->end() < theirs->end())
            ++mine;
        else
            ++theirs;
    }
    m_ranges.swap(common.m_ranges);
}

void ByteRanges::subtract(const ByteRanges &other)
{
    ByteRanges rest;
    auto theirs = other.begin();
    for (const ByteRange &range : m_ranges) {
        while (theirs != other.end() && theirs->end() <= range.offset)
            ++theirs;
        // The last of these may reach into the next range of this set: it is not passed.
        quint64 offset = range.offset;
        for (auto at = theirs; at != other.end() && at->offset < range.end(); ++at) {
            if (at->offset > offset)
                rest.add({offset, at->offset - offset});
            offset = std::min(at->end(), range.end());
            theirs = at;
        }
        rest.add({offset, range.end() - offset});
    }
    m_ranges.swap(rest.m_ranges);
}

quint64 ByteRanges::byteCount() const
{
    quint64 bytes = 0;
    for (const ByteRange &range : m_ranges)
        bytes += range.size;
    return bytes;
}

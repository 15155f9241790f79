#include "regiontable.h"

#include <algorithm>

namespace quenlofar {

namespace {

// By the numbers of the enumeration.
constexpr QStringView kindTexts[] = {u"unknown",    u"header", u"video",   u"audio",
                                     u"other data", u"index",  u"padding", u"text"};

RegionKind kindOf(StreamKind kind)
{
    switch (kind) {
    case StreamKind::Video:
        return RegionKind::Video;
    case StreamKind::Audio:
        return RegionKind::Audio;
    default:
        return RegionKind::OtherData;
    }
}

} // namespace

QString regionKindText(RegionKind kind)
{
    return kindTexts[size_t(kind)].toString();
}

void RegionTable::reset(quint64 fileSize, quint32 headerSize)
{
    m_stretches.clear();
    m_fileSize = fileSize;
    m_headerSize = headerSize;
}

void RegionTable::append(const ByteRange &range, RegionKind kind)
{
    if (range.size == 0)
        return;
    if (!m_stretches.isEmpty()) {
        Stretch &last = m_stretches.last();
        if (last.kind == kind && last.range.end() == range.offset) {
            last.range.size += range.size;
            return;
        }
    }
    m_stretches.append({range, kind});
}

Region RegionTable::at(quint64 offset) const
{
    // The stretch that holds the offset, or the next one behind it: where a gap ends.
    size_t low = 0;
    size_t high = m_stretches.size();
    while (low < high) {
        const size_t middle = low + (high - low) / 2;
        if (m_stretches[middle].range.end() <= offset)
            low = middle + 1;
        else
            high = middle;
    }
    quint64 begin = low == 0 ? 0 : m_stretches[low - 1].range.end();
    quint64 end = m_fileSize;
    if (low < m_stretches.size()) {
        const Stretch &stretch = m_stretches[low];
        if (stretch.range.offset <= offset)
            return {stretch.range, stretch.kind, -1};
        end = stretch.range.offset;
    }

    // In the gap: the packet whose header, data or padding it is, or what no packet takes.
    const quint64 next = m_packets->lowerIndex(offset + m_headerSize + 1);
    if (next < m_packets->size())
        end = std::min(end, m_packets->at(next).offset - m_headerSize);
    if (next > 0) {
        const Packet packet = m_packets->at(next - 1);
        const quint64 packetEnd = std::min(end, packet.offset + packet.size + packet.size % 2);
        if (offset < packetEnd) {
            const quint64 packetBegin = std::max(begin, packet.offset - m_headerSize);
            return {
                {packetBegin, packetEnd - packetBegin}, kindOf(m_packets->stream(packet.stream).kind), packet.stream};
        }
        begin = std::max(begin, packetEnd);
    }
    return {{begin, end - begin}, RegionKind::Unknown, -1};
}

size_t RegionTable::memory() const
{
    return m_stretches.memory();
}

} // namespace quenlofar

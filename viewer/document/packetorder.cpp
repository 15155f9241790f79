#include "packetorder.h"

#include <algorithm>
#include <cstring>

namespace quenlofar {

namespace {

constexpr quint32 noRow = 0xFFFFFFFF;
constexpr quint64 betweenLooks = 0xFFFF; // at the flag: a mask

struct Cancelled
{
};

struct Keyed
{
    quint64 key;
    quint32 index;
};

/// A number that ascends with `value`, negative ones too.
quint64 orderedBits(double value)
{
    quint64 bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    constexpr quint64 sign = quint64(1) << 63;
    return (bits & sign) != 0 ? ~bits : bits | sign;
}

quint64 keyOf(const PacketFacts &facts, PacketColumn column)
{
    const Packet &packet = facts.packet;
    switch (column) {
    case PacketColumn::Number:
        return facts.number;
    case PacketColumn::Stream:
        return packet.stream;
    case PacketColumn::Kind:
        return quint64(facts.kind);
    case PacketColumn::Time:
        return orderedBits(facts.seconds);
    case PacketColumn::Offset:
        return packet.offset;
    case PacketColumn::Size:
        return packet.size;
    case PacketColumn::Key:
        return quint64(packet.key);
    case PacketColumn::KnownBy:
        return packet.knownBy;
    case PacketColumn::Gap:
        break;
    }
    return facts.gap;
}

void setGap(PacketFacts *facts, const PacketTable &packets, quint64 index)
{
    const quint64 end = facts->packet.range().end();
    const quint64 next = index + 1 < packets.size() ? packets.at(index + 1).offset : end;
    facts->gap = next > end ? next - end : 0;
}

} // namespace

PacketFacts packetFacts(const PacketTable &packets, quint64 index)
{
    PacketFacts facts;
    facts.packet = packets.at(index);
    facts.number = packets.numberOf(index);
    facts.seconds = packets.secondsOf(index);
    facts.kind = packets.stream(facts.packet.stream).kind;
    setGap(&facts, packets, index);
    return facts;
}

std::shared_ptr<const PacketOrder> PacketOrder::make(const PacketTable &packets, const PacketQuery &query,
                                                     const std::atomic<bool> &isCancelled)
{
    auto order = std::make_shared<PacketOrder>(packets.size());
    const bool isByFile = query.column == PacketColumn::Offset && !query.isDescending;
    if (query.condition.isAlwaysMet() && isByFile)
        return order;
    const bool needsTime = query.condition.needsTime() || query.column == PacketColumn::Time;
    bool isSorting = !isByFile;
    if (query.condition.isAlwaysMet() && packets.size() > mostSorted) {
        order->m_isSorted = false; // nothing is left out, and there are too many to be sorted
        return order;
    }
    order->m_isWhole = false;
    std::vector<Keyed> keyed;
    if (isSorting && query.condition.isAlwaysMet())
        keyed.reserve(size_t(packets.size()));
    PacketFacts facts;
    for (PacketCursor cursor(packets); cursor.isValid(); cursor.next()) {
        const quint64 index = cursor.index();
        if ((index & betweenLooks) == 0 && isCancelled)
            return nullptr;
        facts.packet = cursor.packet();
        facts.number = cursor.number();
        facts.kind = packets.stream(facts.packet.stream).kind;
        if (needsTime)
            facts.seconds = cursor.seconds();
        setGap(&facts, packets, index);
        if (!query.condition.isMet(facts))
            continue;
        if (isSorting && keyed.size() >= mostSorted) {
            // The rest is kept in the order of the file.
            isSorting = false;
            order->m_isSorted = false;
            order->m_indexes.reserve(keyed.size() * 2);
            for (const Keyed &each : keyed)
                order->m_indexes.push_back(each.index);
            keyed = {};
        }
        if (isSorting)
            keyed.push_back({keyOf(facts, query.column), quint32(index)});
        else
            order->m_indexes.push_back(quint32(index));
    }
    if (!isSorting)
        return isCancelled ? nullptr : order;
    quint64 comparisons = 0;
    try {
        std::sort(keyed.begin(), keyed.end(), [&](const Keyed &a, const Keyed &b) {
            if ((++comparisons & betweenLooks) == 0 && isCancelled)
                throw Cancelled();
            if (a.key != b.key)
                return query.isDescending ? a.key > b.key : a.key < b.key;
            return a.index < b.index;
        });
    } catch (const Cancelled &) {
        return nullptr;
    }
    order->m_isAscending = false;
    order->m_indexes.reserve(keyed.size());
    order->m_rows.assign(size_t(packets.size()), noRow);
    for (const Keyed &each : keyed) {
        order->m_rows[each.index] = quint32(order->m_indexes.size());
        order->m_indexes.push_back(each.index);
    }
    return isCancelled ? nullptr : order;
}

quint64 PacketOrder::rowOf(quint64 index) const
{
    if (m_isWhole)
        return index < m_count ? index : PacketTable::none;
    if (!m_isAscending)
        return index < m_rows.size() && m_rows[size_t(index)] != noRow ? m_rows[size_t(index)] : PacketTable::none;
    const quint64 row = rowFrom(index);
    return row < size() && indexAt(row) == index ? row : PacketTable::none;
}

quint64 PacketOrder::rowFrom(quint64 index) const
{
    if (m_isWhole)
        return index < m_count ? index : PacketTable::none;
    if (!m_isAscending)
        return PacketTable::none;
    const auto found = std::lower_bound(m_indexes.begin(), m_indexes.end(), index);
    return found == m_indexes.end() ? PacketTable::none : quint64(found - m_indexes.begin());
}

} // namespace quenlofar

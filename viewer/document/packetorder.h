#pragma once

#include "packetcondition.h"

#include <QString>

#include <atomic>
#include <memory>
#include <vector>

namespace quenlofar {

/// What is shown of a packet, and what packets are sorted by.
enum class PacketColumn : quint8 { Number, Stream, Kind, Time, Offset, Size, Key, KnownBy, Gap };

/// Which packets are wanted, and in which order.
struct PacketQuery
{
    PacketCondition condition;
    PacketColumn column = PacketColumn::Offset; ///< by offset: the order of the file
    bool isDescending = false; ///< the largest first
};

/**
 * Packets of a table in some order: all of them in that of the file, which takes no memory, or as a row of indexes.
 * Does not change any more, so that several threads may read it.
 */
class PacketOrder
{
public:
    /// More are not sorted: it would take 16 bytes for each. They stay in the order of the file.
    static constexpr quint64 mostSorted = 50'000'000;

    /// All packets of a table of `count`, in the order of the file.
    explicit PacketOrder(quint64 count) : m_count(count) { }
    /**
     * The packets of `packets` that `query` asks for; those that are equal in its column stay in the order of the file.
     * Null where `isCancelled` became true meanwhile. May throw std::bad_alloc.
     */
    static std::shared_ptr<const PacketOrder> make(const PacketTable &packets, const PacketQuery &query,
                                                   const std::atomic<bool> &isCancelled);

    quint64 size() const { return m_isWhole ? m_count : m_indexes.size(); } ///< packets
    bool isSorted() const { return m_isSorted; } ///< false where there were too many to be sorted
    /// The index in the table of the packet at `row`, which is below size().
    quint64 indexAt(quint64 row) const { return m_isWhole ? row : m_indexes[size_t(row)]; }
    /// The row of the packet `index`, or PacketTable::none. Logarithmic time at most.
    quint64 rowOf(quint64 index) const;
    /// The first row with a packet of the index `index` or a larger one, in the order of the file; none elsewhere.
    quint64 rowFrom(quint64 index) const;

private:
    quint64 m_count = 0;
    bool m_isWhole = true;
    bool m_isSorted = true;
    bool m_isAscending = true; // in the order of the file
    std::vector<quint32> m_indexes;
    std::vector<quint32> m_rows; // of packets by index, where the order is another one
};

/// What is to be known of the packet `index` of `packets`. Logarithmic time.
PacketFacts packetFacts(const PacketTable &packets, quint64 index);

} // namespace quenlofar

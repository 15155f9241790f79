#pragma once

#include "byterange.h"
#include "growingtree.h"
#include "packettable.h"

#include <vector>

namespace quenlofar {

/// A place in a file: bytes, and what they belong to.
struct Place
{
    ByteRange range; ///< what is marked; may have no bytes
    TreeItem item = GrowingTree::root(); ///< the element or field that they belong to; the root for none
    quint64 packet = PacketTable::none; ///< index of the packet whose data, header or padding holds the first byte
    int finding = 0; ///< id of a finding that has a place here; 0 for none

    /// The same bytes of the same item, packet and finding.
    bool operator==(const Place &other) const
    {
        return range == other.range && item == other.item && packet == other.packet && finding == other.finding;
    }
    /// Another place.
    bool operator!=(const Place &other) const { return !(*this == other); }
};

/// How a place was come to.
enum class Move {
    Jump, ///< the user went there: the way back leads to where they were before
    Step, ///< the next byte, row or item: the history remembers only where the steps end
};

/// Where the user was, as a way that can be gone back and forward. `Entry` is a place, or one in one of many files.
template <typename Entry> class PlaceHistory
{
public:
    /// More entries are not kept; the oldest go first.
    static constexpr size_t mostEntries = 1000;

    /// The user is at `entry` now. What lay ahead is forgotten by a jump.
    void visit(const Entry &entry, Move move)
    {
        if (m_entries.empty() || (move == Move::Jump && m_entries[m_current] != entry)) {
            if (!m_entries.empty())
                m_entries.erase(m_entries.begin() + std::ptrdiff_t(m_current) + 1, m_entries.end());
            m_entries.push_back(entry);
            if (m_entries.size() > mostEntries)
                m_entries.erase(m_entries.begin());
            m_current = m_entries.size() - 1;
        } else {
            m_entries[m_current] = entry;
        }
    }
    bool canGoBack() const { return m_current > 0; } ///< there is an entry before the current one
    bool canGoForward() const { return m_current + 1 < m_entries.size(); } ///< there is one behind it
    /// To the entry before; only where canGoBack().
    const Entry &back() { return m_entries[--m_current]; }
    /// To the entry behind; only where canGoForward().
    const Entry &forward() { return m_entries[++m_current]; }
    size_t size() const { return m_entries.size(); } ///< entries
    /// Calls `change` for every entry, which may change it.
    template <typename Change> void change(Change change)
    {
        for (Entry &entry : m_entries)
            change(entry);
    }
    /// Takes out the entries for which `isGone` holds.
    template <typename IsGone> void remove(IsGone isGone)
    {
        std::vector<Entry> kept;
        size_t current = 0;
        for (size_t i = 0; i < m_entries.size(); ++i) {
            if (!isGone(m_entries[i]))
                kept.push_back(m_entries[i]);
            if (i == m_current)
                current = kept.empty() ? 0 : kept.size() - 1;
        }
        m_entries = std::move(kept);
        m_current = current;
    }

private:
    std::vector<Entry> m_entries;
    size_t m_current = 0;
};

} // namespace quenlofar

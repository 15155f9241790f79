#pragma once

#include "blockarray.h"
#include "byterange.h"
#include "containerabstract_export.h"

#include <QtGlobal>

#include <vector>

namespace quenlofar {

class PacketTable;

/// One place of the file that says where another is: an entry of an index.
struct Reference
{
    ByteRange place; ///< the entry
    ByteRange target; ///< what it points at: the data of a packet, another chunk; what it claims where it hits nothing
    bool isHit = false; ///< the target begins where the entry says
};

/**
 * Which entry of an index points at what, in the order of the entries' places; looked up both ways in logarithmic time.
 *
 * An entry that hits a packet takes four bytes, any other twenty. Filled once, run by run in ascending order of places;
 * then finish(). The packets are those of the table that the constructor gets, which outlives this one.
 */
class CONTAINERABSTRACT_EXPORT ReferenceTable
{
public:
    /// No reference.
    static constexpr quint64 none = ~quint64(0);

    /// Over the packets of `packets`, which outlives the table.
    explicit ReferenceTable(const PacketTable &packets) : m_packets(&packets) { }

    // Filling

    /// Empty again.
    void clear();
    /// The references that are added from now on stand at `firstPlace` and each `stride` bytes behind the one before.
    void beginRun(quint64 firstPlace, quint32 stride);
    /// The next entry of the run points at a packet.
    void addPacket(quint64 packetIndex) { m_targets.append(quint32(packetIndex)); }
    /// The next entry of the run points at something else, or at nothing.
    void addRange(const ByteRange &target, bool isHit);
    /// The next entry of the run says nothing, or cannot be read: it is no reference, but takes its place.
    void addFiller() { m_targets.append(filler); }
    /// Ends filling. Linear.
    void finish();

    // Look-up, by ordinal in the order of places

    /// Entries, fillers too.
    quint64 size() const { return m_targets.size(); }
    /// False for a filler.
    bool isReference(quint64 ordinal) const { return m_targets[size_t(ordinal)] != filler; }
    /// The reference number `ordinal`, from 0; an empty target for a filler.
    Reference at(quint64 ordinal) const;
    /// The entry that holds the byte at `offset`; none where there is none.
    quint64 ordinalAt(quint64 offset) const;
    /// Ordinals of the entries whose targets begin in `range`, in the order of these, at most `limit`. The first call
    /// sorts where entries are not in the order of their targets, so only one thread at a time may call it.
    std::vector<quint64> ordinalsTo(const ByteRange &range, size_t limit = 16) const;

    /// Bytes of memory that the table takes.
    size_t memory() const;

private:
    struct Run
    {
        quint64 place;
        quint64 ordinal; // of the first
        quint32 stride;
    };
    struct Stray
    {
        ByteRange target;
        bool isHit;
    };
    static constexpr quint32 filler = 0xFFFFFFFF;
    static constexpr quint32 strayFlag = 0x80000000; // the rest is an ordinal in m_strays

    ByteRange targetOf(quint64 ordinal) const;
    void sortByTarget() const;

    const PacketTable *m_packets;
    BlockArray<quint32> m_targets;
    BlockArray<Stray> m_strays;
    std::vector<Run> m_runs;
    mutable BlockArray<quint32> m_byTarget; // ordinals; empty where m_isIdentity
    mutable bool m_isSorted = false;
    bool m_isIdentity = false; // the order of places is that of targets, and no entry is a filler
};

} // namespace quenlofar

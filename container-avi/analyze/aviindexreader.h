#pragma once

#include "aviids.h"
#include "avilayout.h"
#include "filedevice.h"

#include <atomic>
#include <vector>

namespace quenlofar {

/**
 * The third step of reading: index chunks, and what their entries hit. Entries are compared while they are read and not
 * kept; the layout has the places of those that break something.
 */
class AviIndexReader
{
public:
    /// Over a layout whose elements, headers and finished packets are there. Ends early while `*cancel` is true, which
    /// may be null. All outlive the reader.
    AviIndexReader(FileDevice &file, const std::atomic<bool> *cancel, AviLayout &layout);

    void read();

private:
    /// An entry of idx1 (AVIOLDINDEX).
    struct LegacyEntry
    {
        quint32 id;
        quint32 flags;
        quint32 offset;
        quint32 size;
    };
    /// From where its offsets may count.
    struct BaseCandidate
    {
        AviIndexBase base;
        qint64 offset; // that is added to an entry's
        quint32 movi; // that it belongs to; AviLayout::none where it belongs to none
    };
    /// What an entry hit.
    struct Target
    {
        quint32 packet = AviLayout::none;
        Packet chunk; // that packet
        quint32 element = AviLayout::none;
        quint16 what = 0; // bits of AviIrregularity
    };

    // aviindexreader.cpp: which indexes there are, and the OpenDML ones
    void addIndex(quint64 offset, quint32 id, quint32 size, quint64 end, quint32 element, int stream);
    void readIndexHeader(AviIndex &index, quint64 end);
    void readSuperEntries(AviIndex &index);
    void readStandardEntries(quint32 ordinal);
    void linkSuperEntries();
    void addUnvisited();

    // avilegacyindex.cpp
    void readLegacy(quint32 ordinal);
    void chooseBase(const AviIndex &index);
    std::vector<LegacyEntry> sample(const AviIndex &index);
    const BaseCandidate *bestBase(const std::vector<LegacyEntry> &entries, const std::vector<BaseCandidate> &candidates,
                                  bool withSize);
    bool isHit(const LegacyEntry &entry, qint64 base, bool withSize);
    quint64 firstDataIn(quint32 movi);
    void addCandidates(const std::vector<LegacyEntry> &entries, std::vector<qint64> *bases);
    void readLegacyEntry(quint32 ordinal, quint32 number, const LegacyEntry &entry);
    void markRecLists();
    Target legacyTarget(const LegacyEntry &entry, quint64 at);

    quint64 packetAt(quint64 dataOffset);
    bool isCancelled() const { return m_cancel && m_cancel->load(std::memory_order_relaxed); }
    void addIrregular(const AviIrregularEntry &entry, bool isLegacy);
    int streamOf(const AviIndex &index) const;

    FileDevice &m_file;
    const std::atomic<bool> *m_cancel;
    AviLayout &m_layout;
    quint64 m_next = 0; // the packet that the next entry probably hits
    quint64 m_previousTarget = 0; // of the latest entry of idx1 that hit something
    quint64 m_firstEnd = 0; // where the first RIFF ends
    std::vector<quint32> m_recLists; // elements that entries of idx1 hit
};

} // namespace quenlofar

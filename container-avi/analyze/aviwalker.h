#pragma once

#include "avichain.h"
#include "avilayout.h"

#include <array>
#include <atomic>

namespace quenlofar {

/**
 * The first step of reading: lists, chunks and packets, by following sizes from chunk to chunk.
 *
 * What leads to something that is no chunk is settled by two hypotheses: a size is wrong, or bytes were lost or
 * inserted; see AviDamage. Every step leads forwards in the file, lists are kept on a stack of a fixed depth.
 */
class AviWalker
{
public:
    /// Reads through `file`, and looks ahead through `ahead`, a device over the same source; ends early while `*cancel`
    /// is true, which may be null. All outlive the walker.
    AviWalker(FileDevice &file, FileDevice &ahead, const std::atomic<bool> *cancel, AviLayout &layout);

    /// Fills elements, packets and damages of an empty layout. `movi` is entered where the layout `isWalked`.
    void walk();
    /// It ended early because of the bound on looking ahead, or of those of the tables.
    bool isLimited() const { return m_isLimited || m_chain.isExhausted(); }

private:
    enum class Place : quint8 { Top, Riff, Hdrl, Strl, Odml, Info, Movi, Rec };
    /// A list that is open.
    struct OpenList
    {
        quint32 element; // none for a file that does not begin with RIFF
        quint64 end; // behind its last byte
        Place place;
        bool isCorrected; // `end` is not what its size says, and a damage tells so
    };
    /// Lists in one another; a real file has four.
    static constexpr int mostDepth = 16;

    // aviwalker.cpp: chunks in their places
    void begin();
    void walkData();
    void step();
    bool leadsOn(const AviHeader &header);
    void endWithin();
    void endBehindFile();
    void enterList(const AviHeader &header);
    void addChunk(const AviHeader &header);
    bool addPacket(quint32 id, quint32 size, quint32 held);
    void addPadding(quint64 at, char value);
    void readPadding(quint64 at);
    quint32 addElement(const AviHeader &header, quint64 end);
    void closeLists();
    void close();
    void stop();
    quint64 listEnd(const AviHeader &header, quint32 element, Place inner);
    quint64 wrappedEnd(quint64 stated, quint64 padding, Place inner);
    void leaveList();
    bool leavesList(const AviHeader &header) const;
    bool leadsToData(AviHeader header);
    bool goesOnBehind(const AviHeader &header);
    static Place placeOf(const AviHeader &header);
    OpenList &top() { return m_open[size_t(m_depth) - 1]; }
    Place place() const { return m_depth == 0 ? Place::Top : m_open[size_t(m_depth) - 1].place; }
    quint64 end() const { return m_depth == 0 ? m_layout.fileSize : m_open[size_t(m_depth) - 1].end; }
    quint64 endOfParent(int depth) const;

    // avirecovery.cpp: what to do where sizes lead to something that is no chunk
    void recover();
    bool tryPadMissing();
    bool trySwallowed(quint64 statedEnd);
    void skipForeign();
    void addForeign(const AviChain::Hit &hit, quint64 end);
    bool takeBeyondEnd(const AviHeader &header);
    void extendLists(quint64 needed);
    void endTop();
    void addDamage(AviDamageKind kind, quint64 offset, quint64 size, quint64 statedEnd, quint32 element,
                   quint32 packet = AviLayout::none);

    bool isCancelled() const { return m_cancel && m_cancel->load(std::memory_order_relaxed); }

    FileDevice &m_file;
    const std::atomic<bool> *m_cancel;
    AviLayout &m_layout;
    AviChain m_chain;
    quint64 m_at = 0; // where the next header is expected
    std::array<OpenList, mostDepth> m_open;
    int m_depth = 0;
    bool m_isLimited = false;
    quint64 m_lastPadding = 0; // of the bytes of padding that are not 0, the latest

    /// What ends where the next header is expected.
    struct Previous
    {
        quint64 offset = 0; // of its header
        quint64 end = 0; // of its data, without padding
        quint32 element = AviLayout::none; // also of a packet
        bool exists = false; // false at the beginning of a list, and behind a damage
        bool isPacket = false;
    };
    Previous m_previous; // a chunk or a list
    Previous m_chunk; // the latest chunk that is no list, whose size may be the one that is wrong
    std::array<int, PacketTable::streamLimit> m_kinds; // the kind of the latest packet, by stream; -1 without one
};

} // namespace quenlofar

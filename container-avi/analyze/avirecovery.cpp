#include "aviids.h"
#include "aviwalker.h"

#include <algorithm>

namespace quenlofar {

namespace {

bool isIndex(quint32 id)
{
    return id == fourCC("idx1") || id == fourCC("indx") || indexStream(id) >= 0;
}

} // namespace

void AviWalker::addDamage(AviDamageKind kind, quint64 offset, quint64 size, quint64 statedEnd, quint32 element,
                          quint32 packet)
{
    AviDamage damage{kind};
    damage.offset = offset;
    damage.size = size;
    damage.statedEnd = statedEnd;
    damage.element = element;
    damage.packet = packet;
    if (packet != AviLayout::none)
        damage.stream = m_layout.packets.at(packet).stream;
    m_layout.damages.push_back(damage);
    if (m_layout.damages.size() >= AviLayout::mostDamages) {
        m_isLimited = true;
        stop();
    }
}

/// At m_at stands no header that could be believed. Afterwards m_at is elsewhere, a list ended, or the reading did.
void AviWalker::recover()
{
    if (tryPadMissing() || trySwallowed(m_at))
        return;
    if (m_chain.isStopped())
        return stop();
    skipForeign();
}

/// The chunk before is of odd size, and the next one stands where its padding should.
bool AviWalker::tryPadMissing()
{
    if (!m_previous.exists || m_at != m_previous.end + 1)
        return false;
    const quint64 spent = m_chain.spent();
    // In lists of headers and texts any id may follow.
    const bool isAmongHeaders = place() >= Place::Hdrl && place() <= Place::Info;
    const bool isThere =
        isAmongHeaders ? m_chain.isPrintableAt(m_at - 1, end()) : m_chain.follow(m_at - 1, end()).isBelieved();
    if (!isThere)
        return false;
    m_chain.takeBack(spent);
    const quint32 packet = m_previous.isPacket ? quint32(m_layout.packets.size() - 1) : AviLayout::none;
    --m_at;
    if (m_lastPadding == m_at)
        --m_layout.paddingNotZero.count; // it is the next chunk's first byte
    ++m_layout.paddingMissing;
    if (m_layout.paddingMissing <= AviLayout::mostPaddingMissing)
        addDamage(AviDamageKind::PadMissing, m_at, 0, m_at, m_depth == 0 ? AviLayout::none : top().element, packet);
    m_previous.exists = false;
    return true;
}

/// Whether the latest chunk holds a chain of chunks that goes on behind `statedEnd`: then it ends where that begins.
bool AviWalker::trySwallowed(quint64 statedEnd)
{
    if (!m_chunk.exists || m_chunk.end <= m_chunk.offset + 8 || m_chunk.end + 1 < m_at)
        return false;
    const quint64 begin = m_chunk.offset + 8;
    const bool isInIndex = !m_chunk.isPacket && isIndex(m_layout.elements[m_chunk.element].id);
    const AviChain::Hit hit = m_chain.find(begin, std::min(statedEnd, m_chunk.end), end(), statedEnd, isInIndex);
    if (!hit.isFound)
        return false;
    quint32 packet = AviLayout::none;
    if (m_chunk.isPacket) {
        packet = quint32(m_layout.packets.size() - 1);
        m_layout.packets.shortenLast(quint32(hit.at - begin));
    } else {
        m_layout.elements[m_chunk.element].end = hit.at;
    }
    // Lists that ended with the chunk end where it does.
    if (m_previous.exists && m_previous.element != AviLayout::none) {
        for (quint32 list = m_previous.element;
             list != AviLayout::none && m_layout.elements[list].end > hit.at && (m_depth == 0 || list != top().element);
             list = m_layout.elements[list].parent)
            m_layout.elements[list].end = hit.at;
    }
    addDamage(AviDamageKind::ChunkSwallowsOthers, m_chunk.offset, hit.at - m_chunk.offset, statedEnd, m_chunk.element,
              packet);
    m_layout.damages.back().isCertain = hit.run.headers >= AviChain::enough;
    m_at = hit.at;
    m_previous.exists = m_chunk.exists = false;
    return true;
}

/// Goes on at the next chain of chunks, or at the end of the list.
void AviWalker::skipForeign()
{
    AviChain::Hit hit = m_chain.find(m_at, end(), end());
    if (!hit.isFound && end() < m_layout.fileSize) {
        // Bytes that were put in push the last chunks out of their list.
        hit = m_chain.find(m_at, end(), m_layout.fileSize);
        if (hit.isFound)
            extendLists(hit.run.at);
    }
    if (m_chain.isStopped())
        return stop();
    addForeign(hit, hit.isFound ? hit.at : end());
    m_layout.damages.back().isCertain = hit.run.headers >= AviChain::enough || !hit.isFound;
}

/// From m_at to `end` stand bytes that are no chunk.
void AviWalker::addForeign(const AviChain::Hit &hit, quint64 end)
{
    constexpr quint64 manyZeros = 64; // payload hardly begins with more
    const quint64 size = end - m_at;
    const bool isZero = hit.zeros == size || hit.zeros >= manyZeros;
    const bool isBehindPacket = m_previous.exists && m_previous.isPacket;
    addDamage(isZero ? AviDamageKind::ZeroBytes : AviDamageKind::ForeignBytes, m_at, size, end,
              m_depth == 0 ? AviLayout::none : top().element,
              isBehindPacket ? quint32(m_layout.packets.size() - 1) : AviLayout::none);
    m_layout.damages.back().zeros = hit.zeros;
    m_at = end;
    m_previous.exists = m_chunk.exists = false;
}

/// A header that is known, of a chunk that leads behind the end of its list. False where it cannot be believed.
bool AviWalker::takeBeyondEnd(const AviHeader &header)
{
    const quint64 fileSize = m_layout.fileSize;
    const quint64 listEnd = end();
    const quint64 stated = m_at + 8 + header.size;
    const bool isPacket = dataStream(header.id) >= 0 && lettersOfId(header.id) != twoLetters("ix")
        && (place() == Place::Movi || place() == Place::Rec);

    // The list may be the one that is too short: then what follows the chunk goes on as the list does.
    if (listEnd < fileSize && stated <= fileSize) {
        const quint64 next = stated + header.size % 2;
        const bool goesOn = stated == fileSize || m_chain.follow(next, fileSize).isBelieved();
        const bool endsHere = m_chain.follow(listEnd, fileSize).isBelieved() || m_chain.isRiffAt(listEnd);
        if (goesOn && !endsHere) {
            extendLists(stated);
            return true; // and it is looked at again
        }
    }

    // Its own size is wrong, or the file was cut off inside of it.
    const quint64 offset = m_at;
    const quint32 held = quint32(listEnd - m_at - 8);
    quint32 packet = AviLayout::none;
    quint32 element = AviLayout::none;
    if (isPacket) {
        if (!addPacket(header.id, header.size, held))
            return true;
        packet = quint32(m_layout.packets.size() - 1);
    } else {
        element = addElement(header, listEnd);
        m_previous = m_chunk = {m_at, listEnd, element, true, false};
    }
    const AviChain::Hit hit = m_chain.find(offset + 8, listEnd, listEnd, 0, isIndex(header.id));
    if (m_chain.isStopped()) {
        stop();
        return true;
    }
    if (hit.isFound) {
        if (isPacket)
            m_layout.packets.shortenLast(quint32(hit.at - offset - 8));
        else
            m_layout.elements[element].end = hit.at;
        addDamage(AviDamageKind::ChunkSwallowsOthers, offset, hit.at - offset, stated, element, packet);
        m_layout.damages.back().isCertain = hit.run.headers >= AviChain::enough;
        m_at = hit.at;
        m_previous.exists = m_chunk.exists = false;
        return true;
    }
    addDamage(listEnd == fileSize ? AviDamageKind::ChunkCut : AviDamageKind::ChunkBeyondParent, offset,
              listEnd - offset, stated, element, packet);
    if (isPacket && listEnd < fileSize)
        m_layout.packets.shortenLast(held);
    m_at = listEnd;
    return true;
}

/// Lists whose sizes turned out too small for what ends at `needed` go on as far as their parents do.
void AviWalker::extendLists(quint64 needed)
{
    for (int depth = 0; depth < m_depth; ++depth) {
        OpenList &list = m_open[size_t(depth)];
        if (list.end >= needed)
            continue;
        if (!list.isCorrected && list.element != AviLayout::none)
            addDamage(AviDamageKind::ListTooShort, m_layout.elements[list.element].offset, 0, list.end, list.element);
        list.isCorrected = true;
        list.end = endOfParent(depth);
    }
}

quint64 AviWalker::endOfParent(int depth) const
{
    return depth == 0 ? m_layout.fileSize : m_open[size_t(depth) - 1].end;
}

/// Behind the last RIFF: another one may still follow what stands here.
void AviWalker::endTop()
{
    constexpr quint64 quickSearch = quint64(1) << 20;
    const quint64 fileSize = m_layout.fileSize;
    const AviChain::Hit hit =
        m_chain.findRiff(m_at, m_layout.isWalked ? fileSize : std::min(fileSize, m_at + quickSearch));
    if (m_chain.isStopped())
        return stop();
    if (hit.isFound)
        return addForeign(hit, hit.at);
    m_layout.trailing = {m_at, fileSize - m_at};
    m_layout.trailingZeros = hit.zeros;
    m_at = fileSize;
}

} // namespace quenlofar

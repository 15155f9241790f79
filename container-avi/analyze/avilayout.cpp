#include "avilayout.h"

#include <algorithm>

namespace quenlofar {

AviLayout::AviLayout() : references(packets)
{
    packets.setSourceName(KnownFromData, u"movi");
    packets.setSourceName(KnownFromLegacyIndex, u"idx1");
    packets.setSourceName(KnownFromPartIndex, u"odml");
}

void AviLayout::clear()
{
    fileSize = 0;
    isWalked = false;
    isCutShort = false;
    readUpTo = 0;
    elements.clear();
    segments.clear();
    moviLists.clear();
    damages.clear();
    leading = {};
    trailing = {};
    trailingZeros = 0;
    mainHeader = {};
    extendedHeader = {};
    streams.clear();
    streamListCount = 0;
    packets.clear();
    packetKinds.clear();
    chunkKinds.clear();
    paddingMissing = 0;
    paddingNotZero = {};
    idsNotAscii = {};
    indexes.clear();
    legacyIndexes.clear();
    superEntries.clear();
    legacyFacts = {};
    irregularEntries.clear();
    irregularRest.clear();
    references.clear();
}

quint32 AviLayout::lowerElement(quint64 offset) const
{
    size_t low = 0;
    size_t high = elements.size();
    while (low < high) {
        const size_t middle = low + (high - low) / 2;
        if (elements[middle].offset < offset)
            low = middle + 1;
        else
            high = middle;
    }
    return quint32(low);
}

quint32 AviLayout::elementAt(quint64 offset) const
{
    const quint32 behind = lowerElement(offset + 1);
    quint32 element = behind == 0 ? none : behind - 1;
    while (element != none && elements[element].end <= offset)
        element = elements[element].parent;
    return element;
}

quint32 AviLayout::nextSibling(quint32 element) const
{
    const quint32 next = elements[element].isList() ? lowerElement(elements[element].end) : element + 1;
    const bool isSibling =
        next > element && next < elements.size() && elements[next].parent == elements[element].parent;
    return isSibling ? next : none;
}

quint32 AviLayout::child(quint32 parent, quint32 id, quint32 form) const
{
    const quint32 first = parent == none ? 0 : parent + 1;
    if (first >= elements.size() || elements[first].parent != parent)
        return none;
    for (quint32 each = first; each != none; each = nextSibling(each)) {
        if (elements[each].id == id && (form == 0 || elements[each].form == form))
            return each;
    }
    return none;
}

std::vector<quint32> AviLayout::children(quint32 parent, quint32 id, quint32 form) const
{
    std::vector<quint32> all;
    const quint32 first = parent == none ? 0 : parent + 1;
    if (first >= elements.size() || elements[first].parent != parent)
        return all;
    for (quint32 each = first; each != none; each = nextSibling(each)) {
        if (elements[each].id == id && (form == 0 || elements[each].form == form))
            all.push_back(each);
    }
    return all;
}

quint32 AviLayout::segmentAt(quint64 offset) const
{
    const auto behind =
        std::upper_bound(segments.begin(), segments.end(), offset,
                         [this](quint64 wanted, quint32 each) { return wanted < elements[each].offset; });
    if (behind == segments.begin() || elements[*std::prev(behind)].end <= offset)
        return none;
    return quint32(std::prev(behind) - segments.begin());
}

quint32 AviLayout::moviAt(quint64 offset) const
{
    const auto behind =
        std::upper_bound(moviLists.begin(), moviLists.end(), offset,
                         [this](quint64 wanted, quint32 each) { return wanted < elements[each].offset; });
    if (behind == moviLists.begin() || elements[*std::prev(behind)].end <= offset)
        return none;
    return *std::prev(behind);
}

std::pair<quint64, quint64> AviLayout::packetsIn(quint32 element) const
{
    return {firstPacketFrom(elements[element].offset), firstPacketFrom(elements[element].end)};
}

ByteRange AviLayout::chunkRange(quint64 packet) const
{
    const Packet chunk = packets.at(packet);
    const quint64 end = std::min(fileSize, chunk.offset + chunk.size + chunk.size % 2);
    return {chunk.offset - 8, end - (chunk.offset - 8)};
}

} // namespace quenlofar

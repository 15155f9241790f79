#include "avichain.h"
#include "aviindexreader.h"

#include <algorithm>

namespace quenlofar {

namespace {

// AVIOLDINDEX of the AVI RIFF File Reference.
constexpr quint32 entrySize = 16;
constexpr quint32 listFlag = 0x00000001; // AVIIF_LIST
constexpr quint32 keyFrameFlag = 0x00000010; // AVIIF_KEYFRAME
constexpr quint32 pieceEntries = 4096;
/// Entries from which the base is told, spread evenly.
constexpr quint32 sampleSize = 256;
/// Entries of the sample from which a base is worked out that is none of the usual ones.
constexpr size_t candidateEntries = 4;

/// Writers fill an entry up that they do not need: an id that begins with 7F, and size 0.
bool isFiller(quint32 id, quint32 size)
{
    return size == 0 && idByte(id, 0) == '7' && (idByte(id, 1) == 'F' || idByte(id, 1) == 'f');
}

} // namespace

void AviIndexReader::readLegacy(quint32 ordinal)
{
    AviIndex &index = m_layout.indexes[ordinal];
    AviLegacyFacts &facts = m_layout.legacyFacts;
    const quint64 end = index.element == AviLayout::none ? index.firstEntry : m_layout.elements[index.element].end;
    facts.restBytes = quint32((std::max(end, index.firstEntry) - index.firstEntry) % entrySize);
    char rest[entrySize] = {};
    m_file.seek(qint64(end - facts.restBytes));
    m_file.read(rest, facts.restBytes);
    facts.restIsZero = std::all_of(rest, rest + entrySize, [](char byte) { return byte == 0; });

    chooseBase(index);
    if (!m_layout.isWalked || facts.base == AviIndexBase::Unknown)
        return;
    m_layout.references.beginRun(index.firstEntry, entrySize);
    std::vector<char> bytes(size_t(entrySize) * pieceEntries);
    for (quint32 number = 0; number < index.entryCount;) {
        const quint32 count = std::min(pieceEntries, index.entryCount - number);
        const qint64 wanted = qint64(count) * entrySize;
        m_file.seek(qint64(index.firstEntry + quint64(number) * entrySize));
        if (isCancelled() || m_file.read(bytes.data(), wanted) < wanted) {
            index.entryCount = number; // the rest cannot be read
            break;
        }
        for (quint32 i = 0; i < count; ++i, ++number) {
            const RecordView view(bytes.data() + size_t(i) * entrySize, entrySize);
            readLegacyEntry(
                ordinal, number,
                {view.read<quint32>(0), view.read<quint32>(4), view.read<quint32>(8), view.read<quint32>(12)});
        }
    }
    markRecLists();
}

/// Whose `rec ` list idx1 has, that packet idx1 has too. Done once for each list, however many entries point at it.
void AviIndexReader::markRecLists()
{
    std::sort(m_recLists.begin(), m_recLists.end());
    m_recLists.erase(std::unique(m_recLists.begin(), m_recLists.end()), m_recLists.end());
    for (const quint32 list : m_recLists) {
        const auto inside = m_layout.packetsIn(list);
        for (quint64 packet = inside.first; packet < inside.second; ++packet)
            m_layout.packets.addKnowledge(packet, KnownFromLegacyIndex, KeyState::Unknown);
    }
}

/// Entries spread over the index, without fillers.
std::vector<AviIndexReader::LegacyEntry> AviIndexReader::sample(const AviIndex &index)
{
    std::vector<LegacyEntry> entries;
    const quint32 count = std::min(sampleSize, index.entryCount);
    for (quint32 i = 0; i < count; ++i) {
        const quint64 number = count < index.entryCount ? quint64(i) * (index.entryCount - 1) / (count - 1) : i;
        char bytes[entrySize] = {};
        m_file.seek(qint64(index.firstEntry + number * entrySize));
        if (m_file.read(bytes, entrySize) < qint64(entrySize))
            break;
        const RecordView view(bytes, sizeof bytes);
        const LegacyEntry entry{view.read<quint32>(0), view.read<quint32>(4), view.read<quint32>(8),
                                view.read<quint32>(12)};
        if (!isFiller(entry.id, entry.size))
            entries.push_back(entry);
    }
    return entries;
}

/// Whether a chunk of this id and size stands there.
bool AviIndexReader::isHit(const LegacyEntry &entry, qint64 base)
{
    const qint64 at = base + qint64(entry.offset);
    if (at < 0 || quint64(at) + 8 > m_layout.fileSize)
        return false;
    const int stream = dataStream(entry.id);
    if (m_layout.isWalked && stream >= 0) {
        const quint64 hit = packetAt(quint64(at) + 8);
        if (hit == PacketTable::none)
            return false;
        const Packet packet = m_layout.packets.at(hit);
        return packet.stream == stream && packet.size == entry.size
            && areAlike(m_layout.lettersOf(hit), lettersOfId(entry.id));
    }
    AviHeader header;
    if (!readHeader(m_file, quint64(at), &header))
        return false;
    if (entry.id == fourCC("rec ")) {
        // Writers count the form type or do not.
        return header.id == fourCC("LIST") && header.form == entry.id;
    }
    const bool isSameId = stream >= 0
        ? dataStream(header.id) == stream && areAlike(lettersOfId(header.id), lettersOfId(entry.id))
        : header.id == entry.id;
    return isSameId && header.size == entry.size;
}

quint64 AviIndexReader::countHits(const std::vector<LegacyEntry> &entries, qint64 base)
{
    return quint64(std::count_if(entries.begin(), entries.end(),
                                 [this, base](const LegacyEntry &entry) { return isHit(entry, base); }));
}

/// Bases under which some entry hits the chunk that it should be, by its number: the first ones, and the last.
void AviIndexReader::addCandidates(const std::vector<LegacyEntry> &entries, std::vector<qint64> *bases)
{
    const auto add = [bases](quint64 header, const LegacyEntry &entry) {
        const qint64 base = qint64(header) - qint64(entry.offset);
        if (std::find(bases->begin(), bases->end(), base) == bases->end())
            bases->push_back(base);
    };
    const PacketTable &packets = m_layout.packets;
    for (size_t i = 0; i < std::min(candidateEntries, entries.size()); ++i) {
        const int stream = dataStream(entries[i].id);
        const quint64 packet = packets.indexOf(stream, 0);
        if (packet != PacketTable::none)
            add(packets.at(packet).offset - 8, entries[i]);
    }
    if (!entries.empty()) {
        const int stream = dataStream(entries.back().id);
        if (stream >= 0 && stream < packets.streamCount() && packets.totals(stream).count > 0)
            add(packets.at(packets.indexOf(stream, packets.totals(stream).count - 1)).offset - 8, entries.back());
    }
}

void AviIndexReader::chooseBase(const AviIndex &index)
{
    AviLegacyFacts &facts = m_layout.legacyFacts;
    const std::vector<LegacyEntry> entries = sample(index);
    facts.sampled = entries.size();
    if (entries.empty())
        return;

    // The usual ones first, the required one before all: at a tie the earlier one stays.
    struct Candidate
    {
        AviIndexBase base;
        qint64 offset;
        quint32 movi;
    };
    std::vector<Candidate> candidates;
    const quint32 segment =
        index.element == AviLayout::none ? AviLayout::none : m_layout.elements[index.element].parent;
    constexpr size_t mostLists = 16; // a file with more is none that one of them would explain
    for (const quint32 movi : m_layout.moviLists) {
        if (m_layout.elements[movi].parent == segment && candidates.size() < 3 * mostLists) {
            const qint64 header = qint64(m_layout.elements[movi].offset);
            candidates.push_back({AviIndexBase::Movi, header + 8, movi});
            candidates.push_back({AviIndexBase::FirstChunk, header + 12, movi});
            candidates.push_back({AviIndexBase::MoviHeader, header, movi});
        }
    }
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const Candidate &a, const Candidate &b) { return a.base < b.base; });
    candidates.push_back({AviIndexBase::File, 0, AviLayout::none});
    std::vector<qint64> others;
    addCandidates(entries, &others);
    for (const qint64 other : others)
        candidates.push_back({AviIndexBase::Other, other, AviLayout::none});

    const Candidate *best = nullptr;
    for (const Candidate &candidate : candidates) {
        const quint64 hits = countHits(entries, candidate.offset);
        if (hits > facts.sampledHits) {
            facts.sampledHits = hits;
            best = &candidate;
        }
        if (hits == entries.size())
            break;
    }
    // In a damaged file entries miss whatever the base is; elsewhere nine in ten have to hit, or all but one.
    const bool isEnough = facts.sampledHits * 10 >= entries.size() * (m_layout.damages.empty() ? 9 : 1)
        || facts.sampledHits + 1 >= entries.size();
    facts.base = best && isEnough ? best->base : AviIndexBase::Unknown;
    if (facts.base == AviIndexBase::Unknown)
        return;
    facts.baseOffset = best->offset;
    facts.movi = best->movi;
    if (facts.movi == AviLayout::none) {
        const auto hit = std::find_if(entries.begin(), entries.end(),
                                      [this, best](const LegacyEntry &entry) { return isHit(entry, best->offset); });
        const quint64 at = quint64(best->offset + qint64(hit->offset));
        for (const quint32 movi : m_layout.moviLists) {
            if (m_layout.elements[movi].offset < at && at < m_layout.elements[movi].end)
                facts.movi = movi;
        }
    }
    m_next = 0;
}

/// What stands where an entry points.
AviIndexReader::Target AviIndexReader::legacyTarget(const LegacyEntry &entry, quint64 at)
{
    Target target;
    const int stream = dataStream(entry.id);
    if (stream >= 0 && lettersOfId(entry.id) != twoLetters("ix")) {
        const quint64 hit = packetAt(at + 8);
        if (hit == PacketTable::none) {
            target.what = NoSuchChunk;
            return target;
        }
        const Packet packet = m_layout.packets.at(hit);
        target.packet = quint32(hit);
        if (packet.stream != stream || !areAlike(m_layout.lettersOf(hit), lettersOfId(entry.id))) {
            target.what = NoSuchChunk | (packet.stream != stream ? StreamDiffers : 0);
            return target;
        }
        if (packet.size != entry.size)
            target.what |= SizeDiffers;
        return target;
    }
    const quint32 element = m_layout.lowerElement(at);
    const bool isThere = element < m_layout.elements.size() && m_layout.elements[element].offset == at;
    const AviElement *const found = isThere ? &m_layout.elements[element] : nullptr;
    if (entry.id == fourCC("rec ")) {
        if (!found || found->id != fourCC("LIST") || found->form != fourCC("rec ")) {
            target.what = NoSuchChunk;
        } else {
            target.element = element;
            target.what = (entry.flags & listFlag) == 0 ? ListFlagMissing : 0;
            // Some writers count the form type, others do not.
            if (entry.size != found->size && entry.size + 4 != found->size)
                target.what |= SizeDiffers;
        }
        return target;
    }
    if (!found || found->id != entry.id)
        target.what = NoSuchChunk;
    else
        target.element = element;
    if (found && found->id == entry.id && found->size != entry.size)
        target.what |= SizeDiffers;
    return target;
}

void AviIndexReader::readLegacyEntry(quint32 ordinal, quint32 number, const LegacyEntry &entry)
{
    AviLegacyFacts &facts = m_layout.legacyFacts;
    if (isFiller(entry.id, entry.size)) {
        ++facts.fillers;
        m_layout.references.addFiller();
        return;
    }
    const ByteRange place = AviLayout::entryPlace(m_layout.indexes[ordinal], number);
    const qint64 absolute = facts.baseOffset + qint64(entry.offset);
    const quint64 at = quint64(std::max<qint64>(absolute, 0));
    Target target = absolute < 0 ? Target{AviLayout::none, AviLayout::none, NoSuchChunk} : legacyTarget(entry, at);
    const int stream = dataStream(entry.id);
    const bool isKey = (entry.flags & keyFrameFlag) != 0;

    if (stream >= 0) {
        AviLegacyStream &sums = facts.streams[size_t(stream)];
        if (sums.entries == 0) {
            sums.first = place;
            sums.firstIsKey = isKey;
        }
        ++sums.entries;
        sums.hits += (target.what & NoSuchChunk) == 0 ? 1U : 0U;
        if (isKey) {
            ++sums.keys;
            if (entry.size == 0 && sums.emptyKeys++ == 0)
                sums.firstEmptyKey = place;
        } else if (sums.notKeys++ == 0) {
            sums.firstNotKey = place;
        }
    }
    if (at < m_previousTarget && facts.outOfOrder++ == 0)
        facts.firstOutOfOrder = place;
    m_previousTarget = at;

    if (target.packet != AviLayout::none) {
        m_layout.references.addPacket(target.packet);
        const Packet packet = m_layout.packets.at(target.packet);
        if ((target.what & NoSuchChunk) == 0) {
            if ((packet.knownBy & KnownFromLegacyIndex) != 0)
                target.what |= Duplicate;
            const bool differs = (packet.knownBy & KnownFromPartIndex) != 0 && (packet.key == KeyState::Yes) != isKey;
            if (differs && (packet.knownBy & KnownFromLegacyIndex) == 0)
                target.what |= KeyDiffers;
            m_layout.packets.addKnowledge(target.packet, KnownFromLegacyIndex, isKey ? KeyState::Yes : KeyState::No);
            const quint32 first = m_layout.segments.empty() ? AviLayout::none : m_layout.segments.front();
            if (first != AviLayout::none && packet.offset >= m_layout.elements[first].end)
                target.what |= BehindFirstSegment;
        }
    } else if (target.element != AviLayout::none) {
        m_layout.references.addRange(m_layout.elements[target.element].range(), true);
        if (entry.id == fourCC("rec ")) {
            ++facts.recLists;
            m_recLists.push_back(target.element);
        }
    } else {
        m_layout.references.addRange({at, quint64(entry.size) + 8}, false);
    }
    if (target.what != 0)
        addIrregular({ordinal, number, at, entry.size, target.what, quint8(std::max(stream, 0)), target.packet});
}

} // namespace quenlofar

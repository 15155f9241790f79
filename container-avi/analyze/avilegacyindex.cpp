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

/// What an entry says of its stream, whether or not it hits a chunk.
void countEntry(AviLegacyStream &sums, quint32 id, quint32 size, bool isKey, const ByteRange &place, bool isHit)
{
    ++sums.entries;
    sums.hits += isHit ? 1U : 0U;
    if (lettersOfId(id) == twoLetters("pc"))
        return;
    if (size != 0 && sums.frames++ == 0) {
        sums.first = place;
        sums.firstIsKey = isKey;
    }
    if (isKey)
        ++sums.keys;
    else
        sums.notKeys.add(place);
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

    m_firstEnd = m_layout.firstSegment().end();
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
        for (quint64 index = inside.first; index < inside.second; ++index) {
            const Packet packet = m_layout.packets.at(index);
            const bool isNew = (packet.knownBy & KnownFromLegacyIndex) == 0 && packet.offset - 8 < m_firstEnd;
            m_layout.legacyFacts.known += isNew ? 1U : 0U;
            m_layout.packets.addKnowledge(index, KnownFromLegacyIndex, KeyState::Unknown);
        }
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

/// Whether a chunk of this id and, where that counts, size stands there.
bool AviIndexReader::isHit(const LegacyEntry &entry, qint64 base, bool withSize)
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
        return packet.stream == stream && (packet.size == entry.size || !withSize)
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
    return isSameId && (header.size == entry.size || !withSize);
}

/// The candidate under which most entries hit; of several the earliest. Null where none hits. Sets the number of hits.
const AviIndexReader::BaseCandidate *AviIndexReader::bestBase(const std::vector<LegacyEntry> &entries,
                                                              const std::vector<BaseCandidate> &candidates,
                                                              bool withSize)
{
    const BaseCandidate *best = nullptr;
    quint64 most = 0;
    for (const BaseCandidate &candidate : candidates) {
        const qint64 base = candidate.offset;
        const quint64 hits =
            quint64(std::count_if(entries.begin(), entries.end(), [this, base, withSize](const LegacyEntry &entry) {
                return isHit(entry, base, withSize);
            }));
        if (hits > most) {
            most = hits;
            best = &candidate;
        }
        if (hits == entries.size())
            break;
    }
    m_layout.legacyFacts.sampledHits = most;
    return best;
}

/// Where the first chunk of a `movi` stands, also in a list of records; 0 where there is none. Without a walk.
quint64 AviIndexReader::firstDataIn(quint32 movi)
{
    quint64 at = m_layout.elements[movi].content().offset;
    AviHeader header;
    if (readHeader(m_file, at, &header) && header.id == fourCC("LIST") && header.form == fourCC("rec "))
        at += 12;
    return readHeader(m_file, at, &header) && dataStream(header.id) >= 0 ? at : 0;
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
    std::vector<BaseCandidate> candidates;
    std::vector<qint64> others;
    const quint32 segment =
        index.element == AviLayout::none ? AviLayout::none : m_layout.elements[index.element].parent;
    constexpr size_t mostLists = 16; // a file with more is none that one of them would explain
    for (const quint32 movi : m_layout.moviLists) {
        if (m_layout.elements[movi].parent == segment && candidates.size() < 3 * mostLists) {
            const qint64 header = qint64(m_layout.elements[movi].offset);
            candidates.push_back({AviIndexBase::Movi, header + 8, movi});
            candidates.push_back({AviIndexBase::FirstChunk, header + 12, movi});
            candidates.push_back({AviIndexBase::MoviHeader, header, movi});
            const quint64 first = m_layout.isWalked ? 0 : firstDataIn(movi);
            if (first != 0)
                others.push_back(qint64(first) - qint64(entries.front().offset));
        }
    }
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const BaseCandidate &a, const BaseCandidate &b) { return a.base < b.base; });
    candidates.push_back({AviIndexBase::File, 0, AviLayout::none});
    addCandidates(entries, &others);
    for (const qint64 other : others)
        candidates.push_back({AviIndexBase::Other, other, AviLayout::none});

    // In a damaged file entries miss whatever the base is; elsewhere nine in ten have to hit, or all but one.
    const BaseCandidate *best = bestBase(entries, candidates, true);
    bool isEnough = facts.sampledHits * 10 >= entries.size() * (m_layout.damages.empty() ? 9 : 1)
        || facts.sampledHits + 1 >= entries.size();
    if (!best || !isEnough) {
        // A writer that counts headers or padding states wrong sizes throughout; the offsets still tell the base.
        best = bestBase(entries, candidates, false);
        isEnough = facts.sampledHits * 10 >= entries.size() * 9;
        facts.sizesAgree = false;
    }
    facts.base = best && isEnough ? best->base : AviIndexBase::Unknown;
    if (facts.base == AviIndexBase::Unknown)
        return;
    facts.baseOffset = best->offset;
    facts.movi = best->movi;
    if (facts.movi == AviLayout::none) {
        const auto hit = std::find_if(entries.begin(), entries.end(), [this, best, &facts](const LegacyEntry &entry) {
            return isHit(entry, best->offset, facts.sizesAgree);
        });
        facts.movi = m_layout.moviAt(quint64(best->offset + qint64(hit->offset)));
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
        target.chunk = packet;
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
    Target target;
    if (absolute < 0)
        target.what = NoSuchChunk;
    else
        target = legacyTarget(entry, at);
    const bool isIndex = lettersOfId(entry.id) == twoLetters("ix");
    const int stream = isIndex ? -1 : dataStream(entry.id);
    const bool isKey = (entry.flags & keyFrameFlag) != 0;

    if (target.packet != AviLayout::none) {
        m_layout.references.addPacket(target.packet);
        if ((target.what & NoSuchChunk) == 0) {
            const Packet &packet = target.chunk;
            const bool isKnown = (packet.knownBy & KnownFromLegacyIndex) != 0;
            if (isKnown)
                target.what |= Duplicate;
            const bool differs = (packet.knownBy & KnownFromPartIndex) != 0 && (packet.key == KeyState::Yes) != isKey;
            if (differs && !isKnown)
                target.what |= KeyDiffers;
            m_layout.packets.addKnowledge(target.packet, KnownFromLegacyIndex, isKey ? KeyState::Yes : KeyState::No);
            if (packet.offset - 8 >= m_firstEnd)
                target.what |= BehindFirstSegment;
            else if (!isKnown)
                ++facts.known;
            if (packet.isEmpty() && isKey && !packet.isPalette)
                facts.streams[size_t(stream)].emptyKeys.add(place);
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

    if (stream >= 0)
        countEntry(facts.streams[size_t(stream)], entry.id, entry.size, isKey, place, (target.what & NoSuchChunk) == 0);
    if ((target.what & (NoSuchChunk | Duplicate)) == 0) {
        if (at < m_previousTarget) {
            if (facts.outOfOrder < facts.outOfOrderPlaces.size())
                facts.outOfOrderPlaces[size_t(facts.outOfOrder)] = place;
            ++facts.outOfOrder;
        }
        m_previousTarget = at;
    }
    if (target.what != 0)
        addIrregular({ordinal, number, at, entry.size, target.what, quint8(std::max(stream, 0)), target.packet}, true);
}

} // namespace quenlofar

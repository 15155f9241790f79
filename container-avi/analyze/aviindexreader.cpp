#include "aviindexreader.h"

#include "avichain.h"

#include <algorithm>

namespace quenlofar {

namespace {

constexpr quint32 indexHeaderSize = 24; // AVISUPERINDEX and AVISTDINDEX: entries stand behind
constexpr quint32 legacyEntrySize = 16;
constexpr quint32 superEntrySize = 16;
constexpr quint32 standardEntrySize = 8;
constexpr quint32 fieldEntrySize = 12;
constexpr quint8 superIndexType = 0; // AVI_INDEX_OF_INDEXES
constexpr quint8 standardIndexType = 1; // AVI_INDEX_OF_CHUNKS
constexpr quint8 fieldSubType = 1; // AVI_INDEX_SUB_2FIELD
constexpr quint32 notKeyFlag = 0x80000000; // of an entry's size
/// Entries that are read in one piece.
constexpr quint32 pieceEntries = 4096;

} // namespace

AviIndexReader::AviIndexReader(FileDevice &file, const std::atomic<bool> *cancel, AviLayout &layout)
    : m_file(file), m_cancel(cancel), m_layout(layout)
{
}

void AviIndexReader::read()
{
    const BlockArray<AviElement> &elements = m_layout.elements;
    size_t nextStream = 0;
    for (quint32 number = 0; number < elements.size(); ++number) {
        const AviElement &element = elements[number];
        if (element.id != fourCC("idx1") && element.id != fourCC("indx") && indexStream(element.id) < 0)
            continue;
        int stream = indexStream(element.id);
        if (element.id == fourCC("indx")) {
            while (nextStream < m_layout.streams.size() && m_layout.streams[nextStream].list < element.parent)
                ++nextStream;
            const bool isOfStream =
                nextStream < m_layout.streams.size() && m_layout.streams[nextStream].list == element.parent;
            stream = isOfStream ? int(nextStream) : -1;
            if (isOfStream && m_layout.streams[nextStream].superIndex == AviLayout::none)
                m_layout.streams[nextStream].superIndex = quint32(m_layout.indexes.size());
        }
        addIndex(element.offset, element.id, element.size, element.end, number, stream);
    }
    if (!m_layout.isWalked)
        addUnvisited();
    linkSuperEntries();

    for (quint32 ordinal = 0; ordinal < m_layout.indexes.size() && !isCancelled(); ++ordinal) {
        AviIndex &index = m_layout.indexes[ordinal];
        index.firstReference = m_layout.references.size();
        if (index.kind == AviIndexKind::Legacy && ordinal == m_layout.legacyIndexes.front())
            readLegacy(ordinal);
        else if (index.kind == AviIndexKind::Super)
            readSuperEntries(index);
        else if ((index.kind == AviIndexKind::Standard || index.kind == AviIndexKind::Field) && m_layout.isWalked)
            readStandardEntries(ordinal);
    }
    m_layout.references.finish();
}

void AviIndexReader::addIndex(quint64 offset, quint32 id, quint32 size, quint64 end, quint32 element, int stream)
{
    AviIndex index;
    index.offset = offset;
    index.id = id;
    index.size = size;
    index.element = element;
    index.stream = stream;
    if (id == fourCC("idx1")) {
        index.kind = AviIndexKind::Legacy;
        index.firstEntry = offset + 8;
        index.entrySize = legacyEntrySize;
        index.entryCount = quint32((std::max(end, offset + 8) - offset - 8) / legacyEntrySize);
        m_layout.legacyIndexes.push_back(quint32(m_layout.indexes.size()));
    } else {
        readIndexHeader(index, end);
        if (index.kind == AviIndexKind::Super) {
            index.firstSuperEntry = quint32(m_layout.superEntries.size());
            m_layout.indexes.push_back(index);
            AviIndex &added = m_layout.indexes.back();
            std::vector<char> bytes(superEntrySize);
            for (quint32 number = 0; number < added.entryCount; ++number) {
                m_file.seek(qint64(added.firstEntry + quint64(number) * superEntrySize));
                if (m_file.read(bytes.data(), superEntrySize) < qint64(superEntrySize)) {
                    added.entryCount = number;
                    break;
                }
                const RecordView view(bytes.data(), bytes.size());
                AviSuperEntry entry;
                entry.place = AviLayout::entryPlace(added, number);
                entry.offset = view.read<quint64>(0);
                entry.size = view.read<quint32>(8);
                entry.duration = view.read<quint32>(12);
                entry.stream = stream;
                m_layout.superEntries.push_back(entry);
            }
            return;
        }
    }
    m_layout.indexes.push_back(index);
}

void AviIndexReader::readIndexHeader(AviIndex &index, quint64 end)
{
    char bytes[indexHeaderSize] = {};
    m_file.seek(qint64(index.offset + 8));
    m_file.read(bytes, qint64(std::min<quint64>(indexHeaderSize, std::max(end, index.offset + 8) - index.offset - 8)));
    const RecordView header(bytes, sizeof bytes);
    index.longsPerEntry = header.read<quint16>(0);
    index.subType = header.read<quint8>(2);
    index.type = header.read<quint8>(3);
    index.entriesInUse = header.read<quint32>(4);
    index.chunkId = header.read<quint32>(8);
    index.baseOffset = header.read<quint64>(12);
    index.firstEntry = index.offset + 8 + indexHeaderSize;
    if (index.type == superIndexType) {
        index.kind = AviIndexKind::Super;
        index.entrySize = superEntrySize;
        index.baseOffset = 0;
    } else if (index.type == standardIndexType) {
        // Where sub-type and width contradict each other, the size of the chunk decides.
        const bool isFieldType = index.subType == fieldSubType;
        const bool isFieldWidth = index.longsPerEntry == fieldEntrySize / 4;
        const bool hasFields = index.size == indexHeaderSize + quint64(index.entriesInUse) * fieldEntrySize;
        const bool isField = isFieldType && isFieldWidth ? true : (isFieldType || isFieldWidth) && hasFields;
        index.kind = isField ? AviIndexKind::Field : AviIndexKind::Standard;
        index.entrySize = isField ? fieldEntrySize : standardEntrySize;
    } else {
        return;
    }
    const quint64 room = end > index.firstEntry ? (end - index.firstEntry) / index.entrySize : 0;
    index.entryCount = quint32(std::min<quint64>(index.entriesInUse, room));
}

/// Without a walk through `movi` the index chunks are read at the places that super entries name.
void AviIndexReader::addUnvisited()
{
    const size_t entries = m_layout.superEntries.size();
    for (size_t number = 0; number < entries && !isCancelled(); ++number) {
        const AviSuperEntry &entry = m_layout.superEntries[number];
        AviHeader header;
        if (entry.offset + 8 > m_layout.fileSize || !readHeader(m_file, entry.offset, &header))
            continue;
        const quint64 end = std::min(entry.offset + 8 + header.size, m_layout.fileSize);
        if (indexStream(header.id) >= 0)
            addIndex(entry.offset, header.id, header.size, end, AviLayout::none, indexStream(header.id));
    }
}

void AviIndexReader::linkSuperEntries()
{
    std::vector<quint32> byOffset(m_layout.indexes.size());
    for (quint32 ordinal = 0; ordinal < byOffset.size(); ++ordinal)
        byOffset[ordinal] = ordinal;
    const std::vector<AviIndex> &indexes = m_layout.indexes;
    std::stable_sort(byOffset.begin(), byOffset.end(),
                     [&indexes](quint32 a, quint32 b) { return indexes[a].offset < indexes[b].offset; });
    for (quint32 number = 0; number < m_layout.superEntries.size(); ++number) {
        AviSuperEntry &entry = m_layout.superEntries[number];
        const auto at =
            std::lower_bound(byOffset.begin(), byOffset.end(), entry.offset,
                             [&indexes](quint32 each, quint64 offset) { return indexes[each].offset < offset; });
        if (at == byOffset.end() || indexes[*at].offset != entry.offset || indexes[*at].kind == AviIndexKind::Legacy
            || indexes[*at].kind == AviIndexKind::Super)
            continue;
        entry.index = *at;
        AviIndex &index = m_layout.indexes[*at];
        if (index.superEntry == AviLayout::none)
            index.superEntry = number;
    }
}

void AviIndexReader::readSuperEntries(AviIndex &index)
{
    m_layout.references.beginRun(index.firstEntry, index.entrySize);
    for (quint32 number = 0; number < index.entryCount; ++number) {
        const AviSuperEntry &entry = m_layout.superEntries[index.firstSuperEntry + number];
        m_layout.references.addRange({entry.offset, entry.size}, entry.index != AviLayout::none);
    }
}

/// The packet whose data begins at `dataOffset`; PacketTable::none without one. As a rule the one behind the last.
quint64 AviIndexReader::packetAt(quint64 dataOffset)
{
    const PacketTable &packets = m_layout.packets;
    quint64 index = m_next;
    if (index >= packets.size() || packets.at(index).offset != dataOffset) {
        index = packets.lowerIndex(dataOffset);
        if (index >= packets.size() || packets.at(index).offset != dataOffset)
            return PacketTable::none;
    }
    m_next = index + 1;
    return index;
}

void AviIndexReader::addIrregular(const AviIrregularEntry &entry, bool isLegacy)
{
    if (m_layout.irregularEntries.size() < AviLayout::mostIrregularEntries) {
        m_layout.irregularEntries.push_back(entry);
        return;
    }
    constexpr size_t bits = 8;
    std::vector<AviIrregularRest> &rest = m_layout.irregularRest;
    if (rest.empty())
        rest.resize(2 * bits * PacketTable::streamLimit);
    for (size_t bit = 0; bit < bits; ++bit) {
        const quint16 what = quint16(1U << bit);
        if ((entry.what & what) == 0)
            continue;
        AviIrregularRest &sum = rest[((isLegacy ? 1 : 0) * bits + bit) * PacketTable::streamLimit + entry.stream];
        if (sum.count++ == 0) {
            sum.first = entry;
            sum.isLegacy = isLegacy;
            sum.what = what;
            sum.stream = entry.stream;
        }
    }
}

/// The stream whose chunks an index names. Of dwChunkId, the index chunk's id and the super entry, where one
/// contradicts the two others, these are believed.
int AviIndexReader::streamOf(const AviIndex &index) const
{
    const int named = dataStream(index.chunkId);
    if (named < 0)
        return index.stream;
    const bool isLinked = index.superEntry != AviLayout::none;
    const int linked = isLinked ? m_layout.superEntries[index.superEntry].stream : index.stream;
    return linked == index.stream && linked >= 0 && isLinked ? linked : named;
}

void AviIndexReader::readStandardEntries(quint32 ordinal)
{
    AviIndex &index = m_layout.indexes[ordinal];
    const int stream = streamOf(index);
    const bool isDeclared = stream >= 0 && size_t(stream) < m_layout.streams.size();
    quint64 unused = 0;
    quint64 &partIndexed = isDeclared ? m_layout.streams[size_t(stream)].partIndexed : unused;
    m_layout.references.beginRun(index.firstEntry, index.entrySize);
    std::vector<char> bytes(size_t(index.entrySize) * pieceEntries);
    for (quint32 number = 0; number < index.entryCount;) {
        const quint32 count = std::min(pieceEntries, index.entryCount - number);
        const qint64 wanted = qint64(count) * index.entrySize;
        m_file.seek(qint64(index.firstEntry + quint64(number) * index.entrySize));
        if (isCancelled() || m_file.read(bytes.data(), wanted) < wanted) {
            index.entryCount = number; // the rest cannot be read
            return;
        }
        for (quint32 i = 0; i < count; ++i, ++number) {
            const RecordView view(bytes.data() + size_t(i) * index.entrySize, index.entrySize);
            const quint64 target = index.baseOffset + view.read<quint32>(0);
            const quint32 size = view.read<quint32>(4) & ~notKeyFlag;
            const KeyState key = (view.read<quint32>(4) & notKeyFlag) == 0 ? KeyState::Yes : KeyState::No;
            AviIrregularEntry entry;
            entry.index = ordinal;
            entry.entry = number;
            entry.target = target;
            entry.size = size;
            entry.stream = quint8(std::max(stream, 0));
            const quint64 hit = packetAt(target);
            if (hit == PacketTable::none) {
                entry.what = NoSuchChunk;
                m_layout.references.addRange({target, size}, false);
                addIrregular(entry, false);
                continue;
            }
            const Packet packet = m_layout.packets.at(hit);
            m_layout.references.addPacket(hit);
            entry.packet = quint32(hit);
            if (packet.stream != stream) {
                entry.what = NoSuchChunk | StreamDiffers;
                addIrregular(entry, false);
                continue;
            }
            if (packet.size != size)
                entry.what |= SizeDiffers;
            if ((packet.knownBy & KnownFromPartIndex) != 0)
                entry.what |= Duplicate;
            if ((packet.knownBy & KnownFromLegacyIndex) != 0 && packet.key != KeyState::Unknown && packet.key != key)
                entry.what |= KeyDiffers;
            if (index.kind == AviIndexKind::Field && view.read<quint32>(8) != 0) {
                // AVIFIELDINDEX: counted from the base; some writers count from the chunk's data.
                const quint64 second = index.baseOffset + view.read<quint32>(8);
                const quint32 limit = std::max(packet.size, 1U);
                if ((second < target || second - target >= limit) && view.read<quint32>(8) >= limit)
                    entry.what |= SecondFieldOutside;
            }
            if (entry.what != 0)
                addIrregular(entry, false);
            if ((packet.knownBy & KnownFromPartIndex) == 0 && !packet.isPalette) {
                ++partIndexed;
                ++index.newHits;
            }
            m_layout.packets.addKnowledge(hit, KnownFromPartIndex, key);
            index.lowest = index.hits == 0 ? target : std::min(index.lowest, target);
            index.highest = std::max(index.highest, target);
            ++index.hits;
            index.hitBytes += packet.size;
        }
    }
}

} // namespace quenlofar

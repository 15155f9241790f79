#include "avipartindexes.h"

#include "aviids.h"
#include "avikeyflags.h"
#include "filedevice.h"

#include <algorithm>
#include <array>

namespace quenlofar {

namespace {

constexpr quint32 largestIndexed = 0x7FFFFFFF; // sizes in standard indexes have 31 bits
constexpr quint64 mostPackets = quint64(1) << 26; // an index of all of them is half a gibibyte
constexpr quint32 mostStreams = 100; // two decimal digits name them
constexpr int extendedHeaderSize = 248; // dmlh: dwTotalFrames and 61 reserved words

bool isJunk(const AviElement &element)
{
    return element.id == fourCC("JUNK");
}

/// The stream that an index chunk is about: by the super index that leads there, or by its id.
int ownerOf(const AviLayout &layout, const AviIndex &index)
{
    return index.superEntry == AviLayout::none ? index.stream : layout.superEntries[index.superEntry].stream;
}

QByteArray indexId(size_t stream)
{
    QByteArray id = QByteArrayLiteral("ix00");
    id[2] = char('0' + int(stream / 10));
    id[3] = char('0' + int(stream % 10));
    return id;
}

} // namespace

StepChanges AviPartIndexes::make(bool all)
{
    const size_t streams = m_layout.streams.size();
    if (!m_layout.isWalked || m_layout.packets.size() > mostPackets || streams == 0 || streams > mostStreams
        || streams != m_layout.streamListCount)
        return {};
    m_writesAll = all;
    m_superEntries.resize(streams);
    m_chunkIds.resize(streams);
    m_bytes.resize(streams);
    m_ticks.resize(streams);
    findWrong();
    for (size_t segment = 0; segment < m_layout.segments.size(); ++segment) {
        const quint32 movi = m_layout.child(m_layout.segments[segment], fourCC("LIST"), fourCC("movi"));
        const quint64 base = movi == AviLayout::none ? 0 : m_layout.elements[movi].offset + 8;
        std::vector<Part> parts(streams);
        if (movi == AviLayout::none || !gather(segment, base, &parts))
            return {};
        for (size_t stream = 0; stream < streams; ++stream) {
            if (!writePart(segment, base, stream, parts[stream]))
                return {};
        }
    }
    for (size_t stream = 0; stream < streams; ++stream) {
        if (!writeSuper(stream))
            return {};
    }
    if (!m_changes.appended.isEmpty()) {
        // The last RIFF list and its `movi` end behind what was added.
        for (const quint32 list : {m_layout.segments.back(), m_layout.moviLists.back()}) {
            const AviElement &element = m_layout.elements[list];
            const quint64 size = element.end + quint64(m_changes.appended.size()) - element.offset - 8;
            if (size > 0xFFFFFFFF)
                return {};
            patch(element.offset + 4, numberBytes(quint32(size)));
        }
    }
    if (m_layout.segments.size() > 1 && !m_layout.extendedHeader.exists() && !writeExtendedHeader())
        return {};
    m_changes.step.repair = m_changes.appended.isEmpty() ? Repair::Patch : Repair::Append;
    return std::move(m_changes);
}

/// Which indexes have an entry with which something is wrong.
void AviPartIndexes::findWrong()
{
    // Where more are wrong than were kept, all may be.
    m_isWrong.assign(m_layout.indexes.size(), !m_layout.irregularRest.empty());
    for (const AviIrregularEntry &entry : m_layout.irregularEntries)
        m_isWrong[entry.index] = true;
}

/// What the streams have in a RIFF list. False where an index cannot hold it.
bool AviPartIndexes::gather(size_t segment, quint64 base, std::vector<Part> *parts)
{
    const auto [begin, end] = m_layout.packetsIn(m_layout.segments[segment]);
    for (quint64 index = begin; index < end; ++index) {
        const Packet packet = m_layout.packets.at(index);
        if (packet.isPalette || packet.stream >= parts->size())
            continue;
        Part &part = (*parts)[packet.stream];
        if (packet.offset < base || packet.offset - base > 0xFFFFFFFF || packet.size > largestIndexed)
            return false;
        if (part.count == 0) {
            std::array<char, 4> id = {};
            m_file.seek(qint64(packet.offset - 8));
            if (m_file.read(id.data(), qint64(id.size())) != qint64(id.size()))
                return false;
            part.chunkId = qFromLittleEndian<quint32>(id.data());
        }
        ++part.count;
        part.bytes += packet.size;
        appendStandardEntry(&part.entries, quint32(packet.offset - base), packet.size, m_keys.isKey(index));
    }
    for (quint32 ordinal = 0; ordinal < m_layout.indexes.size(); ++ordinal) {
        const AviIndex &index = m_layout.indexes[ordinal];
        const int owner = ownerOf(m_layout, index);
        if (index.kind == AviIndexKind::Field)
            return false; // the second field of a frame is known from its index alone
        if (indexStream(index.id) >= 0 && owner >= 0 && size_t(owner) < parts->size()
            && m_layout.segmentAt(index.offset) == segment)
            (*parts)[size_t(owner)].indexes.push_back(ordinal);
    }
    return true;
}

/// Whether the indexes of a part have each of its chunks once, and say so as they should.
bool AviPartIndexes::isRight(const Part &part, size_t stream) const
{
    quint64 hits = 0;
    for (const quint32 ordinal : part.indexes) {
        const AviIndex &index = m_layout.indexes[ordinal];
        if (m_isWrong[ordinal] || index.kind != AviIndexKind::Standard || index.subType != 0
            || index.longsPerEntry != standardEntrySize / 4 || index.entriesInUse != index.entryCount
            || index.stream != int(stream) || dataStream(index.chunkId) != int(stream))
            return false;
        hits += index.newHits;
    }
    return hits == part.count;
}

bool AviPartIndexes::writePart(size_t segment, quint64 base, size_t stream, const Part &part)
{
    if (m_chunkIds[stream] == 0)
        m_chunkIds[stream] = part.chunkId;
    if (!m_writesAll && isRight(part, stream)) {
        // Several indexes share the part; each has its chunks in a row.
        for (const quint32 ordinal : part.indexes) {
            const AviIndex &index = m_layout.indexes[ordinal];
            Part own;
            own.count = index.newHits;
            own.bytes = index.hitBytes;
            addSuperEntry(stream, index.offset, index.size + 8, part.indexes.size() == 1 ? part : own);
        }
        return true;
    }
    const QByteArray index =
        part.count == 0 ? QByteArray() : standardHeader(quint32(part.count), part.chunkId, base) + part.entries;
    bool isWritten = part.count == 0;
    for (const quint32 ordinal : part.indexes) {
        const AviIndex &old = m_layout.indexes[ordinal];
        if (isWritten || old.size < quint32(index.size()) || old.offset + 8 + old.size > m_layout.fileSize) {
            patch(old.offset, QByteArrayLiteral("JUNK"));
            continue;
        }
        patch(old.offset, indexId(stream));
        patch(old.offset + 8, index);
        addSuperEntry(stream, old.offset, old.size + 8, part);
        isWritten = true;
    }
    if (isWritten)
        return true;
    const AviElement &riff = m_layout.elements[m_layout.segments[segment]];
    const bool isLast = segment + 1 == m_layout.segments.size() && riff.end == m_layout.fileSize
        && m_layout.elements[m_layout.moviLists.back()].end == m_layout.fileSize && m_layout.fileSize % 2 == 0;
    if (!isLast)
        return false;
    addSuperEntry(stream, m_layout.fileSize + quint64(m_changes.appended.size()), quint32(index.size()) + 8, part);
    m_changes.appended += indexId(stream) + numberBytes(quint32(index.size())) + index;
    return true;
}

void AviPartIndexes::addSuperEntry(size_t stream, quint64 offset, quint32 size, const Part &part)
{
    const quint32 bytesPerTick = m_layout.packets.stream(int(stream)).bytesPerTick;
    m_bytes[stream] += bytesPerTick == 0 ? part.count : part.bytes;
    const quint64 ticks = bytesPerTick == 0 ? m_bytes[stream] : m_bytes[stream] / bytesPerTick;
    appendSuperEntry(&m_superEntries[stream], offset, size, quint32(ticks - m_ticks[stream]));
    m_ticks[stream] = ticks;
}

/// The super index of a stream, where the list of the stream has room for it.
bool AviPartIndexes::writeSuper(size_t stream)
{
    const AviStream &facts = m_layout.streams[stream];
    const quint32 count = quint32(m_superEntries[stream].size()) / superEntrySize;
    const quint32 letters = facts.kind == StreamKind::Audio ? twoLetters("wb") : twoLetters("dc");
    const quint32 digits = quint32('0' + stream / 10) | quint32('0' + stream % 10) << 8;
    const quint32 chunkId = m_chunkIds[stream] == 0 ? digits | letters << 16 : m_chunkIds[stream];
    const QByteArray index = superHeader(count, chunkId) + m_superEntries[stream];
    const auto wanted = quint64(index.size());
    quint32 element = AviLayout::none;
    if (facts.superIndex != AviLayout::none) {
        element = m_layout.indexes[facts.superIndex].element;
    } else {
        for (const quint32 junk : m_layout.children(facts.list, fourCC("JUNK"))) {
            if (element == AviLayout::none && m_layout.elements[junk].content().size >= wanted)
                element = junk;
        }
    }
    if (element == AviLayout::none)
        return false;
    const AviElement &chunk = m_layout.elements[element];
    if (chunk.content().size != chunk.size)
        return false;
    if (chunk.size < wanted) {
        // JUNK that follows may be taken in.
        const quint32 next = m_layout.nextSibling(element);
        if (next == AviLayout::none || !isJunk(m_layout.elements[next])
            || m_layout.elements[next].end - chunk.content().offset < wanted
            || m_layout.elements[next].offset != chunk.end)
            return false;
        patch(chunk.offset + 4, numberBytes(quint32(m_layout.elements[next].end - chunk.content().offset)));
    }
    patch(chunk.offset, QByteArrayLiteral("indx"));
    patch(chunk.content().offset, index);
    return true;
}

/// LIST odml with dmlh, in the room of a JUNK chunk.
bool AviPartIndexes::writeExtendedHeader()
{
    quint64 frames = 0;
    for (size_t stream = m_layout.streams.size(); stream-- > 0;) {
        const StreamKind kind = m_layout.streams[stream].kind;
        if (kind == StreamKind::Video || kind == StreamKind::Mixed)
            frames = m_layout.packets.totals(int(stream)).count;
    }
    const QByteArray chunk = QByteArrayLiteral("dmlh") + numberBytes(quint32(extendedHeaderSize))
        + numberBytes(quint32(frames)) + QByteArray(extendedHeaderSize - 4, '\0');
    const QByteArray list =
        QByteArrayLiteral("LIST") + numberBytes(quint32(chunk.size() + 4)) + QByteArrayLiteral("odml") + chunk;
    const quint32 headers = m_layout.child(m_layout.segments.front(), fourCC("LIST"), fourCC("hdrl"));
    if (headers == AviLayout::none)
        return false;
    for (const quint32 junk : m_layout.children(headers, fourCC("JUNK"))) {
        const AviElement &room = m_layout.elements[junk];
        const quint64 rest = room.range().size - std::min<quint64>(room.range().size, quint64(list.size()));
        if (room.content().size != room.size || room.range().size < quint64(list.size()) || (rest > 0 && rest < 8))
            continue;
        patch(room.offset, list);
        if (rest > 0)
            patch(room.offset + quint64(list.size()), QByteArrayLiteral("JUNK") + numberBytes(quint32(rest - 8)));
        return true;
    }
    return false;
}

} // namespace quenlofar

#include "avirewrite.h"

#include "aviids.h"
#include "avikeyflags.h"
#include "filedevice.h"

#include <algorithm>
#include <limits>

namespace quenlofar {

namespace {

// AVIMAINHEADER
constexpr quint32 leastMainHeader = 40;
constexpr int totalFramesOffset = 16; // dwTotalFrames

constexpr quint32 largestIndexed = 0x7FFFFFFF; // sizes in standard indexes have 31 bits
constexpr quint64 mostSuperBytes = quint64(64) << 20; // of all super indexes
constexpr quint64 mostPackets = quint64(1) << 24; // their indexes are 384 MiB
constexpr quint32 mostStreams = 100; // two decimal digits name them

/// The id of the index chunks of a stream.
QByteArray indexId(size_t stream)
{
    QByteArray id = QByteArrayLiteral("ix00");
    id[2] = char('0' + int(stream / 10));
    id[3] = char('0' + int(stream % 10));
    return id;
}

/// An id of data chunks for a stream that has none.
quint32 dataId(size_t stream, StreamKind kind)
{
    const quint16 letters = kind == StreamKind::Audio ? twoLetters("wb")
        : kind == StreamKind::Text                    ? twoLetters("tx")
                                                      : twoLetters("dc");
    return quint32('0' + stream / 10) | quint32('0' + stream % 10) << 8 | quint32(letters) << 16;
}

bool isPicture(const AviStream &stream)
{
    return stream.kind == StreamKind::Video || stream.kind == StreamKind::Mixed;
}

/// The stream whose frames the headers count; none where there is none.
size_t countedStream(const AviLayout &layout)
{
    const auto found = std::find_if(layout.streams.begin(), layout.streams.end(), isPicture);
    return found == layout.streams.end() ? size_t(AviLayout::none) : size_t(found - layout.streams.begin());
}

bool isList(const AviElement &element, quint32 form)
{
    return element.id == fourCC("LIST") && element.form == form;
}

bool isIndex(const AviElement &element)
{
    return element.id == fourCC("idx1") || indexStream(element.id) >= 0;
}

} // namespace

/// Whether nothing is wrong with the file but what a rewrite sets right.
bool AviRewrite::isPossible() const
{
    if (!m_layout.isWalked || m_layout.isCutShort || m_layout.segments.empty() || m_layout.segments.front() != 0
        || m_layout.leading.size > 0 || m_layout.packets.size() > mostPackets
        || m_layout.streams.size() != m_layout.streamListCount)
        return false;
    const AviRecord &header = m_layout.mainHeader;
    if (!header.exists() || header.size < leastMainHeader || header.size > AviRecord::mostBytes
        || m_layout.extendedHeader.size > AviRecord::mostBytes)
        return false;
    const auto isUnderstood = [this](const AviDamage &damage) {
        switch (damage.kind) {
        case AviDamageKind::ForeignBytes:
        case AviDamageKind::ZeroBytes:
        case AviDamageKind::PadMissing:
        case AviDamageKind::StrayEnd:
            return true;
        case AviDamageKind::ListTooShort:
        case AviDamageKind::ListTooLong:
        case AviDamageKind::ListBeyondFile: {
            // Lists of which the size is written anew.
            const AviElement &list = m_layout.elements[damage.element];
            return list.id == fourCC("RIFF") || list.form == fourCC("movi");
        }
        case AviDamageKind::ChunkSwallowsOthers:
        case AviDamageKind::ChunkBeyondParent:
        case AviDamageKind::ChunkCut:
            break;
        }
        return false;
    };
    // The second field of a frame is known from its index alone.
    const auto isOfFields = [](const AviIndex &index) { return index.kind == AviIndexKind::Field; };
    return std::all_of(m_layout.damages.begin(), m_layout.damages.end(), isUnderstood)
        && std::none_of(m_layout.indexes.begin(), m_layout.indexes.end(), isOfFields);
}

/// Sorts all parts of the file by what becomes of them. False for a file that is put together otherwise.
bool AviRewrite::collect()
{
    for (size_t number = 0; number < m_layout.segments.size(); ++number) {
        const AviElement &riff = m_layout.elements[m_layout.segments[number]];
        const quint64 next = number + 1 < m_layout.segments.size()
            ? m_layout.elements[m_layout.segments[number + 1]].offset
            : m_layout.fileSize - m_layout.trailing.size;
        const quint64 padding = next - std::min(next, riff.end);
        if (padding > 1 || (padding == 1 && (riff.end - riff.offset) % 2 == 0) || !collectSegment(number))
            return false;
        supersede({riff.offset, 12});
        supersede({riff.end, padding});
    }
    return m_headers.kind == AviPart::Kind::Element;
}

bool AviRewrite::collectSegment(size_t number)
{
    bool hasData = false;
    AviParts parts(m_layout, m_layout.segments[number]);
    for (AviPart part; parts.next(&part);) {
        if (part.kind == AviPart::Kind::Packet)
            return false; // data outside of `movi`
        const bool isElement = part.kind == AviPart::Kind::Element;
        if (isElement && isList(elementOf(part), fourCC("movi"))) {
            if (hasData)
                return false;
            hasData = true;
            supersedeHeader(part);
            AviParts data(m_layout, part.number);
            for (AviPart each; data.next(&each);) {
                if (each.kind == AviPart::Kind::Element && isIndex(elementOf(each)))
                    supersede(each.range());
                else
                    m_data.push_back(each);
            }
        } else if (isElement && isList(elementOf(part), fourCC("hdrl"))) {
            if (number > 0 || m_headers.kind == AviPart::Kind::Element)
                return false;
            m_headers = part;
        } else if (isElement && isIndex(elementOf(part))) {
            supersede(part.range());
        } else if (number > 0) {
            m_last.push_back(part);
        } else {
            (hasData ? m_behind : m_before).push_back(part);
        }
    }
    return hasData;
}

/// Sorts the data chunks by their times. What has none stays behind what it follows.
void AviRewrite::interleave()
{
    struct Timed
    {
        double seconds;
        quint32 part;
    };
    const auto isOther = [this](const AviPart &part) {
        return part.kind == AviPart::Kind::Element && elementOf(part).isList();
    };
    if (std::any_of(m_data.begin(), m_data.end(), isOther))
        return; // chunks in lists of records stay together
    std::vector<Timed> times;
    times.reserve(m_data.size());
    std::vector<double> latest(PacketTable::streamLimit, 0);
    double last = 0;
    PacketCursor cursor(m_layout.packets);
    for (quint32 number = 0; number < m_data.size(); ++number) {
        if (m_data[number].kind == AviPart::Kind::Packet) {
            while (cursor.index() < m_data[number].number)
                cursor.next();
            double &ofStream = latest[cursor.packet().stream];
            ofStream = std::max(ofStream, cursor.seconds());
            last = ofStream;
        }
        times.push_back({last, number});
    }
    std::stable_sort(times.begin(), times.end(), [](const Timed &a, const Timed &b) { return a.seconds < b.seconds; });
    std::vector<AviPart> sorted;
    sorted.reserve(m_data.size());
    for (const Timed &each : times)
        sorted.push_back(m_data[each.part]);
    m_data = std::move(sorted);
}

/// What the chunks of a part add to the indexes, in bytes.
quint64 AviRewrite::indexedSize(const AviPart &part) const
{
    if (part.kind == AviPart::Kind::Foreign)
        return 0;
    quint64 packets = 1;
    if (part.kind == AviPart::Kind::Element) {
        const auto [begin, end] = m_layout.packetsIn(part.number);
        packets = end - begin;
    }
    return packets * (legacyEntrySize + standardEntrySize);
}

/// Whether the file gets indexes of parts: it has some, or is too large for one RIFF list.
bool AviRewrite::isOpenDml() const
{
    if (m_layout.segments.size() > 1)
        return true;
    const auto isPartIndex = [](const AviIndex &index) { return index.kind != AviIndexKind::Legacy; };
    if (std::any_of(m_layout.indexes.begin(), m_layout.indexes.end(), isPartIndex))
        return true;
    quint64 size = m_headers.size;
    for (const std::vector<AviPart> *const parts : {&m_before, &m_data, &m_behind}) {
        for (const AviPart &part : *parts)
            size += part.size + 1 + (parts == &m_data ? indexedSize(part) : 0);
    }
    return size > m_choice.segmentLimit;
}

FileLayout AviRewrite::make(const std::atomic<bool> *cancel)
{
    m_streams.resize(m_layout.streams.size());
    if (!isPossible() || !collect())
        return {};
    if (m_choice.interleaves)
        interleave();
    m_isOpenDml = isOpenDml();
    if (m_isOpenDml && m_layout.streams.size() > mostStreams)
        return {};
    // Two RIFF lists that follow each other have more than the limit together.
    const quint64 superRoom = 2 * m_layout.fileSize / m_choice.segmentLimit + 4;
    if (superRoom * superEntrySize * std::max<size_t>(m_streams.size(), 1) > mostSuperBytes)
        return {};
    m_superRoom = quint32(superRoom);
    while (m_segments == 0 || m_next < m_data.size()) {
        if (!writeSegment(m_segments == 0, cancel))
            return {};
        ++m_segments;
    }
    if (!finish())
        return {};
    return std::move(m_result);
}

bool AviRewrite::writeSegment(bool isFirst, const std::atomic<bool> *cancel)
{
    constexpr size_t cancelInterval = 1024;
    const quint64 begin = m_position;
    const OpenList riff = isFirst ? openList("RIFF", "AVI ") : openList("RIFF", "AVIX");
    if (isFirst) {
        if (!writeHeaders())
            return false;
        copyParts(m_before);
    }
    const OpenList movi = openList("LIST", "movi");
    m_base = movi.offset + 8;
    // A standard index for each stream follows; of the first RIFF also what stands behind its data.
    quint64 behind = m_streams.size() * (8 + openDmlHeaderSize) + 8;
    if (isFirst) {
        for (const AviPart &part : m_behind)
            behind += part.size + 1;
    }
    bool isEmpty = true;
    for (; m_next < m_data.size(); ++m_next) {
        const AviPart &part = m_data[m_next];
        const quint64 room = part.size + 1 + indexedSize(part);
        if (m_isOpenDml && !isEmpty && m_position - begin + behind + room > m_choice.segmentLimit)
            break;
        if (m_next % cancelInterval == 0 && (m_file.hasReadError() || (cancel && *cancel)))
            return false;
        behind += indexedSize(part);
        isEmpty = false;
        if (!writePart(part, isFirst))
            return false;
    }
    if ((m_isOpenDml && !writePartIndexes()) || !close(movi))
        return false;
    if (isFirst) {
        const size_t counted = countedStream(m_layout);
        const quint64 frames = counted < m_streams.size() ? m_streams[counted].frames : 0;
        m_result.newBytes.replace(m_mainHeaderAt + totalFramesOffset, 4, numberBytes(quint32(frames)));
        addChunk("idx1", m_legacy);
        m_legacy.clear();
        copyParts(m_behind);
    }
    if (m_next == m_data.size())
        copyParts(m_last);
    return close(riff);
}

/// Copies a part of `movi`, and has its chunks in the indexes.
bool AviRewrite::writePart(const AviPart &part, bool isFirst)
{
    const quint64 begin = m_position;
    copyPart(part);
    if (part.kind == AviPart::Kind::Packet)
        return indexPacket(part.number, begin + 8, isFirst);
    if (part.kind == AviPart::Kind::Element) {
        const auto [first, end] = m_layout.packetsIn(part.number);
        for (quint64 packet = first; packet < end; ++packet) {
            if (!indexPacket(packet, begin + (m_layout.packets.at(packet).offset - part.offset), isFirst))
                return false;
        }
    }
    return true;
}

/// A packet whose data stands at `offset` of the new file. False where an index cannot hold it.
bool AviRewrite::indexPacket(quint64 packet, quint64 offset, bool isFirst)
{
    const Packet facts = m_layout.packets.at(packet);
    const quint64 fromBase = offset - m_base;
    if (facts.isCut || fromBase > 0xFFFFFFFF)
        return false;
    std::array<char, 4> bytes = {};
    m_file.seek(qint64(facts.offset - 8));
    if (m_file.read(bytes.data(), qint64(bytes.size())) != qint64(bytes.size()))
        return false;
    const auto id = qFromLittleEndian<quint32>(bytes.data());
    const bool isKey = m_keys.isKey(packet);
    if (isFirst) {
        const quint32 flags = facts.isPalette ? legacyNoTimeFlag : isKey ? legacyKeyFrameFlag : 0;
        appendLegacyEntry(&m_legacy, id, flags, quint32(fromBase) - 8, facts.size);
    }
    if (facts.isPalette || facts.stream >= m_streams.size())
        return true;
    Stream &stream = m_streams[facts.stream];
    stream.chunkId = stream.chunkId == 0 ? id : stream.chunkId;
    ++stream.frames;
    stream.bytes += facts.size;
    if (!m_isOpenDml)
        return true;
    appendStandardEntry(&stream.entries, quint32(fromBase), facts.size, isKey);
    return facts.size <= largestIndexed;
}

/// The standard indexes of the segment that was written, each with its entry in the super index.
bool AviRewrite::writePartIndexes()
{
    for (size_t number = 0; number < m_streams.size(); ++number) {
        Stream &stream = m_streams[number];
        if (stream.entries.isEmpty())
            continue;
        const quint32 bytesPerTick = m_layout.packets.stream(int(number)).bytesPerTick;
        const quint64 ticks = bytesPerTick == 0 ? stream.frames : stream.bytes / bytesPerTick;
        const quint32 count = quint32(stream.entries.size()) / standardEntrySize;
        const QByteArray index = standardHeader(count, stream.chunkId, m_base) + stream.entries;
        appendSuperEntry(&stream.superEntries, m_position, quint32(index.size()) + 8, quint32(ticks - stream.ticks));
        add(indexId(number) + numberBytes(quint32(index.size())) + index);
        stream.ticks = ticks;
        stream.entries.clear();
    }
    return true;
}

/// What is known only when all of it is written.
bool AviRewrite::finish()
{
    if (m_choice.cutsTrailing)
        m_result.dropped.push_back(m_layout.trailing);
    else
        copyRange(m_layout.trailing);
    quint64 frames = 0;
    const size_t counted = countedStream(m_layout);
    if (counted < m_streams.size())
        frames = m_streams[counted].frames;
    if (m_extendedHeaderAt >= 0)
        m_result.newBytes.replace(m_extendedHeaderAt, 4, numberBytes(quint32(frames)));
    for (size_t number = 0; number < m_streams.size(); ++number) {
        const Stream &stream = m_streams[number];
        const quint32 count = quint32(stream.superEntries.size()) / superEntrySize;
        if (stream.superAt < 0)
            continue;
        if (count > m_superRoom)
            return false;
        const quint32 id = stream.chunkId == 0 ? dataId(number, m_layout.streams[number].kind) : stream.chunkId;
        const QByteArray index = superHeader(count, id) + stream.superEntries;
        m_result.newBytes.replace(stream.superAt, int(index.size()), index);
    }
    return true;
}

} // namespace quenlofar

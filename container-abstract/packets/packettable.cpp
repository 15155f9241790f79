#include "packettable.h"

#include <algorithm>

namespace quenlofar {

namespace {

constexpr size_t blockSize = BlockArray<int>::blockSize;
/// Members of a section between two of its sums of bytes.
constexpr quint32 stepSize = 64;

} // namespace

PacketTable::PacketTable() = default;
PacketTable::~PacketTable() = default;
PacketTable::PacketTable(PacketTable &&) noexcept = default;
PacketTable &PacketTable::operator=(PacketTable &&) noexcept = default;

void PacketTable::clear()
{
    PacketTable empty;
    empty.m_sourceNames = m_sourceNames;
    *this = std::move(empty);
}

void PacketTable::setStream(int stream, const PacketStream &facts)
{
    if (m_streams.size() <= size_t(stream))
        m_streams.resize(size_t(stream) + 1);
    m_streams[size_t(stream)] = facts;
}

bool PacketTable::append(const Packet &packet)
{
    if (m_records.size() >= countLimit || packet.offset >= offsetLimit)
        return false;
    if (!m_records.isEmpty()) {
        const Record &last = m_records.last();
        if (packet.offset <= (last.offsetLow | quint64(last.offsetHigh) << 32))
            return false;
    }
    Record record;
    record.offsetLow = quint32(packet.offset);
    record.offsetHigh = quint16(packet.offset >> 32);
    record.stream = packet.stream;
    record.flags = quint8((packet.knownBy & sourceMask) | quint8(packet.key) << keyShift | (packet.isCut ? cutFlag : 0)
                          | (packet.isPalette ? paletteFlag : 0));
    record.size = packet.size;
    m_records.append(record);
    return true;
}

void PacketTable::finish()
{
    m_records.squeeze();
    m_members.clear();
    m_steps.clear();
    m_sections.clear();
    m_blockSections.clear();
    for (std::vector<quint32> &sections : m_streamSections)
        sections.clear();
    m_totals.assign(streamLimit, {});

    std::vector<quint16> places; // of one block, by stream
    for (size_t begin = 0; begin < m_records.size(); begin += blockSize) {
        const size_t end = std::min(begin + blockSize, m_records.size());
        m_blockSections.push_back(m_sections.size());

        std::array<quint32, streamLimit> counts = {};
        for (size_t index = begin; index < end; ++index)
            counts[m_records[index].stream] += (m_records[index].flags & paletteFlag) == 0 ? 1U : 0U;
        std::array<quint32, streamLimit> next = {};
        quint32 sum = 0;
        for (size_t stream = 0; stream < streamLimit; ++stream) {
            next[stream] = sum;
            sum += counts[stream];
        }
        places.resize(sum);
        for (size_t index = begin; index < end; ++index) {
            const Record &record = m_records[index];
            if ((record.flags & paletteFlag) == 0)
                places[next[record.stream]++] = quint16(index - begin);
            else
                ++m_totals[record.stream].palettes;
        }

        size_t at = 0;
        for (size_t stream = 0; stream < streamLimit; ++stream) {
            if (counts[stream] == 0)
                continue;
            PacketTotals &totals = m_totals[stream];
            m_streamSections[stream].push_back(quint32(m_sections.size()));
            m_sections.push_back(
                {totals.count, totals.bytes, m_members.size(), m_steps.size(), counts[stream], quint8(stream)});
            const quint64 bytesBefore = totals.bytes;
            for (quint32 member = 0; member < counts[stream]; ++member, ++at) {
                if (member % stepSize == 0)
                    m_steps.append(totals.bytes - bytesBefore);
                m_members.append(places[at]);
                const Record &record = m_records[begin + places[at]];
                totals.bytes += record.size;
                totals.largest = std::max(totals.largest, record.size);
                if (record.size == 0)
                    ++totals.empty;
                else if (totals.smallest == 0 || record.size < totals.smallest)
                    totals.smallest = record.size;
                const KeyState key = KeyState((record.flags & keyMask) >> keyShift);
                totals.keyFrames += key == KeyState::Yes ? 1U : 0U;
                totals.keyUnknown += key == KeyState::Unknown ? 1U : 0U;
            }
            totals.count += counts[stream];
        }
    }
    m_blockSections.push_back(m_sections.size());
    m_members.squeeze();
    m_steps.squeeze();

    size_t streams = m_streams.size();
    for (size_t stream = streams; stream < streamLimit; ++stream) {
        if (m_totals[stream].count > 0 || m_totals[stream].palettes > 0)
            streams = stream + 1;
    }
    m_streams.resize(streams);
    m_totals.resize(streams);
}

quint64 PacketTable::lowerIndex(quint64 offset) const
{
    size_t low = 0;
    size_t high = m_records.size();
    while (low < high) {
        const size_t middle = low + (high - low) / 2;
        const Record &record = m_records[middle];
        if ((record.offsetLow | quint64(record.offsetHigh) << 32) < offset)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

quint64 PacketTable::indexAt(quint64 offset) const
{
    const quint64 index = lowerIndex(offset);
    if (index < size() && at(index).offset == offset)
        return index;
    if (index == 0)
        return none;
    const Packet before = at(index - 1);
    return offset - before.offset < before.size ? index - 1 : none;
}

const PacketTable::Section *PacketTable::sectionOf(int stream, quint64 index) const
{
    // The first section of the stream that ends behind `index`.
    const std::vector<quint32> &sections = m_streamSections[size_t(stream)];
    const size_t block = size_t(index) / blockSize;
    if (block + 1 >= m_blockSections.size())
        return nullptr;
    const auto first = std::lower_bound(sections.begin(), sections.end(), quint32(m_blockSections[block]));
    return first == sections.end() ? nullptr : &m_sections[*first];
}

/// How many members of the section stand before the packet `index`; none where the section is of a later block.
quint32 PacketTable::membersBefore(const Section &section, quint64 index) const
{
    const size_t block = size_t(index) / blockSize;
    const size_t ordinal = size_t(&section - m_sections.data());
    if (ordinal >= m_blockSections[block + 1])
        return 0;
    const quint16 place = quint16(size_t(index) % blockSize);
    quint32 low = 0;
    quint32 high = section.count;
    while (low < high) {
        const quint32 middle = low + (high - low) / 2;
        if (m_members[section.member + middle] < place)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

quint64 PacketTable::indexOf(int stream, quint64 number) const
{
    if (stream < 0 || stream >= streamCount() || number >= totals(stream).count)
        return none;
    const std::vector<quint32> &sections = m_streamSections[size_t(stream)];
    const auto behind =
        std::upper_bound(sections.begin(), sections.end(), number,
                         [this](quint64 wanted, quint32 each) { return wanted < m_sections[each].number; });
    const quint32 ordinal = *std::prev(behind);
    const Section &section = m_sections[ordinal];
    const auto block = std::upper_bound(m_blockSections.begin(), m_blockSections.end(), size_t(ordinal));
    const size_t begin = size_t(std::prev(block) - m_blockSections.begin()) * blockSize;
    return begin + m_members[section.member + size_t(number - section.number)];
}

quint64 PacketTable::numberOf(quint64 index) const
{
    const Packet packet = at(index);
    return packet.isPalette ? none : countBefore(packet.stream, index);
}

quint64 PacketTable::countBefore(int stream, quint64 index) const
{
    if (stream < 0 || stream >= streamCount())
        return 0;
    const Section *const section = index < size() ? sectionOf(stream, index) : nullptr;
    return section ? section->number + membersBefore(*section, index) : totals(stream).count;
}

quint64 PacketTable::bytesBefore(int stream, quint64 index) const
{
    if (stream < 0 || stream >= streamCount())
        return 0;
    const Section *const section = index < size() ? sectionOf(stream, index) : nullptr;
    if (!section)
        return totals(stream).bytes;
    const quint32 members = membersBefore(*section, index);
    if (members == 0)
        return section->bytes;
    const size_t block = size_t(index) / blockSize;
    const quint32 step = (members - 1) / stepSize;
    quint64 bytes = section->bytes + m_steps[section->step + step];
    for (quint32 member = step * stepSize; member < members; ++member)
        bytes += m_records[block * blockSize + m_members[section->member + member]].size;
    return bytes;
}

double PacketTable::ticksOf(quint64 index) const
{
    const int number = at(index).stream;
    const PacketStream &facts = stream(number);
    const double ticks = facts.bytesPerTick == 0 ? double(countBefore(number, index))
                                                 : double(bytesBefore(number, index)) / facts.bytesPerTick;
    return ticks + double(facts.start);
}

double PacketTable::secondsOf(quint64 index) const
{
    const Packet packet = at(index);
    const PacketStream &facts = stream(packet.stream);
    if (packet.isPalette || !facts.isDeclared || !facts.hasTimeBase())
        return -1.0;
    return facts.seconds(ticksOf(index));
}

double PacketTable::duration(int stream) const
{
    if (stream < 0 || stream >= streamCount())
        return -1.0;
    const PacketStream &facts = m_streams[size_t(stream)];
    if (!facts.isDeclared || !facts.hasTimeBase())
        return -1.0;
    const PacketTotals &sums = totals(stream);
    return facts.seconds(facts.bytesPerTick == 0 ? double(sums.count) : double(sums.bytes) / facts.bytesPerTick);
}

size_t PacketTable::memory() const
{
    size_t bytes = m_records.memory() + m_members.memory() + m_steps.memory();
    bytes += m_sections.capacity() * sizeof(Section) + m_blockSections.capacity() * sizeof(size_t);
    for (const std::vector<quint32> &sections : m_streamSections)
        bytes += sections.capacity() * sizeof(quint32);
    return bytes + m_streams.capacity() * sizeof(PacketStream) + m_totals.capacity() * sizeof(PacketTotals);
}

PacketCursor::PacketCursor(const PacketTable &table, quint64 index)
    : m_table(table), m_index(index), m_counts(size_t(PacketTable::streamLimit))
{
    for (int stream = 0; index > 0 && stream < table.streamCount(); ++stream)
        m_counts[size_t(stream)] = {table.countBefore(stream, index), table.bytesBefore(stream, index)};
    if (isValid())
        m_packet = table.at(index);
}

void PacketCursor::next()
{
    if (!m_packet.isPalette) {
        Counts &counts = m_counts[m_packet.stream];
        ++counts.packets;
        counts.bytes += m_packet.size;
    }
    ++m_index;
    if (isValid())
        m_packet = m_table.at(m_index);
}

double PacketCursor::seconds() const
{
    const PacketStream &facts = m_table.stream(m_packet.stream);
    if (m_packet.isPalette || !facts.isDeclared || !facts.hasTimeBase())
        return -1.0;
    const Counts &counts = m_counts[m_packet.stream];
    const double ticks = facts.bytesPerTick == 0 ? double(counts.packets) : double(counts.bytes) / facts.bytesPerTick;
    return facts.seconds(ticks + double(facts.start));
}

} // namespace quenlofar

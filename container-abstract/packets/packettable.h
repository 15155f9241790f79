#pragma once

#include "blockarray.h"
#include "byterange.h"
#include "containerabstract_export.h"

#include <QStringView>
#include <QtGlobal>

#include <array>
#include <cstdint>
#include <vector>

namespace quenlofar {

/// What a stream carries, whatever the container.
enum class StreamKind : quint8 {
    Other, ///< none of the following, or not known
    Video,
    Audio,
    Text, ///< subtitles and other timed text
    Midi,
    Mixed, ///< video and audio in the same packets, as DV has them
};

/// What the packets' times depend on, as the file's headers say it.
struct PacketStream
{
    StreamKind kind = StreamKind::Other; ///< what the packets carry
    bool isDeclared = false; ///< the file has headers for it; otherwise only packets name it
    quint32 timeBaseNumerator = 0; ///< a tick is numerator / denominator seconds; 0 when not known
    quint32 timeBaseDenominator = 0; ///< 0 when not known
    quint32 bytesPerTick = 0; ///< where the bytes before a packet give its time; 0 where each packet is one tick
    qint64 start = 0; ///< ticks before the first packet

    /// Whether times can be told.
    bool hasTimeBase() const { return timeBaseNumerator != 0 && timeBaseDenominator != 0; }
    /// The seconds that `ticks` take, without the start; only with a time base.
    double seconds(double ticks) const { return ticks * double(timeBaseNumerator) / double(timeBaseDenominator); }
};

/// Whether decoding can begin at a packet.
enum class KeyState : quint8 {
    Unknown, ///< no index says it
    No,
    Yes,
};

/// Where a packet is known from; several places may know it. PacketTable::sourceName() is a container's word for each.
enum PacketSource : quint8 {
    KnownFromData = 1, ///< it was found where it stands
    KnownFromLegacyIndex = 2, ///< the one index of the whole file, or of its first part
    KnownFromPartIndex = 4, ///< an index of a part of the file
};

/// A data chunk of a stream, as PacketTable gives it.
struct Packet
{
    quint64 offset = 0; ///< first byte of its data, from the start of the file
    quint32 size = 0; ///< bytes of its data that the file has, without header and padding
    quint8 stream = 0; ///< among all streams, from 0, in the order of their headers; larger for undeclared ones
    KeyState key = KeyState::Unknown; ///< whether decoding can begin here
    quint8 knownBy = KnownFromData; ///< bits of PacketSource
    bool isCut = false; ///< the file ends inside of it
    bool isPalette = false; ///< changes colours: it has no number, no time, and is not counted

    /// The bytes of its data.
    ByteRange range() const { return {offset, size}; }
    /// No bytes: what was before it is shown again.
    bool isEmpty() const { return size == 0; }
};

/// Sums over the packets of one stream, palettes not counted.
struct PacketTotals
{
    quint64 count = 0; ///< empty ones too
    quint64 empty = 0; ///< without bytes
    quint64 bytes = 0; ///< of all data
    quint64 keyFrames = 0; ///< known to be key
    quint64 keyUnknown = 0; ///< of which nobody knows whether they are key
    quint32 smallest = 0; ///< bytes of the smallest that is not empty; 0 where there is none
    quint32 largest = 0; ///< bytes
    quint64 palettes = 0; ///< that are not counted above
};

/**
 * Every data chunk of every stream of a file, in the order of the file, at less than 16 bytes each.
 *
 * Filled once: setStream, and append in ascending order of offsets, then finish. The numbers of packets count from 0
 * within their stream. An *index* counts all packets of the file, palettes too. A table that is finished may be read
 * from several threads. What fills it may get std::bad_alloc and has to clear it then.
 */
class CONTAINERABSTRACT_EXPORT PacketTable
{
public:
    /// No packet.
    static constexpr quint64 none = ~quint64(0);
    /// Streams have numbers below this.
    static constexpr int streamLimit = 256;
    /// Files are no longer than this, in bytes; what lies behind it cannot be appended.
    static constexpr quint64 offsetLimit = quint64(1) << 48;
    /// More packets cannot be appended: indexes of packets fit into 31 bits.
    static constexpr quint64 countLimit = 0x7FFFFFFF;

    PacketTable();
    ~PacketTable();
    /// Takes the packets; the table that had them is only good to be assigned to, or destroyed.
    PacketTable(PacketTable &&) noexcept;
    /// Takes the packets; see the constructor.
    PacketTable &operator=(PacketTable &&) noexcept;
    PacketTable(const PacketTable &) = delete;
    PacketTable &operator=(const PacketTable &) = delete;

    // Filling

    /// Empty again, without streams; names of sources stay.
    void clear();
    /// What the container calls a source of packets, in a word without blanks: "idx1". A literal in the memory of
    /// whoever fills the table; without this call there are general words.
    void setSourceName(PacketSource source, QStringView name) { m_sourceNames[size_t(source) >> 1] = name; }
    /// What is known of the stream number `stream`; before finish.
    void setStream(int stream, const PacketStream &facts);
    /// Appends a packet behind all others; false, and nothing happens, where its offset does not ascend or a limit is
    /// reached. Its index is the size() before.
    bool append(const Packet &packet);
    /// The newest packet turned out to have `size` bytes only, and all of them to be there.
    void shortenLast(quint32 size)
    {
        m_records.last().size = size;
        m_records.last().flags &= quint8(~cutFlag);
    }
    /// Ends filling: from now on numbers, times and totals can be asked for. Linear.
    void finish();
    /// `source` knows a packet of the finished table too. What the index of the whole file says of key frames comes
    /// first.
    void addKnowledge(quint64 index, PacketSource source, KeyState key)
    {
        Record &record = m_records[size_t(index)];
        record.flags |= source;
        const quint8 known = record.flags & keyMask;
        const quint8 told = quint8(quint8(key) << keyShift);
        if (told == known || told == 0 || (known != 0 && source != KnownFromLegacyIndex))
            return;
        record.flags = quint8((record.flags & ~keyMask) | told);
        if ((record.flags & paletteFlag) == 0)
            countKey(record.stream, KeyState(known >> keyShift), key);
    }

    /// What the container calls a source: "data", "index" and "part-index" where it has no words of its own.
    QStringView sourceName(PacketSource source) const { return m_sourceNames[size_t(source) >> 1]; }

    // Streams

    /// One more than the highest number of a stream that is declared or has packets.
    int streamCount() const { return int(m_streams.size()); }
    /// `stream` is below streamCount().
    const PacketStream &stream(int stream) const { return m_streams[size_t(stream)]; }
    /// Zeros for a stream without packets.
    const PacketTotals &totals(int stream) const { return m_totals[size_t(stream)]; }

    // Packets by index; constant time

    /// Packets of all streams, palettes too.
    quint64 size() const { return m_records.size(); }
    /// The packet number `index` of the file, from 0; there has to be one.
    Packet at(quint64 index) const
    {
        const Record &record = m_records[size_t(index)];
        Packet packet;
        packet.offset = record.offsetLow | quint64(record.offsetHigh) << 32;
        packet.size = record.size;
        packet.stream = record.stream;
        packet.key = KeyState((record.flags & keyMask) >> keyShift);
        packet.knownBy = record.flags & sourceMask;
        packet.isCut = (record.flags & cutFlag) != 0;
        packet.isPalette = (record.flags & paletteFlag) != 0;
        return packet;
    }

    // Look-up; logarithmic time

    /// The index of the packet whose data holds the byte at `offset`, or begins there; none where there is none.
    quint64 indexAt(quint64 offset) const;
    /// The index of the first packet whose data begins at `offset` or behind; size() where there is none.
    quint64 lowerIndex(quint64 offset) const;
    /// The index of the packet `number` of `stream`; none where there is none.
    quint64 indexOf(int stream, quint64 number) const;
    /// The number within its stream of a packet; none for a palette.
    quint64 numberOf(quint64 index) const;
    /// How many packets of `stream` stand before the packet `index`, which may be size(): the packets of a part of a
    /// file are a difference of two.
    quint64 countBefore(int stream, quint64 index) const;
    /// The bytes of the packets of `stream` that stand before the packet `index`, which may be size().
    quint64 bytesBefore(int stream, quint64 index) const;
    /// When a packet begins, in ticks of its stream with the start; fractions where bytes give the time.
    double ticksOf(quint64 index) const;
    /// When a packet begins, in seconds; -1 where nobody knows: an undeclared stream, no time base, a palette.
    double secondsOf(quint64 index) const;
    /// How long the packets of a stream take together, in seconds without the start; -1 where nobody knows.
    double duration(int stream) const;

    /// Bytes of memory that the table takes.
    size_t memory() const;

private:
    friend class PacketCursor;

    struct Record
    {
        quint32 offsetLow;
        quint16 offsetHigh;
        quint8 stream;
        quint8 flags;
        quint32 size;
    };
    /// The packets of one stream among those of one block of records.
    struct Section
    {
        quint64 number; // of the first
        quint64 bytes; // of the packets before
        size_t member; // of the first, in m_members
        size_t step; // of the first, in m_steps
        quint32 count;
        quint8 stream;
    };
    static constexpr quint8 sourceMask = KnownFromData | KnownFromLegacyIndex | KnownFromPartIndex;
    static constexpr quint8 keyMask = 0x18;
    static constexpr int keyShift = 3;
    static constexpr quint8 cutFlag = 0x20;
    static constexpr quint8 paletteFlag = 0x40;

    void countKey(quint8 stream, KeyState before, KeyState after)
    {
        PacketTotals &totals = m_totals[stream];
        totals.keyUnknown -= before == KeyState::Unknown ? 1U : 0U;
        totals.keyFrames += after == KeyState::Yes ? 1U : 0U;
        totals.keyFrames -= before == KeyState::Yes ? 1U : 0U;
    }
    const Section *sectionOf(int stream, quint64 index) const;
    quint32 membersBefore(const Section &section, quint64 index) const;

    BlockArray<Record> m_records;
    BlockArray<quint16> m_members; // places within a block of records, by block, stream and number
    BlockArray<quint64> m_steps; // bytes of a section before its member 0, 64, 128, ...
    std::vector<Section> m_sections; // by block and stream
    std::vector<size_t> m_blockSections; // the first of each block, and one behind the last
    std::array<std::vector<quint32>, streamLimit> m_streamSections; // ordinals in m_sections, by stream
    std::vector<PacketStream> m_streams;
    std::vector<PacketTotals> m_totals;
    std::array<QStringView, 3> m_sourceNames{u"data", u"index", u"part-index"}; // by the bits of PacketSource
};

/**
 * Goes over all packets in the order of the file and knows number and time of each without looking anything up.
 *
 *     for (PacketCursor cursor(table); cursor.isValid(); cursor.next())
 *         use(cursor.packet(), cursor.number(), cursor.seconds());
 */
class CONTAINERABSTRACT_EXPORT PacketCursor
{
public:
    /// At the packet `index` of a finished table, which outlives the cursor.
    explicit PacketCursor(const PacketTable &table, quint64 index = 0);

    /// False behind the last packet.
    bool isValid() const { return m_index < m_table.size(); }
    /// To the next packet; only when valid.
    void next();

    /// Ordinal in the file, from 0.
    quint64 index() const { return m_index; }
    /// The packet here; only when valid.
    const Packet &packet() const { return m_packet; }
    /// Its number within its stream; PacketTable::none for a palette.
    quint64 number() const { return m_packet.isPalette ? PacketTable::none : m_counts[m_packet.stream].packets; }
    /// See PacketTable::secondsOf.
    double seconds() const;

private:
    struct Counts
    {
        quint64 packets = 0;
        quint64 bytes = 0;
    };

    const PacketTable &m_table;
    quint64 m_index;
    Packet m_packet;
    std::vector<Counts> m_counts; // of what stands before, by stream
};

} // namespace quenlofar

#include "packetstatistics.h"

#include <algorithm>
#include <cmath>

namespace quenlofar {

namespace {

struct Numbers
{
    SpreadNumbers sizes;
    SpreadNumbers keySpacings;
    quint64 lastKey = PacketTable::none; // its number
};

quint64 bitRateOf(const StreamPackets &stream)
{
    constexpr double bitsPerByte = 8.0;
    constexpr double most = 1e18; // what is more is no rate, and has to fit
    if (!(stream.seconds > 0.0))
        return 0;
    return quint64(std::llround(std::min(most, double(stream.totals.bytes) * bitsPerByte / stream.seconds)));
}

} // namespace

std::vector<StreamPackets> packetStatistics(const PacketTable &packets)
{
    std::vector<Numbers> numbers{size_t(packets.streamCount())};
    for (PacketCursor cursor(packets); cursor.isValid(); cursor.next()) {
        const Packet &packet = cursor.packet();
        if (packet.isPalette)
            continue;
        Numbers &stream = numbers[packet.stream];
        if (!packet.isEmpty())
            stream.sizes.add(packet.size);
        if (packet.key != KeyState::Yes)
            continue;
        if (stream.lastKey != PacketTable::none)
            stream.keySpacings.add(cursor.number() - stream.lastKey);
        stream.lastKey = cursor.number();
    }
    std::vector<StreamPackets> streams;
    for (int ordinal = 0; ordinal < packets.streamCount(); ++ordinal) {
        const PacketStream &facts = packets.stream(ordinal);
        StreamPackets stream;
        stream.stream = ordinal;
        stream.kind = facts.kind;
        stream.totals = packets.totals(ordinal);
        if (!facts.isDeclared && stream.totals.count == 0 && stream.totals.palettes == 0)
            continue;
        Numbers &found = numbers[size_t(ordinal)];
        if (!found.sizes.isEmpty())
            stream.sizes = found.sizes.spread();
        if (!found.keySpacings.isEmpty())
            stream.keySpacing = found.keySpacings.spread();
        stream.seconds = packets.duration(ordinal);
        stream.bitRate = bitRateOf(stream);
        streams.push_back(stream);
    }
    return streams;
}

} // namespace quenlofar

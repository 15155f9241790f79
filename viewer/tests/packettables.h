#pragma once

#include "packettable.h"

#include <random>

namespace quenlofar {

inline Packet packet(quint64 offset, quint32 size, int stream, KeyState key = KeyState::No,
                     quint8 knownBy = KnownFromData)
{
    Packet packet;
    packet.offset = offset;
    packet.size = size;
    packet.stream = quint8(stream);
    packet.key = key;
    packet.knownBy = knownBy;
    return packet;
}

inline PacketStream streamOf(StreamKind kind, quint32 numerator, quint32 denominator, quint32 bytesPerTick = 0)
{
    PacketStream stream;
    stream.kind = kind;
    stream.isDeclared = true;
    stream.timeBaseNumerator = numerator;
    stream.timeBaseDenominator = denominator;
    stream.bytesPerTick = bytesPerTick;
    return stream;
}

/// Ten pictures a second, and sound of 1000 bytes a second: two pictures, one of them empty, and a piece of sound each
/// 0.2 seconds, and at the end a palette and a picture that is cut.
///
///     index   0     1    2     3     4    5     6     7     8
///     stream  0     0    1     0     0    1     0     0     0
///     offset  100   1108 1116  1324  1532 1540  1748  1760  2000
///     size    1000  0    200   200   0    200   4     100   90
///     key     yes   no   ?     no    no   ?     -     yes   no
inline void fill(PacketTable *table)
{
    table->setSourceName(KnownFromLegacyIndex, u"list");
    table->setStream(0, streamOf(StreamKind::Video, 1, 10));
    table->setStream(1, streamOf(StreamKind::Audio, 1, 1000, 1));
    const quint8 both = KnownFromData | KnownFromLegacyIndex;
    table->append(packet(100, 1000, 0, KeyState::Yes, both));
    table->append(packet(1108, 0, 0, KeyState::No, both));
    table->append(packet(1116, 200, 1, KeyState::Unknown));
    table->append(packet(1324, 200, 0, KeyState::No, both));
    table->append(packet(1532, 0, 0, KeyState::No));
    table->append(packet(1540, 200, 1, KeyState::Unknown));
    Packet palette = packet(1748, 4, 0, KeyState::No);
    palette.isPalette = true;
    table->append(palette);
    table->append(packet(1760, 100, 0, KeyState::Yes, both));
    Packet cut = packet(2000, 90, 0);
    cut.isCut = true;
    table->append(cut);
    table->finish();
}

/// Any packets of three streams, one of which has no times.
inline void fillRandomly(PacketTable *table, unsigned seed, int count)
{
    std::mt19937 random(seed);
    table->setStream(0, streamOf(StreamKind::Video, 1, 25));
    table->setStream(1, streamOf(StreamKind::Audio, 1, 8000, 1));
    quint64 offset = 0;
    for (int i = 0; i < count; ++i) {
        offset += random() % 50 + 1;
        const quint32 size = random() % 4 == 0 ? 0 : quint32(random() % 3000);
        Packet each = packet(offset, size, int(random() % 3), KeyState(random() % 3));
        each.isPalette = random() % 20 == 0;
        table->append(each);
        offset += size;
    }
    table->finish();
}

} // namespace quenlofar

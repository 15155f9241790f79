#pragma once

#include "framestatistics.h"
#include "packettable.h"

#include <optional>
#include <vector>

namespace quenlofar {

/// What is to be said of the packets of one stream.
struct StreamPackets
{
    int stream = 0; ///< among all streams, from 0
    StreamKind kind = StreamKind::Other;
    PacketTotals totals;
    std::optional<Spread> sizes; ///< bytes of those that are not empty
    std::optional<Spread> keySpacing; ///< packets from one key frame to the next
    double seconds = -1.0; ///< how long they take together; -1 where nobody knows
    quint64 bitRate = 0; ///< bits per second; 0 where nobody knows

    /// No index says of any packet whether it is key.
    bool areKeysUnknown() const { return totals.count > 0 && totals.keyUnknown == totals.count; }
    /// Its packets are pictures.
    bool hasFrames() const { return kind == StreamKind::Video || kind == StreamKind::Mixed; }
};

/// Of each stream of a finished table that is declared or has packets. Takes up to 8 bytes per packet meanwhile.
std::vector<StreamPackets> packetStatistics(const PacketTable &packets);

} // namespace quenlofar

#pragma once

#include "packettable.h"

#include <atomic>
#include <memory>
#include <vector>

namespace quenlofar {

/// How large packets side by side in one stream are.
struct PacketExtent
{
    quint32 smallest = 0xFFFFFFFF; ///< bytes of the smallest that is not empty; all bits where there is none
    quint32 largestKey = 0; ///< bytes of the largest that is known to be key; 0 where there is none
    quint32 largest = 0; ///< bytes of the largest that is not known to be key; 0 where there is none
    quint32 empty = 0; ///< packets without bytes

    bool hasAny() const { return empty > 0 || smallest != 0xFFFFFFFF; } ///< there are packets
    quint32 top() const { return largestKey > largest ? largestKey : largest; } ///< bytes of the largest of all
    void add(const Packet &packet); ///< One more.
    void add(const PacketExtent &other); ///< More of them.
};

/**
 * The smallest and the largest packets of stretches of each stream, 16 packets each, then 16 of these, and so on: what
 * a picture of any number of packets is drawn from. Takes about one byte for each packet. Does not change.
 */
class PacketPyramid
{
public:
    static constexpr quint64 factor = 16; ///< entries of a level in one of the next

    /// Of the finished table `packets`, which outlives it. Linear; null where `isCancelled` became true meanwhile. May
    /// throw std::bad_alloc.
    static std::shared_ptr<const PacketPyramid> make(const PacketTable &packets, const std::atomic<bool> &isCancelled);

    /// Of the packets of `stream` with the numbers from `first` up to `end`, not included. Logarithmic time.
    PacketExtent extent(int stream, quint64 first, quint64 end) const;

private:
    explicit PacketPyramid(const PacketTable &packets) : m_packets(&packets) { }

    using Level = std::vector<PacketExtent>;
    const PacketTable *m_packets;
    std::vector<std::vector<Level>> m_streams; // levels by stream
};

/// The number of the first packet of `stream` that begins at `seconds` or later; the number of its packets where there
/// is none. 0 for a stream without a time base. Logarithmic time.
quint64 packetNumberFrom(const PacketTable &packets, int stream, double seconds);

/// Curves over the packets of a file; each answers in logarithmic time.
struct PacketCurves
{
    const PacketTable &packets;
    int video = -1; ///< the first stream with pictures; -1 where there is none
    int audio = -1; ///< the first stream with sound; -1 where there is none

    explicit PacketCurves(const PacketTable &table);
    /// Bits per second of `stream` in the `window` seconds around `seconds`; -1 where nobody knows.
    double bitRate(int stream, double seconds, double window) const;
    /// Bytes of the file between the picture and the sound that begin at `seconds`; -1 where one of them is missing.
    double interleave(double seconds) const;
    /// Where the picture of `seconds` stands in the file: the seconds of sound before it without the seconds of
    /// pictures before it; nan where one of them is missing. Positive where sound runs ahead.
    double lead(double seconds) const;
};

} // namespace quenlofar

#include "packetpyramid.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace quenlofar {

namespace {

constexpr quint64 lookMask = 0xFFFF; // at the flag: a mask

} // namespace

void PacketExtent::add(const Packet &packet)
{
    if (packet.isEmpty()) {
        ++empty;
        return;
    }
    smallest = std::min(smallest, packet.size);
    quint32 &most = packet.key == KeyState::Yes ? largestKey : largest;
    most = std::max(most, packet.size);
}

void PacketExtent::add(const PacketExtent &other)
{
    smallest = std::min(smallest, other.smallest);
    largestKey = std::max(largestKey, other.largestKey);
    largest = std::max(largest, other.largest);
    empty += other.empty;
}

std::shared_ptr<const PacketPyramid> PacketPyramid::make(const PacketTable &packets,
                                                         const std::atomic<bool> &isCancelled)
{
    const std::shared_ptr<PacketPyramid> pyramid(new PacketPyramid(packets));
    pyramid->m_streams.resize(size_t(packets.streamCount()));
    for (int stream = 0; stream < packets.streamCount(); ++stream) {
        const quint64 count = packets.totals(stream).count;
        if (count >= factor) {
            pyramid->m_streams[size_t(stream)].emplace_back();
            pyramid->m_streams[size_t(stream)].front().reserve(size_t(count / factor));
        }
    }
    std::vector<PacketExtent> open(pyramid->m_streams.size());
    for (PacketCursor cursor(packets); cursor.isValid(); cursor.next()) {
        if ((cursor.index() & lookMask) == 0 && isCancelled)
            return nullptr;
        const quint64 number = cursor.number();
        if (number == PacketTable::none)
            continue;
        const size_t stream = cursor.packet().stream;
        open[stream].add(cursor.packet());
        if (number % factor == factor - 1) {
            pyramid->m_streams[stream].front().push_back(open[stream]);
            open[stream] = PacketExtent();
        }
    }
    // Each level has whole stretches only: what is left over is looked up below.
    for (std::vector<Level> &levels : pyramid->m_streams) {
        while (!levels.empty() && levels.back().size() >= factor) {
            Level above(levels.back().size() / factor);
            for (size_t i = 0; i < above.size() * factor; ++i)
                above[i / factor].add(levels.back()[i]);
            levels.push_back(std::move(above));
        }
    }
    return isCancelled ? nullptr : pyramid;
}

PacketExtent PacketPyramid::extent(int stream, quint64 first, quint64 end) const
{
    PacketExtent extent;
    const std::vector<Level> &levels = m_streams[size_t(stream)];
    end = std::min(end, m_packets->totals(stream).count);
    quint64 at = first;
    while (at < end) {
        // The largest stretch that begins here and does not reach too far.
        quint64 width = 1;
        size_t level = 0; // 0: packets themselves
        while (level < levels.size() && at % (width * factor) == 0 && width * factor <= end - at) {
            width *= factor;
            ++level;
        }
        if (level == 0)
            extent.add(m_packets->at(m_packets->indexOf(stream, at)));
        else
            extent.add(levels[level - 1][size_t(at / width)]);
        at += width;
    }
    return extent;
}

quint64 packetNumberFrom(const PacketTable &packets, int stream, double seconds)
{
    const PacketStream &facts = packets.stream(stream);
    const quint64 count = packets.totals(stream).count;
    if (!facts.hasTimeBase())
        return 0;
    quint64 low = 0;
    quint64 high = count;
    if (facts.bytesPerTick == 0) {
        // Each packet is a tick: the number is nearly known, up to what was rounded.
        const double ticks =
            seconds * double(facts.timeBaseDenominator) / double(facts.timeBaseNumerator) - double(facts.start);
        if (ticks >= double(count))
            low = count > 0 ? count - 1 : 0;
        else if (ticks > 1)
            low = quint64(ticks) - 1;
        high = std::min(count, low + 3);
    }
    while (low < high) {
        const quint64 middle = low + (high - low) / 2;
        const double begin = facts.bytesPerTick == 0 ? facts.seconds(double(middle) + double(facts.start))
                                                     : packets.secondsOf(packets.indexOf(stream, middle));
        if (begin < seconds)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

PacketCurves::PacketCurves(const PacketTable &table) : packets(table)
{
    for (int stream = table.streamCount() - 1; stream >= 0; --stream) {
        const StreamKind kind = table.stream(stream).kind;
        if (table.totals(stream).count == 0 || !table.stream(stream).hasTimeBase())
            continue;
        if (kind == StreamKind::Video || kind == StreamKind::Mixed)
            video = stream;
        else if (kind == StreamKind::Audio)
            audio = stream;
    }
}

double PacketCurves::bitRate(int stream, double seconds, double window) const
{
    if (!packets.stream(stream).hasTimeBase() || packets.totals(stream).count == 0)
        return -1;
    const auto bytesUpTo = [this, stream](double time) {
        const quint64 number = packetNumberFrom(packets, stream, time);
        const quint64 count = packets.totals(stream).count;
        return packets.bytesBefore(stream, number < count ? packets.indexOf(stream, number) : packets.size());
    };
    constexpr double bitsOfByte = 8;
    return double(bytesUpTo(seconds + window / 2) - bytesUpTo(seconds - window / 2)) * bitsOfByte / window;
}

double PacketCurves::interleave(double seconds) const
{
    if (video < 0 || audio < 0)
        return -1;
    const quint64 picture = packetNumberFrom(packets, video, seconds);
    const quint64 sound = packetNumberFrom(packets, audio, seconds);
    if (picture >= packets.totals(video).count || sound >= packets.totals(audio).count)
        return -1;
    const double one = double(packets.at(packets.indexOf(video, picture)).offset);
    const double other = double(packets.at(packets.indexOf(audio, sound)).offset);
    return std::abs(one - other);
}

double PacketCurves::lead(double seconds) const
{
    constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
    if (video < 0 || audio < 0)
        return unknown;
    const quint64 picture = packetNumberFrom(packets, video, seconds);
    if (picture >= packets.totals(video).count)
        return unknown;
    const quint64 index = packets.indexOf(video, picture);
    const quint64 sounds = packets.countBefore(audio, index);
    const quint64 count = packets.totals(audio).count;
    const double begin = packets.secondsOf(packets.indexOf(audio, 0));
    const double heard =
        sounds < count ? packets.secondsOf(packets.indexOf(audio, sounds)) - begin : packets.duration(audio);
    const double seen = packets.secondsOf(index) - packets.secondsOf(packets.indexOf(video, 0));
    return heard - seen;
}

} // namespace quenlofar

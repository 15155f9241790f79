#include "packetfacts.h"

#include <algorithm>
#include <limits>

namespace quenlofar {

namespace {

constexpr double endless = std::numeric_limits<double>::infinity();

} // namespace

QString streamKindText(StreamKind kind)
{
    switch (kind) {
    case StreamKind::Video:
        return QStringLiteral("video");
    case StreamKind::Audio:
        return QStringLiteral("audio");
    case StreamKind::Text:
        return QStringLiteral("subtitles");
    case StreamKind::Midi:
        return QStringLiteral("MIDI");
    case StreamKind::Mixed:
        return QStringLiteral("mixed");
    case StreamKind::Other:
        break;
    }
    return QStringLiteral("other");
}

PacketFilter::PacketFilter() : firstSecond(-endless), lastSecond(endless) { }

bool PacketFilter::wantsKind(StreamKind kind) const
{
    return kinds.empty() || std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

bool PacketFilter::accepts(const PacketTable &table, const PacketCursor &cursor) const
{
    const Packet &packet = cursor.packet();
    if ((stream >= 0 && packet.stream != stream) || (keyOnly && (packet.isPalette || packet.key != KeyState::Yes))
        || packet.offset < firstOffset || packet.offset > lastOffset || !wantsKind(table.stream(packet.stream).kind))
        return false;
    if (firstNumber != 0 || lastNumber != PacketTable::none) {
        const quint64 number = cursor.number();
        if (packet.isPalette || number < firstNumber || number > lastNumber)
            return false;
    }
    if (firstSecond == -endless && lastSecond == endless)
        return true;
    const PacketStream &facts = table.stream(packet.stream);
    if (packet.isPalette || !facts.isDeclared || !facts.hasTimeBase())
        return false;
    const double seconds = cursor.seconds();
    return seconds >= firstSecond && seconds <= lastSecond;
}

} // namespace quenlofar

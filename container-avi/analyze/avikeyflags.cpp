#include "avikeyflags.h"

#include "avitexts.h"
#include "filedevice.h"
#include "frametypes.h"

#include <algorithm>

namespace quenlofar {

AviKeyFlags::AviKeyFlags(const AviLayout &layout, const std::vector<Finding> &findings)
    : m_layout(layout), m_doubts(PacketTable::streamLimit), m_keys(size_t(layout.packets.size()))
{
    for (const Finding &finding : findings) {
        Doubt &doubt = m_doubts[size_t(std::max(finding.stream, 0))];
        doubt.indexIsWrong = doubt.indexIsWrong || finding.rule == QLatin1String("idx1-key-flag-differs")
            || finding.rule == QLatin1String("idx1-no-key-frame");
        doubt.firstIsKey = doubt.firstIsKey || finding.rule == QLatin1String("idx1-first-not-key");
    }
}

bool AviKeyFlags::read(FileDevice &file, quint64 begin, quint64 end, const std::atomic<bool> *cancel)
{
    constexpr quint64 cancelInterval = 1024;
    FrameTypes types(m_layout, file);
    std::vector<quint64> firstFrame(PacketTable::streamLimit, PacketTable::none);
    std::vector<bool> hasKey(PacketTable::streamLimit);
    for (quint64 index = begin; index < end; ++index) {
        if (index % cancelInterval == 0 && ((cancel && cancel->load(std::memory_order_relaxed)) || file.hasReadError()))
            return false;
        const Packet packet = m_layout.packets.at(index);
        if (packet.isPalette)
            continue;
        const bool isFirst = !packet.isEmpty() && firstFrame[packet.stream] == PacketTable::none;
        const bool isKey = keyOf(packet, isFirst, types);
        m_keys[size_t(index)] = isKey;
        hasKey[packet.stream] = hasKey[packet.stream] || isKey;
        if (isFirst)
            firstFrame[packet.stream] = index;
    }
    for (size_t stream = 0; stream < m_layout.streams.size(); ++stream) {
        if (firstFrame[stream] == PacketTable::none || hasKey[stream])
            continue;
        m_keys[size_t(firstFrame[stream])] = true;
        ++m_guessed;
    }
    return !file.hasReadError();
}

/// Whether decoding can begin at the packet, by the index or the payload; false where neither says it.
bool AviKeyFlags::keyOf(const Packet &packet, bool isFirst, FrameTypes &types)
{
    const Doubt &doubt = m_doubts[packet.stream];
    const KeyState fromIndex = doubt.indexIsWrong ? KeyState::Unknown : packet.key;
    const bool asksPayload = fromIndex == KeyState::Unknown || doubt.firstIsKey;
    const KeyState told = asksPayload ? types.typeOf(packet) : KeyState::Unknown;
    if (told != KeyState::Unknown) {
        ++m_fromPayload;
        return told == KeyState::Yes;
    }
    if (isFirst && doubt.firstIsKey) {
        ++m_guessed;
        return true;
    }
    if (packet.key == KeyState::Unknown)
        return false;
    ++m_fromIndex;
    return packet.key == KeyState::Yes;
}

QString AviKeyFlags::sourcesText() const
{
    return QStringLiteral("key flags of %1 come from an index, of %2 from the payload%3")
        .arg(m_fromIndex)
        .arg(m_fromPayload)
        .arg(m_guessed == 0 ? QString()
                            : QStringLiteral("; of %1 nothing says it, and the first frame alone is called one")
                                  .arg(countText(m_guessed, "stream")));
}

} // namespace quenlofar

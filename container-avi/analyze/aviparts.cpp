#include "aviparts.h"

#include <algorithm>

namespace quenlofar {

AviParts::AviParts(const AviLayout &layout, quint32 list)
    : m_layout(layout), m_end(layout.elements[list].end), m_at(layout.elements[list].content().offset),
      m_element(list + 1), m_packet(layout.firstPacketFrom(m_at)), m_packetsEnd(layout.firstPacketFrom(m_end))
{
    if (m_element >= layout.elements.size() || layout.elements[m_element].parent != list)
        m_element = AviLayout::none;
}

/// Where the next chunk or list begins; the end of the list where there is none.
quint64 AviParts::nextHeader() const
{
    quint64 offset = m_end;
    if (m_element != AviLayout::none)
        offset = std::min(offset, m_layout.elements[m_element].offset);
    if (m_packet < m_packetsEnd)
        offset = std::min(offset, m_layout.packets.at(m_packet).offset - 8);
    return offset;
}

/// Leaves out what begins before `offset`.
void AviParts::skipTo(quint64 offset)
{
    while (m_element != AviLayout::none && m_layout.elements[m_element].offset < offset)
        m_element = m_layout.nextSibling(m_element);
    if (m_packet < m_packetsEnd && m_layout.packets.at(m_packet).offset < offset + 8)
        m_packet = std::min(m_packetsEnd, m_layout.firstPacketFrom(offset));
}

bool AviParts::next(AviPart *part)
{
    if (m_at >= m_end)
        return false;
    *part = AviPart();
    part->offset = m_at;
    const quint64 header = nextHeader();
    if (header > m_at) {
        part->size = header - m_at;
        m_at = header;
        return true;
    }
    quint64 end = 0;
    if (m_element != AviLayout::none && m_layout.elements[m_element].offset == m_at) {
        part->kind = AviPart::Kind::Element;
        part->number = m_element;
        end = std::max(m_layout.elements[m_element].end, m_at + 8);
    } else {
        const Packet packet = m_layout.packets.at(m_packet);
        part->kind = AviPart::Kind::Packet;
        part->number = quint32(m_packet);
        end = packet.offset + packet.size;
    }
    skipTo(end);
    const quint64 following = nextHeader();
    const bool needsPadding = (end - part->offset) % 2 != 0;
    part->lacksPadding = needsPadding && following <= end;
    m_at = needsPadding && following > end ? end + 1 : end;
    part->size = m_at - part->offset;
    return true;
}

} // namespace quenlofar

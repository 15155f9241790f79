#include "parserprotocol_p.h"

#include <algorithm>

namespace quenlofar {

ParserProtocol::Place ParserProtocol::putRight(const Place &place, qint64 position) noexcept
{
    Place right = place;
    if (place.index < -1) {
        note(Breach::Index, position, place.index);
        right.index = -1;
    }
    right.offset = std::min(place.offset, lastEnd);
    right.size = std::min(place.size, lastEnd - right.offset);
    if (right.offset != place.offset || right.size != place.size)
        note(Breach::EndsTooFar, position);
    return right;
}

bool ParserProtocol::takesFrame(Frame *frame, quint64 streams, qint64 position) noexcept
{
    if (frame->stream >= streams) {
        note(Breach::UnknownStream, position, frame->stream);
        return false;
    }
    const Place right = putRight({frame->offset, frame->size, -1}, position);
    frame->offset = right.offset;
    frame->size = right.size;
    return true;
}

bool ParserProtocol::takesBegin(qint64 begin, qint64 fileSize) noexcept
{
    if (begin >= 0 && begin <= fileSize)
        return true;
    note(Breach::BeginsOutside, 0, begin);
    return false;
}

void ParserProtocol::callReturned(quint64 openNodes, qint64 position) noexcept
{
    if (openNodes > 0)
        note(Breach::NodeLeftOpen, position);
}

void ParserProtocol::nodeEndedUnbegun(qint64 position) noexcept
{
    note(Breach::NodeNotBegun, position);
}

void ParserProtocol::detected(quint64 items, qint64 position) noexcept
{
    if (items > 0)
        note(Breach::TooEarly, position);
}

/// The first one counts.
void ParserProtocol::note(Breach breach, qint64 position, qint64 number) noexcept
{
    if (m_breach != Breach::None)
        return;
    m_breach = breach;
    m_position = position;
    m_number = number;
}

FileError ParserProtocol::trouble() const
{
    const auto error = [this](const QString &message) { return FileError{FileError::Parser, m_position, message}; };
    switch (m_breach) {
    case Breach::None:
        break;
    case Breach::BeginsOutside:
        return error(QStringLiteral("it begins at byte %1, which is not in the file").arg(m_number));
    case Breach::EndsTooFar:
        return error(QStringLiteral("an item or frame ends where no file can"));
    case Breach::Index:
        return error(QStringLiteral("an item has the index %1").arg(m_number));
    case Breach::NodeLeftOpen:
        return error(QStringLiteral("it left a node open"));
    case Breach::NodeNotBegun:
        return error(QStringLiteral("it ended a node that it had not begun"));
    case Breach::UnknownStream:
        return error(
            QStringLiteral("it reported a frame of video stream %1, which it had not announced").arg(m_number));
    case Breach::TooEarly:
        return error(QStringLiteral("it added items before it was asked to"));
    }
    return {};
}

} // namespace quenlofar

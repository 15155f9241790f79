#pragma once

#include "packettable.h"

#include <QString>

namespace quenlofar {

/// "video", "audio", "subtitles", "MIDI", "mixed" or "other", as streams are described.
QString streamKindText(StreamKind kind);

/// Which packets of a table are wanted. Of each range both ends are included.
struct PacketFilter
{
    int stream = -1; ///< of all streams; -1: any
    std::vector<StreamKind> kinds; ///< empty: any
    bool keyOnly = false; ///< known to be key
    quint64 firstNumber = 0;
    quint64 lastNumber = PacketTable::none;
    quint64 firstOffset = 0;
    quint64 lastOffset = PacketTable::none;
    double firstSecond;
    double lastSecond;

    PacketFilter();
    /// Whether the packet at which `cursor` stands, in `table`, is wanted. A palette has neither number nor time.
    bool accepts(const PacketTable &table, const PacketCursor &cursor) const;

private:
    bool wantsKind(StreamKind kind) const;
};

} // namespace quenlofar

#include "repairplanner.h"

namespace quenlofar {

void FileLayout::copy(const ByteRange &range)
{
    if (range.size == 0)
        return;
    if (!pieces.empty() && !pieces.back().isNew && pieces.back().from + pieces.back().size == range.offset)
        pieces.back().size += range.size;
    else
        pieces.push_back({range.offset, range.size, false});
}

int FileLayout::add(const QByteArray &bytes)
{
    const int at = int(newBytes.size());
    if (bytes.isEmpty())
        return at;
    newBytes += bytes;
    if (!pieces.empty() && pieces.back().isNew)
        pieces.back().size += quint64(bytes.size());
    else
        pieces.push_back({quint64(at), quint64(bytes.size()), true});
    return at;
}

RepairPlanner::~RepairPlanner() = default;

} // namespace quenlofar

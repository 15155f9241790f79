#include "indexedsizes.h"

#include "avilayout.h"

#include <algorithm>

namespace quenlofar {

IndexedSizes::IndexedSizes(const AviLayout &file)
{
    for (const AviIrregularEntry &entry : file.irregularEntries) {
        if ((entry.what & SizeDiffers) == 0)
            continue;
        const bool isLegacy = file.indexes[entry.index].kind == AviIndexKind::Legacy;
        const quint64 header = isLegacy ? entry.target : entry.target - 8; // standard indexes point at the data
        m_sizes.emplace_back(header, entry.size);
    }
    std::sort(m_sizes.begin(), m_sizes.end());
}

std::optional<quint32> IndexedSizes::sizeOf(quint64 header, quint64 end) const
{
    for (auto each = std::lower_bound(m_sizes.begin(), m_sizes.end(), std::pair<quint64, quint32>(header, 0));
         each != m_sizes.end() && each->first == header; ++each) {
        if (header + 8 + each->second + each->second % 2 == end)
            return each->second;
    }
    return {};
}

} // namespace quenlofar

#pragma once

#include <QtGlobal>

#include <optional>
#include <utility>
#include <vector>

namespace quenlofar {

class AviLayout;

/// What indexes say of chunks whose own size is another: where a chunk is damaged, its index may still know better.
class IndexedSizes
{
public:
    /// Linear in the irregular entries of the file, and their sorting.
    explicit IndexedSizes(const AviLayout &file);

    /// The bytes of data that an index gives to the chunk whose header stands at `header`, where the chunk ends exactly
    /// at `end` with them and their padding; nothing where no index says so.
    std::optional<quint32> sizeOf(quint64 header, quint64 end) const;

private:
    std::vector<std::pair<quint64, quint32>> m_sizes; // by the offset of the header
};

} // namespace quenlofar

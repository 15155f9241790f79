#pragma once

#include <QtGlobal>

namespace quenlofar {

/// Bytes that lie side by side.
struct ByteRange
{
    quint64 offset = 0; ///< first byte, from the start of the file
    quint64 size = 0; ///< bytes

    /// The first byte behind it.
    constexpr quint64 end() const { return offset + size; }
    /// True for equal offset and size.
    constexpr bool operator==(const ByteRange &other) const { return offset == other.offset && size == other.size; }
    /// Other bytes.
    constexpr bool operator!=(const ByteRange &other) const { return !(*this == other); }
};

} // namespace quenlofar

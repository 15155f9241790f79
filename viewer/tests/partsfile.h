#pragma once

#include "testsources.h"

namespace quenlofar {

/// Parts of the made-up file; the byte at `offset` is offset % 251.
inline constexpr int parts = 3000;
inline constexpr quint64 partSize = 20;

/// What the leaf "bytes" of a part says.
inline int byteOfPart(int part)
{
    return int((16 + partSize * quint64(part)) % 251);
}

/// Parts for which `holds` does, by their leaves' bytes.
template <typename Holds> int partsWhere(Holds holds)
{
    int count = 0;
    for (int part = 0; part < parts; ++part)
        count += holds(byteOfPart(part)) ? 1 : 0;
    return count;
}

inline DocumentOptions partsOptions()
{
    return optionsFor(makeFile(16 + parts * qint64(partSize)), parts, partSize);
}

} // namespace quenlofar

#include "payloaddif.h"

namespace quenlofar {

DvSystem readDvSystem(PayloadBytes bytes)
{
    // A DIF block: three bytes of identification (section type in the three highest bits, 0 for a header; sequence;
    // number of the block), then the header's own bytes, of which the highest bit of the first one is DSF.
    if (bytes.size < 8 || bytes[0] >> 5 != 0 || bytes[1] >> 4 != 0 || bytes[2] != 0)
        return DvSystem::Unknown;
    constexpr quint8 system = 0x80; // DSF
    constexpr quint8 zeroBit = 0x40; // always 0 behind DSF
    const quint8 flags = bytes[3];
    if ((flags & zeroBit) != 0 || (bytes[0] == 0 && flags == 0)) // the second: nothing but zero bytes
        return DvSystem::Unknown;
    return (flags & system) != 0 ? DvSystem::Lines625 : DvSystem::Lines525;
}

} // namespace quenlofar

#pragma once

#include "payloadbits.h"

namespace quenlofar {

/// The system of a DV frame.
enum class DvSystem : quint8 {
    Unknown, ///< the payload does not begin with a header block
    Lines525, ///< 525 lines, 60 fields a second (60 / 1.001)
    Lines625, ///< 625 lines, 50 fields a second
};

/// Reads the header block that a frame begins with (IEC 61834-2; SMPTE 314M): its DSF bit says the system.
DvSystem readDvSystem(PayloadBytes bytes);

} // namespace quenlofar

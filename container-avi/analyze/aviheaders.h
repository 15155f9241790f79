#pragma once

#include "avilayout.h"
#include "filedevice.h"

namespace quenlofar {

/// The second step of reading: the bytes of avih, dmlh and of the streams' headers, and what they say of packets.
void readHeaders(FileDevice &file, AviLayout &layout);

} // namespace quenlofar

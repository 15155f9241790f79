#pragma once

#include "payloadbits.h"

namespace quenlofar {

/// What the headers of an MPEG-4 Visual chunk say (ISO/IEC 14496-2).
struct Mpeg4Headers
{
    bool hasLayer = false; ///< a video object layer header (VOL) is there
    CodedSize size; ///< of a rectangular one
    /// Of the first video object plane (VOP): Key for an I-VOP, otherwise Dependent. A packed chunk has more than one;
    /// the first is the one that is shown with the chunk. Unknown for one that is not coded: encoders that pack frames
    /// leave such a one, which shows the frame before it again, of whatever type, where the packed frame was.
    FrameStart start = FrameStart::Unknown;
};

/// Reads headers up to the first VOP. Bytes behind the end of `bytes` count as none. `*timeBits` is the width of a time
/// in each VOP, as the latest VOL of the stream said it: 0 before the first one, when a VOP counts as coded.
Mpeg4Headers readMpeg4Headers(PayloadBytes bytes, int *timeBits);

} // namespace quenlofar

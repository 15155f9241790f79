#pragma once

#include "payloadbits.h"

namespace quenlofar {

/// How the NAL units of a stream follow one another.
struct H264Framing
{
    /// Bytes of the length before each unit, 1 to 4; 0 for start codes (Annex B).
    int lengthSize = 0;
    /// The format has a decoder configuration record (avcC), so lengths are what is expected.
    bool isStated = false;
};

/// What the first NAL units of an H.264 chunk say (ITU-T H.264).
struct H264Headers
{
    bool hasSequence = false; ///< a sequence parameter set (SPS) is there
    CodedSize size; ///< of its pictures, after cropping
    /// Of the first slice: Key for an IDR picture or one with a recovery point, Intra for another I slice.
    FrameStart start = FrameStart::Unknown;
    /// A recovery point says that pictures are right from here on; otherwise only some frames later.
    bool recoversAtOnce = true;
};

/// Reads NAL units up to the first slice from the first bytes of a chunk of `whole` bytes. What does not fit the
/// framing is read by the other one, where that fits.
H264Headers readH264Headers(PayloadBytes bytes, size_t whole, const H264Framing &framing);

/// Reads what stands behind BITMAPINFOHEADER: an avcC record (ISO/IEC 14496-15), or units with start codes. `*framing`
/// says which.
H264Headers readH264Setup(PayloadBytes extra, H264Framing *framing);

/// The size that the bytes of a sequence parameter set, behind the byte of its type, state; not known where they end
/// early or contradict themselves.
CodedSize readSequenceSize(PayloadBytes bytes);

} // namespace quenlofar

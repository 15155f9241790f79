#pragma once

#include "avirecords.h"

#include <QString>

namespace quenlofar {

/// What the data of a stream is, as far as rules treat it differently.
enum class AviCodec : quint8 {
    Unknown, ///< none of the following, or nothing says which
    // Video
    RawRgb, ///< rows of RGB pixels or palette entries (BITMAPINFOHEADER, BI_RGB or BI_BITFIELDS)
    RawYuv, ///< raw pictures of another layout
    RunLength, ///< BI_RLE8, BI_RLE4
    IntraOnly, ///< another codec of which every frame stands alone
    MotionJpeg,
    Dv,
    Mpeg4, ///< MPEG-4 Visual
    H264,
    Subtitle, ///< pictures of subtitles that state their own times (XSUB)
    // Audio
    Pcm, ///< integers or floating point numbers
    Mp2, ///< MPEG audio, layer 1 or 2
    Mp3,
    Ac3,
    Aac,
};

/// The codec of a video stream by its biCompression, of an audio stream by its format tag. `iavs` is Dv.
AviCodec codecOf(const AviStream &stream);

/// Every frame of the codec stands alone.
bool isIntraOnly(AviCodec codec);
/// The bytes of a frame of raw RGB, rows padded to four bytes; 0 where the format does not say it, or says too much.
quint64 rawRgbFrameSize(const AviStream &stream);
/// The bytes of a frame of any raw format that is known; 0 for others.
quint64 rawFrameSize(const AviStream &stream);

/// What people call the codec: "XVID", "MP3", "audio format 0x0161"; empty for other kinds of streams.
QString codecText(const AviStream &stream);

} // namespace quenlofar

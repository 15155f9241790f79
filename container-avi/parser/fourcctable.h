#pragma once

#include <QtGlobal>

namespace quenlofar {

/// One row of a table of four-character codes. A table ends with a row whose codecId is 0.
struct FourCCRow
{
    qint32 codecId; ///< number of libavcodec's codec enumeration as it stood in 2012-2013
    quint32 tag; ///< the four bytes in file order, read as a little-endian number
};

/// One row of a table of codec names. A table ends with a row whose codecId is 0.
struct CodecNameRow
{
    char text[20]; ///< ASCII, ended by a zero byte inside the array
    qint32 codecId;
};

/// The tag of four characters: fourCC("H264") is 0x34363248.
constexpr quint32 fourCC(const char (&text)[5])
{
    quint32 tag = 0;
    for (int i = 3; i >= 0; --i)
        tag = (tag << 8) | static_cast<unsigned char>(text[i]);
    return tag;
}

constexpr int videoCodecCount = 295;

/// Which codec a video format's biCompression names. Where a tag stands twice, its first row counts.
extern const FourCCRow videoCodecs[videoCodecCount + 1];

} // namespace quenlofar

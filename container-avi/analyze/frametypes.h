#pragma once

#include "avicodecs.h"
#include "avilayout.h"
#include "payloadh264.h"

#include <QByteArray>

#include <vector>

namespace quenlofar {

class FileDevice;

/// Says of frames whether decoding can begin there, by what their data says; reads the first bytes of each.
class FrameTypes
{
public:
    /// For the streams of `layout`, read from `file`; both outlive the object.
    FrameTypes(const AviLayout &layout, FileDevice &file);

    /// Yes or No for audio, for codecs of which every frame stands alone, for MPEG-4 Visual and H.264; Unknown for
    /// others, and where the bytes say nothing. An empty frame of video is No.
    KeyState typeOf(const Packet &packet);

private:
    struct Stream
    {
        AviCodec codec = AviCodec::Unknown;
        bool standsAlone = false; // every frame does
        int timeBits = 0; // see readMpeg4Headers
        H264Framing framing;
    };

    const AviLayout &m_layout;
    FileDevice &m_file;
    std::vector<Stream> m_streams;
    QByteArray m_bytes; // of the latest packet
};

} // namespace quenlofar

#include "frametypes.h"

#include "filedevice.h"
#include "indexrules.h"
#include "payloadmpeg4.h"

#include <algorithm>

namespace quenlofar {

namespace {

constexpr quint32 videoHeaderSize = 40; // BITMAPINFOHEADER; what a decoder is set up with stands behind it
constexpr int readBytes = 4096; // headers before a frame's first slice or plane are shorter, as a rule by far

KeyState keyState(FrameStart start)
{
    return start == FrameStart::Unknown ? KeyState::Unknown : start == FrameStart::Key ? KeyState::Yes : KeyState::No;
}

} // namespace

FrameTypes::FrameTypes(const AviLayout &layout, FileDevice &file)
    : m_layout(layout), m_file(file), m_streams(layout.streams.size())
{
    for (size_t number = 0; number < m_streams.size(); ++number) {
        const AviStream &stream = layout.streams[number];
        Stream &facts = m_streams[number];
        facts.codec = codecOf(stream);
        facts.standsAlone = stream.kind == StreamKind::Audio || stream.kind == StreamKind::Mixed
            || (stream.kind == StreamKind::Video && (isIntraOnly(facts.codec) || hasFramesAlone(stream.compression)));
        const QByteArray &format = stream.format.bytes;
        const PayloadBytes setup = PayloadBytes{format.constData(), size_t(format.size())}.from(videoHeaderSize);
        if (facts.codec == AviCodec::Mpeg4)
            readMpeg4Headers(setup, &facts.timeBits);
        else if (facts.codec == AviCodec::H264)
            readH264Setup(setup, &facts.framing);
    }
}

KeyState FrameTypes::typeOf(const Packet &packet)
{
    if (packet.stream >= m_streams.size())
        return KeyState::Unknown;
    Stream &facts = m_streams[packet.stream];
    const bool isVideo = m_layout.streams[packet.stream].kind == StreamKind::Video;
    if (packet.isEmpty() && isVideo)
        return KeyState::No;
    if (facts.standsAlone)
        return KeyState::Yes;
    if (facts.codec != AviCodec::Mpeg4 && facts.codec != AviCodec::H264)
        return KeyState::Unknown;
    m_bytes.resize(int(std::min<quint32>(packet.size, readBytes)));
    m_file.seek(qint64(packet.offset));
    const qint64 came = m_file.read(m_bytes.data(), m_bytes.size());
    const PayloadBytes bytes{m_bytes.constData(), size_t(std::max<qint64>(came, 0))};
    if (facts.codec == AviCodec::Mpeg4)
        return keyState(readMpeg4Headers(bytes, &facts.timeBits).start);
    return keyState(readH264Headers(bytes, packet.size, facts.framing).start);
}

} // namespace quenlofar

#include "payloadpass.h"

#include <algorithm>
#include <cstring>

namespace quenlofar {

namespace {

/// Packets from one look at the cancel flag to the next.
constexpr quint64 cancelInterval = 1024;
/// How far the next packet of a stream is looked for.
constexpr quint64 nearPackets = 16;
/// After a jump this much is read; more while reading goes on forwards.
constexpr size_t smallestFill = 65536;
/// Shorter holes are read.
constexpr quint64 leastHole = 65536;
/// What is passed over counts as reading on: it costs less than to begin small again.
constexpr quint64 sequentialSkip = 65536;

/// A stream whose bytes mean something that could be read, but is not.
bool hasUnreadPayload(const AviLayout &layout, const AviStream &stream)
{
    constexpr PayloadCheck readers[] = {PayloadCheck::Mp3Header, PayloadCheck::DvSystem, PayloadCheck::CodedSize};
    const AviCodec codec = codecOf(stream);
    const bool isPlain = codec == AviCodec::RawRgb || codec == AviCodec::RawYuv || codec == AviCodec::Pcm;
    return !isPlain && std::none_of(std::begin(readers), std::end(readers), [&layout, &stream](PayloadCheck check) {
        return isPayloadChecked(check, layout, stream);
    });
}

} // namespace

void PayloadPass::read()
{
    if (m_isStarted)
        return;
    m_isStarted = true;
    for (size_t number = 0; number < m_layout.streams.size(); ++number)
        m_streams.push_back(PayloadStream::create(m_layout, int(number)));
    m_buffer.reset(new char[pieceSize]);
    m_isComplete = readPackets();
    if (m_isComplete)
        m_readUpTo = m_layout.readUpTo;
    m_buffer.reset();
    for (const std::unique_ptr<PayloadStream> &stream : m_streams) {
        if (stream)
            stream->finish();
    }
}

/// False where it ended early, at m_readUpTo.
bool PayloadPass::readPackets()
{
    const PacketTable &packets = m_layout.packets;
    for (quint64 index = 0; index < packets.size(); ++index) {
        const Packet packet = packets.at(index);
        m_readUpTo = packet.offset;
        if (index % cancelInterval == 0 && m_cancel && m_cancel->load(std::memory_order_relaxed))
            return false;
        PayloadStream *stream = packet.stream < m_streams.size() ? m_streams[packet.stream].get() : nullptr;
        if (stream && packet.isPalette)
            stream->changePalette();
        if (!stream || packet.isEmpty() || packet.isPalette)
            continue;
        if (!readPacket(*stream, packet, sizeOfNext(index)))
            return false;
    }
    return true;
}

/// Bytes of the next packet of the same stream that is not empty and no palette; 0 where it is not near.
quint32 PayloadPass::sizeOfNext(quint64 index) const
{
    const PacketTable &packets = m_layout.packets;
    const quint64 end = std::min(index + nearPackets, packets.size());
    const quint8 stream = packets.at(index).stream;
    for (quint64 next = index + 1; next < end; ++next) {
        const Packet packet = packets.at(next);
        if (packet.stream == stream && !packet.isEmpty() && !packet.isPalette)
            return packet.size;
    }
    return 0;
}

bool PayloadPass::readPacket(PayloadStream &stream, const Packet &packet, quint32 sizeOfNext)
{
    stream.begin(packet, sizeOfNext);
    for (quint64 at = 0; at < packet.size;) {
        const quint64 offset = packet.offset + at;
        const quint64 zeros = at > 0 ? zerosAt(offset, packet.size - at) : 0;
        if (zeros > 0) {
            if (!passZeros(offset, zeros))
                return false;
            stream.feedZeros(zeros, offset);
            at += zeros;
            continue;
        }
        const size_t wanted = size_t(std::min<quint64>(packet.size - at, pieceSize));
        const PayloadBytes bytes = bytesAt(offset, wanted);
        if (bytes.size == 0 || (bytes.size < wanted && zerosAt(offset + bytes.size, packet.size) == 0)) {
            m_readUpTo = offset;
            return false;
        }
        stream.feed(bytes, offset);
        at += bytes.size;
    }
    stream.end();
    return true;
}

/// How many of the `most` bytes from `offset` on are known to be zero; all, or a multiple of PayloadHash::block.
quint64 PayloadPass::zerosAt(quint64 offset, quint64 most) const
{
    if (offset < m_hole.offset || offset >= m_hole.end())
        return 0;
    const quint64 count = std::min(most, m_hole.end() - offset);
    return count == most ? count : count - count % PayloadHash::block;
}

bool PayloadPass::passZeros(quint64 offset, quint64 count)
{
    m_file.seek(qint64(offset));
    if (m_file.passZeros(qint64(count)))
        return true;
    m_readUpTo = offset;
    return false;
}

/// `wanted` bytes from `offset` on, at most pieceSize; fewer where zerosAt() knows those that follow, or where they
/// cannot be read. Valid until the next call.
PayloadBytes PayloadPass::bytesAt(quint64 offset, size_t wanted)
{
    const quint64 end = m_begin + m_held;
    if (offset >= m_begin && offset + wanted <= end)
        return {m_buffer.get() + (offset - m_begin), wanted};

    size_t kept = 0;
    if (offset >= m_begin && offset < end) {
        kept = size_t(end - offset);
        std::memmove(m_buffer.get(), m_buffer.get() + (offset - m_begin), kept);
    } else if (offset < m_begin || offset - end > sequentialSkip) {
        m_fill = 0;
    }
    m_begin = offset;
    m_held = kept;
    fill(wanted);
    return {m_buffer.get(), std::min(wanted, m_held)};
}

/// Appends bytes of the file until `wanted` are held, and some more. Fewer where a hole follows, which zerosAt() knows
/// then, and where they cannot be read.
void PayloadPass::fill(size_t wanted)
{
    m_file.seek(qint64(m_begin + m_held));
    bool isShort = false;
    while (m_held < wanted && !isShort) {
        m_fill = std::clamp(2 * m_fill, smallestFill, pieceSize);
        const size_t count = std::min(m_fill, pieceSize - m_held);
        const auto came = size_t(m_file.read(m_buffer.get() + m_held, qint64(count)));
        m_held += came;
        // Zeros are often followed by more of them, which a sparse file has not to be asked for.
        isShort = came < count || (m_buffer[m_held - 1] == 0 && findHole());
    }
}

/// Whether a hole follows what is held, long enough to be of use: up to there pieces are filled up with its zeros.
bool PayloadPass::findHole()
{
    const quint64 size = quint64(m_file.holeSize());
    if (size < leastHole)
        return false;
    const size_t missing = (PayloadHash::block - m_held % PayloadHash::block) % PayloadHash::block;
    std::memset(m_buffer.get() + m_held, 0, missing);
    m_held += missing;
    m_hole = {m_begin + m_held, size - missing};
    return true;
}

const PayloadHits &PayloadPass::hits(PayloadCheck check, int stream) const
{
    static const PayloadHits none;
    return size_t(stream) < m_streams.size() && m_streams[size_t(stream)] ? m_streams[size_t(stream)]->hits(check)
                                                                          : none;
}

QStringList payloadNotChecked(const AviLayout &layout, Level level)
{
    QStringList texts;
    for (size_t number = 0; number < layout.streams.size(); ++number) {
        const AviStream &stream = layout.streams[number];
        const QString codec =
            stream.format.exists() || stream.kind == StreamKind::Mixed ? codecText(stream) : QString();
        const bool isEmpty = layout.isWalked && layout.packets.totals(int(number)).count == 0;
        if (codec.isEmpty() || isEmpty || codecOf(stream) == AviCodec::Pcm)
            continue;
        QString text;
        if (hasUnreadPayload(layout, stream))
            text = QStringLiteral("payload of %1 not checked: it has no reader").arg(codec);
        else if (level < Level::Deep && rawFrameSize(stream) == 0)
            text = QStringLiteral("payload of %1 not checked at this level").arg(codec);
        if (!text.isEmpty() && !texts.contains(text))
            texts.append(text);
    }
    return texts;
}

} // namespace quenlofar

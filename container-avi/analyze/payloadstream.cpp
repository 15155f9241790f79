#include "payloadstream.h"

#include <algorithm>
#include <cstdlib>

namespace quenlofar {

namespace {

constexpr quint32 macroblock = 16; // pixels

/// Whether one number is the other, rounded up to whole macroblocks.
bool isRounded(quint32 one, quint32 other)
{
    const quint32 less = std::min(one, other);
    const quint32 more = std::max(one, other);
    return more - less < macroblock && (less == more || (more % macroblock == 0));
}

QString sizeText(quint32 width, quint32 height)
{
    return QStringLiteral("%1 by %2").arg(width).arg(height);
}

} // namespace

bool isPayloadChecked(PayloadCheck check, const AviLayout &layout, const AviStream &stream)
{
    const AviCodec codec = codecOf(stream);
    const bool hasFrames = stream.kind == StreamKind::Video || stream.kind == StreamKind::Mixed;
    const bool isPredicted = codec == AviCodec::Mpeg4 || codec == AviCodec::H264;
    switch (check) {
    case PayloadCheck::Mp3ChunkStart:
        return codec == AviCodec::Mp3 && stream.sampleSize == 0;
    case PayloadCheck::Mp3Header:
        return codec == AviCodec::Mp3;
    case PayloadCheck::Mp3BitRate:
        return codec == AviCodec::Mp3 && stream.sampleSize != 0;
    case PayloadCheck::KeyFlag:
        return hasFrames && (isPredicted || isIntraOnly(codec)) && !layout.legacyIndexes.empty();
    case PayloadCheck::ZeroHole:
        return isPredicted || codec == AviCodec::MotionJpeg || codec == AviCodec::Mp3;
    case PayloadCheck::DvSystem:
        return codec == AviCodec::Dv;
    case PayloadCheck::JpegMarkers:
        return codec == AviCodec::MotionJpeg;
    case PayloadCheck::CodedSize:
        return isPredicted || codec == AviCodec::MotionJpeg;
    case PayloadCheck::CodedStart:
        return isPredicted;
    case PayloadCheck::Duplicates:
        return hasFrames && codec != AviCodec::Subtitle;
    }
    return false;
}

PayloadStream::PayloadStream(const AviLayout &layout, int number)
    : m_layout(layout), m_stream(layout.streams[size_t(number)]), m_number(number), m_codec(codecOf(m_stream))
{
    for (size_t check = 0; check < payloadCheckCount; ++check)
        m_checks[check] = isPayloadChecked(PayloadCheck(check), layout, m_stream);
}

PayloadStream::~PayloadStream() = default;

void PayloadStream::begin(const Packet &packet, quint32 sizeOfNext)
{
    m_packet = packet;
    m_isFirstPiece = true;
    m_start = isIntraOnly(m_codec) ? FrameStart::Key : FrameStart::Unknown;
    m_isStartCertain = true;
    m_zeros.begin();
    m_isHashed = checks(PayloadCheck::Duplicates)
        && (packet.size == m_previousSize || packet.size == sizeOfNext || sizeOfNext == 0);
    m_hash.begin();
}

void PayloadStream::feed(PayloadBytes bytes, quint64 offset)
{
    if (m_isFirstPiece)
        readFirst(bytes);
    m_isFirstPiece = false;
    readPiece(bytes, offset);
    if (m_isHashed)
        m_hash.feed(bytes);
}

void PayloadStream::feedZeros(quint64 count, quint64 offset)
{
    readZeros(count, offset);
    if (m_isHashed)
        m_hash.feedZeros(count);
}

void PayloadStream::readZeros(quint64 count, quint64 offset)
{
    static const std::array<char, 16384> zeros = {};
    for (quint64 at = 0; at < count; at += zeros.size())
        readPiece({zeros.data(), size_t(std::min<quint64>(count - at, zeros.size()))}, offset + at);
}

void PayloadStream::end()
{
    readEnd();
    if (checks(PayloadCheck::KeyFlag))
        checkKeyFlag();
    if (checks(PayloadCheck::Duplicates))
        checkDuplicate();
}

void PayloadStream::finish()
{
    readFinish();
    // Of several frames that state a size: where all of them differ from the format, the format is wrong.
    constexpr quint32 sizeOffset = 4; // of biWidth; biHeight follows
    blame(PayloadCheck::CodedSize, m_sized, m_stream.format.field(sizeOffset, 8));
    if (m_longestRun > 0)
        m_hits[size_t(PayloadCheck::Duplicates)].actual =
            QStringLiteral("up to %1 like frames in a row").arg(m_longestRun + 1);
}

bool PayloadStream::hit(PayloadCheck check, const ByteRange &place)
{
    PayloadHits &hits = m_hits[size_t(check)];
    const bool isFirst = hits.places.count == 0;
    if (isFirst)
        hits.packet = m_packet.range();
    hits.places.add(place);
    return isFirst;
}

void PayloadStream::hit(PayloadCheck check, const ByteRange &place, const QString &expected, const QString &actual)
{
    if (!hit(check, place))
        return;
    m_hits[size_t(check)].expected = expected;
    m_hits[size_t(check)].actual = actual;
}

void PayloadStream::blame(PayloadCheck check, quint64 checked, const ByteRange &claim)
{
    PayloadHits &hits = m_hits[size_t(check)];
    if (hits.places.count == 0 || hits.places.count < checked)
        return;
    hits.places = {};
    hits.places.add(claim);
    hits.expected.swap(hits.actual);
}

void PayloadStream::addZeroHole(const ByteRange &run)
{
    if (hit(PayloadCheck::ZeroHole, run)) {
        PayloadHits &hits = m_hits[size_t(PayloadCheck::ZeroHole)];
        hits.expected = QStringLiteral("fewer than %1 zero bytes in a row").arg(ZeroRuns::least);
        hits.actual = QStringLiteral("%1 zero bytes").arg(run.size);
    }
}

void PayloadStream::addCodedSize(const CodedSize &size, bool mayBeField)
{
    const quint32 width = quint32(std::max(m_stream.width, 0));
    const quint32 height = quint32(std::abs(qint64(m_stream.height)));
    if (!size.isKnown() || width == 0 || height == 0)
        return;
    ++m_sized;
    const bool isField = mayBeField && isRounded(size.height, (height + 1) / 2);
    if (isRounded(size.width, width) && (isField || isRounded(size.height, height)))
        return;
    if (hit(PayloadCheck::CodedSize, m_packet.range())) {
        PayloadHits &hits = m_hits[size_t(PayloadCheck::CodedSize)];
        hits.expected = sizeText(width, height);
        hits.actual = sizeText(size.width, size.height);
    }
}

void PayloadStream::setStart(FrameStart start, bool isCertain)
{
    m_start = start;
    m_isStartCertain = isCertain;
}

/// The key flag of idx1 against what the frame says of itself. One that needs no others may be flagged or not.
void PayloadStream::checkKeyFlag()
{
    const bool isListed = (m_packet.knownBy & KnownFromLegacyIndex) != 0 && m_packet.key != KeyState::Unknown;
    const bool isKey = m_start == FrameStart::Key;
    if (!isListed || !m_isStartCertain || (!isKey && m_start != FrameStart::Dependent)
        || isKey == (m_packet.key == KeyState::Yes))
        return;
    // Entries are looked up for as many places as are kept.
    const AviTally &places = hits(PayloadCheck::KeyFlag).places;
    const bool isKept = places.count < places.places.size();
    if (hit(PayloadCheck::KeyFlag, isKept ? legacyEntry() : ByteRange())) {
        PayloadHits &hits = m_hits[size_t(PayloadCheck::KeyFlag)];
        hits.expected = isKey ? QStringLiteral("a key frame") : QStringLiteral("no key frame");
        hits.actual = isKey ? QStringLiteral("no key frame") : QStringLiteral("a key frame");
    }
}

/// The entry of idx1 that points at the packet; the packet's data where none is found.
ByteRange PayloadStream::legacyEntry() const
{
    const AviIndex &index = m_layout.indexes[m_layout.legacyIndexes.front()];
    const ByteRange entries{index.firstEntry, quint64(index.entryCount) * index.entrySize};
    for (const quint64 ordinal : m_layout.references.ordinalsTo({m_packet.offset, 1})) {
        const ByteRange place = m_layout.references.at(ordinal).place;
        if (place.offset >= entries.offset && place.offset < entries.end())
            return place;
    }
    return m_packet.range();
}

void PayloadStream::checkDuplicate()
{
    const quint64 hash = m_hash.value();
    const bool isLike = m_previousSize == m_packet.size && m_previousHash == hash;
    m_previousSize = m_packet.size;
    m_previousHash = hash;
    m_run = isLike ? m_run + 1 : 0;
    m_longestRun = std::max(m_longestRun, m_run);
    if (isLike)
        hit(PayloadCheck::Duplicates, m_packet.range(), QStringLiteral("each frame another"), QString());
}

} // namespace quenlofar

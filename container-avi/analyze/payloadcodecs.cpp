// The streams whose payload has headers that are read: one class for each codec.
#include "payloaddif.h"
#include "payloadh264.h"
#include "payloadjpeg.h"
#include "payloadmpeg4.h"
#include "payloadmpegaudio.h"
#include "payloadstream.h"

#include <cmath>

namespace quenlofar {

namespace {

constexpr quint32 videoHeaderSize = 40; // BITMAPINFOHEADER; what a decoder is set up with stands behind it

PayloadBytes setupBytes(const AviStream &stream)
{
    const QByteArray &bytes = stream.format.bytes;
    return PayloadBytes{bytes.constData(), size_t(bytes.size())}.from(videoHeaderSize);
}

/// A frame of any other codec: compared with the one before.
class PlainStream final : public PayloadStream
{
public:
    PlainStream(const AviLayout &layout, int number) : PayloadStream(layout, number) { }

private:
    void readZeros(quint64, quint64) override { }
};

/// MPEG-4 Visual and H.264: a codec that needs a header before the first frame, here or in the format.
class PredictedStream : public PayloadStream
{
protected:
    PredictedStream(const AviLayout &layout, int number, const char *setupName)
        : PayloadStream(layout, number), m_setupName(setupName)
    {
    }

    void readPiece(PayloadBytes bytes, quint64 offset) override
    {
        findZeros(bytes, offset, [](const ByteRange &, size_t) { return false; });
    }
    void readZeros(quint64 count, quint64) override { countZeros(count); }
    void readEnd() override
    {
        endZeros([](const ByteRange &, size_t) { return false; });
    }
    void addFrame(bool hasSetup, const CodedSize &size, FrameStart start)
    {
        m_hasSetup = m_hasSetup || hasSetup;
        addCodedSize(size, false);
        if (start == FrameStart::Unknown || m_hasFrame)
            return;
        m_hasFrame = true;
        if (start == FrameStart::Dependent)
            hit(PayloadCheck::CodedStart, packet().range(), QStringLiteral("a frame that needs no others"),
                QStringLiteral("a frame that needs others"));
        else if (!m_hasSetup)
            hit(PayloadCheck::CodedStart, packet().range(), QLatin1String(m_setupName),
                QStringLiteral("no %1").arg(QLatin1String(m_setupName)));
    }
    void setSetup(bool hasSetup, const CodedSize &size)
    {
        m_hasSetup = hasSetup;
        m_setupSize = size;
    }

private:
    void readFinish() override
    {
        if (m_hasFrame && !hasCodedSize())
            addCodedSize(m_setupSize, false);
    }

    const char *const m_setupName;
    CodedSize m_setupSize; // as the format states it
    bool m_hasSetup = false;
    bool m_hasFrame = false;
};

class Mpeg4Stream final : public PredictedStream
{
public:
    Mpeg4Stream(const AviLayout &layout, int number) : PredictedStream(layout, number, "VOL header")
    {
        const Mpeg4Headers headers = readMpeg4Headers(setupBytes(stream()), &m_timeBits);
        setSetup(headers.hasLayer, headers.size);
    }

private:
    void readFirst(PayloadBytes bytes) override
    {
        constexpr size_t mostHeaders = 65536;
        const Mpeg4Headers headers = readMpeg4Headers(bytes.first(mostHeaders), &m_timeBits);
        setStart(headers.start);
        addFrame(headers.hasLayer, headers.size, headers.start);
    }

    int m_timeBits = 0;
};

class H264Stream final : public PredictedStream
{
public:
    H264Stream(const AviLayout &layout, int number) : PredictedStream(layout, number, "sequence parameter set")
    {
        const H264Headers headers = readH264Setup(setupBytes(stream()), &m_framing);
        setSetup(headers.hasSequence, headers.size);
    }

private:
    void readFirst(PayloadBytes bytes) override
    {
        constexpr size_t mostHeaders = 65536;
        const H264Headers headers = readH264Headers(bytes.first(mostHeaders), packet().size, m_framing);
        setStart(headers.start, headers.recoversAtOnce);
        addFrame(headers.hasSequence, headers.size, headers.start);
    }

    H264Framing m_framing;
};

class JpegStream final : public PayloadStream
{
public:
    JpegStream(const AviLayout &layout, int number) : PayloadStream(layout, number) { }

private:
    void readFirst(PayloadBytes bytes) override
    {
        const JpegHeaders headers = readJpegHeaders(bytes);
        m_hasStart = headers.hasStart;
        m_flatBytes = headers.flatBytes;
        m_end = {};
        addCodedSize(headers.size, true);
    }
    void readPiece(PayloadBytes bytes, quint64 offset) override
    {
        size_t fed = 0; // what stands before a run of zero bytes says what these are
        findZeros(bytes, offset, [this, bytes, &fed](const ByteRange &run, size_t at) {
            m_end.feed(bytes.from(fed).first(at - fed));
            fed = at;
            return mayBeZero(run);
        });
        const size_t zeros = zerosAtEnd(bytes);
        m_end.feed(bytes.from(fed).first(bytes.size - zeros - fed));
        m_end.feedZeros(zeros);
    }
    void readZeros(quint64 count, quint64) override
    {
        countZeros(count);
        m_end.feedZeros(count);
    }
    void readEnd() override
    {
        endZeros([this](const ByteRange &run, size_t) { return mayBeZero(run); });
        if (packet().isCut || (m_hasStart && m_end.isComplete()))
            return;
        hit(PayloadCheck::JpegMarkers, packet().range(),
            m_hasStart ? QStringLiteral("EOI at its end") : QStringLiteral("SOI at its beginning"),
            m_hasStart ? QStringLiteral("no EOI") : QStringLiteral("no SOI"));
    }
    /// Behind the picture's end zero bytes are padding; within it they may be an area of one colour.
    bool mayBeZero(const ByteRange &run)
    {
        if (m_end.isComplete())
            return true;
        const bool isFlat = run.size <= m_flatBytes;
        m_flatBytes -= isFlat ? run.size : 0;
        return isFlat;
    }

    JpegEnd m_end;
    bool m_hasStart = false;
    quint64 m_flatBytes = 0;
};

class DvStream final : public PayloadStream
{
public:
    DvStream(const AviLayout &layout, int number) : PayloadStream(layout, number) { }

private:
    void readFirst(PayloadBytes bytes) override
    {
        const DvSystem system = readDvSystem(bytes);
        if (system == DvSystem::Unknown || stream().scale == 0 || stream().rate == 0)
            return;
        ++m_checked;
        // The higher rates of DVCPRO HD are twice these.
        const double rate = double(stream().rate) / stream().scale;
        const double usual = system == DvSystem::Lines625 ? 25.0 : 30000.0 / 1001.0;
        constexpr double tolerance = 0.005; // writers round 29.97 to 30
        for (const double each : {usual, 2 * usual}) {
            if (std::abs(rate - each) <= tolerance * each)
                return;
        }
        hit(PayloadCheck::DvSystem, packet().range(), QStringLiteral("%1 frames per second").arg(rate, 0, 'f', 2),
            system == DvSystem::Lines625 ? QStringLiteral("25 frames per second")
                                         : QStringLiteral("29.97 frames per second"));
    }
    void readFinish() override
    {
        constexpr quint32 scaleOffset = 20; // of dwScale in strh; dwRate follows
        blame(PayloadCheck::DvSystem, m_checked, stream().header.field(scaleOffset, 8));
    }

    quint64 m_checked = 0;
};

class Mp3Stream final : public PayloadStream
{
public:
    Mp3Stream(const AviLayout &layout, int number) : PayloadStream(layout, number) { }

private:
    void readFirst(PayloadBytes bytes) override
    {
        m_frames.beginChunk(stream().sampleSize != 0);
        MpegAudioHeader header;
        const bool isFrame =
            bytes.size >= 4 && readMpegAudioHeader(quint32(bytes.word(0)) << 16 | bytes.word(2), &header);
        if (checks(PayloadCheck::Mp3ChunkStart) && !isFrame)
            hit(PayloadCheck::Mp3ChunkStart, packet().range(), QStringLiteral("the header of a frame"),
                QStringLiteral("other bytes"));
    }
    void readPiece(PayloadBytes bytes, quint64 offset) override
    {
        for (size_t at = 0; at < bytes.size; at += MpegAudioFrames::mostBytes)
            take(m_frames.feed(bytes.from(at).first(MpegAudioFrames::mostBytes), offset + at));
    }
    void readEnd() override { take(m_frames.endChunk()); }
    void readFinish() override
    {
        constexpr quint32 channelsOffset = 2; // of nChannels in WAVEFORMATEX; nSamplesPerSec follows
        blame(PayloadCheck::Mp3Header, m_checked, stream().format.field(channelsOffset, 6));
    }

    void take(const MpegAudioFrames::Found &found)
    {
        for (const ByteRange &run : found.zeroRuns)
            addZeroHole(run);
        for (const MpegAudioFrames::Found::Frame &frame : found.frames)
            takeFrame(frame.header, {frame.offset, 4});
    }
    void takeFrame(const MpegAudioHeader &header, const ByteRange &place)
    {
        ++m_checked;
        const AviStream &format = stream();
        constexpr quint8 layer = 3;
        if (header.layer != layer || header.channels != format.channels || header.sampleRate != format.sampleRate)
            hit(PayloadCheck::Mp3Header, place, text(layer, format.channels, format.sampleRate),
                text(header.layer, header.channels, header.sampleRate));
        // The first frame may be one of information alone, with a bit rate of its own.
        if (m_checked == 2)
            m_bitRate = header.bitRate;
        const bool isVariable = m_checked > 2 && header.bitRate != m_bitRate;
        if (!checks(PayloadCheck::Mp3BitRate) || !isVariable || hits(PayloadCheck::Mp3BitRate).places.count > 0)
            return;
        constexpr quint32 sampleSizeOffset = 44; // of dwSampleSize in strh
        hit(PayloadCheck::Mp3BitRate, stream().header.field(sampleSizeOffset, 4),
            QStringLiteral("%1 bits per second throughout").arg(m_bitRate),
            QStringLiteral("also %1 bits per second").arg(header.bitRate));
    }
    static QString text(int layer, int channels, quint32 rate)
    {
        return QStringLiteral("layer %1, %2 channels, %3 Hz").arg(layer).arg(channels).arg(rate);
    }

    MpegAudioFrames m_frames;
    quint64 m_checked = 0; // frames
    quint32 m_bitRate = 0;
};

} // namespace

std::unique_ptr<PayloadStream> PayloadStream::create(const AviLayout &layout, int number)
{
    const AviStream &stream = layout.streams[size_t(number)];
    switch (codecOf(stream)) {
    case AviCodec::Mpeg4:
        return std::make_unique<Mpeg4Stream>(layout, number);
    case AviCodec::H264:
        return std::make_unique<H264Stream>(layout, number);
    case AviCodec::MotionJpeg:
        return std::make_unique<JpegStream>(layout, number);
    case AviCodec::Dv:
        return std::make_unique<DvStream>(layout, number);
    case AviCodec::Mp3:
        return std::make_unique<Mp3Stream>(layout, number);
    default:
        if (isPayloadChecked(PayloadCheck::Duplicates, layout, stream))
            return std::make_unique<PlainStream>(layout, number);
        return nullptr;
    }
}

} // namespace quenlofar

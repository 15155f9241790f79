#include "containeravi.h"

#include "fourcctable.h"
#include "timetext.h"

using namespace quenlofar;

namespace {

/// A stream type that the parser knows. Others leave the parser's idea of the current stream as it was.
struct StreamKind
{
    QStringView fccType;
    StreamType type;
    QStringView name;
};
// Source: AVISTREAMHEADER of the AVI RIFF File Reference, fccType.
constexpr StreamKind streamKinds[] = {
    {u"vids", VideoStreamType, videoStreamMeaning},
    {u"auds", AudioStreamType, u"Audio"},
    {u"mids", MidiStreamType, u"MIDI"},
    {u"txts", TextStreamType, u"Subtitles"},
};

/// The kind of a stream header, or null.
const StreamKind *streamKind(const RecordView &strh)
{
    const QString fccType = strh.fourCC(0);
    const auto kind = std::find_if(std::begin(streamKinds), std::end(streamKinds),
                                   [&fccType](const StreamKind &each) { return each.fccType == fccType; });
    return kind == std::end(streamKinds) ? nullptr : kind;
}

QString streamKindText(const RecordView &strh, const FieldRow &)
{
    const StreamKind *const kind = streamKind(strh);
    return kind ? kind->name.toString() : QString();
}

// Source: AVISTREAMHEADER, dwFlags.
QString streamFlagsText(const RecordView &strh, const FieldRow &row)
{
    // Kept: the second name replaces the first: it changes how the stream's data is read, the first only whether a
    // player starts with it.
    const quint64 flags = storedNumber(strh, row);
    if (flags & 0x10000)
        return QStringLiteral("AVISF_VIDEO_PALCHANGES");
    return flags & 0x1 ? QStringLiteral("AVISF_DISABLED") : QString();
}

/// Units per second; infinite or not a number where the scale is 0.
double streamRate(const RecordView &strh)
{
    return double(strh.read<quint32>(24)) / double(strh.read<quint32>(20));
}

QString streamTimeText(const RecordView &strh, const FieldRow &row)
{
    return timeText(double(storedNumber(strh, row)), streamRate(strh));
}

// Source: AVISTREAMHEADER, dwQuality: 0 to 10000, or -1 for the driver's default.
constexpr ValueName qualityNames[] = {
    {0, u"Minimum level"},
    {10000, u"Maximum level"},
    {0xFFFFFFFF, u"Default level"},
};

// clang-format off
// Source: AVISTREAMHEADER of the AVI RIFF File Reference.
constexpr int streamHeaderSize = 56;
constexpr int frameRectOffset = 48;
constexpr FieldRow streamHeaderRows[] = {
    {videoStreamField,          0, FieldKind::FourCC, streamKindText},
    {u"fccHandler",             4, FieldKind::FourCC},
    {u"dwFlags",                8, FieldKind::U32, streamFlagsText},
    {u"wPriority",             12, FieldKind::U16},
    {u"wLanguage",             14, FieldKind::U16},
    {u"dwInitialFrames",       16, FieldKind::U32},
    {u"dwScale",               20, FieldKind::U32},
    {u"dwRate",                24, FieldKind::U32},
    {u"dwStart",               28, FieldKind::U32, streamTimeText},
    {u"dwLength",              32, FieldKind::U32, streamTimeText},
    {u"dwSuggestedBufferSize", 36, FieldKind::U32},
    {u"dwQuality",             40, FieldKind::U32, valueMeaning<qualityNames>},
    {u"dwSampleSize",          44, FieldKind::U32},
};
static_assert(tiles(streamHeaderRows, 0, frameRectOffset), "strh: the rows leave a gap or overlap");

constexpr FieldRow frameRectRows[] = {
    {u"left",   48, FieldKind::I16},
    {u"top",    50, FieldKind::I16},
    {u"right",  52, FieldKind::I16},
    {u"bottom", 54, FieldKind::I16},
};
static_assert(tiles(frameRectRows, frameRectOffset, streamHeaderSize), "strh: the rectangle leaves a gap or overlaps");

// Source: BITMAPINFOHEADER (wingdi.h).
constexpr int bitmapHeaderSize = 40;
constexpr FieldRow bitmapHeaderRows[] = {
    {u"biSize",           0, FieldKind::U32},
    {u"biWidth",          4, FieldKind::I32, nullptr, u"Width of image (in pixels)."},
    {u"biHeight",         8, FieldKind::I32, nullptr, u"Height of image (in pixels)."},
    {u"biPlanes",        12, FieldKind::U16},
    {u"biBitCount",      14, FieldKind::U16, nullptr, u"Color depth of image (in bits)."},
    {u"biCompression",   16, FieldKind::FourCC},
    {u"biSizeImage",     20, FieldKind::U32},
    {u"biXPelsPerMeter", 24, FieldKind::I32},
    {u"biYPelsPerMeter", 28, FieldKind::I32},
    {u"biClrUsed",       32, FieldKind::U32},
    {u"biClrImportant",  36, FieldKind::U32},
};
static_assert(tiles(bitmapHeaderRows, 0, bitmapHeaderSize), "strf, video: the rows leave a gap or overlap");
// clang-format on

constexpr qint32 rawVideoCodec = 14;
constexpr quint32 packedBgr24Format = 3;

} // namespace

// Source: AVISTREAMHEADER of the AVI RIFF File Reference.
int ContainerAVI::parseChunkSTRH(quint64 offset, quint32 size)
{
    char bytes[streamHeaderSize] = {};
    m_file.read(bytes, sizeof bytes);
    const RecordView header(bytes, sizeof bytes);

    // Kept: an unknown kind changes nothing, so the format that follows is read like that of the stream before: a guess
    // that shows more than one opaque leaf would.
    if (const StreamKind *const kind = streamKind(header)) {
        m_streamType = kind->type;
        if (kind->type == VideoStreamType)
            m_videoStreamNumbers.append(m_videoStreamCount++);
    }
    m_timeBase = streamRate(header);

    addRecord(offset, header, streamHeaderRows);
    beginElement(offset + frameRectOffset, streamHeaderSize - frameRectOffset, QStringLiteral("rcFrame"), -1);
    addRecord(offset, header, frameRectRows);
    endElement();
    addUnparsedTail(offset, size, streamHeaderSize);

    if (m_streamType == VideoStreamType && !m_videoStreams.isEmpty())
        m_videoStreams.constLast()->frameRate = m_timeBase;
    return StatusOk;
}

// Source: AVI RIFF File Reference: the format's structure depends on the stream's type.
int ContainerAVI::parseChunkSTRF(quint64 offset, quint32 size)
{
    switch (m_streamType) {
    case AudioStreamType:
        return parseChunkSTRF_audio(offset, size);
    case VideoStreamType:
        return parseChunkSTRF_video(offset, size);
    default:
        addLeaf(offset, size, QStringLiteral("value"), QString());
        return StatusOk;
    }
}

// Source: BITMAPINFOHEADER.
int ContainerAVI::parseChunkSTRF_video(quint64 offset, quint32 size)
{
    // biSize is shown and not obeyed: writers disagree on whether it counts what follows the header.
    char bytes[bitmapHeaderSize] = {};
    m_file.read(bytes, sizeof bytes);
    const RecordView header(bytes, sizeof bytes);
    addRecord(offset, header, bitmapHeaderRows);
    addUnparsedTail(offset, size, bitmapHeaderSize);

    if (m_streamType != VideoStreamType || m_videoStreams.isEmpty())
        return StatusOk;
    VideoStream &stream = *m_videoStreams.constLast();
    stream.width = header.read<quint32>(4);
    stream.height = header.read<quint32>(8);
    const quint32 compression = header.read<quint32>(16);
    if (compression == 0) {
        stream.codecId = rawVideoCodec;
        stream.formatCode = packedBgr24Format;
    } else {
        stream.codecId = getCodecID(videoCodecs, compression);
    }
    return StatusOk;
}

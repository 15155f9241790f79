#include "containeravi.h"

using namespace quenlofar;

namespace {

// Source: AVIMAINHEADER of the AVI RIFF File Reference; the values stand in aviriff.h.
constexpr FlagName mainHeaderFlags[] = {
    {0x00000010, u"AVIF_HASINDEX"},    {0x00000020, u"AVIF_MUSTUSEINDEX"},   {0x00000100, u"AVIF_ISINTERLEAVED"},
    {0x00000800, u"AVIF_TRUSTCKTYPE"}, {0x00010000, u"AVIF_WASCAPTUREFILE"}, {0x00020000, u"AVIF_COPYRIGHTED"},
};

QString frameRateText(const RecordView &avih, const FieldRow &row)
{
    // A duration of 0 gives "inf": shown, not hidden.
    return QStringLiteral("%1 frames/second").arg(1000000.0 / double(storedNumber(avih, row)));
}

QString aspectRatioText(const RecordView &vprp, const FieldRow &row)
{
    const quint64 ratio = storedNumber(vprp, row);
    return QStringLiteral("%1:%2").arg(ratio >> 16).arg(ratio & 0xFFFF);
}

// clang-format off
// Source: AVIMAINHEADER of the AVI RIFF File Reference.
constexpr FieldRow mainHeaderRows[] = {
    {u"dwMicroSecPerFrame",     0, FieldKind::U32, frameRateText},
    {u"dwMaxBytesPerSec",       4, FieldKind::U32},
    {u"dwPaddingGranularity",   8, FieldKind::U32},
    {u"dwFlags",               12, FieldKind::U32, flagsMeaning<mainHeaderFlags>},
    {u"dwTotalFrames",         16, FieldKind::U32},
    {u"dwInitialFrames",       20, FieldKind::U32},
    {u"dwStreams",             24, FieldKind::U32},
    {u"dwSuggestedBufferSize", 28, FieldKind::U32},
    {u"dwWidth",               32, FieldKind::U32},
    {u"dwHeight",              36, FieldKind::U32},
    {u"dwReserved",            40, FieldKind::Words4},
};
static_assert(tiles(mainHeaderRows, 0, sizeof(MainHeader)), "avih: the rows leave a gap or overlap");

// Source: OpenDML AVI File Format Extensions 1.02, the extended AVI header.
constexpr int extendedHeaderSize = 4;
constexpr FieldRow extendedHeaderRows[] = {
    {u"dwTotalFrames", 0, FieldKind::U32},
};
static_assert(tiles(extendedHeaderRows, 0, extendedHeaderSize), "dmlh: the rows leave a gap or overlap");

// Source: OpenDML AVI File Format Extensions 1.02, the video properties header.
constexpr int videoPropertiesSize = 36;
constexpr FieldRow videoPropertiesRows[] = {
    {u"VideoFormatToken",       0, FieldKind::U32},
    {u"VideoStandard",          4, FieldKind::U32},
    {u"dwVerticalRefreshRate",  8, FieldKind::U32},
    {u"dwHTotalInT",           12, FieldKind::U32},
    {u"dwVTotalInLines",       16, FieldKind::U32},
    {u"dwFrameAspectRatio",    20, FieldKind::U32, aspectRatioText},
    {u"dwFrameWidthInPixels",  24, FieldKind::U32},
    {u"dwFrameHeightInLines",  28, FieldKind::U32},
    {u"nbFieldsPerFrame",      32, FieldKind::U32},
};
static_assert(tiles(videoPropertiesRows, 0, videoPropertiesSize), "vprp: the rows leave a gap or overlap");

// Source: OpenDML AVI File Format Extensions 1.02, VIDEO_FIELD_DESC of the video properties header.
constexpr int fieldInfoSize = 32;
constexpr FieldRow fieldInfoRows[] = {
    {u"CompressedBMHeight",    0, FieldKind::U32},
    {u"CompressedBMWidth",     4, FieldKind::U32},
    {u"ValidBMHeight",         8, FieldKind::U32},
    {u"ValidBMWidth",         12, FieldKind::U32},
    {u"ValidBMXOffset",       16, FieldKind::U32},
    {u"ValidBMYOffset",       20, FieldKind::U32},
    {u"VideoXOffsetInT",      24, FieldKind::U32},
    {u"VideoYValidStartLine", 28, FieldKind::U32},
};
static_assert(tiles(fieldInfoRows, 0, fieldInfoSize), "vprp: the rows of a field leave a gap or overlap");
// clang-format on

/// Bytes of dmlh's dwFuture that are shown as text: writers reserve hundreds, nearly always zero.
constexpr quint32 shownFutureBytes = 127;

} // namespace

// Source: AVIMAINHEADER of the AVI RIFF File Reference.
int ContainerAVI::parseChunkAVIH(quint64 offset, quint32 size)
{
    // Not checked on purpose: a short read leaves the rest of the previous header in place, and a chunk that is too
    // short is read as if it went on.
    m_file.read(reinterpret_cast<char *>(&m_mainHeader), sizeof m_mainHeader);
    const RecordView header(&m_mainHeader, sizeof m_mainHeader);

    addRecord(offset, header, mainHeaderRows);
    addUnparsedTail(offset, size, sizeof m_mainHeader);
    return StatusOk;
}

// Source: OpenDML AVI File Format Extensions 1.02, the extended AVI header.
int ContainerAVI::parseChunkDMLH(quint64 offset, quint32 size)
{
    char header[extendedHeaderSize] = {};
    m_file.read(header, sizeof header);
    addRecord(offset, RecordView(header, sizeof header), extendedHeaderRows);

    // Kept: wraps where the chunk is too short for its one field. The leaf then spans nearly 4 GiB: a broken size is
    // shown as one, not smoothed over.
    const quint32 rest = size - quint32(sizeof header);
    if (rest == 0)
        return StatusOk;
    const quint64 futureOffset = offset + sizeof header;
    const qint64 shown = std::min(rest, shownFutureBytes);
    m_file.seek(qint64(futureOffset));
    const QByteArray future = m_file.read(shown);
    if (future.size() != shown)
        return StatusEndOfFile;
    addLeaf(futureOffset, rest, QStringLiteral("dwFuture"), bytesToText(future));
    m_file.seek(qint64(offset));
    return StatusOk;
}

// Source: OpenDML AVI File Format Extensions 1.02, the video properties header.
int ContainerAVI::parseChunkVPRP(quint64 offset, quint32 size)
{
    char header[videoPropertiesSize] = {};
    m_file.read(header, sizeof header);
    const RecordView properties(header, sizeof header);
    addRecord(offset, properties, videoPropertiesRows);

    // Kept: the count alone decides, not the chunk's size, so that fields are shown where the size is what is wrong.
    // The host's bound on elements ends a count that is wrong itself.
    const quint32 fields = properties.read<quint32>(32);
    const QString title = QStringLiteral("FieldFrameInfo");
    quint64 position = offset + videoPropertiesSize;
    for (quint32 number = 0; number < fields; ++number, position += fieldInfoSize) {
        char fieldInfo[fieldInfoSize] = {};
        m_file.seek(qint64(position));
        m_file.read(fieldInfo, sizeof fieldInfo);
        beginElement(position, fieldInfoSize, title, number);
        addRecord(position, RecordView(fieldInfo, sizeof fieldInfo), fieldInfoRows);
        endElement();
    }

    const qint64 rest = qint64(size) - videoPropertiesSize - qint64(fields) * fieldInfoSize;
    if (rest > 0)
        addUnparsed(position, quint64(rest));
    m_file.seek(qint64(offset));
    return StatusOk;
}

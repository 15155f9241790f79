#include "containeravi.h"

#include <QUuid>

#include <memory>
#include <new>

using namespace quenlofar;

namespace {

// Format tags of the wave format header. Source: the registered tags of mmreg.h.
constexpr quint16 pcmFormat = 1;
constexpr quint16 mpegFormat = 0x50;
constexpr quint16 mpegLayer3Format = 0x55;
constexpr quint16 extensibleFormat = 0xFFFE;

constexpr ValueName formatTagNames[] = {
    {pcmFormat, u"WAVE_FORMAT_PCM"},
    {mpegFormat, u"WAVE_FORMAT_MPEG"},
    {mpegLayer3Format, u"WAVE_FORMAT_MPEGLAYER3"},
};

// clang-format off
// Source: WAVEFORMATEX.
constexpr int waveFormatSize = 18; // with both members that only later versions of the header have
constexpr FieldRow waveFormatRows[] = {
    {u"wFormatTag",       0, FieldKind::U16, valueMeaning<formatTagNames>},
    {u"nChannels",        2, FieldKind::U16},
    {u"nSamplesPerSec",   4, FieldKind::U32},
    {u"nAvgBytesPerSec",  8, FieldKind::U32},
    {u"nBlockAlign",     12, FieldKind::U16},
};
constexpr FieldRow bitsPerSampleRows[] = {
    {u"wBitsPerSample",  14, FieldKind::U16},
};
constexpr FieldRow extraSizeRows[] = {
    {u"cbSize",          16, FieldKind::U16},
};
static_assert(tiles(waveFormatRows, 0, 14) && tiles(bitsPerSampleRows, 14, 16)
              && tiles(extraSizeRows, 16, waveFormatSize), "strf, audio: the rows leave a gap or overlap");

// The extra data, counted from its own first byte.

// Source: WAVEFORMATEXTENSIBLE.
constexpr quint16 extensibleExtraSize = 22;
constexpr int subFormatOffset = 6;
constexpr int subFormatSize = 16;
constexpr FieldRow extensibleRows[] = {
    {u"wValidBitsPerSample,wSamplesPerBlock,wReserved", 0, FieldKind::U16},
    {u"dwChannelMask",                                  2, FieldKind::U32},
};
static_assert(tiles(extensibleRows, 0, subFormatOffset) && subFormatOffset + subFormatSize == extensibleExtraSize,
              "strf, extensible audio: the rows leave a gap or overlap");

// Kept: the values are read 14 bytes further on than their leaves stand; what lies past the extra data reads as zero.
// Source: MPEG1WAVEFORMAT.
constexpr quint16 mpegExtraSize = 22;
constexpr FieldRow mpegRows[] = {
    {u"fwHeadLayer",    0, FieldKind::U16, nullptr, {}, 14},
    {u"dwHeadBitrate",  2, FieldKind::U32, nullptr, {}, 16},
    {u"fwHeadMode",     6, FieldKind::U16, nullptr, {}, 20},
    {u"fwHeadModeExt",  8, FieldKind::U16, nullptr, {}, 22},
    {u"wHeadEmphasis", 10, FieldKind::U16, nullptr, {}, 24},
    {u"fwHeadFlags",   12, FieldKind::U16, nullptr, {}, 26},
    {u"dwPTSLow",      14, FieldKind::U32, nullptr, {}, 28},
    {u"dwPTSHigh",     18, FieldKind::U32, nullptr, {}, 32},
};
static_assert(tiles(mpegRows, 0, mpegExtraSize), "strf, MPEG-1 audio: the rows leave a gap or overlap");
// clang-format on

// Source: MPEGLAYER3WAVEFORMAT.
constexpr quint16 mpegLayer3ExtraSize = 12;

/// The sub-format of an extensible format, from the characters at `text`, ended by a zero byte.
QString subFormatText(const char *text)
{
    // Kept: taken as the text form of a UUID, not as its 16 bytes, so real files show the null UUID here.
    return QUuid::fromString(QLatin1String(text)).toString();
}

} // namespace

// Source: WAVEFORMATEX.
int ContainerAVI::parseChunkSTRF_audio(quint64 offset, quint32 size)
{
    char bytes[waveFormatSize] = {};
    m_file.read(bytes, sizeof bytes);
    const RecordView header(bytes, sizeof bytes);
    addRecord(offset, header, waveFormatRows);

    quint64 position = offset + 14;
    qint64 rest = qint64(size) - 14;
    if (size > 14) {
        addRecord(offset, header, bitsPerSampleRows);
        position += 2;
        rest -= 2;
    }
    if (size > 17) {
        addRecord(offset, header, extraSizeRows);
        const quint16 extraSize = header.read<quint16>(16);
        if (extraSize > 0) {
            const int status = parseExtraFormatData(offset + waveFormatSize, header.read<quint16>(0), extraSize);
            if (status != StatusOk)
                return status;
        }
        // Kept: not moved past cbSize itself, so what is left over starts two bytes early, inside the extra data; its
        // length is right.
        position += extraSize;
        rest -= 2 + extraSize;
    }
    if (rest > 0)
        addUnparsed(position, quint64(rest));
    m_file.seek(qint64(offset));
    return StatusOk;
}

// Source: WAVEFORMATEXTENSIBLE, MPEG1WAVEFORMAT, MPEGLAYER3WAVEFORMAT, by the format tag.
int ContainerAVI::parseExtraFormatData(quint64 offset, quint16 formatTag, quint16 size)
{
    // One zero byte more than the data: it ends a text that fills the data.
    const std::unique_ptr<char[]> bytes(new (std::nothrow) char[size_t(size) + 1]());
    if (!bytes)
        return StatusOutOfMemory;
    m_file.seek(qint64(offset));
    m_file.read(bytes.get(), size);
    const RecordView extra(bytes.get(), size);

    if (formatTag == extensibleFormat && size >= extensibleExtraSize) {
        addRecord(offset, extra, extensibleRows);
        addLeaf(offset + subFormatOffset, subFormatSize, QStringLiteral("SubFormat"),
                subFormatText(bytes.get() + subFormatOffset));
    } else if (formatTag == mpegFormat && size >= mpegExtraSize) {
        addRecord(offset, extra, mpegRows);
    } else if (formatTag == mpegLayer3Format && size >= mpegLayer3ExtraSize) {
        addLeaf(offset, size, QStringLiteral("mp3_extra_format_info"), QString());
    } else {
        addLeaf(offset, size, QStringLiteral("extra_format_info"), QString());
    }
    return StatusOk;
}

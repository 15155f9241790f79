#include "containerwave.h"

#include <algorithm>
#include <iterator>

using namespace quenlofar;

namespace {

constexpr ValueName formatNames[] = {{0x0001, u"PCM"},
                                     {0x0002, u"Microsoft ADPCM"},
                                     {0x0003, u"PCM, floating point"},
                                     {0x0006, u"A-law"},
                                     {0x0007, u"mu-law"},
                                     {0x0011, u"IMA ADPCM"},
                                     {0x0031, u"GSM 6.10"},
                                     {0x0050, u"MPEG audio, layer 1 or 2"},
                                     {0x0055, u"MP3"},
                                     {extensibleFormat, u"extensible wave format"}};

/// The sub-formats that have a format tag too are made of it by one rule.
QString subFormatText(const RecordView &extension, const FieldRow &row)
{
    static const QByteArray rest = QByteArray::fromHex("000000001000800000aa00389b71");
    const size_t at = size_t(row.offset);
    return extension.lentBytes(at + 2, 14) == rest ? nameOfValue(extension.read<quint16>(at), formatNames) : QString();
}

// clang-format off
constexpr FlagName speakers[] = {
    {0x00001, u"FRONT_LEFT"},           {0x00002, u"FRONT_RIGHT"},           {0x00004, u"FRONT_CENTER"},
    {0x00008, u"LOW_FREQUENCY"},        {0x00010, u"BACK_LEFT"},             {0x00020, u"BACK_RIGHT"},
    {0x00040, u"FRONT_LEFT_OF_CENTER"}, {0x00080, u"FRONT_RIGHT_OF_CENTER"}, {0x00100, u"BACK_CENTER"},
    {0x00200, u"SIDE_LEFT"},            {0x00400, u"SIDE_RIGHT"},            {0x00800, u"TOP_CENTER"},
    {0x01000, u"TOP_FRONT_LEFT"},       {0x02000, u"TOP_FRONT_CENTER"},      {0x04000, u"TOP_FRONT_RIGHT"},
    {0x08000, u"TOP_BACK_LEFT"},        {0x10000, u"TOP_BACK_CENTER"},       {0x20000, u"TOP_BACK_RIGHT"},
};
// clang-format on

/// Loudness stands in hundredths, from version 2 of bext on; before, the bytes were reserved.
QString hundredthsText(const RecordView &bext, const FieldRow &row, const char *unit)
{
    constexpr int versionOffset = 346;
    if (bext.read<quint16>(versionOffset) < 2)
        return {};
    return QString::number(double(qint64(storedNumber(bext, row))) / 100.0, 'f', 2) + QLatin1String(unit);
}

QString loudnessText(const RecordView &bext, const FieldRow &row)
{
    return hundredthsText(bext, row, " LUFS");
}

QString rangeText(const RecordView &bext, const FieldRow &row)
{
    return hundredthsText(bext, row, " LU");
}

QString peakText(const RecordView &bext, const FieldRow &row)
{
    return hundredthsText(bext, row, " dBTP");
}

// clang-format off
constexpr FieldRow formatRows[] = { // WAVEFORMATEX; older headers end earlier
    {u"wFormatTag",       0, FieldKind::U16, valueMeaning<formatNames>},
    {u"nChannels",        2, FieldKind::U16},
    {u"nSamplesPerSec",   4, FieldKind::U32},
    {u"nAvgBytesPerSec",  8, FieldKind::U32},
    {u"nBlockAlign",     12, FieldKind::U16},
    {u"wBitsPerSample",  14, FieldKind::U16},
    {u"cbSize",          16, FieldKind::U16},
};
static_assert(tiles(formatRows, 0, 18), "fmt: the rows leave a gap or overlap");

constexpr quint64 extensionSize = 22;
constexpr FieldRow extensionRows[] = { // what WAVEFORMATEXTENSIBLE adds
    {u"wValidBitsPerSample", 0, FieldKind::U16},
    {u"dwChannelMask",       2, FieldKind::U32, flagsMeaning<speakers>},
    {u"SubFormat",           6, FieldKind::Guid, subFormatText},
};
static_assert(tiles(extensionRows, 0, extensionSize), "fmt, extensible: the rows leave a gap or overlap");

constexpr FieldRow factRows[] = {{u"dwSampleLength", 0, FieldKind::U32}};

constexpr FieldRow longSizesRows[] = { // the two halves of each size are shown as one number
    {u"riffSize",     0, FieldKind::U64},
    {u"dataSize",     8, FieldKind::U64},
    {u"sampleCount", 16, FieldKind::U64},
    {u"tableLength", 24, FieldKind::U32},
};
static_assert(tiles(longSizesRows, 0, 28), "ds64: the rows leave a gap or overlap");
constexpr FieldRow longSizeRows[] = {
    {u"chunkId",   0, FieldKind::FourCC},
    {u"chunkSize", 4, FieldKind::U64},
};
static_assert(tiles(longSizeRows, 0, 12), "ds64: the rows of an entry leave a gap or overlap");

constexpr FieldRow broadcastRows[] = {
    textRow(u"Description",             0, 256),
    textRow(u"Originator",            256,  32),
    textRow(u"OriginatorReference",   288,  32),
    textRow(u"OriginationDate",       320,  10),
    textRow(u"OriginationTime",       330,   8),
    {u"TimeReference",                338, FieldKind::U64}, // its two halves as one number
    {u"Version",                      346, FieldKind::U16},
    textRow(u"UMID",                  348,  64, FieldKind::Hex),
    {u"LoudnessValue",                412, FieldKind::I16, loudnessText},
    {u"LoudnessRange",                414, FieldKind::I16, rangeText},
    {u"MaxTruePeakLevel",             416, FieldKind::I16, peakText},
    {u"MaxMomentaryLoudness",         418, FieldKind::I16, loudnessText},
    {u"MaxShortTermLoudness",         420, FieldKind::I16, loudnessText},
    textRow(u"Reserved",              422, 180, FieldKind::Hex),
};
static_assert(tiles(broadcastRows, 0, 602), "bext: the rows leave a gap or overlap");

constexpr FieldRow cueRows[] = {{u"dwCuePoints", 0, FieldKind::U32}};
constexpr FieldRow cuePointRows[] = {
    {u"dwName",          0, FieldKind::U32},
    {u"dwPosition",      4, FieldKind::U32},
    {u"fccChunk",        8, FieldKind::FourCC},
    {u"dwChunkStart",   12, FieldKind::U32},
    {u"dwBlockStart",   16, FieldKind::U32},
    {u"dwSampleOffset", 20, FieldKind::U32},
};
static_assert(tiles(cuePointRows, 0, 24), "cue: the rows of a point leave a gap or overlap");

constexpr FieldRow samplerRows[] = {
    {u"dwManufacturer",       0, FieldKind::U32},
    {u"dwProduct",            4, FieldKind::U32},
    {u"dwSamplePeriod",       8, FieldKind::U32},
    {u"dwMIDIUnityNote",     12, FieldKind::U32},
    {u"dwMIDIPitchFraction", 16, FieldKind::U32},
    {u"dwSMPTEFormat",       20, FieldKind::U32},
    {u"dwSMPTEOffset",       24, FieldKind::U32},
    {u"cSampleLoops",        28, FieldKind::U32},
    {u"cbSamplerData",       32, FieldKind::U32},
};
static_assert(tiles(samplerRows, 0, 36), "smpl: the rows leave a gap or overlap");
constexpr FieldRow sampleLoopRows[] = {
    {u"dwIdentifier", 0, FieldKind::U32},
    {u"dwType",       4, FieldKind::U32},
    {u"dwStart",      8, FieldKind::U32},
    {u"dwEnd",       12, FieldKind::U32},
    {u"dwFraction",  16, FieldKind::U32},
    {u"dwPlayCount", 20, FieldKind::U32},
};
static_assert(tiles(sampleLoopRows, 0, 24), "smpl: the rows of a loop leave a gap or overlap");

constexpr FieldRow labelRows[] = {{u"dwName", 0, FieldKind::U32}};

/// How the data of a chunk is laid out: fields, then records as often as a 32-bit field says, then perhaps a text.
struct Layout
{
    quint32 id;
    FieldRows fields;
    QStringView text = {}; // its name; without one the rest is unparsed
    int countOffset = 0;
    QStringView recordTitle = {};
    FieldRows records = {};
};
const Layout layouts[] = {
    {idOf("fmt "), formatRows},
    {idOf("fact"), factRows},
    {idOf("ds64"), longSizesRows, {}, 24, u"chunkSize64", longSizeRows},
    {idOf("bext"), broadcastRows, u"CodingHistory"},
    {idOf("cue "), cueRows, {}, 0, u"CuePoint", cuePointRows},
    {idOf("smpl"), samplerRows, {}, 28, u"SampleLoop", sampleLoopRows},
    {idOf("labl"), labelRows, u"value"},
    {idOf("note"), labelRows, u"value"},
};
const Layout unknownLayout{0, {}, u"value"};
// clang-format on

} // namespace

void ContainerWave::showData(quint32 id, InputCursor data)
{
    const auto known =
        std::find_if(std::begin(layouts), std::end(layouts), [id](const Layout &each) { return each.id == id; });
    const Layout &layout = known == std::end(layouts) ? unknownLayout : *known;
    const StoredRecord fields = addRecord(data, layout.fields);
    const bool isWhole = fields.size() == size_t(layout.fields.width());

    const quint64 recordSize = quint64(layout.records.width());
    const quint64 count = layout.records.isEmpty() || !isWhole ? 0 : fields.read<quint32>(size_t(layout.countOffset));
    for (quint64 number = 0; number < count && data.bytesLeft() >= recordSize; ++number) {
        beginElement(data.position(), recordSize, layout.recordTitle, qint64(number));
        addRecord(data, layout.records);
        endElement();
    }
    if (id == idOf("fmt ") && fields.read<quint16>(0) == extensibleFormat && fields.read<quint16>(16) >= extensionSize)
        addRecord(data, extensionRows);

    // Where the data ends inside the fields, what is left is a part of one.
    if (isWhole && id == idOf("data"))
        addData(data, layout.text); // sound is no text
    else if (isWhole && !layout.text.isEmpty())
        addText(data, layout.text, TextEncoding::Guessed, shownBytes);
    addUnparsed(data);
}

#include "aviheaders.h"

#include <algorithm>

namespace quenlofar {

namespace {

constexpr quint16 extensibleFormat = 0xFFFE; // WAVE_FORMAT_EXTENSIBLE: the sub-format says which

struct KindRow
{
    quint32 type; // fccType
    StreamKind kind;
};
constexpr KindRow kindRows[] = {
    {fourCC("vids"), StreamKind::Video}, {fourCC("auds"), StreamKind::Audio}, {fourCC("txts"), StreamKind::Text},
    {fourCC("mids"), StreamKind::Midi},  {fourCC("iavs"), StreamKind::Mixed},
};

/// The bytes of an element; of an empty record where there is none.
AviRecord readRecord(FileDevice &file, const AviLayout &layout, quint32 element)
{
    AviRecord record;
    if (element == AviLayout::none)
        return record;
    const ByteRange content = layout.elements[element].content();
    record.element = element;
    record.offset = content.offset;
    record.size = quint32(std::min<quint64>(content.size, 0xFFFFFFFF));
    file.seek(qint64(content.offset));
    record.bytes = file.read(qint64(std::min(record.size, AviRecord::mostBytes)));
    return record;
}

// AVISTREAMHEADER of the AVI RIFF File Reference.
void readStreamHeader(AviStream &stream)
{
    const AviRecord &header = stream.header;
    stream.type = header.u32(0);
    stream.handler = header.u32(4);
    stream.flags = header.u32(8);
    stream.scale = header.u32(20);
    stream.rate = header.u32(24);
    stream.start = header.u32(28);
    stream.length = header.u32(32);
    stream.bufferSize = header.u32(36);
    stream.sampleSize = header.u32(44);
    for (const KindRow &row : kindRows) {
        if (row.type == stream.type)
            stream.kind = row.kind;
    }
}

// BITMAPINFOHEADER.
void readVideoFormat(AviStream &stream)
{
    const RecordView format = stream.format.view();
    stream.width = format.read<qint32>(4);
    stream.height = format.read<qint32>(8);
    stream.bitCount = format.read<quint16>(14);
    stream.compression = format.read<quint32>(16);
    stream.imageSize = format.read<quint32>(20);
}

// WAVEFORMATEX, and the sub-format of WAVEFORMATEXTENSIBLE.
void readAudioFormat(AviStream &stream)
{
    const AviRecord &format = stream.format;
    stream.formatTag = format.u16(0);
    stream.channels = format.u16(2);
    stream.sampleRate = format.u32(4);
    stream.byteRate = format.u32(8);
    stream.blockAlign = format.u16(12);
    stream.bitsPerSample = format.u16(14);
    if (stream.formatTag == extensibleFormat && format.size >= 40)
        stream.formatTag = format.u16(24);
}

PacketStream packetStream(const AviStream &stream)
{
    PacketStream facts;
    facts.kind = stream.kind;
    facts.isDeclared = true;
    facts.timeBaseNumerator = stream.scale;
    facts.timeBaseDenominator = stream.rate;
    facts.bytesPerTick = stream.kind == StreamKind::Audio ? stream.sampleSize : 0;
    facts.start = stream.start;
    return facts;
}

} // namespace

void readHeaders(FileDevice &file, AviLayout &layout)
{
    // The headers of the first RIFF count; where its own header is lost, those that stand at the top.
    const quint32 riff = layout.segments.empty() ? AviLayout::none : layout.segments.front();
    quint32 hdrl = layout.child(riff, fourCC("LIST"), fourCC("hdrl"));
    if (hdrl == AviLayout::none && riff != AviLayout::none)
        hdrl = layout.child(AviLayout::none, fourCC("LIST"), fourCC("hdrl"));
    if (hdrl == AviLayout::none)
        return;
    layout.mainHeader = readRecord(file, layout, layout.child(hdrl, fourCC("avih")));
    const quint32 odml = layout.child(hdrl, fourCC("LIST"), fourCC("odml"));
    if (odml != AviLayout::none)
        layout.extendedHeader = readRecord(file, layout, layout.child(odml, fourCC("dmlh")));

    for (const quint32 list : layout.children(hdrl, fourCC("LIST"), fourCC("strl"))) {
        ++layout.streamListCount;
        if (layout.streams.size() >= size_t(AviLayout::mostStreams))
            continue;
        AviStream stream;
        stream.list = list;
        stream.header = readRecord(file, layout, layout.child(list, fourCC("strh")));
        stream.format = readRecord(file, layout, layout.child(list, fourCC("strf")));
        stream.properties = readRecord(file, layout, layout.child(list, fourCC("vprp")));
        readStreamHeader(stream);
        if (stream.kind == StreamKind::Video)
            readVideoFormat(stream);
        else if (stream.kind == StreamKind::Audio)
            readAudioFormat(stream);
        layout.packets.setStream(int(layout.streams.size()), packetStream(stream));
        layout.streams.push_back(std::move(stream));
    }
}

} // namespace quenlofar

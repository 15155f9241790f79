#include "aviids.h"
#include "avistreamrules.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace quenlofar {

namespace {

// Places of fields in BITMAPINFOHEADER.
constexpr quint32 headerSizeOffset = 0; // biSize
constexpr quint32 widthOffset = 4;
constexpr quint32 heightOffset = 8;
constexpr quint32 imageSizeOffset = 20;
constexpr quint32 colorsOffset = 32; // biClrUsed
constexpr quint32 leastVideoFormat = 40;

// Places of fields in WAVEFORMATEX, and of those that WAVEFORMATEXTENSIBLE and MPEG1WAVEFORMAT add.
constexpr quint32 tagOffset = 0;
constexpr quint32 channelsOffset = 2;
constexpr quint32 sampleRateOffset = 4;
constexpr quint32 byteRateOffset = 8;
constexpr quint32 blockAlignOffset = 12;
constexpr quint32 extraSizeOffset = 16;
constexpr quint32 validBitsOffset = 18;
constexpr quint32 mpegLayerOffset = 18; // fwHeadLayer
constexpr quint32 channelMaskOffset = 20;
constexpr quint32 leastAudioFormat = 14; // WAVEFORMAT
constexpr quint32 leastPcmFormat = 16; // PCMWAVEFORMAT
constexpr quint32 waveFormatSize = 18; // WAVEFORMATEX
constexpr quint32 extensibleSize = 40;
constexpr quint32 mp3FormatSize = 30; // MPEGLAYER3WAVEFORMAT
constexpr quint32 mp3ExtraSize = 12; // MPEGLAYER3_WFX_EXTRA_BYTES
constexpr quint16 extensibleTag = 0xFFFE; // WAVE_FORMAT_EXTENSIBLE

QString bytesText(quint64 count)
{
    return QStringLiteral("%1 bytes").arg(count);
}

void checkVideoFormatSize(const AviStreamContext &of, Findings &findings)
{
    const AviRecord &format = of.stream.format;
    const quint32 stated = format.u32(headerSizeOffset);
    if (format.size < leastVideoFormat) {
        findings.add(of.file().elements[format.element].header(), of.number)
            .severity(Severity::Error)
            .repair(Repair::None)
            .expected(QStringLiteral("40 bytes or more"))
            .actual(bytesText(format.size))
            .message(QStringLiteral("The format of the pictures is too short to hold all its fields."));
    } else if (stated > format.size) {
        findings.add(format.field(headerSizeOffset, 4), of.number)
            .severity(Severity::Warning)
            .expected(QStringLiteral("%1 or less").arg(format.size))
            .mend(format.field(headerSizeOffset, 4), 4, leastVideoFormat)
            .actual(stated)
            .message(QStringLiteral("biSize is larger than the chunk that it stands in."));
    }
}

void checkPictureSize(const AviStreamContext &of, Findings &findings)
{
    const AviStream &stream = of.stream;
    const bool hasWidth = stream.width > 0;
    if (stream.format.size < heightOffset + 4 || (hasWidth && stream.height != 0))
        return;
    findings.add(stream.format.field(hasWidth ? heightOffset : widthOffset, 4), of.number)
        .expected(hasWidth ? QStringLiteral("not 0") : QStringLiteral("above 0"))
        .actual(hasWidth ? 0 : stream.width)
        .message(
            QStringLiteral("The format says that pictures have %1 by %2 pixels.").arg(stream.width).arg(stream.height));
}

/// All frames that are not empty have this size; there is at least one.
bool allFramesHave(const PacketTotals &totals, quint64 size)
{
    return totals.count > totals.empty && totals.smallest == size && totals.largest == size;
}

void checkImageSize(const AviStreamContext &of, Findings &findings)
{
    const quint64 size = rawFrameSize(of.stream);
    const quint32 stated = of.stream.imageSize;
    if (size == 0 || stated == 0 || stated == size || allFramesHave(of.totals(), stated))
        return;
    findings.add(of.stream.format.field(imageSizeOffset, 4), of.number)
        .expected(QStringLiteral("%1, or 0").arg(size))
        .actual(stated)
        .message(QStringLiteral("biSizeImage is not the size of a picture of this format."));
}

bool hasPalette(const AviStreamContext &of)
{
    return (of.codec == AviCodec::RawRgb || of.codec == AviCodec::RunLength) && of.stream.bitCount > 0
        && of.stream.bitCount <= 8;
}

void checkPaletteMissing(const AviStreamContext &of, Findings &findings)
{
    const AviRecord &format = of.stream.format;
    if (!hasPalette(of) || format.size < leastVideoFormat)
        return;
    const quint32 used = format.u32(colorsOffset);
    const quint64 colors = used == 0 ? quint64(1) << of.stream.bitCount : used;
    const quint64 header = std::clamp(format.u32(headerSizeOffset), leastVideoFormat, format.size);
    const quint64 held = format.size - header;
    if (held >= 4 * colors)
        return;
    findings.add(of.file().elements[format.element].header(), of.number)
        .expected(QStringLiteral("a palette of %1 bytes").arg(4 * colors))
        .actual(bytesText(held))
        .message(QStringLiteral("Pictures of %1 bits need a palette of %2 colours behind the format's header.")
                     .arg(of.stream.bitCount)
                     .arg(colors));
}

void checkRawFrameSize(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    std::array<quint64, PacketTable::streamLimit> sizes{}; // by stream; 0 where all is well
    bool hasAny = false;
    for (size_t number = 0; number < file.streams.size(); ++number) {
        const AviStream &stream = file.streams[number];
        const quint64 size = rawRgbFrameSize(stream);
        const PacketTotals &totals = file.packets.totals(int(number));
        if (size == 0 || totals.count == totals.empty || allFramesHave(totals, size)
            || (stream.imageSize != 0 && allFramesHave(totals, stream.imageSize)))
            continue;
        sizes[number] = size;
        hasAny = true;
    }
    if (!hasAny)
        return;
    eachPacket(context, [&](const Packet &packet) {
        const quint64 size = sizes[packet.stream];
        if (size == 0 || packet.isEmpty() || packet.size == size)
            return;
        FindingDraft draft = findings.add(Occurrence{packet.range(), packet.stream, packet.range()});
        draft.severity(packet.size < size ? Severity::Error : Severity::Note);
        if (!draft.isNew())
            return;
        draft.expected(bytesText(size))
            .actual(bytesText(packet.size))
            .message(packet.size < size
                         ? QStringLiteral("Raw frames have not the size of a picture (%1 of them): the first is too "
                                          "short.")
                         : QStringLiteral("Raw frames have not the size of a picture (%1 of them): the first is too "
                                          "long."));
    });
}

void checkAudioFormatSize(const AviStreamContext &of, Findings &findings)
{
    const AviRecord &format = of.stream.format;
    const quint32 least = of.codec == AviCodec::Pcm ? leastPcmFormat : leastAudioFormat;
    if (format.size >= least)
        return;
    findings.add(of.file().elements[format.element].header(), of.number)
        .expected(QStringLiteral("%1 bytes or more").arg(least))
        .actual(bytesText(format.size))
        .message(QStringLiteral("The format of the sound is too short to hold all its fields."));
}

void checkAudioFormatZero(const AviStreamContext &of, Findings &findings)
{
    const AviStream &stream = of.stream;
    const bool hasChannels = stream.channels != 0;
    if (stream.format.size < sampleRateOffset + 4 || (hasChannels && stream.sampleRate != 0))
        return;
    findings
        .add(hasChannels ? stream.format.field(sampleRateOffset, 4) : stream.format.field(channelsOffset, 2), of.number)
        .expected(QStringLiteral("not 0"))
        .actual(0)
        .message(QStringLiteral("%1 of the sound's format is 0.")
                     .arg(hasChannels ? QStringLiteral("nSamplesPerSec") : QStringLiteral("nChannels")));
}

void checkBlockAlignZero(const AviStreamContext &of, Findings &findings)
{
    const AviStream &stream = of.stream;
    if (stream.blockAlign != 0 || stream.format.size < blockAlignOffset + 2)
        return;
    const quint32 block = stream.channels * ((stream.bitsPerSample + 7U) / 8);
    const bool isKnown = of.codec == AviCodec::Pcm && block > 0 && block <= 0xFFFF;
    findings.add(stream.format.field(blockAlignOffset, 2), of.number)
        .expected(QStringLiteral("not 0"))
        .actual(0)
        .mend(stream.format.field(blockAlignOffset, 2), isKnown ? 2 : 0, block)
        .message(QStringLiteral("nBlockAlign of the sound's format is 0."));
}

void checkPcmBlockAlign(const AviStreamContext &of, Findings &findings)
{
    const AviStream &stream = of.stream;
    const quint32 block = stream.channels * ((stream.bitsPerSample + 7U) / 8);
    if (block == 0 || stream.blockAlign == 0 || stream.blockAlign == block)
        return;
    findings.add(stream.format.field(blockAlignOffset, 2), of.number)
        .expected(block)
        .mend(stream.format.field(blockAlignOffset, 2), block <= 0xFFFF ? 2 : 0, block)
        .actual(quint32(stream.blockAlign))
        .message(QStringLiteral("%1 channels of %2 bits take %3 bytes, nBlockAlign says %4.")
                     .arg(stream.channels)
                     .arg(stream.bitsPerSample)
                     .arg(block)
                     .arg(stream.blockAlign));
}

void checkPcmByteRate(const AviStreamContext &of, Findings &findings)
{
    const AviStream &stream = of.stream;
    const quint64 rate = quint64(stream.sampleRate) * stream.blockAlign;
    if (rate == 0 || stream.byteRate == rate)
        return;
    findings.add(stream.format.field(byteRateOffset, 4), of.number)
        .expected(rate)
        .mend(stream.format.field(byteRateOffset, 4), rate <= 0xFFFFFFFF ? 4 : 0, rate)
        .actual(stream.byteRate)
        .message(QStringLiteral("%1 blocks of %2 bytes each second are not nAvgBytesPerSec.")
                     .arg(stream.sampleRate)
                     .arg(stream.blockAlign));
}

void checkExtraSize(const AviStreamContext &of, Findings &findings)
{
    const AviRecord &format = of.stream.format;
    if (of.codec == AviCodec::Pcm || format.size < waveFormatSize)
        return;
    const quint32 extra = format.u16(extraSizeOffset);
    if (waveFormatSize + extra <= format.size)
        return;
    findings.add(format.field(extraSizeOffset, 2), of.number)
        .expected(QStringLiteral("%1 or less").arg(format.size - waveFormatSize))
        .mend(format.field(extraSizeOffset, 2), 2, format.size - waveFormatSize)
        .actual(extra)
        .message(QStringLiteral("cbSize announces more bytes than the chunk has."));
}

bool isExtensible(const AviStream &stream)
{
    return stream.kind == StreamKind::Audio && stream.format.u16(tagOffset) == extensibleTag;
}

bool hasExtensible(const AviContext &context)
{
    return std::any_of(context.file.streams.begin(), context.file.streams.end(), isExtensible);
}

int bitCount(quint32 bits)
{
    int count = 0;
    for (; bits != 0; bits &= bits - 1)
        ++count;
    return count;
}

void checkExtensibleFields(const AviStreamContext &of, Findings &findings)
{
    const AviStream &stream = of.stream;
    const AviRecord &format = stream.format;
    if (!isExtensible(stream))
        return;
    if (format.size < extensibleSize) {
        findings.add(of.file().elements[format.element].header(), of.number)
            .repair(Repair::None)
            .expected(QStringLiteral("40 bytes or more"))
            .actual(bytesText(format.size))
            .message(QStringLiteral("The extensible format is too short to hold all its fields."));
        return;
    }
    const quint32 validBits = format.u16(validBitsOffset);
    if (stream.bitsPerSample != 0 && validBits > stream.bitsPerSample) {
        findings.add(format.field(validBitsOffset, 2), of.number)
            .expected(QStringLiteral("%1 or less").arg(stream.bitsPerSample))
            .actual(validBits)
            .message(QStringLiteral("More bits of a sample are said to be valid than it has."));
        return;
    }
    // A mask of 0 says that the channels have no places.
    const quint32 mask = format.u32(channelMaskOffset);
    if (mask == 0 || bitCount(mask) == stream.channels)
        return;
    findings.add(format.field(channelMaskOffset, 4), of.number)
        .expected(QStringLiteral("%1 channels").arg(stream.channels))
        .actual(QStringLiteral("%1 channels").arg(bitCount(mask)))
        .message(QStringLiteral("dwChannelMask does not name as many places as there are channels."));
}

void checkPcmChunkAlign(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    std::array<quint16, PacketTable::streamLimit> blocks{}; // by stream; 0 for those that are not asked
    bool hasAny = false;
    for (size_t number = 0; number < file.streams.size(); ++number) {
        const AviStream &stream = file.streams[number];
        if (codecOf(stream) != AviCodec::Pcm || stream.blockAlign < 2)
            continue;
        blocks[number] = stream.blockAlign;
        hasAny = true;
    }
    if (!hasAny)
        return;
    eachPacket(context, [&](const Packet &packet) {
        const quint16 block = blocks[packet.stream];
        if (block == 0 || packet.size % block == 0)
            return;
        FindingDraft draft = findings.add(Occurrence{packet.range(), packet.stream, packet.range()});
        if (!draft.isNew())
            return;
        draft.expected(QStringLiteral("a multiple of %1 bytes").arg(block))
            .actual(bytesText(packet.size))
            .message(QStringLiteral("Chunks of uncompressed sound end inside of a block (%1 of them)."));
    });
}

void checkVariableBlockAlign(const AviStreamContext &of, Findings &findings)
{
    const quint32 largest = of.totals().largest;
    const AviStream &stream = of.stream;
    if (stream.blockAlign == 0 || stream.blockAlign >= largest)
        return;
    findings.add(stream.format.field(blockAlignOffset, 2), of.number)
        .expected(QStringLiteral("%1 or more").arg(largest))
        .mend(stream.format.field(blockAlignOffset, 2), largest <= 0xFFFF ? 2 : 0, largest)
        .actual(quint32(stream.blockAlign))
        .message(QStringLiteral("A chunk holds a frame, and nBlockAlign is smaller than the largest one."));
}

/// Samples of a frame that one chunk may hold; .second is the other possibility, or 0.
std::pair<quint32, quint32> frameSamples(const AviStreamContext &of)
{
    constexpr quint32 leastMpeg1Rate = 32000; // below it MPEG audio is of version 2 or 2.5
    constexpr quint16 layer1 = 1; // ACM_MPEG_LAYER1
    const AviStream &stream = of.stream;
    switch (of.codec) {
    case AviCodec::Mp2:
        return {stream.format.size >= mpegLayerOffset + 2 && stream.format.u16(mpegLayerOffset) == layer1 ? 384U
                                                                                                          : 1152U,
                0};
    case AviCodec::Mp3:
        return {stream.sampleRate >= leastMpeg1Rate ? 1152U : 576U, 0};
    case AviCodec::Ac3:
        return {1536, 0};
    default:
        return {1024, 2048}; // AAC; twice as many where the format states the rate that comes from replicated bands
    }
}

void checkVariableTimeBase(const AviStreamContext &of, Findings &findings)
{
    constexpr double tolerance = 0.001;
    const AviStream &stream = of.stream;
    if (stream.scale == 0 || stream.rate == 0 || stream.sampleRate == 0)
        return;
    const double samples = double(stream.sampleRate) * stream.scale / stream.rate; // of a tick
    const auto [usual, other] = frameSamples(of);
    for (const quint32 each : {usual, other}) {
        if (each != 0 && std::abs(samples - each) <= tolerance * each)
            return;
    }
    constexpr quint32 scaleOffset = 20; // in strh
    findings.add(stream.header.field(scaleOffset, 8), of.number)
        .expected(QStringLiteral("%1 samples in a tick").arg(usual))
        // Of AAC either may be meant.
        .mend(stream.header.field(scaleOffset, 8), other == 0 ? 8 : 0, usual | quint64(stream.sampleRate) << 32)
        .actual(QStringLiteral("%1 samples in a tick").arg(samples, 0, 'f', 1))
        .message(QStringLiteral("A chunk is a tick and holds a frame, and a tick does not last as long as a frame."));
}

void checkMp3FormatSize(const AviStreamContext &of, Findings &findings)
{
    const AviRecord &format = of.stream.format;
    const quint32 extra = format.u16(extraSizeOffset);
    if (format.size >= mp3FormatSize && extra == mp3ExtraSize)
        return;
    const bool isShort = format.size < mp3FormatSize;
    findings.add(isShort ? of.file().elements[format.element].header() : format.field(extraSizeOffset, 2), of.number)
        .repair(isShort ? Repair::Rewrite : Repair::Patch)
        .mend(isShort ? ByteRange() : format.field(extraSizeOffset, 2), 2, mp3ExtraSize)
        .expected(isShort ? QStringLiteral("30 bytes") : QStringLiteral("12"))
        .actual(isShort ? bytesText(format.size) : QString::number(extra))
        .message(isShort ? QStringLiteral("The format of MP3 sound lacks fields of MPEGLAYER3WAVEFORMAT.")
                         : QStringLiteral("cbSize does not say that the fields of MPEGLAYER3WAVEFORMAT are there."));
}

bool hasRawRgb(const AviContext &context)
{
    return allPacketsAreKnown(context)
        && std::any_of(context.file.streams.begin(), context.file.streams.end(),
                       [](const AviStream &stream) { return rawRgbFrameSize(stream) != 0; });
}
bool hasRaw(const AviContext &context)
{
    return allPacketsAreKnown(context)
        && std::any_of(context.file.streams.begin(), context.file.streams.end(),
                       [](const AviStream &stream) { return rawFrameSize(stream) != 0; });
}
bool hasPaletteFormat(const AviContext &context)
{
    return std::any_of(context.file.streams.begin(), context.file.streams.end(), [&context](const AviStream &stream) {
        return hasPalette({context, stream, 0, codecOf(stream)});
    });
}
bool hasPcmChunks(const AviContext &context)
{
    return allPacketsAreKnown(context) && hasStream<StreamFilter::Pcm>(context);
}
bool hasVariableFrames(const AviContext &context)
{
    return allPacketsAreKnown(context) && hasStream<StreamFilter::VariableFrames>(context);
}

constexpr bool (*anyVideo)(const AviContext &) = hasStream<StreamFilter::Video>;
constexpr bool (*anyAudio)(const AviContext &) = hasStream<StreamFilter::Audio>;
constexpr bool (*anyPcm)(const AviContext &) = hasStream<StreamFilter::Pcm>;
constexpr bool (*anyMp3)(const AviContext &) = hasStream<StreamFilter::Mp3>;

constexpr AviRule rules[] = {
    {{u"video-format-size",
      {Severity::Error, Severity::Warning},
      Level::Quick,
      Repair::Patch,
      u"strf of video has 40 bytes or more, and biSize fits in it",
      u"The 40 bytes of the header say size and coding of the pictures. biSize says where the palette, or what the "
      u"decoder needs, begins; readers that trust a wrong one read behind the chunk.",
      u"all readers where it is too short; otherwise those that go by biSize",
      u"Write the number of bytes that the header has.",
      u"BITMAPINFOHEADER"},
     AviStage::Headers,
     anyVideo,
     eachStream<StreamFilter::Video, checkVideoFormatSize>},
    {{u"video-picture-size", Severity::Error, Level::Quick, Repair::None, u"biWidth is above 0, biHeight is not 0",
      u"A decoder is set up with this size. A height below 0 says that the first row is the top one.",
      u"all readers: they refuse the stream", u"Write the size that the data, or the recorder, tells.",
      u"BITMAPINFOHEADER"},
     AviStage::Headers,
     anyVideo,
     eachStream<StreamFilter::Video, checkPictureSize>},
    {{u"video-image-size", Severity::Note, Level::Default, Repair::Patch,
      u"biSizeImage of raw pictures is the size of a frame, or 0",
      u"Readers may make their buffers by it. A size that all frames have is right, whatever is computed.",
      u"readers that believe it", u"Write the size of a frame.", u"BITMAPINFOHEADER"},
     AviStage::Headers,
     hasRaw,
     eachStream<StreamFilter::Video, checkImageSize>},
    {{u"palette-missing", Severity::Error, Level::Quick, Repair::None,
      u"Raw or run-length pictures of 8 bits or fewer have a palette",
      u"The pixels are numbers of colours. The palette has four bytes for each of biClrUsed colours, or of all that "
      u"the bits can name.",
      u"all readers: the colours are lost", u"Take the palette from a file of the same writer.", u"BITMAPINFOHEADER"},
     AviStage::Headers,
     hasPaletteFormat,
     eachStream<StreamFilter::Video, checkPaletteMissing>},
    {{u"raw-frame-size",
      {Severity::Error, Severity::Note},
      Level::Default,
      Repair::Rewrite,
      u"Raw frames are as large as a picture",
      u"A raw frame has no structure but its size: rows of pixels, each padded to four bytes. Of a shorter one the "
      u"rest of the picture is missing.",
      u"all readers: torn or missing pictures",
      u"Write the stream anew, or state the true size of the pictures.",
      u"BITMAPINFOHEADER"},
     AviStage::Counts,
     hasRawRgb,
     checkRawFrameSize},
    {{u"audio-format-size", Severity::Error, Level::Quick, Repair::None,
      u"strf of sound has 14 bytes or more, of PCM 16",
      u"These bytes say coding, channels, rate and block size of the sound.",
      u"all readers: they cannot play the stream", u"Take the format from a file of the same recorder.",
      u"WAVEFORMATEX"},
     AviStage::Headers,
     anyAudio,
     eachStream<StreamFilter::Audio, checkAudioFormatSize>},
    {{u"audio-format-zero", Severity::Error, Level::Quick, Repair::None, u"nChannels and nSamplesPerSec are not 0",
      u"Sound of no channels, or of no samples in a second, cannot be played.",
      u"all readers: they refuse the stream or divide by zero", u"Write what the data, or the recorder, tells.",
      u"WAVEFORMATEX"},
     AviStage::Headers,
     anyAudio,
     eachStream<StreamFilter::Audio, checkAudioFormatZero>},
    {{u"block-align-zero", Severity::Error, Level::Quick, Repair::Patch, u"nBlockAlign is not 0",
      u"Readers hand whole blocks to the decoder and divide by their size.",
      u"readers that divide by it: no sound, or a crash", u"Write the size of a block, where the format has one size.",
      u"WAVEFORMATEX"},
     AviStage::Headers,
     anyAudio,
     eachStream<StreamFilter::Audio, checkBlockAlignZero>},
    {{u"pcm-block-align", Severity::Error, Level::Quick, Repair::Patch,
      u"nBlockAlign of PCM is channels × bytes of a sample",
      u"A block has one sample of each channel. With another size channels are swapped, or the sound is noise.",
      u"all readers of uncompressed sound", u"Write channels × bytes of a sample.", u"WAVEFORMATEX"},
     AviStage::Headers,
     anyPcm,
     eachStream<StreamFilter::Pcm, checkPcmBlockAlign>},
    {{u"pcm-byte-rate", Severity::Warning, Level::Quick, Repair::Patch,
      u"nAvgBytesPerSec of PCM is nSamplesPerSec × nBlockAlign", u"Readers compute times and buffers from it.",
      u"readers that seek in sound", u"Write nSamplesPerSec × nBlockAlign.", u"WAVEFORMATEX"},
     AviStage::Headers,
     anyPcm,
     eachStream<StreamFilter::Pcm, checkPcmByteRate>},
    {{u"format-extra-size", Severity::Warning, Level::Quick, Repair::Patch, u"What cbSize announces fits in strf",
      u"cbSize counts the bytes behind the 18 of the header, which a decoder is set up with. Readers that trust it "
      u"read behind the chunk.",
      u"readers that copy cbSize bytes", u"Write the number of bytes that are there.", u"WAVEFORMATEX"},
     AviStage::Headers,
     anyAudio,
     eachStream<StreamFilter::Audio, checkExtraSize>},
    {{u"extensible-fields", Severity::Warning, Level::Quick, Repair::Patch,
      u"An extensible format has 40 bytes, no more valid bits than bits, and a place for each channel",
      u"The fields behind WAVEFORMATEX say how samples and channels are meant.",
      u"readers that place channels by the mask", u"Write the fields that the sound has.", u"WAVEFORMATEXTENSIBLE"},
     AviStage::Headers,
     hasExtensible,
     eachStream<StreamFilter::Audio, checkExtensibleFields>},
    {{u"pcm-chunk-align", Severity::Warning, Level::Default, Repair::Rewrite,
      u"Chunks of PCM are multiples of nBlockAlign",
      u"A chunk that ends inside of a block leaves samples in pieces: readers that begin each chunk with a block swap "
      u"channels or play noise from there on.",
      u"readers that seek; sound behind such a chunk", u"Write the stream anew in whole blocks.", u"practice"},
     AviStage::Counts,
     hasPcmChunks,
     checkPcmChunkAlign},
    {{u"vbr-block-align", Severity::Warning, Level::Default, Repair::Patch,
      u"nBlockAlign of sound with a frame in each chunk holds the largest one",
      u"Where dwSampleSize is 0 widespread readers compute a chunk's time by nBlockAlign: a chunk of more bytes counts "
      u"as two.",
      u"readers of Windows; sound and pictures drift apart",
      u"Write the largest chunk's size, or the samples of a frame.", u"practice"},
     AviStage::Counts,
     hasVariableFrames,
     eachStream<StreamFilter::VariableFrames, checkVariableBlockAlign>},
    {{u"vbr-time-base", Severity::Warning, Level::Default, Repair::Patch,
      u"A tick of sound with a frame in each chunk lasts as long as a frame",
      u"Where dwSampleSize is 0 each chunk is a tick, so dwRate / dwScale has to be the sample rate divided by the "
      u"samples of a frame: 1152 of MP2 and MP3, 576 of MP3 below 32 kHz, 1536 of AC-3, 1024 of AAC.",
      u"all readers: sound and pictures drift apart", u"Write that time base.", u"practice"},
     AviStage::Headers,
     hasVariableFrames,
     eachStream<StreamFilter::VariableFrames, checkVariableTimeBase>},
    {{u"mp3-format-size", Severity::Warning, Level::Quick, Repair::Rewrite,
      u"strf of MP3 is a MPEGLAYER3WAVEFORMAT of 30 bytes with a cbSize of 12",
      u"The decoder of Windows asks for the twelve bytes behind WAVEFORMATEX.", u"players on Windows: no sound",
      u"Write the stream's headers anew, with all fields.", u"MPEGLAYER3WAVEFORMAT"},
     AviStage::Headers,
     anyMp3,
     eachStream<StreamFilter::Mp3, checkMp3FormatSize>},
};

} // namespace

AviRules formatRules()
{
    return rules;
}

} // namespace quenlofar

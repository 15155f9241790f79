#include "aviids.h"
#include "avistreamrules.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace quenlofar {

namespace {

// Places of fields in strh.
constexpr quint32 typeOffset = 0;
constexpr quint32 flagsOffset = 8;
constexpr quint32 scaleOffset = 20;
constexpr quint32 rateOffset = 24;
constexpr quint32 startOffset = 28;
constexpr quint32 lengthOffset = 32;
constexpr quint32 bufferSizeOffset = 36;
constexpr quint32 sampleSizeOffset = 44;
/// Up to and with dwSampleSize: writers leave the rectangle behind it out.
constexpr quint32 leastHeaderSize = 48;

constexpr quint32 paletteChanges = 0x00010000; // AVISF_VIDEO_PALCHANGES
constexpr quint64 mostStreamNumbers = 100; // of two decimal digits
constexpr double hour = 3600;

void checkHeaderMissing(const AviStreamContext &of, Findings &findings)
{
    const AviRecord &header = of.stream.header;
    if (header.exists() && header.size >= leastHeaderSize)
        return;
    if (!header.exists()) {
        findings.add(of.listHeader(), of.number)
            .expected(QStringLiteral("strh"))
            .actual(QStringLiteral("no strh"))
            .message(QStringLiteral("The stream has no header."));
        return;
    }
    findings.add(of.file().elements[header.element].header(), of.number)
        .expected(QStringLiteral("%1 bytes or more").arg(leastHeaderSize))
        .actual(QStringLiteral("%1 bytes").arg(header.size))
        .message(QStringLiteral("The stream's header is too short to hold all its fields."));
}

void checkStreamType(const AviStreamContext &of, Findings &findings)
{
    constexpr quint32 known[] = {fourCC("vids"), fourCC("auds"), fourCC("txts"), fourCC("mids"), fourCC("iavs")};
    const quint32 type = of.stream.type;
    if (of.stream.header.size < 4 || std::find(std::begin(known), std::end(known), type) != std::end(known))
        return;
    findings.add(of.stream.header.field(typeOffset, 4), of.number)
        .severity(type == 0 ? Severity::Error : Severity::Warning)
        .expected(QStringLiteral("vids, auds, txts, mids or iavs"))
        .actual(isPrintable(type) ? of.stream.header.view().fourCC(typeOffset)
                                  : QStringLiteral("0x%1").arg(type, 8, 16, QLatin1Char('0')))
        .message(QStringLiteral("fccType names no kind of stream that the format knows."));
}

/// The time base as something else in the file says it, as dwScale and dwRate: the main header of the first video
/// stream, the format of sound whose samples have a size. 0 where nothing does.
std::pair<quint32, quint32> timeBaseFromElsewhere(const AviStreamContext &of)
{
    constexpr quint32 microseconds = 1'000'000;
    const AviStream &stream = of.stream;
    if (stream.kind == StreamKind::Audio && stream.blockAlign != 0 && stream.sampleSize == stream.blockAlign)
        return {stream.blockAlign, stream.byteRate};
    const std::vector<AviStream> &streams = of.file().streams;
    const bool isFirst = stream.kind == StreamKind::Video
        && std::none_of(streams.begin(), streams.begin() + of.number,
                        [](const AviStream &each) { return each.kind == StreamKind::Video; });
    const quint32 frameTime = of.file().mainHeader.u32(0); // dwMicroSecPerFrame
    return isFirst && frameTime != 0 ? std::make_pair(frameTime, microseconds) : std::make_pair(0U, 0U);
}

void checkTimeBaseZero(const AviStreamContext &of, Findings &findings)
{
    const AviStream &stream = of.stream;
    // Each picture of XSUB subtitles begins with the times from which and up to which it is shown; its writers leave
    // the time base 0.
    if (of.codec == AviCodec::Subtitle || (stream.scale != 0 && stream.rate != 0))
        return;
    const bool isScale = stream.scale == 0;
    const auto [scale, rate] = timeBaseFromElsewhere(of);
    findings.add(stream.header.field(isScale ? scaleOffset : rateOffset, 4), of.number)
        .expected(QStringLiteral("not 0"))
        .actual(0)
        .mend(stream.header.field(scaleOffset, 8), rate != 0 ? 8 : 0, scale | quint64(rate) << 32)
        .message(QStringLiteral("%1 is 0: the stream has no time base.")
                     .arg(isScale ? QStringLiteral("dwScale") : QStringLiteral("dwRate")));
}

/// What dwLength has to say: from .first to .second where bytes do not fill the last tick. .second is 0 where it says
/// nothing that could be counted.
std::pair<quint64, quint64> trueLength(const AviStreamContext &of)
{
    const PacketTotals &totals = of.totals();
    const AviStream &stream = of.stream;
    switch (stream.kind) {
    case StreamKind::Audio:
        if (stream.sampleSize != 0)
            return {totals.bytes / stream.sampleSize,
                    totals.bytes / stream.sampleSize + (totals.bytes % stream.sampleSize == 0 ? 0U : 1U)};
        break;
    case StreamKind::Video:
    case StreamKind::Mixed:
    case StreamKind::Text:
        break;
    case StreamKind::Midi:
    case StreamKind::Other:
        return {0, 0};
    }
    return {totals.count, totals.count};
}

bool isCounted(StreamKind kind)
{
    return kind != StreamKind::Midi && kind != StreamKind::Other;
}

void checkStreamLength(const AviStreamContext &of, Findings &findings)
{
    const AviStream &stream = of.stream;
    if (!isCounted(stream.kind) || stream.header.size < lengthOffset + 4)
        return;
    const quint64 stated = stream.length;
    const auto [least, most] = trueLength(of);
    if (stated >= least && stated <= most)
        return;
    const quint64 difference = stated < least ? least - stated : stated - most;
    const Severity severity = difference <= 1 ? Severity::Note
        : difference * 100 <= most            ? Severity::Warning
                                              : Severity::Error;
    findings.add(stream.header.field(lengthOffset, 4), of.number)
        .severity(severity)
        .expected(least)
        .actual(stated)
        .mend(stream.header.field(lengthOffset, 4), 4, least)
        .message(
            QStringLiteral("dwLength says that the stream has %1 ticks; its chunks have %2.").arg(stated).arg(least));
}

void checkSampleSize(const AviStreamContext &of, Findings &findings)
{
    const AviStream &stream = of.stream;
    if (stream.sampleSize == 0 || stream.blockAlign == 0 || stream.sampleSize == stream.blockAlign)
        return;
    findings.add(stream.header.field(sampleSizeOffset, 4), of.number)
        .severity(of.codec == AviCodec::Pcm ? Severity::Error : Severity::Warning)
        .expected(quint32(stream.blockAlign))
        .mend(stream.header.field(sampleSizeOffset, 4), 4, stream.blockAlign)
        .actual(stream.sampleSize)
        .message(QStringLiteral("dwSampleSize is %1 bytes, a block of the format has %2.")
                     .arg(stream.sampleSize)
                     .arg(stream.blockAlign));
}

void checkVideoSampleSize(const AviStreamContext &of, Findings &findings)
{
    const PacketTotals &totals = of.totals();
    const quint32 stated = of.stream.sampleSize;
    const bool isConstant = totals.smallest == totals.largest;
    if (stated == 0 || totals.count == totals.empty || (isConstant && stated == totals.largest))
        return;
    findings.add(of.stream.header.field(sampleSizeOffset, 4), of.number)
        .expected(isConstant ? QStringLiteral("0 or %1").arg(totals.largest) : QStringLiteral("0"))
        .mend(of.stream.header.field(sampleSizeOffset, 4), 4, 0)
        .actual(stated)
        .message(QStringLiteral("dwSampleSize is not 0, and not the size of all frames."));
}

void checkStreamStart(const AviStreamContext &of, Findings &findings)
{
    const AviStream &stream = of.stream;
    if (stream.start == 0)
        return;
    const bool hasTimeBase = stream.scale != 0 && stream.rate != 0;
    const double seconds = hasTimeBase ? double(stream.start) * stream.scale / stream.rate : 0;
    findings.add(stream.header.field(startOffset, 4), of.number)
        .severity(seconds > hour ? Severity::Warning : Severity::Note)
        .expected(0)
        .actual(stream.start)
        // A start within the first hour may be meant.
        .mend(stream.header.field(startOffset, 4), seconds > hour ? 4 : 0, 0)
        .message(hasTimeBase
                     ? QStringLiteral("The stream begins %1 s late.").arg(seconds, 0, 'f', 3)
                     : QStringLiteral("The stream begins late, in ticks of which nobody knows how long they are."));
}

void checkStreamBuffer(const AviStreamContext &of, Findings &findings)
{
    const quint32 stated = of.stream.bufferSize;
    const quint32 largest = of.totals().largest;
    if (stated == 0 || stated >= largest)
        return;
    findings.add(of.stream.header.field(bufferSizeOffset, 4), of.number)
        .expected(QStringLiteral("%1 or more").arg(largest))
        .mend(of.stream.header.field(bufferSizeOffset, 4), 4, largest)
        .actual(stated)
        .message(QStringLiteral("dwSuggestedBufferSize is smaller than the stream's largest chunk."));
}

void checkPaletteFlag(const AviStreamContext &of, Findings &findings)
{
    const bool isSet = (of.stream.flags & paletteChanges) != 0;
    const quint64 palettes = of.totals().palettes;
    if (isSet == (palettes > 0))
        return;
    findings.add(of.stream.header.field(flagsOffset, 4), of.number)
        .expected(palettes > 0 ? QStringLiteral("set") : QStringLiteral("not set"))
        .mend(of.stream.header.field(flagsOffset, 4), 4, palettes > 0 ? paletteChanges : 0, paletteChanges)
        .actual(isSet ? QStringLiteral("set") : QStringLiteral("not set"))
        .message(isSet ? QStringLiteral("AVISF_VIDEO_PALCHANGES announces changes of the palette; there are none.")
                       : QStringLiteral("The stream changes its palette, and AVISF_VIDEO_PALCHANGES is not set."));
}

bool hasStreams(const AviContext &context)
{
    return context.file.streamListCount > 0;
}

void checkStreamsOverHundred(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    if (file.streamListCount <= mostStreamNumbers)
        return;
    findings.add(file.elements[file.streams[size_t(mostStreamNumbers)].list].header(), int(mostStreamNumbers))
        .expected(QStringLiteral("%1 or fewer").arg(mostStreamNumbers))
        .actual(file.streamListCount)
        .message(QStringLiteral("The file describes %1 streams; two digits of a chunk id name %2 at most.")
                     .arg(file.streamListCount)
                     .arg(mostStreamNumbers));
}

void checkFormatMissing(const AviStreamContext &of, Findings &findings)
{
    if (of.stream.format.exists())
        return;
    findings.add(of.listHeader(), of.number)
        .expected(QStringLiteral("strf"))
        .actual(QStringLiteral("no strf"))
        .message(QStringLiteral("Nothing says what format the stream's data has."));
}

void checkFormatOrder(const AviStreamContext &of, Findings &findings)
{
    const AviLayout &file = of.file();
    const quint32 header = of.stream.header.element;
    const quint32 format = of.stream.format.element;
    const quint32 next = header == AviLayout::none ? AviLayout::none : file.nextSibling(header);
    if (header == AviLayout::none || format == AviLayout::none || next == format)
        return;
    findings.add(file.elements[format].header(), of.number)
        .expected(QStringLiteral("directly behind strh"))
        .actual(format < header ? QStringLiteral("before strh") : QStringLiteral("behind another chunk"))
        .message(QStringLiteral("The stream's format does not follow its header."));
}

void checkByteRate(const AviStreamContext &of, Findings &findings)
{
    const AviStream &stream = of.stream;
    constexpr double tolerance = 0.02;
    if (stream.sampleSize == 0 || stream.scale == 0 || stream.rate == 0 || stream.format.size < 12)
        return;
    const double fromHeader = double(stream.rate) * stream.sampleSize / stream.scale;
    if (std::abs(fromHeader - stream.byteRate) <= tolerance * stream.byteRate)
        return;
    const bool isExact = of.codec == AviCodec::Pcm || of.codec == AviCodec::Mp3;
    findings.add(stream.header.field(rateOffset, 4), of.number)
        .severity(isExact ? Severity::Warning : Severity::Note)
        .expected(QStringLiteral("%1 bytes per second").arg(stream.byteRate))
        .actual(QStringLiteral("%1 bytes per second").arg(fromHeader, 0, 'g', 10))
        .message(QStringLiteral("The header's time base and the format disagree about the bytes of a second."));
}

constexpr bool (*anyHeader)(const AviContext &) = hasStream<StreamFilter::Header>;

bool hasCountedStreams(const AviContext &context)
{
    return allPacketsAreKnown(context) && anyHeader(context);
}
bool hasCountedVideo(const AviContext &context)
{
    return allPacketsAreKnown(context) && hasStream<StreamFilter::VideoHeader>(context);
}
bool hasAudioWithSamples(const AviContext &context)
{
    return std::any_of(context.file.streams.begin(), context.file.streams.end(), [](const AviStream &stream) {
        return stream.kind == StreamKind::Audio && stream.sampleSize != 0;
    });
}

constexpr AviRule rules[] = {
    {{u"strh-missing", Severity::Error, Level::Quick, Repair::None, u"Each strl list has a strh of 48 bytes or more",
      u"The header says what kind of stream it is and how long its ticks are. Without it the stream's chunks mean "
      u"nothing.",
      u"all readers: they refuse the stream, or number those behind it wrongly",
      u"Look for another copy of the file's beginning, or for a file of the same recorder.", u"AVISTREAMHEADER"},
     AviStage::Headers,
     hasStreams,
     eachStream<StreamFilter::All, checkHeaderMissing>},
    {{u"stream-type",
      {Severity::Error, Severity::Warning},
      Level::Quick,
      Repair::None,
      u"fccType is vids, auds, txts, mids or iavs",
      u"Readers choose what to do with a stream by this code. Data tracks of cameras have codes of their own, which "
      u"is harmless; a code of 0 stands for a header that was never written.",
      u"readers that refuse a file with a stream they do not know",
      u"Nothing for a recorder's data track; otherwise write the type that the format tells.",
      u"AVISTREAMHEADER"},
     AviStage::Headers,
     anyHeader,
     eachStream<StreamFilter::Header, checkStreamType>},
    {{u"time-base-zero", Severity::Error, Level::Quick, Repair::Patch, u"dwScale and dwRate are not 0",
      u"A tick of the stream is dwScale / dwRate seconds. Without it nothing of the stream has a time; readers refuse "
      u"the stream, guess a rate or divide by zero. XSUB subtitles have times of their own and are exempt.",
      u"all readers", u"Write the time base that a second source states: the main header, the format or the recorder.",
      u"AVISTREAMHEADER"},
     AviStage::Headers,
     anyHeader,
     eachStream<StreamFilter::Header, checkTimeBaseZero>},
    {{u"stream-length",
      {Severity::Error, Severity::Warning, Severity::Note},
      Level::Default,
      Repair::Patch,
      u"dwLength is the length of what is there",
      u"Readers show this length and end there. It counts chunks, empty ones too; where sound has a dwSampleSize it "
      u"counts blocks of that many bytes. A tick too many or too few comes from rounding.",
      u"players that stop early or wait at the end; whoever trusts a shown duration",
      u"Write the number of ticks that the chunks have.",
      u"AVISTREAMHEADER"},
     AviStage::Counts,
     hasCountedStreams,
     eachStream<StreamFilter::Header, checkStreamLength>},
    {{u"sample-size",
      {Severity::Error, Severity::Warning},
      Level::Quick,
      Repair::Patch,
      u"dwSampleSize of sound is nBlockAlign, or 0",
      u"Readers turn bytes into times by dwSampleSize, and into samples by nBlockAlign. Where they differ, sound runs "
      u"at another speed than pictures.",
      u"readers that seek in sound; sound and pictures drift apart",
      u"Write nBlockAlign into dwSampleSize.",
      u"AVISTREAMHEADER"},
     AviStage::Comparisons,
     hasAudioWithSamples,
     eachStream<StreamFilter::AudioHeader, checkSampleSize>},
    {{u"video-sample-size", Severity::Note, Level::Default, Repair::Patch,
      u"dwSampleSize of video is 0, or the size of every frame", u"A size other than 0 says that all frames have it.",
      u"readers that compute where a frame stands", u"Write 0 into dwSampleSize.", u"AVISTREAMHEADER"},
     AviStage::Counts,
     hasCountedVideo,
     eachStream<StreamFilter::VideoHeader, checkVideoSampleSize>},
    {{u"stream-start",
      {Severity::Warning, Severity::Note},
      Level::Quick,
      Repair::Patch,
      u"dwStart is 0",
      u"The stream begins this many ticks late. Readers differ in whether they obey. Hours are a damaged field rather "
      u"than a meaning.",
      u"readers that obey it, beside those that do not: sound and pictures are apart in one of them",
      u"Write 0 where the streams belong together from the first chunk on.",
      u"AVISTREAMHEADER"},
     AviStage::Headers,
     anyHeader,
     eachStream<StreamFilter::Header, checkStreamStart>},
    {{u"stream-buffer-too-small", Severity::Warning, Level::Default, Repair::Patch,
      u"dwSuggestedBufferSize holds the stream's largest chunk",
      u"Readers that make their buffer by it cannot read larger chunks.",
      u"hardware players and old readers: they cut such chunks off or stop",
      u"Write the size of the largest chunk, or 0 for not known.", u"AVISTREAMHEADER"},
     AviStage::Counts,
     hasCountedStreams,
     eachStream<StreamFilter::Header, checkStreamBuffer>},
    {{u"palette-flag", Severity::Warning, Level::Default, Repair::Patch,
      u"AVISF_VIDEO_PALCHANGES is set where palettes change, and nowhere else",
      u"Readers that are not told of changing palettes show later frames in the colours of the first one.",
      u"readers that prepare for palettes by the flag", u"Set the flag where ##pc chunks are there, else clear it.",
      u"AVISTREAMHEADER"},
     AviStage::Counts,
     hasCountedVideo,
     eachStream<StreamFilter::VideoHeader, checkPaletteFlag>},
    {{u"streams-over-100", Severity::Error, Level::Quick, Repair::None, u"A file has 100 streams at most",
      u"A chunk id names its stream by two decimal digits. Chunks of further streams cannot be told from others.",
      u"all readers", u"Spread the streams over several files.", u"AVI RIFF File Reference"},
     AviStage::Headers,
     hasStreams,
     checkStreamsOverHundred},
    {{u"strf-missing", Severity::Error, Level::Quick, Repair::None, u"Each strl list has a strf",
      u"The format says which decoder the data needs, and how it has to be set up.",
      u"all readers: they cannot play the stream", u"Take the format from a file of the same recorder.",
      u"AVI RIFF File Reference"},
     AviStage::Headers,
     hasStreams,
     eachStream<StreamFilter::All, checkFormatMissing>},
    {{u"strf-order", Severity::Note, Level::Quick, Repair::None, u"strf stands directly behind strh",
      u"The format has them in this order; most readers take any.", u"readers that expect the format there",
      u"Nothing.", u"AVI RIFF File Reference"},
     AviStage::Headers,
     hasStream<StreamFilter::All>,
     eachStream<StreamFilter::All, checkFormatOrder>},
    {{u"byte-rate",
      {Severity::Warning, Severity::Note},
      Level::Quick,
      Repair::Patch,
      u"dwRate × dwSampleSize / dwScale is nAvgBytesPerSec",
      u"Both say how many bytes a second of sound has, and readers use one or the other. Block codecs state a nominal "
      u"rate.",
      u"readers that seek in sound; sound and pictures drift apart",
      u"Write the time base that the format asks for.",
      u"AVISTREAMHEADER"},
     AviStage::Comparisons,
     hasAudioWithSamples,
     eachStream<StreamFilter::AudioHeader, checkByteRate>},
};

} // namespace

AviRules streamRules()
{
    return rules;
}

} // namespace quenlofar

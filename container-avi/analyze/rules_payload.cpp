#include "avistreamrules.h"
#include "payloadpass.h"

#include <algorithm>
#include <array>

namespace quenlofar {

namespace {

// What reads no payload

constexpr quint32 dvFormatSize = 32; // DVINFO
constexpr quint64 dvFrameSizes[] = {120000, 144000}; // of 525 and 625 lines

bool hasMixed(const AviContext &context)
{
    return std::any_of(context.file.streams.begin(), context.file.streams.end(), [](const AviStream &stream) {
        return stream.kind == StreamKind::Mixed && stream.format.exists();
    });
}

void checkDvFormat(const AviStreamContext &of, Findings &findings)
{
    const AviRecord &format = of.stream.format;
    if (of.stream.kind != StreamKind::Mixed || !format.exists() || format.size == dvFormatSize)
        return;
    findings.add(of.file().elements[format.element].header(), of.number)
        .expected(QStringLiteral("32 bytes"))
        .actual(QStringLiteral("%1 bytes").arg(format.size))
        .message(QStringLiteral("The format of a stream of DV is no DVINFO."));
}

bool hasDv(const AviContext &context)
{
    return allPacketsAreKnown(context)
        && std::any_of(context.file.streams.begin(), context.file.streams.end(),
                       [](const AviStream &stream) { return codecOf(stream) == AviCodec::Dv; });
}

void checkDvFrameSize(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    std::array<bool, PacketTable::streamLimit> isDv{};
    for (size_t number = 0; number < file.streams.size(); ++number)
        isDv[number] = codecOf(file.streams[number]) == AviCodec::Dv;
    eachPacket(context, [&](const Packet &packet) {
        const auto divides = [&packet](quint64 size) { return packet.size % size == 0; };
        if (!isDv[packet.stream] || std::any_of(std::begin(dvFrameSizes), std::end(dvFrameSizes), divides))
            return;
        FindingDraft draft = findings.add(Occurrence{packet.range(), packet.stream, packet.range()});
        if (!draft.isNew())
            return;
        draft.expected(QStringLiteral("120000 or 144000 bytes, or a multiple"))
            .actual(QStringLiteral("%1 bytes").arg(packet.size))
            .message(QStringLiteral("Frames of DV have not the size of a frame (%1 of them)."));
    });
}

// What reads payload: PayloadPass holds each stream against all of it at once

/// Whether a stream has what the rule is held against.
template <PayloadCheck check> bool hasPayload(const AviContext &context)
{
    return context.payload
        && std::any_of(context.file.streams.begin(), context.file.streams.end(),
                       [&context](const AviStream &stream) { return isPayloadChecked(check, context.file, stream); });
}

/// What the pass says of each check. "%1" is the count.
constexpr QStringView payloadMessages[payloadCheckCount] = {
    u"Chunks of MP3 do not begin with a frame (%1 of them).",
    u"Headers of MP3 frames say something else than the format.",
    u"The sound has a variable bit rate, and the headers say that each byte takes the same time.",
    u"Key flags differ from what the frames say of themselves (%1 of them).",
    u"Zero bytes stand where compressed data should go on (in %1 places).",
    u"The frames are of another system than the time base says.",
    u"Pictures do not begin with SOI and end with EOI (%1 of them).",
    u"The payload states another size of the pictures than the format.",
    u"The first frame cannot be decoded alone.",
    u"Frames are the same as the one before (%1 of them).",
};

template <PayloadCheck check> void checkPayload(const AviContext &context, Findings &findings)
{
    context.payload->read();
    for (size_t number = 0; number < context.file.streams.size(); ++number) {
        const PayloadHits &hits = context.payload->hits(check, int(number));
        const AviTally &places = hits.places;
        // Where idx1 marks no frame at all another rule has said so of the whole stream.
        if (places.count == 0 || (check == PayloadCheck::KeyFlag && findings.has(u"idx1-no-key-frame", int(number))))
            continue;
        FindingDraft draft = findings.add(Occurrence{places.places[0], int(number), hits.packet});
        draft.expected(hits.expected).actual(hits.actual).message(payloadMessages[size_t(check)].toString());
        if (places.count == 2)
            draft.andMore(1, {places.places[1]});
        else if (places.count > 2)
            draft.andMore(places.count - 1, {places.places[1], places.places[2]});
    }
}

constexpr AviRule rules[] = {
    {{u"dv-format", Severity::Error, Level::Quick, Repair::None, u"The format of an iavs stream has 32 bytes",
      u"A stream that has pictures and sound in one has a DVINFO instead of the formats of pictures or sound.",
      u"readers that set up their decoder by it", u"Take the format from a file of the same recorder.",
      u"DV Data in the AVI File Format"},
     AviStage::Headers,
     hasMixed,
     eachStream<StreamFilter::All, checkDvFormat>},
    {{u"dv-frame-size", Severity::Warning, Level::Default, Repair::None,
      u"Frames of DV have 120 000 or 144 000 bytes, or a multiple at the higher rates",
      u"DV has a constant number of bytes for each frame. Of a shorter one a part is missing.",
      u"decoders: blocks of the picture, and sound, are missing", u"Look for another copy of the recording.",
      u"DV Data in the AVI File Format"},
     AviStage::Chunks,
     hasDv,
     checkDvFrameSize},
    {{u"mp3-chunk-start", Severity::Note, Level::Deep, Repair::None, u"Chunks of MP3 begin with the header of a frame",
      u"Where dwSampleSize is 0 a chunk is a tick, and readers hand it to the decoder as a frame. Sound of a constant "
      u"bit rate may be split anywhere.",
      u"readers that seek: a click after each jump", u"Nothing.", u"practice"},
     AviStage::Payload,
     hasPayload<PayloadCheck::Mp3ChunkStart>,
     checkPayload<PayloadCheck::Mp3ChunkStart>},
    {{u"mp3-header-differs", Severity::Warning, Level::Deep, Repair::Patch,
      u"Rate, channels and layer of MP3 frames are those of the format",
      u"Readers set up their output by the format, decoders go by the frames.",
      u"players: wrong speed or pitch, or no sound", u"Write into the format what the frames say.", u"practice"},
     AviStage::Payload,
     hasPayload<PayloadCheck::Mp3Header>,
     checkPayload<PayloadCheck::Mp3Header>},
    {{u"mp3-vbr-as-cbr", Severity::Warning, Level::Deep, Repair::Rewrite,
      u"MP3 with a dwSampleSize has a constant bit rate",
      u"With a dwSampleSize other than 0 times are computed from bytes, which is wrong where frames of the same "
      u"length have different sizes.",
      u"all readers that seek: sound and pictures drift apart", u"Write the stream anew with a frame in each chunk.",
      u"practice"},
     AviStage::Payload,
     hasPayload<PayloadCheck::Mp3BitRate>,
     checkPayload<PayloadCheck::Mp3BitRate>},
    {{u"idx1-key-flag-differs", Severity::Warning, Level::Deep, Repair::Patch,
      u"Key flags of idx1 are what the frames say of themselves",
      u"Readers jump to frames that are flagged. Of MPEG-4 the first VOP of a chunk says it; of H.264 an IDR picture "
      u"or a recovery point; of codecs without other frames each frame is one.",
      u"whoever seeks or cuts: broken pictures up to the next true key frame", u"Write the true key flags.",
      u"practice"},
     AviStage::Payload,
     hasPayload<PayloadCheck::KeyFlag>,
     checkPayload<PayloadCheck::KeyFlag>},
    {{u"zero-hole", Severity::Warning, Level::Deep, Repair::None, u"Compressed data has no 512 zero bytes in a row",
      u"MPEG-4, H.264, MP3 and JPEG do not code 4096 zero bits in a row. A sector that was not written, or not read, "
      u"leaves "
      u"them. Pictures of one colour with Huffman tables of their own, silent frames of MP3, and padding behind a "
      u"JPEG picture are exempt.",
      u"decoders: the rest of such a frame, and those that build on it", u"Look for another copy of the recording.",
      u"practice"},
     AviStage::Payload,
     hasPayload<PayloadCheck::ZeroHole>,
     checkPayload<PayloadCheck::ZeroHole>},
    {{u"dv-system", Severity::Warning, Level::Deep, Repair::Patch,
      u"The time base of DV is that of the system which the frames name",
      u"The header of a frame says whether it has 525 lines at 29.97 frames per second, or 625 at 25.",
      u"players: wrong speed, and sound apart from the pictures", u"Write the time base of the system.",
      u"DV Data in the AVI File Format"},
     AviStage::Payload,
     hasPayload<PayloadCheck::DvSystem>,
     checkPayload<PayloadCheck::DvSystem>},
    {{u"jpeg-markers", Severity::Warning, Level::Deep, Repair::None,
      u"Frames of Motion JPEG begin with SOI and end with EOI",
      u"A picture without these markers is cut off, or is none. Padding behind EOI, and two pictures for two fields, "
      u"are common.",
      u"decoders that refuse such a picture", u"Look for another copy of the recording.", u"ITU-T T.81"},
     AviStage::Payload,
     hasPayload<PayloadCheck::JpegMarkers>,
     checkPayload<PayloadCheck::JpegMarkers>},
    {{u"coded-picture-size", Severity::Warning, Level::Deep, Repair::Patch,
      u"The payload states the size that the format states",
      u"Readers make their window by the format, decoders go by the payload. Rounding to macroblocks of 16 pixels, and "
      u"JPEG pictures of half the height for a field, are common.",
      u"players: stretched, cut or torn pictures", u"Write the payload's size into biWidth and biHeight.",
      u"ITU-T T.81; ISO/IEC 14496-2; ITU-T H.264"},
     AviStage::Payload,
     hasPayload<PayloadCheck::CodedSize>,
     checkPayload<PayloadCheck::CodedSize>},
    {{u"coded-start", Severity::Warning, Level::Deep, Repair::None, u"The first frame can be decoded alone",
      u"A film that begins with a frame that needs others, or without the header that the decoder is set up with, was "
      u"cut out of another one. Up to the next key frame nothing is shown, or something broken.",
      u"all readers", u"Look for the beginning of the film.", u"ISO/IEC 14496-2; ITU-T H.264"},
     AviStage::Payload,
     hasPayload<PayloadCheck::CodedStart>,
     checkPayload<PayloadCheck::CodedStart>},
    {{u"duplicate-frames", Severity::Note, Level::Deep, Repair::None, u"No frame is the same as the one before",
      u"Recorders that fall behind write a frame again; a picture that stands still does so too.",
      u"whoever analyses motion", u"Nothing.", u"practice"},
     AviStage::Payload,
     hasPayload<PayloadCheck::Duplicates>,
     checkPayload<PayloadCheck::Duplicates>},
};

} // namespace

AviRules payloadRules()
{
    return rules;
}

} // namespace quenlofar

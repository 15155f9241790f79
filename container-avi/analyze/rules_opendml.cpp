#include "rules_opendml.h"

#include "aviids.h"
#include "indexrules.h"

#include <algorithm>
#include <cstdlib>

namespace quenlofar {

namespace {

constexpr quint32 indexHeaderSize = 24; // AVISUPERINDEX, AVISTDINDEX: entries stand behind
constexpr quint16 superWidth = 4; // wLongsPerEntry
constexpr quint16 standardWidth = 2;
constexpr quint16 fieldWidth = 3;
constexpr quint8 fieldSubType = 1; // AVI_INDEX_SUB_2FIELD

// Where fields of an index chunk stand, from its header on.
constexpr quint32 widthOffset = 8; // wLongsPerEntry
constexpr quint32 subTypeOffset = 10; // bIndexSubType
constexpr quint32 typeOffset = 11; // bIndexType
constexpr quint32 countOffset = 12; // nEntriesInUse
constexpr quint32 chunkIdOffset = 16; // dwChunkId

// VIDEO_PROP_HEADER of the OpenDML AVI File Format Extensions.
constexpr quint32 propertiesSize = 36; // without fields
constexpr quint32 fieldInfoSize = 32;
constexpr quint32 frameWidthOffset = 24; // dwFrameWidthInPixels
constexpr quint32 frameHeightOffset = 28; // dwFrameHeightInLines
constexpr quint32 fieldCountOffset = 32; // nbFieldPerFrame

/// Two decimal digits name fewer streams than this.
constexpr int streamDigits = 100;

/// The two digits of a stream, in the lowest bytes of an id.
constexpr quint32 streamDigitsOf(int stream)
{
    return quint32('0' + stream / 10) | quint32('0' + stream % 10) << 8;
}
/// ix00 for stream 0.
constexpr quint32 indexChunkId(int stream)
{
    return twoLetters("ix") | streamDigitsOf(stream) << 16;
}

/// The file goes on in later RIFF lists. One with headers of its own is another film, appended to this one.
bool hasLaterSegments(const AviContext &context)
{
    const AviLayout &file = context.file;
    const auto isPart = [&file](quint32 riff) {
        return file.child(riff, fourCC("LIST"), fourCC("hdrl")) == AviLayout::none;
    };
    return file.segments.size() > 1 && std::any_of(file.segments.begin() + 1, file.segments.end(), isPart);
}

bool isOpenDml(const AviIndex &index)
{
    return index.kind != AviIndexKind::Legacy;
}

bool isStandard(const AviIndex &index)
{
    return index.kind == AviIndexKind::Standard || index.kind == AviIndexKind::Field;
}

template <bool (*accepts)(const AviIndex &)> bool hasIndex(const AviContext &context)
{
    const std::vector<AviIndex> &indexes = context.file.indexes;
    return std::any_of(indexes.begin(), indexes.end(), accepts);
}

bool hasSuperEntries(const AviContext &context)
{
    return !context.file.superEntries.empty();
}

bool hasSegmentsOnTheWay(const AviContext &context)
{
    return hasSuperEntries(context) && context.file.isWalked;
}

bool isField(const AviIndex &index)
{
    return index.kind == AviIndexKind::Field;
}

/// Some stream has an index of its own.
bool hasStreamIndex(const AviContext &context)
{
    const std::vector<AviStream> &streams = context.file.streams;
    return std::any_of(streams.begin(), streams.end(),
                       [](const AviStream &stream) { return stream.superIndex != AviLayout::none; });
}

bool hasBothIndexes(const AviContext &context)
{
    return !context.file.legacyIndexes.empty() && hasIndex<isStandard>(context);
}

// Headers

/// The codecs of MP2 and MP3, by wFormatTag: WAVE_FORMAT_MPEG, WAVE_FORMAT_MPEGLAYER3.
bool isMpegAudio(const AviStream &stream)
{
    return stream.kind == StreamKind::Audio && (stream.formatTag == 0x50 || stream.formatTag == 0x55);
}

bool isPicture(const AviStream &stream)
{
    return stream.kind == StreamKind::Video || stream.kind == StreamKind::Mixed;
}

bool countsFrames(const AviContext &context)
{
    const std::vector<AviStream> &streams = context.file.streams;
    return context.file.isWalked && context.file.extendedHeader.size >= 4
        && std::any_of(streams.begin(), streams.end(), isPicture);
}

void checkTotalFrames(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const quint64 stated = file.extendedHeader.u32(0);
    quint64 first = 0; // chunks of the first video stream, which is the one that headers speak of,
    quint64 largest = 0; // and of that with the most
    quint64 audio = 0; // chunks of MP2 and MP3
    int video = -1;
    for (size_t number = 0; number < file.streams.size(); ++number) {
        const quint64 chunks = file.packets.totals(int(number)).count;
        if (isMpegAudio(file.streams[number]))
            audio += chunks;
        if (!isPicture(file.streams[number]))
            continue;
        if (video < 0) {
            video = int(number);
            first = chunks;
        }
        largest = std::max(largest, chunks);
    }
    if (stated == first || stated == largest)
        return;
    const bool isSum = stated == first + audio || stated == largest + audio;
    const bool isShort = stated < first && file.segments.size() > 1;
    findings.add(file.extendedHeader.field(0, 4))
        .severity(isSum         ? Severity::Note
                      : isShort ? Severity::Error
                                : Severity::Warning)
        .expected(first)
        .mend(file.extendedHeader.field(0, 4), 4, first)
        .actual(stated)
        .message(isSum ? QStringLiteral("The extended header counts the audio chunks with the frames.")
                       : QStringLiteral("The extended header states %2 frames; the file has %3.")
                             .replace(QLatin1String("%2"), QString::number(stated))
                             .replace(QLatin1String("%3"), QString::number(first)));
}

void checkExtendedHeaderMissing(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    if (file.extendedHeader.exists())
        return;
    const quint32 riff = file.segments.front();
    const quint32 headers = file.child(riff, fourCC("LIST"), fourCC("hdrl"));
    findings.add(file.elements[headers == AviLayout::none ? riff : headers].header())
        .expected(QStringLiteral("dmlh"))
        .actual(QStringLiteral("no dmlh"))
        .message(
            QStringLiteral("The file has several RIFF lists, and no extended header that counts all their frames."));
}

bool hasProperties(const AviContext &context)
{
    const std::vector<AviStream> &streams = context.file.streams;
    return std::any_of(streams.begin(), streams.end(),
                       [](const AviStream &stream) { return stream.properties.exists(); });
}

void checkProperties(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (size_t number = 0; number < file.streams.size(); ++number) {
        const AviStream &stream = file.streams[number];
        const AviRecord &properties = stream.properties;
        if (!properties.exists())
            continue;
        const quint64 fields = properties.u32(fieldCountOffset);
        const quint64 size = propertiesSize + fieldInfoSize * fields;
        if (properties.size < propertiesSize || properties.size != size) {
            findings.add(file.elements[properties.element].sizeField(), int(number))
                .expected(properties.size < propertiesSize ? propertiesSize : size)
                .actual(properties.size)
                .message(QStringLiteral("The size of vprp does not fit the number of fields that it states."));
            continue;
        }
        const qint64 width = properties.u32(frameWidthOffset);
        const qint64 height = properties.u32(frameHeightOffset);
        const qint64 formatHeight = std::abs(qint64(stream.height));
        if (stream.kind != StreamKind::Video || !stream.format.exists()
            || (width == stream.width && height == formatHeight))
            continue;
        findings.add(properties.field(frameWidthOffset, 8), int(number))
            .expected(QStringLiteral("%1 x %2").arg(stream.width).arg(formatHeight))
            .actual(QStringLiteral("%1 x %2").arg(width).arg(height))
            .message(QStringLiteral("The video properties state another frame size than the format."));
    }
}

// Headers of index chunks

void checkSuperWidth(const AviContext &context, Findings &findings)
{
    for (const AviIndex &index : context.file.indexes) {
        if (index.kind != AviIndexKind::Super || index.longsPerEntry == superWidth)
            continue;
        findings.add({index.offset + widthOffset, 2}, index.stream)
            .expected(superWidth)
            .mend({index.offset + widthOffset, 2}, 2, superWidth)
            .actual(index.longsPerEntry)
            .message(QStringLiteral("The super index states another width of its entries than four words."));
    }
}

void checkStandardWidth(const AviContext &context, Findings &findings)
{
    for (const AviIndex &index : context.file.indexes) {
        if (!isStandard(index) || index.subType > fieldSubType)
            continue;
        const quint16 width = index.subType == fieldSubType ? fieldWidth : standardWidth;
        // Where the entries are those of the other kind, the sub-type is what is wrong.
        if (index.longsPerEntry == width || (index.longsPerEntry == fieldWidth && index.kind == AviIndexKind::Field))
            continue;
        findings.add({index.offset + widthOffset, 2}, index.stream)
            .expected(width)
            .mend({index.offset + widthOffset, 2}, 2, width)
            .actual(index.longsPerEntry)
            .message(QStringLiteral("The standard index states another width of its entries than they have."));
    }
}

void checkIndexType(const AviContext &context, Findings &findings)
{
    constexpr quint8 types[] = {0, 1, 2, 3, 0x80};
    for (const AviIndex &index : context.file.indexes) {
        if (!isOpenDml(index))
            continue;
        if (std::find(std::begin(types), std::end(types), index.type) == std::end(types)) {
            findings.add({index.offset + typeOffset, 1}, index.stream)
                .expected(QStringLiteral("0, 1, 2, 3 or 128"))
                .actual(index.type)
                .message(QStringLiteral("bIndexType of an index names no kind of index: its entries cannot be read."));
        }
        const bool isContrary =
            index.kind == AviIndexKind::Field && index.subType == 0 && index.longsPerEntry == fieldWidth;
        if (index.subType > fieldSubType || isContrary) {
            const bool isField = index.kind == AviIndexKind::Field;
            const bool isKnown = isField || index.kind == AviIndexKind::Standard || index.kind == AviIndexKind::Super;
            findings.add({index.offset + subTypeOffset, 1}, index.stream)
                .mend({index.offset + subTypeOffset, isKnown ? 1U : 0U}, 1, isField ? fieldSubType : 0)
                .expected(isContrary ? QStringLiteral("1") : QStringLiteral("0 or 1"))
                .actual(index.subType)
                .message(QStringLiteral("bIndexSubType of an index does not say what its entries are."));
        }
    }
}

void checkEntryCount(const AviContext &context, Findings &findings)
{
    for (const AviIndex &index : context.file.indexes) {
        if (!isOpenDml(index) || index.entrySize == 0)
            continue;
        const quint32 room = index.size > indexHeaderSize ? (index.size - indexHeaderSize) / index.entrySize : 0;
        if (index.entriesInUse <= room)
            continue;
        findings.add({index.offset + countOffset, 4}, index.stream)
            .expected(QStringLiteral("at most %1").arg(room))
            .mend({index.offset + countOffset, 4}, 4, room)
            .actual(index.entriesInUse)
            .message(QStringLiteral("An index states more entries than its chunk has room for."));
    }
}

/// The stream that an index belongs to, as the `indx` says from which readers come to it; -1 where nothing leads there.
int streamOfOwner(const AviLayout &file, const AviIndex &index)
{
    if (index.id == fourCC("indx"))
        return index.stream;
    return index.superEntry == AviLayout::none ? -1 : file.superEntries[index.superEntry].stream;
}

void checkIndexStream(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (const AviIndex &index : file.indexes) {
        if (!isOpenDml(index) || index.kind == AviIndexKind::Other)
            continue;
        const bool isOwned = streamOfOwner(file, index) >= 0;
        const int owner = isOwned ? streamOfOwner(file, index) : index.stream;
        if (owner < 0)
            continue;
        if (index.id != fourCC("indx") && index.stream != owner) {
            findings.add({index.offset, 4}, owner)
                .mend({index.offset, owner < streamDigits ? 4U : 0U}, 4, indexChunkId(owner))
                .expected(QStringLiteral("an index of stream %1").arg(owner))
                .actual(idText(index.id))
                .message(QStringLiteral("The super index of a stream leads to an index that names another stream."));
        }
        if (dataStream(index.chunkId) != owner) {
            // The letters are right where they are letters.
            const bool isMendable = owner < streamDigits && dataStream(index.chunkId) >= 0;
            findings.add({index.offset + chunkIdOffset, 4}, owner)
                .mend({index.offset + chunkIdOffset, isMendable ? 4U : 0U}, 4, streamDigitsOf(owner), 0xFFFF)
                .expected(QStringLiteral("a chunk id of stream %1").arg(owner))
                .actual(idText(index.chunkId))
                .message(QStringLiteral("dwChunkId of an index does not name chunks of its stream."));
        }
    }
}

void checkIndexChunkId(const AviContext &context, Findings &findings)
{
    for (const AviIndex &index : context.file.indexes) {
        if (!isOpenDml(index) || lettersOfId(index.id) != twoLetters("ix"))
            continue;
        findings.add({index.offset, 4}, index.stream)
            .mend({index.offset, index.stream >= 0 && index.stream < streamDigits ? 4U : 0U}, 4,
                  indexChunkId(std::max(index.stream, 0)))
            .expected(QStringLiteral("ix%1").arg(std::max(index.stream, 0), 2, 10, QLatin1Char('0')))
            .actual(idText(index.id))
            .message(QStringLiteral("Index chunks whose ids have stream and letters the other way round: %1."));
    }
}

void checkAvixWithoutIndex(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (size_t number = 0; number < file.streams.size(); ++number) {
        const AviStream &stream = file.streams[number];
        if (stream.superIndex != AviLayout::none)
            continue;
        findings.add(file.elements[stream.list].header(), int(number))
            .expected(QStringLiteral("indx"))
            .actual(QStringLiteral("no indx"))
            .message(QStringLiteral("The stream has no indx: what stands in later RIFF lists is in no index."));
    }
}

constexpr QStringView extensions = u"OpenDML AVI File Format Extensions";
constexpr QStringView practice = u"practice";
constexpr QStringView byHand = u"Write the index anew from the chunks that are there.";

constexpr AviRule rules[] = {
    {{u"total-frame-count",
      {Severity::Error, Severity::Warning, Severity::Note},
      Level::Default,
      Repair::Patch,
      u"dwTotalFrames of dmlh is the number of video chunks in all RIFF lists",
      u"Readers of OpenDML files take the length of the film from here: what lies behind is not shown. A widespread "
      u"writer adds the chunks of MP2 and MP3 streams, which readers have learned to distrust.",
      u"readers that take the length from the headers",
      u"Write the number of video chunks.",
      extensions},
     AviStage::Counts,
     countsFrames,
     checkTotalFrames},
    {{u"dmlh-missing", Severity::Error, Level::Quick, Repair::Append, u"A file of several RIFF lists has a dmlh chunk",
      u"The main header counts the frames of the first RIFF list alone; only the extended header counts all of them.",
      u"readers that take the length from the headers", u"Add a LIST odml with a dmlh chunk to the header list.",
      extensions},
     AviStage::Structure,
     hasLaterSegments,
     checkExtendedHeaderMissing},
    {{u"vprp-size", Severity::Warning, Level::Quick, Repair::None,
      u"vprp has 36 bytes and 32 for each field, and states the frame size of the format",
      u"Readers that take aspect ratio and fields from vprp read beyond its end, or distrust all of it.",
      u"editing programs", u"Write the video properties anew from the format.", extensions},
     AviStage::Headers,
     hasProperties,
     checkProperties},
    {{u"super-entry-width", Severity::Error, Level::Quick, Repair::Patch, u"wLongsPerEntry of a super index is 4",
      u"A reader that goes by the stated width reads every entry but the first at a wrong place.",
      u"readers of OpenDML indexes", u"Write 4.", u"AVISUPERINDEX"},
     AviStage::Index,
     hasSuperEntries,
     checkSuperWidth},
    {{u"std-entry-width", Severity::Error, Level::Quick, Repair::Patch,
      u"wLongsPerEntry of a standard index is 2, with fields 3",
      u"A reader that goes by the stated width reads every entry but the first at a wrong place.",
      u"readers of OpenDML indexes", u"Write 2, or 3 in an index of fields.", u"AVISTDINDEX"},
     AviStage::Index,
     hasIndex<isStandard>,
     checkStandardWidth},
    {{u"index-type", Severity::Error, Level::Quick, Repair::Patch,
      u"bIndexType is 0, 1, 2, 3 or 0x80 and bIndexSubType 0 or 1",
      u"The two say what the entries are. Where they name nothing the index cannot be read.",
      u"readers of OpenDML indexes", u"Write 0 for an index of indexes and 1 for an index of chunks.",
      u"AVISUPERINDEX"},
     AviStage::Index,
     hasIndex<isOpenDml>,
     checkIndexType},
    {{u"index-entry-count", Severity::Error, Level::Quick, Repair::Patch,
      u"nEntriesInUse entries fit into the index chunk",
      u"A reader that trusts the number takes what follows the chunk for entries.", u"readers of OpenDML indexes",
      u"Write the number of entries that are there.", u"AVISUPERINDEX"},
     AviStage::Index,
     hasIndex<isOpenDml>,
     checkEntryCount},
    {{u"super-no-such-index", Severity::Error, Level::Quick, Repair::Append,
      u"qwOffset of each entry of a super index leads to an index chunk",
      u"All that this part of the stream has is out of reach for readers that go by the index.",
      u"readers of OpenDML indexes", byHand, u"AVISUPERINDEX"},
     AviStage::Index,
     hasSuperEntries,
     checkSuperNoSuchIndex},
    {{u"super-entry-size",
      {Severity::Error, Severity::Warning},
      Level::Quick,
      Repair::Patch,
      u"dwSize of each entry of a super index is the size of the index chunk with its header",
      u"Readers that load as many bytes as stated get only a part of the index, or foreign bytes behind it. Some "
      u"writers leave the header out, which most readers bear.",
      u"readers of OpenDML indexes",
      u"Write the size of the index chunk with its eight bytes of header.",
      u"AVISUPERINDEX"},
     AviStage::Index,
     hasSuperEntries,
     checkSuperEntrySize},
    {{u"std-no-such-chunk", Severity::Error, Level::Default, Repair::Append,
      u"qwBaseOffset and dwOffset of each entry lead to the data of a chunk of the stream",
      u"Such an entry makes a reader decode bytes that are something else, or give up.", u"readers of OpenDML indexes",
      byHand, u"AVISTDINDEX"},
     AviStage::Index,
     hasIndex<isStandard>,
     checkStandardNoSuchChunk},
    {{u"std-base-beyond-file", Severity::Error, Level::Quick, Repair::Append,
      u"qwBaseOffset of a standard index lies inside the file",
      u"No entry of this index can be right: the file was cut, or the index belongs to another one.",
      u"readers of OpenDML indexes", byHand, u"AVISTDINDEX"},
     AviStage::Index,
     hasIndex<isStandard>,
     checkStandardBase},
    {{u"std-chunk-size", Severity::Error, Level::Default, Repair::Patch,
      u"The low 31 bits of dwSize are the size of the chunk",
      u"Readers take the size of a frame from the index: too small a number cuts the frame off, too large a one hands "
      u"foreign bytes to the decoder.",
      u"readers of OpenDML indexes", u"Write the size that the chunk's header says into the entry.", u"AVISTDINDEX"},
     AviStage::Index,
     hasIndex<isStandard>,
     checkStandardChunkSize},
    {{u"index-stream-differs", Severity::Error, Level::Quick, Repair::Patch,
      u"dwChunkId and the number in the id of an index chunk name the stream of the indx that leads there",
      u"Depending on which of the three a reader believes, it plays chunks of another stream or none.",
      u"readers of OpenDML indexes", u"Write the number of the stream.", u"AVISTDINDEX"},
     AviStage::Index,
     hasIndex<isOpenDml>,
     checkIndexStream},
    {{u"super-duration",
      {Severity::Error, Severity::Warning},
      Level::Default,
      Repair::Patch,
      u"dwDuration of each entry of a super index is the time of its part, in ticks of the stream",
      u"Readers add these numbers up to find the part in which a time lies: from a wrong one on they seek to other "
      u"places than they were asked for.",
      u"readers of OpenDML indexes that seek",
      u"Write the ticks of the chunks of that part.",
      u"AVISUPERINDEX"},
     AviStage::Counts,
     [](const AviContext &context) { return hasSuperEntries(context) && context.file.isWalked; },
     checkSuperDuration},
    {{u"index-chunk-id", Severity::Note, Level::Quick, Repair::Patch, u"The id of an index chunk is ix and the stream",
      u"Some writers name them 00ix and not ix00. Readers come to them by the super index and do not look at the id.",
      u"programs that tell chunks by their ids", u"Write ix and the two digits of the stream.", extensions},
     AviStage::Index,
     hasIndex<isStandard>,
     checkIndexChunkId},
    {{u"odml-chunk-not-indexed", Severity::Error, Level::Default, Repair::Append,
      u"The OpenDML index of a stream has all its data chunks, in all RIFF lists",
      u"Readers that play by the index never show what it does not have. Chunks that change the palette need no entry.",
      u"readers of OpenDML indexes", byHand, extensions},
     AviStage::Index,
     hasStreamIndex,
     checkChunkNotIndexedByParts},
    {{u"avix-without-indx", Severity::Error, Level::Quick, Repair::Append,
      u"In a file of several RIFF lists each stream has an indx",
      u"idx1 reaches the first RIFF list only. Without an indx what comes later is found by nobody who does not read "
      u"the whole file.",
      u"all readers that seek", u"Add index chunks and an indx to each stream's list.", extensions},
     AviStage::Index,
     hasLaterSegments,
     checkAvixWithoutIndex},
    {{u"indexes-differ", Severity::Warning, Level::Default, Repair::Append,
      u"idx1 and the OpenDML indexes say the same of the chunks that both have",
      u"Which frames are key frames then depends on the reader. Where places or sizes differ one of the two is wrong, "
      u"which the rules about its entries tell. Sound and empty frames are not compared: writers set their flags at "
      u"will.",
      u"readers that seek", u"Write both indexes from the chunks that are there.", practice},
     AviStage::Index,
     hasBothIndexes,
     checkIndexesDiffer},
    {{u"std-span", Severity::Error, Level::Default, Repair::Append,
      u"A standard index has chunks of one RIFF list, within 4 GiB",
      u"Its offsets have 32 bits. Readers that load a part with its index do not expect chunks of another part.",
      u"readers of OpenDML indexes", u"Write one index for each RIFF list.", u"AVISTDINDEX"},
     AviStage::Index,
     hasIndex<isStandard>,
     checkStandardSpan},
    {{u"ix-outside-movi", Severity::Warning, Level::Quick, Repair::Rewrite,
      u"An index chunk stands inside the movi that it indexes",
      u"Readers that go through a part from chunk to chunk miss the index there.",
      u"readers that build their index from what they pass", u"Move the index into its movi.", extensions},
     AviStage::Index,
     hasIndex<isStandard>,
     checkIndexOutsideMovi},
    {{u"field-offset", Severity::Error, Level::Default, Repair::None,
      u"The second field of a frame begins inside of its chunk",
      u"Readers that show single fields decode bytes of something else. Offsets count from the base, in some files "
      u"from the chunk's data; both are accepted.",
      u"readers of interlaced video by fields", u"Look for the writer: fields cannot be told from outside.",
      u"AVIFIELDINDEX"},
     AviStage::Index,
     hasIndex<isField>,
     checkFieldOffset},
    {{u"segment-missing", Severity::Error, Level::Default, Repair::None,
      u"The parts that the super indexes name are in the file",
      u"A RIFF list at the end is missing: the file was cut between two parts, or not all of it was copied.",
      u"all readers: that part of the film is lost", u"Look for the rest, or for a complete copy.", extensions},
     AviStage::Structure,
     hasSegmentsOnTheWay,
     checkSegmentMissing},
};

} // namespace

AviRules openDmlRules()
{
    return rules;
}

} // namespace quenlofar

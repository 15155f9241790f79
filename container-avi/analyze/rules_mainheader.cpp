#include "avirules.h"

#include <algorithm>
#include <cmath>

namespace quenlofar {

namespace {

// AVIMAINHEADER: where the fields stand, and the bits of dwFlags.
constexpr quint32 mainHeaderSize = 56;
constexpr quint32 leastHeaderSize = 40; // up to dwHeight
constexpr quint32 frameTimeOffset = 0;
constexpr quint32 flagsOffset = 12;
constexpr quint32 totalFramesOffset = 16;
constexpr quint32 streamsOffset = 24;
constexpr quint32 bufferSizeOffset = 28;
constexpr quint32 widthOffset = 32;
constexpr quint32 heightOffset = 36;

constexpr quint32 hasIndexFlag = 0x00000010; // AVIF_HASINDEX
constexpr quint32 mustUseIndexFlag = 0x00000020; // AVIF_MUSTUSEINDEX
constexpr quint32 isInterleavedFlag = 0x00000100; // AVIF_ISINTERLEAVED
constexpr quint32 trustChunkTypeFlag = 0x00000800; // AVIF_TRUSTCKTYPE
constexpr quint32 wasCaptureFileFlag = 0x00010000; // AVIF_WASCAPTUREFILE
constexpr quint32 copyrightedFlag = 0x00020000; // AVIF_COPYRIGHTED
constexpr quint32 knownFlags =
    hasIndexFlag | mustUseIndexFlag | isInterleavedFlag | trustChunkTypeFlag | wasCaptureFileFlag | copyrightedFlag;

constexpr quint64 farAway = quint64(1) << 62; // behind the end of every file

quint32 flagsOf(const AviContext &context)
{
    return context.file.mainHeader.u32(flagsOffset);
}

/// The first stream of pictures; -1 without one.
int videoStream(const AviLayout &file)
{
    const auto found = std::find_if(file.streams.begin(), file.streams.end(), [](const AviStream &stream) {
        return stream.kind == StreamKind::Video || stream.kind == StreamKind::Mixed;
    });
    return found == file.streams.end() ? -1 : int(found - file.streams.begin());
}

bool hasMainHeader(const AviContext &context)
{
    return context.file.mainHeader.exists();
}

/// Flags are there.
bool hasFlags(const AviContext &context)
{
    return hasMainHeader(context) && context.file.mainHeader.size >= flagsOffset + 4;
}

/// All packets are known.
bool isCounted(const AviContext &context)
{
    return hasMainHeader(context) && context.file.isWalked && !context.file.isCutShort;
}

bool hasCountedVideo(const AviContext &context)
{
    return isCounted(context) && videoStream(context.file) >= 0
        && context.file.mainHeader.size >= totalFramesOffset + 4;
}

bool hasVideoTimeBase(const AviContext &context)
{
    const AviLayout &file = context.file;
    const int video = videoStream(file);
    return hasMainHeader(context) && video >= 0 && file.streams[size_t(video)].scale != 0
        && file.streams[size_t(video)].rate != 0;
}

bool hasPictureSize(const AviContext &context)
{
    const AviLayout &file = context.file;
    const int video = videoStream(file);
    return hasMainHeader(context) && file.mainHeader.size >= heightOffset + 4 && video >= 0
        && file.streams[size_t(video)].width > 0 && file.streams[size_t(video)].height != 0;
}

bool hasBufferSize(const AviContext &context)
{
    return hasMainHeader(context) && context.file.mainHeader.size >= bufferSizeOffset + 4;
}

bool hasCountedBufferSize(const AviContext &context)
{
    return isCounted(context) && hasBufferSize(context) && context.file.mainHeader.u32(bufferSizeOffset) != 0;
}

bool hasSeveralStreams(const AviContext &context)
{
    const PacketTable &packets = context.file.packets;
    int streams = 0;
    for (int stream = 0; stream < packets.streamCount(); ++stream)
        streams += packets.totals(stream).count > 0 ? 1 : 0;
    return isCounted(context) && hasFlags(context) && streams > 1;
}

bool hasReadLegacyIndex(const AviContext &context)
{
    return isCounted(context) && hasFlags(context) && !context.file.legacyIndexes.empty();
}

void checkMainHeaderSize(const AviContext &context, Findings &findings)
{
    const AviElement &chunk = context.file.elements[context.file.mainHeader.element];
    if (chunk.size == mainHeaderSize)
        return;
    findings.add(chunk.sizeField())
        .severity(chunk.size < leastHeaderSize ? Severity::Error : Severity::Warning)
        .expected(mainHeaderSize)
        .actual(chunk.size)
        .message(QStringLiteral("The main header has %2 bytes instead of 56.").arg(chunk.size));
}

void checkStreamCount(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const quint32 stated = file.mainHeader.u32(streamsOffset);
    if (stated == file.streamListCount)
        return;
    const ByteRange place = file.mainHeader.field(streamsOffset, 4);
    Occurrence occurrence{place, -1, place};
    // Lists that are missing stood in the header list; or, where there is no data either, behind the end of the file.
    if (stated > file.streamListCount && file.moviLists.empty())
        occurrence.about = {file.fileSize, 1};
    else if (stated > file.streamListCount)
        occurrence.about = file.elements[file.elements[file.mainHeader.element].parent].range();
    // Where there is data of such a stream its list was lost, and all streams behind it have another number. Otherwise
    // nothing but this field may be wrong.
    const bool isListLost =
        std::any_of(file.chunkKinds.begin(), file.chunkKinds.end(), [&file, stated](const AviChunkKind &kind) {
            return kind.letters != 0 && kind.stream >= file.streamListCount && kind.stream < stated;
        });
    FindingDraft draft = findings.add(occurrence);
    draft.expected(file.streamListCount)
        .actual(stated)
        .message(QStringLiteral("The main header announces %2 streams, the file describes %3.")
                     .arg(stated)
                     .arg(file.streamListCount));
    if (isListLost)
        draft.explains({0, farAway});
    else
        draft.mend(place, 4, file.streamListCount);
}

/// Packets of a stream in the first RIFF list; palettes not counted.
quint64 firstSegmentCount(const AviLayout &file, int stream)
{
    if (file.segments.empty())
        return file.packets.totals(stream).count;
    const auto inside = file.packetsIn(file.segments.front());
    return file.packets.countBefore(stream, inside.second) - file.packets.countBefore(stream, inside.first);
}

void checkFrameCount(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const quint32 stated = file.mainHeader.u32(totalFramesOffset);
    const int video = videoStream(file);
    const quint64 counted = firstSegmentCount(file, video);
    // Of several video streams any may be the one that was counted.
    for (int stream = video; stream < int(file.streams.size()); ++stream) {
        const StreamKind kind = file.streams[size_t(stream)].kind;
        if ((kind == StreamKind::Video || kind == StreamKind::Mixed) && firstSegmentCount(file, stream) == stated)
            return;
    }
    const bool countsAll = file.segments.size() > 1 && stated == file.packets.totals(video).count;
    const bool isNear = stated + quint64(1) == counted || counted + 1 == stated;
    findings.add(file.mainHeader.field(totalFramesOffset, 4), video)
        .severity(countsAll || isNear ? Severity::Warning : Severity::Error)
        .expected(counted)
        .mend(file.mainHeader.field(totalFramesOffset, 4), 4, counted)
        .actual(stated)
        .message(countsAll ? QStringLiteral(
                     "The main header counts the frames of all RIFF lists, not of the first one alone.")
                           : QStringLiteral("The main header counts %2 frames; the first RIFF list has %3.")
                                 .arg(stated)
                                 .arg(counted));
}

void checkFrameDuration(const AviContext &context, Findings &findings)
{
    constexpr double microseconds = 1e6;
    constexpr double tolerance = 0.001;
    const AviLayout &file = context.file;
    const int video = videoStream(file);
    const AviStream &stream = file.streams[size_t(video)];
    const quint32 stated = file.mainHeader.u32(frameTimeOffset);
    const double exact = microseconds * double(stream.scale) / double(stream.rate);
    const double difference = std::abs(double(stated) - exact);
    if (stated != 0 && (difference <= 1.0 || difference <= exact * tolerance))
        return;
    QString expected = QString::number(exact, 'f', 0);
    if (expected == QString::number(stated))
        expected = QStringLiteral("not 0"); // a frame is shorter than half a microsecond
    findings.add(file.mainHeader.field(frameTimeOffset, 4), video)
        .expected(expected)
        .actual(stated)
        .mend(file.mainHeader.field(frameTimeOffset, 4), exact >= 0.5 && exact < 4294967295.0 ? 4 : 0,
              quint64(std::llround(exact)))
        .message(QStringLiteral("The main header says %2 microseconds per frame, the video stream %3.")
                     .arg(stated)
                     .arg(exact, 0, 'f', 0));
}

void checkPictureSize(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const int video = videoStream(file);
    const AviStream &stream = file.streams[size_t(video)];
    const quint32 width = file.mainHeader.u32(widthOffset);
    const quint32 height = file.mainHeader.u32(heightOffset);
    const quint32 formatHeight = quint32(std::abs(qint64(stream.height)));
    if (width == quint32(stream.width) && height == formatHeight)
        return;
    const QString expected = QStringLiteral("%1x%2").arg(stream.width).arg(formatHeight);
    const QString actual = QStringLiteral("%1x%2").arg(width).arg(height);
    findings.add(file.mainHeader.field(widthOffset, 8), video)
        .expected(expected)
        .actual(actual)
        .mend(file.mainHeader.field(widthOffset, 8), 8, quint32(stream.width) | quint64(formatHeight) << 32)
        .message(QStringLiteral("The main header says %2 pixels, the video format %3.").arg(actual, expected));
}

/// An index that covers the whole file, or the streams' own ones.
bool hasAnyIndex(const AviLayout &file)
{
    return std::any_of(file.indexes.begin(), file.indexes.end(),
                       [](const AviIndex &index) { return index.id == fourCC("idx1") || index.id == fourCC("indx"); });
}

QString flagsText(quint32 flags)
{
    return QStringLiteral("0x%1").arg(flags, 8, 16, QLatin1Char('0'));
}

void checkIndexFlagWithoutIndex(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    if ((flagsOf(context) & hasIndexFlag) == 0 || hasAnyIndex(file))
        return;
    findings.add(file.mainHeader.field(flagsOffset, 4))
        .expected(QStringLiteral("idx1 or indx, or AVIF_HASINDEX clear"))
        // Where there is data an index can be made.
        .mend(file.mainHeader.field(flagsOffset, 4), file.isWalked && file.packets.size() == 0 ? 4 : 0, 0, hasIndexFlag)
        .actual(QStringLiteral("AVIF_HASINDEX and no index"))
        .message(QStringLiteral("The main header promises an index that is not there."));
}

void checkIndexWithoutFlag(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    if ((flagsOf(context) & hasIndexFlag) != 0 || !hasAnyIndex(file))
        return;
    findings.add(file.mainHeader.field(flagsOffset, 4))
        .expected(QStringLiteral("AVIF_HASINDEX set"))
        .mend(file.mainHeader.field(flagsOffset, 4), 4, hasIndexFlag, hasIndexFlag)
        .actual(QStringLiteral("AVIF_HASINDEX clear"))
        .message(QStringLiteral("The file has an index of which the main header says nothing."));
}

/// The bytes of the largest piece that readers take at once, and the stream it belongs to, or -1.
std::pair<quint64, int> largestPiece(const AviLayout &file)
{
    std::pair<quint64, int> largest(0, -1);
    for (int stream = 0; stream < file.packets.streamCount(); ++stream) {
        if (file.packets.totals(stream).largest > largest.first)
            largest = {file.packets.totals(stream).largest, stream};
    }
    if (file.legacyFacts.recLists == 0)
        return largest;
    for (quint32 number = 0; number < file.elements.size(); ++number) {
        const AviElement &element = file.elements[number];
        if (element.form == fourCC("rec ") && element.content().size > largest.first)
            largest = {element.content().size, -1};
    }
    return largest;
}

void checkBufferTooSmall(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const quint32 stated = file.mainHeader.u32(bufferSizeOffset);
    const auto [largest, stream] = largestPiece(file);
    if (stated >= largest)
        return;
    findings.add(file.mainHeader.field(bufferSizeOffset, 4), stream)
        .expected(QStringLiteral("at least %1").arg(largest))
        .mend(file.mainHeader.field(bufferSizeOffset, 4), 4, largest)
        .actual(stated)
        .message(QStringLiteral("The main header suggests a buffer of %2 bytes; the largest chunk has %3.")
                     .arg(stated)
                     .arg(largest));
}

void checkBufferUnset(const AviContext &context, Findings &findings)
{
    const AviRecord &header = context.file.mainHeader;
    if (header.u32(bufferSizeOffset) != 0)
        return;
    findings.add(header.field(bufferSizeOffset, 4))
        .expected(QStringLiteral("not 0"))
        .actual(0)
        .message(QStringLiteral("The main header suggests no size of a buffer."));
}

/// Whether data of one stream stands among that of another.
bool isInterleaved(const AviLayout &file)
{
    const PacketTable &packets = file.packets;
    std::vector<std::pair<quint64, quint64>> spans; // the first and the last packet of each stream
    for (int stream = 0; stream < packets.streamCount(); ++stream) {
        const quint64 count = packets.totals(stream).count;
        if (count > 0)
            spans.emplace_back(packets.indexOf(stream, 0), packets.indexOf(stream, count - 1));
    }
    std::sort(spans.begin(), spans.end());
    for (size_t number = 1; number < spans.size(); ++number) {
        if (spans[number].first < spans[number - 1].second)
            return true;
        spans[number].second = std::max(spans[number].second, spans[number - 1].second);
    }
    return false;
}

void checkInterleaveFlag(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const bool stated = (flagsOf(context) & isInterleavedFlag) != 0;
    const bool measured = isInterleaved(file);
    if (stated == measured)
        return;
    findings.add(file.mainHeader.field(flagsOffset, 4))
        .expected(measured ? QStringLiteral("AVIF_ISINTERLEAVED set") : QStringLiteral("AVIF_ISINTERLEAVED clear"))
        .mend(file.mainHeader.field(flagsOffset, 4), 4, measured ? isInterleavedFlag : 0, isInterleavedFlag)
        .actual(stated ? QStringLiteral("AVIF_ISINTERLEAVED set") : QStringLiteral("AVIF_ISINTERLEAVED clear"))
        .message(measured ? QStringLiteral("The streams are interleaved, and the main header does not say so.")
                          : QStringLiteral("The main header says that the streams are interleaved; they stand one "
                                           "behind the other."));
}

/// Entries that point at data before that of the entry before them; those that hit nothing say nothing.
quint64 entriesOutOfOrder(const AviContext &context)
{
    constexpr quint32 cancelInterval = 65536;
    const AviLayout &file = context.file;
    if (file.legacyFacts.outOfOrder == 0)
        return 0;
    const AviIndex &index = file.indexes[file.legacyIndexes.front()];
    quint64 count = 0;
    quint64 previous = 0;
    for (quint64 entry = 0; entry < index.entryCount; ++entry) {
        const quint64 ordinal = index.firstReference + entry;
        if (ordinal >= file.references.size() || (entry % cancelInterval == 0 && context.isCancelled()))
            break;
        const Reference reference = file.references.at(ordinal);
        if (!reference.isHit)
            continue;
        count += reference.target.offset < previous ? 1 : 0;
        previous = reference.target.offset;
    }
    return count;
}

void checkUseIndexFlag(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    if ((flagsOf(context) & mustUseIndexFlag) != 0)
        return;
    const quint64 count = entriesOutOfOrder(context);
    if (count == 0)
        return;
    findings.add(file.mainHeader.field(flagsOffset, 4))
        .expected(QStringLiteral("AVIF_MUSTUSEINDEX set"))
        .mend(file.mainHeader.field(flagsOffset, 4), 4, mustUseIndexFlag, mustUseIndexFlag)
        .actual(QStringLiteral("AVIF_MUSTUSEINDEX clear"))
        .message(QStringLiteral("idx1 leads back in the file %2 times: the order of the index differs from that of "
                                "the data, and the main header does not say which one counts.")
                     .arg(count));
}

void checkFlagsUnknown(const AviContext &context, Findings &findings)
{
    const quint32 unknown = flagsOf(context) & ~knownFlags;
    if (unknown == 0)
        return;
    findings.add(context.file.mainHeader.field(flagsOffset, 4))
        .expected(QStringLiteral("bits of %1").arg(flagsText(knownFlags)))
        .actual(flagsText(flagsOf(context)))
        .message(
            QStringLiteral("The flags of the main header have bits without a meaning: %2.").arg(flagsText(unknown)));
}

constexpr AviRule rules[] = {
    {{u"avih-size",
      {Severity::Error, Severity::Warning},
      Level::Quick,
      Repair::None,
      u"avih has 56 bytes",
      u"Readers copy 56 bytes into a structure. A shorter header leaves fields unset; below 40 bytes even the size of "
      u"the picture is missing.",
      u"readers that check the size",
      u"Look what wrote the header.",
      u"AVIMAINHEADER"},
     AviStage::Headers,
     hasMainHeader,
     checkMainHeaderSize},
    {{u"stream-count", Severity::Error, Level::Quick, Repair::Patch, u"dwStreams is the number of strl lists",
      u"Readers that trust the main header look for streams that are not there, or leave out those that are.",
      u"readers that allocate their streams from the main header", u"Write the number of strl lists into dwStreams.",
      u"AVIMAINHEADER"},
     AviStage::Headers,
     hasMainHeader,
     checkStreamCount},
    {{u"frame-count",
      {Severity::Error, Severity::Warning},
      Level::Default,
      Repair::Patch,
      u"dwTotalFrames counts the video chunks of the first RIFF list",
      u"Readers show a wrong length, stop before the end or ask for frames that are not there. Empty chunks count: "
      u"they repeat a frame.",
      u"readers that take the length from the main header",
      u"Write the number of video chunks into dwTotalFrames.",
      u"AVIMAINHEADER"},
     AviStage::Counts,
     hasCountedVideo,
     checkFrameCount},
    {{u"frame-duration", Severity::Warning, Level::Quick, Repair::Patch,
      u"dwMicroSecPerFrame fits the time base of the video stream",
      u"The frame rate is stated twice. Readers that take it from the main header play at another speed than those "
      u"that take it from the stream.",
      u"readers that take the frame rate from the main header", u"Write the duration of a frame of the video stream.",
      u"AVIMAINHEADER"},
     AviStage::Counts,
     hasVideoTimeBase,
     checkFrameDuration},
    {{u"picture-size", Severity::Warning, Level::Quick, Repair::Patch,
      u"dwWidth and dwHeight are those of the video format",
      u"The size of the picture is stated twice. Readers that take it from the main header make a window of another "
      u"shape.",
      u"readers that take the size from the main header", u"Write the size that the video format says.",
      u"AVIMAINHEADER"},
     AviStage::Headers,
     hasPictureSize,
     checkPictureSize},
    {{u"index-flag-without-index", Severity::Error, Level::Quick, Repair::Patch,
      u"AVIF_HASINDEX stands for an index that is there",
      u"Readers that believe the flag look for an index and fail, or take other bytes for it.",
      u"readers that need the index that is promised", u"Append an index, or clear the flag.", u"AVIMAINHEADER"},
     AviStage::Counts,
     hasFlags,
     checkIndexFlagWithoutIndex},
    {{u"index-without-flag", Severity::Warning, Level::Quick, Repair::Patch,
      u"AVIF_HASINDEX is set where there is an index",
      u"Readers that believe the flag do not use the index and cannot seek.", u"readers that go by the flag",
      u"Set the flag.", u"AVIMAINHEADER"},
     AviStage::Headers,
     hasFlags,
     checkIndexWithoutFlag},
    {{u"buffer-too-small", Severity::Warning, Level::Default, Repair::Patch,
      u"dwSuggestedBufferSize holds the largest chunk",
      u"Readers that allocate a buffer of this size have to allocate again, or cut chunks off.",
      u"readers with a buffer of fixed size", u"Write the size of the largest chunk's data.", u"AVIMAINHEADER"},
     AviStage::Counts,
     hasCountedBufferSize,
     checkBufferTooSmall},
    {{u"buffer-unset", Severity::Note, Level::Quick, Repair::Patch, u"dwSuggestedBufferSize is set",
      u"Without a suggestion readers choose the size of their buffers themselves.", u"nobody to speak of",
      u"Nothing has to be done.", u"AVIMAINHEADER"},
     AviStage::Headers,
     hasBufferSize,
     checkBufferUnset},
    {{u"interleave-flag", Severity::Note, Level::Default, Repair::Patch, u"AVIF_ISINTERLEAVED says what the data is",
      u"The flag tells readers from slow media how to read. Many writers never set it.", u"nobody to speak of",
      u"Nothing has to be done.", u"AVIMAINHEADER"},
     AviStage::Counts,
     hasSeveralStreams,
     checkInterleaveFlag},
    {{u"use-index-flag", Severity::Warning, Level::Default, Repair::Patch,
      u"AVIF_MUSTUSEINDEX is set where the index has an order of its own",
      u"An index in another order than the data is how edited files say what is played when. Without the flag "
      u"readers play in the order of the file.",
      u"readers that go from chunk to chunk", u"Set the flag, or write the index in the order of the data.",
      u"AVIMAINHEADER"},
     AviStage::Counts,
     hasReadLegacyIndex,
     checkUseIndexFlag},
    {{u"flags-unknown", Severity::Note, Level::Quick, Repair::None, u"dwFlags has known bits only",
      u"Bits without a meaning come from memory that the writer did not clear, or from a writer's own use.", u"nobody",
      u"Nothing has to be done.", u"AVIMAINHEADER"},
     AviStage::Headers,
     hasFlags,
     checkFlagsUnknown},
};

} // namespace

AviRules mainHeaderRules()
{
    return rules;
}

} // namespace quenlofar

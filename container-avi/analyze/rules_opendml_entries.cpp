#include "aviids.h"
#include "indexrules.h"
#include "rules_opendml.h"

#include <algorithm>

namespace quenlofar {

namespace {

// Where fields stand in entries and headers.
constexpr quint32 superSizeOffset = 8; // dwSize of an entry of AVISUPERINDEX
constexpr quint32 superDurationOffset = 12; // dwDuration
constexpr quint32 standardSizeOffset = 4; // dwSize of an entry of AVISTDINDEX
constexpr quint32 secondFieldOffset = 8; // dwOffsetField2 of an entry of AVIFIELDINDEX
constexpr quint32 baseOffsetOffset = 20; // qwBaseOffset, from the index chunk's header on

bool isStandard(const AviIndex &index)
{
    return index.kind == AviIndexKind::Standard || index.kind == AviIndexKind::Field;
}

ByteRange placeOf(const AviLayout &file, const AviIrregularEntry &entry)
{
    return AviLayout::entryPlace(file.indexes[entry.index], entry.entry);
}

/// Bytes that an entry points at: of something, so that a cause can be looked for.
ByteRange pointedAt(quint64 offset, quint64 size)
{
    return {offset, std::max<quint64>(size, 1)};
}

/// Ticks of a stream, in whole ones: as many as are complete, and as many as have begun.
struct Ticks
{
    quint64 least;
    quint64 most;
};

/// The ticks that the packets of a stream take whose chunks begin from `begin` up to before `end`.
Ticks ticksBetween(const AviLayout &file, int stream, quint64 begin, quint64 end)
{
    const PacketTable &packets = file.packets;
    const quint64 first = file.firstPacketFrom(begin);
    const quint64 behind = file.firstPacketFrom(end);
    const quint32 bytesPerTick = packets.stream(stream).bytesPerTick;
    if (bytesPerTick == 0) {
        const quint64 count = packets.countBefore(stream, behind) - packets.countBefore(stream, first);
        return {count, count};
    }
    const quint64 bytes = packets.bytesBefore(stream, behind) - packets.bytesBefore(stream, first);
    return {bytes / bytesPerTick, (bytes + bytesPerTick - 1) / bytesPerTick};
}

/// Super entries that lead behind the end of the file where no RIFF is, not even one that was cut.
bool leadsBehindFile(const AviLayout &file, const AviSuperEntry &entry)
{
    const bool isInCutSegment =
        !file.segments.empty() && entry.offset < AviLayout::statedEnd(file.elements[file.segments.back()]);
    return entry.index == AviLayout::none && entry.offset >= file.fileSize && !isInCutSegment;
}

/// Whether headers announce what these entries would lead to: then parts of the file are missing, and not their index
/// alone.
bool hasMissingSegments(const AviLayout &file)
{
    if (!file.isWalked)
        return false;
    struct Durations
    {
        quint64 missing = 0; // of entries behind the end of the file
        quint64 cut = 0; // of others that lead to no index
    };
    std::vector<Durations> durations(file.streams.size());
    for (const AviSuperEntry &entry : file.superEntries) {
        if (entry.stream < 0 || size_t(entry.stream) >= durations.size() || entry.index != AviLayout::none)
            continue;
        Durations &sums = durations[size_t(entry.stream)];
        (leadsBehindFile(file, entry) ? sums.missing : sums.cut) += entry.duration;
    }
    for (size_t number = 0; number < durations.size(); ++number) {
        const Durations &sums = durations[number];
        if (sums.missing == 0)
            continue;
        const quint64 found = ticksBetween(file, int(number), 0, file.fileSize + 1).least;
        const quint64 tolerance = std::max<quint64>(1, sums.missing / 10);
        const bool isVideo = file.streams[number].kind == StreamKind::Video;
        for (const quint64 announced :
             {quint64(file.streams[number].length), isVideo ? quint64(file.extendedHeader.u32(0)) : 0}) {
            const quint64 lacking = announced > found ? announced - found : 0;
            if (lacking + tolerance >= sums.missing && lacking <= sums.missing + sums.cut + tolerance)
                return true;
        }
    }
    return false;
}

/// A part of a stream: what one of its standard indexes is about.
struct Part
{
    quint32 superEntry;
    quint32 segment;
    quint64 lowest; // where its first chunk begins
};

/// The parts of each stream, in the order of the file.
std::vector<std::vector<Part>> partsOfStreams(const AviLayout &file)
{
    std::vector<std::vector<Part>> parts(file.streams.size());
    for (quint32 number = 0; number < file.superEntries.size(); ++number) {
        const AviSuperEntry &entry = file.superEntries[number];
        if (entry.index == AviLayout::none || entry.stream < 0 || size_t(entry.stream) >= parts.size())
            continue;
        const AviIndex &index = file.indexes[entry.index];
        if (index.hits > 0)
            parts[size_t(entry.stream)].push_back({number, file.segmentAt(index.lowest - 8), index.lowest - 8});
    }
    for (std::vector<Part> &each : parts)
        std::stable_sort(each.begin(), each.end(), [](const Part &a, const Part &b) { return a.lowest < b.lowest; });
    return parts;
}

} // namespace

void checkSegmentMissing(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    if (!hasMissingSegments(file))
        return;
    for (const AviSuperEntry &entry : file.superEntries) {
        if (!leadsBehindFile(file, entry))
            continue;
        FindingDraft draft = findings.add(Occurrence{{entry.place.offset, 8}, -1, pointedAt(entry.offset, entry.size)});
        if (draft.isNew()) {
            draft.expected(QStringLiteral("an index chunk at offset %1").arg(entry.offset))
                .actual(QStringLiteral("the file ends at offset %1").arg(file.fileSize))
                .message(QStringLiteral("Parts that the super indexes name lie behind the end of the file, and headers "
                                        "count what was in them: RIFF lists at the end are missing."));
        }
    }
}

void checkSuperNoSuchIndex(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const bool isTold = hasMissingSegments(file);
    for (const AviSuperEntry &entry : file.superEntries) {
        if (entry.index != AviLayout::none || (isTold && leadsBehindFile(file, entry)))
            continue;
        FindingDraft draft =
            findings.add(Occurrence{{entry.place.offset, 8}, entry.stream, pointedAt(entry.offset, entry.size)});
        if (draft.isNew()) {
            draft.expected(QStringLiteral("an index chunk at offset %1").arg(entry.offset))
                .actual(targetText(context, entry.offset, false))
                .message(QStringLiteral("Entries of the super index that lead to no index chunk: %1."));
        }
    }
}

void checkSuperEntrySize(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (const AviSuperEntry &entry : file.superEntries) {
        if (entry.index == AviLayout::none)
            continue;
        const AviIndex &index = file.indexes[entry.index];
        const quint64 stated = quint64(index.size) + 8;
        const quint64 held = index.element == AviLayout::none ? stated : file.elements[index.element].range().size;
        if (entry.size == stated || entry.size == held)
            continue;
        const bool isWithoutHeader = entry.size == index.size;
        const ByteRange chunk{index.offset, held};
        findings.add(Occurrence{{entry.place.offset + superSizeOffset, 4}, entry.stream, chunk})
            .severity(isWithoutHeader ? Severity::Warning : Severity::Error)
            .expected(stated)
            .mend({entry.place.offset + superSizeOffset, 4}, 4, stated)
            .actual(entry.size)
            .message(isWithoutHeader
                         ? QStringLiteral("Entries of the super index whose size leaves out the header of the index "
                                          "chunk: %1.")
                         : QStringLiteral("Entries of the super index whose size is not that of the index chunk: %1."));
    }
}

void checkSuperDuration(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const std::vector<std::vector<Part>> streams = partsOfStreams(file);
    for (size_t number = 0; number < streams.size(); ++number) {
        const std::vector<Part> &parts = streams[number];
        for (size_t i = 0; i < parts.size(); ++i) {
            // The parts of a RIFF list divide it among them: what an index forgot belongs to its part all the same.
            const Part &part = parts[i];
            const ByteRange segment = part.segment == AviLayout::none
                ? ByteRange{0, file.fileSize}
                : file.elements[file.segments[part.segment]].range();
            const bool isFirst = i == 0 || parts[i - 1].segment != part.segment;
            const bool isLast = i + 1 == parts.size() || parts[i + 1].segment != part.segment;
            const quint64 begin = isFirst ? segment.offset : part.lowest;
            const quint64 end = isLast ? segment.end() : parts[i + 1].lowest;
            const Ticks ticks = ticksBetween(file, int(number), begin, end);
            const AviSuperEntry &entry = file.superEntries[part.superEntry];
            const quint64 stated = entry.duration;
            if (stated >= ticks.least && stated <= ticks.most)
                continue;
            const quint64 difference = stated < ticks.least ? ticks.least - stated : stated - ticks.most;
            // Where the RIFF list was cut off, its end is among what is missing.
            const quint64 aboutEnd = isLast && part.segment != AviLayout::none
                ? std::max(end, AviLayout::statedEnd(file.elements[file.segments[part.segment]]))
                : end;
            const ByteRange place{entry.place.offset + superDurationOffset, 4};
            findings.add(Occurrence{place, int(number), {begin, aboutEnd - begin}})
                .severity(difference > 1 ? Severity::Error : Severity::Warning)
                .expected(ticks.least)
                .mend(place, 4, ticks.least)
                .actual(stated)
                .message(QStringLiteral("Entries of the super index whose duration is not that of their part: %1."));
        }
    }
}

void checkStandardBase(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (const AviIndex &index : file.indexes) {
        if (!isStandard(index) || index.baseOffset < file.fileSize)
            continue;
        findings.add(Occurrence{{index.offset + baseOffsetOffset, 8}, index.stream, pointedAt(index.baseOffset, 0)})
            .expected(QStringLiteral("an offset below %1").arg(file.fileSize))
            .actual(index.baseOffset)
            .message(QStringLiteral("Indexes whose offsets count from behind the end of the file: %1."));
    }
}

void checkStandardNoSuchChunk(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    forIrregularEntries(file, false, NoSuchChunk, [&](const AviIrregularEntry &entry, quint64 more) {
        const AviIndex &index = file.indexes[entry.index];
        if (index.baseOffset >= file.fileSize)
            return; // which is told
        const quint64 header = entry.target >= 8 ? entry.target - 8 : 0;
        FindingDraft draft =
            findings.add(Occurrence{placeOf(file, entry), entry.stream, pointedAt(header, quint64(entry.size) + 8)});
        if (draft.isNew()) {
            const quint64 behind = file.packets.indexAt(entry.target + 8);
            const bool isHeader = behind != PacketTable::none && file.packets.at(behind).offset == entry.target + 8
                && file.packets.at(behind).stream == entry.stream;
            draft
                .expected(
                    QStringLiteral("the data of a chunk of stream %1 at offset %2").arg(entry.stream).arg(entry.target))
                .actual(isHeader ? QStringLiteral("the header of the %1").arg(packetText(file, behind))
                                 : targetText(context, entry.target, true))
                .message(isHeader
                             ? QStringLiteral("Entries of a standard index that lead to headers and not to data: %1.")
                             : QStringLiteral("Entries of a standard index that lead to no chunk of the stream: %1."));
            if (isHeader)
                draft.repair(Repair::Patch);
        }
        if (more > 0)
            draft.andMore(more);
    });
}

void checkStandardChunkSize(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    forIrregularEntries(file, false, SizeDiffers, [&](const AviIrregularEntry &entry, quint64 more) {
        const ByteRange place{placeOf(file, entry).offset + standardSizeOffset, 4};
        FindingDraft draft = findings.add(Occurrence{place, entry.stream, file.chunkRange(entry.packet)});
        // The highest bit says that the chunk is no key frame.
        draft.mend(place, more == 0 ? 4 : 0, file.packets.at(entry.packet).size, 0x7FFFFFFF)
            .expected(file.packets.at(entry.packet).size)
            .actual(entry.size)
            .message(QStringLiteral("Entries of a standard index whose size is not that of their chunk: %1."));
        if (more > 0)
            draft.andMore(more);
    });
}

void checkStandardSpan(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (const AviIndex &index : file.indexes) {
        if (!isStandard(index) || index.hits == 0
            || file.segmentAt(index.lowest - 8) == file.segmentAt(index.highest - 8))
            continue;
        // The offsets have 32 bits, so that 4 GiB are never exceeded.
        findings.add(ByteRange{index.offset, 8}, index.stream)
            .expected(QStringLiteral("chunks of one RIFF list"))
            .actual(QStringLiteral("chunks from offset %1 to %2").arg(index.lowest - 8).arg(index.highest - 8))
            .message(QStringLiteral("Standard indexes that reach over several RIFF lists: %1."));
    }
}

void checkChunkNotIndexedByParts(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    std::vector<bool> isAsked(file.streams.size());
    for (size_t number = 0; number < file.streams.size(); ++number)
        isAsked[number] = file.streams[number].superIndex != AviLayout::none;
    // What an index that cannot be read has nobody knows; that it cannot is told.
    for (const AviIndex &index : file.indexes) {
        if (index.kind == AviIndexKind::Other && index.stream >= 0 && size_t(index.stream) < isAsked.size())
            isAsked[size_t(index.stream)] = false;
    }

    bool isComplete = true;
    for (size_t number = 0; number < file.streams.size(); ++number)
        isComplete = isComplete
            && (!isAsked[number] || file.packets.totals(int(number)).count == file.streams[number].partIndexed);
    if (!isComplete) {
        MissingChunks missing(file);
        for (quint64 index = 0; index < file.packets.size(); ++index) {
            if (index % 4096 == 0 && context.isCancelled())
                return;
            const Packet packet = file.packets.at(index);
            const bool isMissing = (packet.knownBy & KnownFromPartIndex) == 0 && !packet.isPalette;
            if (isMissing && packet.stream < isAsked.size() && isAsked[packet.stream])
                missing.add(index, packet);
        }
        missing.tellAll([&](int stream, const ByteRange &chunk, quint64 more) {
            FindingDraft draft = findings.add(Occurrence{{chunk.offset, 8}, stream, chunk});
            if (draft.isNew()) {
                draft.expected(QStringLiteral("an entry in a standard index"))
                    .actual(QStringLiteral("none"))
                    .message(QStringLiteral("Chunks that the OpenDML index of the stream does not have: %1."));
            }
            if (more > 0)
                draft.andMore(more);
        });
    }

    // A standard index that no super entry names is not found by readers, nor are its chunks.
    for (const AviIndex &index : file.indexes) {
        const bool isOfStream = index.stream >= 0 && size_t(index.stream) < isAsked.size();
        if (!isStandard(index) || index.id == fourCC("indx") || index.superEntry != AviLayout::none
            || index.newHits == 0 || !isOfStream || !isAsked[size_t(index.stream)])
            continue;
        FindingDraft draft =
            findings.add(Occurrence{{index.offset, 8}, index.stream, {index.offset, quint64(index.size) + 8}});
        if (draft.isNew()) {
            draft.expected(QStringLiteral("an entry of the super index for %1").arg(idText(index.id)))
                .actual(QStringLiteral("none"))
                .message(QStringLiteral("Chunks whose standard index no super index leads to: %1."));
        }
        if (index.newHits > 1)
            draft.andMore(index.newHits - 1);
    }
}

void checkIndexesDiffer(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const auto tell = [&](const AviIrregularEntry &entry, quint64 more) {
        const bool isVideo = entry.stream < file.streams.size() && file.streams[entry.stream].kind == StreamKind::Video;
        const Packet packet = file.packets.at(entry.packet);
        if (!isVideo || packet.isEmpty())
            return;
        FindingDraft draft =
            findings.add(Occurrence{placeOf(file, entry), entry.stream, file.chunkRange(entry.packet)});
        if (draft.isNew()) {
            // What the packet knows is what idx1 says.
            const bool isKey = packet.key == KeyState::Yes;
            draft
                .expected(isKey ? QStringLiteral("a key frame, as idx1 says")
                                : QStringLiteral("no key frame, as idx1 says"))
                .actual(isKey ? QStringLiteral("no key frame, as the OpenDML index says")
                              : QStringLiteral("a key frame, as the OpenDML index says"))
                .message(QStringLiteral("Chunks of which idx1 and the OpenDML index say different things: %1."));
        }
        if (more > 0)
            draft.andMore(more);
    };
    forIrregularEntries(file, true, KeyDiffers, tell);
    forIrregularEntries(file, false, KeyDiffers, tell);
}

void checkIndexOutsideMovi(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (const AviIndex &index : file.indexes) {
        if (!isStandard(index) || index.id == fourCC("indx"))
            continue;
        const quint32 around = file.moviAt(index.offset);
        const quint32 indexed = index.hits > 0 ? file.moviAt(index.lowest - 8) : around;
        if (around != AviLayout::none && around == indexed)
            continue;
        const auto text = [&file](quint32 movi) {
            return movi == AviLayout::none ? QStringLiteral("outside of movi")
                                           : QStringLiteral("in movi at offset %1").arg(file.elements[movi].offset);
        };
        findings.add(ByteRange{index.offset, 8}, index.stream)
            .expected(indexed == AviLayout::none ? QStringLiteral("in movi") : text(indexed))
            .actual(text(around))
            .message(QStringLiteral("Index chunks that do not stand in the movi that they index: %1."));
    }
}

void checkFieldOffset(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    forIrregularEntries(file, false, SecondFieldOutside, [&](const AviIrregularEntry &entry, quint64 more) {
        const ByteRange place{placeOf(file, entry).offset + secondFieldOffset, 4};
        FindingDraft draft = findings.add(Occurrence{place, entry.stream, file.chunkRange(entry.packet)});
        if (draft.isNew()) {
            draft.expected(QStringLiteral("a place in the %1").arg(packetText(file, entry.packet)))
                .actual(QStringLiteral("a place outside of it"))
                .message(QStringLiteral("Entries whose second field does not begin in the chunk: %1."));
        }
        if (more > 0)
            draft.andMore(more);
    });
}

} // namespace quenlofar

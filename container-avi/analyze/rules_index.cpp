#include "aviids.h"
#include "filedevice.h"
#include "indexrules.h"

#include <algorithm>

namespace quenlofar {

namespace {

// AVIOLDINDEX of the AVI RIFF File Reference.
constexpr quint32 entrySize = 16;
constexpr quint32 flagsOffset = 4; // of dwFlags in an entry
constexpr quint32 offsetOffset = 8; // of dwOffset
constexpr quint32 sizeOffset = 12; // of dwSize

bool hasMovi(const AviContext &context)
{
    return !context.file.moviLists.empty();
}

bool hasLegacyIndex(const AviContext &context)
{
    return !context.file.legacyIndexes.empty();
}

bool hasLegacyIndexAndMovi(const AviContext &context)
{
    return hasLegacyIndex(context) && hasMovi(context);
}

/// Entries were read and held against chunks.
bool hasEntries(const AviContext &context)
{
    const AviIndexBase base = context.file.legacyFacts.base;
    return hasLegacyIndex(context) && context.file.isWalked && base != AviIndexBase::Unknown
        && base != AviIndexBase::Empty;
}

const AviIndex &legacyIndex(const AviLayout &file)
{
    return file.indexes[file.legacyIndexes.front()];
}

ByteRange field(const ByteRange &entry, quint32 at)
{
    return {entry.offset + at, 4};
}

ByteRange placeOf(const AviLayout &file, const AviIrregularEntry &entry)
{
    return AviLayout::entryPlace(file.indexes[entry.index], entry.entry);
}

/// The id that an entry names.
quint32 readId(const AviContext &context, const ByteRange &entry)
{
    char bytes[4] = {};
    context.bytes.seek(qint64(entry.offset));
    context.bytes.read(bytes, sizeof bytes);
    return RecordView(bytes, sizeof bytes).read<quint32>(0);
}

/// A tally about entries of one stream, as one finding: about the field in the entry, whatever that points at.
FindingDraft addTally(Findings &findings, const AviTally &tally, quint32 at, int stream)
{
    const ByteRange place = field(tally.places[0], at);
    FindingDraft draft = findings.add(Occurrence{place, stream, place});
    if (tally.count == 2)
        draft.andMore(1, {field(tally.places[1], at)});
    else if (tally.count > 2)
        draft.andMore(tally.count - 1, {field(tally.places[1], at), field(tally.places[2], at)});
    return draft;
}

/// Calls `tell(number, stream, sums)` for each stream of a kind that idx1 has entries of.
template <typename Tell> void forStreams(const AviLayout &file, StreamKind kind, const Tell &tell)
{
    for (size_t number = 0; number < file.streams.size(); ++number) {
        const AviLegacyStream &sums = file.legacyFacts.streams[number];
        if (file.streams[number].kind == kind && sums.entries > 0)
            tell(int(number), file.streams[number], sums);
    }
}

// Which index there is

void checkIndexMissing(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const bool isThere = std::any_of(file.indexes.begin(), file.indexes.end(), [](const AviIndex &index) {
        return index.id == fourCC("idx1") || index.id == fourCC("indx");
    });
    const AviElement &movi = file.elements[file.moviLists.front()];
    const bool isEmpty = file.isWalked ? file.packets.size() == 0 : movi.content().size == 0;
    if (isThere || isEmpty)
        return;
    findings.add(movi.header())
        .expected(QStringLiteral("idx1 or indx"))
        .actual(QStringLiteral("no index"))
        .message(QStringLiteral("The file has no index: readers have to search it from the beginning."));
}

void checkSize(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (const quint32 ordinal : file.legacyIndexes) {
        const AviIndex &index = file.indexes[ordinal];
        const quint32 rest = index.size % entrySize;
        if (rest == 0)
            continue;
        // Of what a file that ends early does not have nothing can be said.
        char bytes[entrySize] = {};
        const quint64 end = index.element == AviLayout::none ? file.fileSize : file.elements[index.element].end;
        const quint64 begin = index.firstEntry + (index.size - rest);
        if (begin < end) {
            context.bytes.seek(qint64(begin));
            context.bytes.read(bytes, qint64(std::min<quint64>(rest, end - begin)));
        }
        const bool isZero = std::all_of(std::begin(bytes), std::end(bytes), [](char byte) { return byte == 0; });
        findings.add(ByteRange{index.offset + 4, 4})
            .severity(rest <= 8 && isZero ? Severity::Note : Severity::Warning)
            .expected(QStringLiteral("a multiple of 16, such as %1").arg(index.size - rest))
            .actual(index.size)
            .message(QStringLiteral("Behind the last whole entry of idx1 there are bytes for less than one more."));
    }
}

// From where offsets count

struct BaseRow
{
    AviIndexBase base;
    Severity severity;
    QStringView message;
};
constexpr BaseRow baseRows[] = {
    {AviIndexBase::File, Severity::Note,
     u"The offsets of idx1 count from the start of the file. Many writers do so, and most readers know."},
    {AviIndexBase::FirstChunk, Severity::Warning,
     u"The offsets of idx1 count from the first chunk in movi, four bytes behind its form type."},
    {AviIndexBase::MoviHeader, Severity::Warning,
     u"The offsets of idx1 count from the header of LIST movi, eight bytes before its form type."},
    {AviIndexBase::Other, Severity::Error,
     u"The offsets of idx1 count from a place that no reader tries: all entries point wide of the mark."},
};

void checkBase(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const AviLegacyFacts &facts = file.legacyFacts;
    const quint32 movi = facts.movi != AviLayout::none ? facts.movi : file.moviLists.front();
    const qint64 required = qint64(file.elements[movi].offset) + 8;
    for (const BaseRow &row : baseRows) {
        if (row.base != facts.base || facts.baseOffset == required)
            continue;
        const ByteRange entry = AviLayout::entryPlace(legacyIndex(file), 0);
        // Only a shift that nobody writes on purpose can come from bytes that were lost or put in.
        const ByteRange place = field(entry, offsetOffset);
        const quint64 end = std::max(entry.offset, file.elements[movi].offset);
        const ByteRange about = row.base == AviIndexBase::Other
            ? ByteRange{file.elements[movi].offset, end - file.elements[movi].offset}
            : place;
        FindingDraft draft = findings.add(Occurrence{place, -1, about});
        // A base that readers know explains nothing else that is wrong with the entries.
        if (row.severity != Severity::Note)
            draft.explains({0, file.fileSize});
        draft.severity(row.severity)
            .expected(QStringLiteral("offsets from the form type of movi, at %1").arg(required))
            .actual(QStringLiteral("offsets from %1").arg(facts.baseOffset))
            .message(row.message.toString());
    }
}

void checkBaseUnknown(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const AviLegacyFacts &facts = file.legacyFacts;
    if (facts.base != AviIndexBase::Unknown)
        return;
    const AviIndex &index = legacyIndex(file);
    findings.add(ByteRange{index.offset, 8})
        .expected(QStringLiteral("offsets that lead to the chunks they name"))
        .actual(QStringLiteral("%1 of %2 entries do, from the best base").arg(facts.sampledHits).arg(facts.sampled))
        .message(QStringLiteral("Wherever the offsets of idx1 are counted from, its entries point at no such chunks."));
}

// Entries against chunks

/// The stream of the packet whose header stands at `offset`; -1 without one. An entry whose id names no stream was that
/// of the chunk which it leads to.
int streamAt(const AviLayout &file, quint64 offset)
{
    const quint64 index = file.firstPacketFrom(offset);
    return index < file.packets.size() && file.packets.at(index).offset == offset + 8 ? file.packets.at(index).stream
                                                                                      : -1;
}

void checkNoSuchChunk(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    forIrregularEntries(file, true, NoSuchChunk, [&](const AviIrregularEntry &entry, quint64 more) {
        const ByteRange place = placeOf(file, entry);
        const quint32 id = readId(context, place);
        const int stream = dataStream(id) >= 0 ? int(entry.stream) : streamAt(file, entry.target);
        FindingDraft draft =
            findings.add(Occurrence{field(place, offsetOffset), stream, {entry.target, quint64(entry.size) + 8}});
        if (draft.isNew()) {
            draft.expected(QStringLiteral("a chunk %1 at offset %2").arg(idText(id)).arg(entry.target))
                .actual(targetText(context, entry.target, false))
                .message(QStringLiteral("Entries of idx1 that point where no such chunk stands: %1."));
        }
        if (more > 0)
            draft.andMore(more);
    });
}

void checkChunkSize(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    forIrregularEntries(file, true, SizeDiffers, [&](const AviIrregularEntry &entry, quint64 more) {
        const ByteRange place = placeOf(file, entry);
        const bool isPacket = entry.packet != AviLayout::none;
        const quint32 element = isPacket ? AviLayout::none : file.lowerElement(entry.target);
        const quint64 size = isPacket ? file.packets.at(entry.packet).size : file.elements[element].size;
        const ByteRange about = isPacket ? file.chunkRange(entry.packet) : file.elements[element].header();
        FindingDraft draft = findings.add(Occurrence{field(place, sizeOffset), isPacket ? entry.stream : -1, about});
        draft.expected(size)
            .actual(entry.size)
            .message(entry.size == size + size % 2
                         ? QStringLiteral("Entries of idx1 that count the padding of their chunk, or a wrong size: %1.")
                         : QStringLiteral("Entries of idx1 whose size is not that of their chunk: %1."));
        if (more > 0)
            draft.andMore(more);
    });
}

/// The OpenDML indexes have every chunk of every stream.
bool hasPartIndexes(const AviLayout &file)
{
    for (size_t number = 0; number < file.streams.size(); ++number) {
        const AviStream &stream = file.streams[number];
        const quint64 count = file.packets.totals(int(number)).count;
        if (count > 0 && (stream.superIndex == AviLayout::none || stream.partIndexed < count))
            return false;
    }
    return !file.streams.empty();
}

void checkChunkNotIndexed(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    if (file.legacyFacts.base == AviIndexBase::Unknown)
        return; // the index is as good as none, which is told
    const ByteRange segment = file.firstSegment();
    const quint64 begin = file.firstPacketFrom(segment.offset);
    const quint64 end = file.firstPacketFrom(segment.end());
    if (end - begin == file.legacyFacts.known)
        return;
    MissingChunks missing(file);
    for (quint64 index = begin; index < end; ++index) {
        if (index % 4096 == 0 && context.isCancelled())
            return;
        const Packet packet = file.packets.at(index);
        if ((packet.knownBy & KnownFromLegacyIndex) == 0)
            missing.add(index, packet);
    }
    const bool isDummy = hasPartIndexes(file);
    missing.tellAll([&](int stream, const ByteRange &chunk, quint64 more) {
        FindingDraft draft = findings.add(Occurrence{{chunk.offset, 8}, stream, chunk});
        draft.severity(isDummy || missing.count(stream) == 1 ? Severity::Warning : Severity::Error);
        if (draft.isNew()) {
            draft.expected(QStringLiteral("an entry in idx1"))
                .actual(QStringLiteral("none"))
                .message(isDummy ? QStringLiteral("Chunks that idx1 leaves to the OpenDML indexes: %1.")
                                 : QStringLiteral("Chunks that idx1 does not have: %1."));
        }
        if (more > 0)
            draft.andMore(more);
    });
}

void checkDuplicate(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    forIrregularEntries(file, true, Duplicate, [&](const AviIrregularEntry &entry, quint64 more) {
        FindingDraft draft =
            findings.add(Occurrence{placeOf(file, entry), entry.stream, file.chunkRange(entry.packet)});
        if (draft.isNew()) {
            draft.expected(QStringLiteral("one entry for the %1").arg(packetText(file, entry.packet)))
                .actual(QStringLiteral("another one"))
                .message(QStringLiteral("Entries of idx1 for chunks that earlier entries have: %1."));
        }
        if (more > 0)
            draft.andMore(more);
    });
}

void checkOrder(const AviContext &context, Findings &findings)
{
    const AviLegacyFacts &facts = context.file.legacyFacts;
    if (facts.outOfOrder == 0)
        return;
    AviTally tally;
    tally.count = facts.outOfOrder;
    tally.places = facts.outOfOrderPlaces;
    addTally(findings, tally, offsetOffset, -1)
        .expected(QStringLiteral("a chunk behind that of the entry before"))
        .actual(QStringLiteral("a chunk before it"))
        .message(QStringLiteral("Entries of idx1 that lead back in the file: %1."));
}

void checkBeyondFirst(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    forIrregularEntries(file, true, BehindFirstSegment, [&](const AviIrregularEntry &entry, quint64 more) {
        FindingDraft draft = findings.add(
            Occurrence{field(placeOf(file, entry), offsetOffset), entry.stream, file.chunkRange(entry.packet)});
        if (draft.isNew()) {
            draft.expected(QStringLiteral("a chunk before offset %1").arg(file.firstSegment().end()))
                .actual(packetText(file, entry.packet))
                .message(QStringLiteral("Entries of idx1 for chunks behind the first RIFF list: %1."));
        }
        if (more > 0)
            draft.andMore(more);
    });
}

// Flags of entries

void checkNoKeyFrame(const AviContext &context, Findings &findings)
{
    forStreams(context.file, StreamKind::Video, [&](int number, const AviStream &stream, const AviLegacyStream &sums) {
        if (sums.frames == 0 || sums.keys > 0)
            return;
        findings.add(Occurrence{field(sums.first, flagsOffset), number, field(sums.first, flagsOffset)})
            .severity(hasFramesAlone(stream.compression) ? Severity::Warning : Severity::Error)
            .expected(QStringLiteral("at least one entry with AVIIF_KEYFRAME"))
            .actual(QStringLiteral("none of %1 entries").arg(sums.frames))
            .message(QStringLiteral("By idx1 no frame of the stream is a key frame: readers cannot seek in it."));
    });
}

void checkFirstNotKey(const AviContext &context, Findings &findings)
{
    forStreams(context.file, StreamKind::Video, [&](int number, const AviStream &, const AviLegacyStream &sums) {
        if (sums.frames == 0 || sums.firstIsKey || sums.keys == 0)
            return;
        findings.add(Occurrence{field(sums.first, flagsOffset), number, field(sums.first, flagsOffset)})
            .expected(QStringLiteral("AVIIF_KEYFRAME"))
            .actual(QStringLiteral("no key frame"))
            .message(QStringLiteral("By idx1 the first frame is no key frame: nothing that comes before it could have "
                                    "made it decodable."));
    });
}

void checkListFlag(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    forIrregularEntries(file, true, ListFlagMissing, [&](const AviIrregularEntry &entry, quint64 more) {
        FindingDraft draft = findings.add(Occurrence{field(placeOf(file, entry), flagsOffset), -1, {entry.target, 12}});
        draft.expected(QStringLiteral("AVIIF_LIST"))
            .actual(QStringLiteral("no list"))
            .message(QStringLiteral("Entries of idx1 for rec lists without the flag that says so: %1."));
        if (more > 0)
            draft.andMore(more);
    });
}

void checkEmptyKeyFrame(const AviContext &context, Findings &findings)
{
    forStreams(context.file, StreamKind::Video, [&](int number, const AviStream &, const AviLegacyStream &sums) {
        if (sums.emptyKeys.count == 0)
            return;
        addTally(findings, sums.emptyKeys, flagsOffset, number)
            .expected(QStringLiteral("no key frame"))
            .actual(QStringLiteral("AVIIF_KEYFRAME"))
            .message(QStringLiteral("Empty frames that idx1 calls key frames: %1."));
    });
}

void checkAudioNotKey(const AviContext &context, Findings &findings)
{
    forStreams(context.file, StreamKind::Audio, [&](int number, const AviStream &, const AviLegacyStream &sums) {
        if (sums.notKeys.count == 0)
            return;
        addTally(findings, sums.notKeys, flagsOffset, number)
            .expected(QStringLiteral("AVIIF_KEYFRAME"))
            .actual(QStringLiteral("no key frame"))
            .message(QStringLiteral("Audio chunks that idx1 does not call key frames: %1."));
    });
}

constexpr QStringView reference = u"AVI RIFF File Reference";
constexpr QStringView oldIndex = u"AVIOLDINDEX";
constexpr QStringView practice = u"practice";

// The two about the base come first among those of idx1: they explain the others. Entries that lead elsewhere come
// before the chunks that they leave out.
constexpr AviRule rules[] = {
    {{u"index-missing", Severity::Warning, Level::Quick, Repair::Append, u"The file has an index",
      u"Without an index nobody knows where frames are and which of them are key frames without reading the whole "
      u"file.",
      u"readers that seek; some refuse to", u"Append an index of the chunks that are there.", reference},
     AviStage::Index,
     hasMovi,
     checkIndexMissing},
    {{u"idx1-size",
      {Severity::Warning, Severity::Note},
      Level::Quick,
      Repair::Patch,
      u"The size of idx1 is a multiple of 16",
      u"An entry of idx1 has 16 bytes. A rest means that the size is wrong or that the last entry was lost; a capture "
      u"program of Windows counts the chunk's own header, which leaves eight zero bytes and harms nobody.",
      u"readers that take the rest for an entry",
      u"Write the size of the whole entries.",
      oldIndex},
     AviStage::Index,
     hasLegacyIndex,
     checkSize},
    {{u"idx1-base",
      {Severity::Error, Severity::Warning, Severity::Note},
      Level::Quick,
      Repair::Patch,
      u"The offsets of idx1 count from the form type of movi",
      u"A reader has to know from where offsets count. Besides the required place readers try the start of the file, "
      u"as a rule; other places only a few of them find by trial, and with any other constant every entry misses.",
      u"readers that seek by idx1",
      u"Add the same number to the offset of every entry.",
      oldIndex},
     AviStage::Index,
     hasLegacyIndexAndMovi,
     checkBase},
    {{u"idx1-base-unknown", Severity::Error, Level::Quick, Repair::Append,
      u"From some constant place nine in ten entries of idx1 lead to their chunks",
      u"The index belongs to another file, or to this file before it was edited. Readers that trust it show the wrong "
      u"frames or none.",
      u"readers that trust idx1", u"Write a new index from the chunks that are there.", practice},
     AviStage::Index,
     hasLegacyIndex,
     checkBaseUnknown},
    {{u"idx1-no-such-chunk", Severity::Error, Level::Default, Repair::Append,
      u"Each entry of idx1 points at a chunk of its stream and kind",
      u"Such an entry makes a reader decode bytes that are something else, or give up. Compressed and uncompressed "
      u"frames (dc and db) are taken as alike, and entries that writers use as filler (7F.. of size 0) do not count.",
      u"readers that play by idx1", u"Write a new index from the chunks that are there.", practice},
     AviStage::Index,
     hasEntries,
     checkNoSuchChunk},
    {{u"idx1-chunk-size", Severity::Error, Level::Default, Repair::Patch,
      u"The size in an entry of idx1 is that of its chunk, padding not counted",
      u"Readers take the size of a frame from the index: too small a number cuts the frame off, too large a one hands "
      u"foreign bytes to the decoder.",
      u"readers that play by idx1", u"Write the size that the chunk's header says into the entry.", oldIndex},
     AviStage::Index,
     hasEntries,
     checkChunkSize},
    {{u"idx1-duplicate", Severity::Error, Level::Default, Repair::Append, u"No chunk has two entries in idx1",
      u"The chunk is played twice, and what comes after it is late by as much.", u"readers that play by idx1",
      u"Write a new index from the chunks that are there.", practice},
     AviStage::Index,
     hasEntries,
     checkDuplicate},
    {{u"idx1-chunk-not-indexed",
      {Severity::Error, Severity::Warning},
      Level::Default,
      Repair::Append,
      u"Each data chunk of the first RIFF list has an entry in idx1",
      u"Readers that play by idx1 never show what it does not have, and streams drift apart where only one of them "
      u"lacks chunks. A chunk in a rec list has an entry when the list has. Some cameras write a dummy idx1 beside "
      u"complete OpenDML indexes.",
      u"readers that play by idx1",
      u"Write a new index from the chunks that are there.",
      reference},
     AviStage::Index,
     [](const AviContext &context) { return hasLegacyIndex(context) && context.file.isWalked; },
     checkChunkNotIndexed},
    {{u"idx1-order", Severity::Note, Level::Default, Repair::Patch, u"The entries of idx1 are in the order of the file",
      u"An index may play chunks in another order than they stand in, which the flag AVIF_MUSTUSEINDEX announces. Few "
      u"writers do so on purpose.",
      u"readers that go by the file and not by the index", u"Sort the entries, if the order was not meant.", practice},
     AviStage::Index,
     hasEntries,
     checkOrder},
    {{u"idx1-no-key-frame",
      {Severity::Error, Severity::Warning},
      Level::Default,
      Repair::Patch,
      u"idx1 calls at least one frame of each video stream a key frame",
      u"A reader seeks to the key frame before the wanted place. Without any it searches in vain, refuses to seek or "
      u"decodes from the middle. Where each frame can be decoded alone readers cope.",
      u"readers that seek by idx1",
      u"Set AVIIF_KEYFRAME for the frames whose payload says so.",
      oldIndex},
     AviStage::Index,
     hasEntries,
     checkNoKeyFrame},
    {{u"idx1-first-not-key", Severity::Warning, Level::Default, Repair::Patch,
      u"idx1 calls the first frame of each video stream a key frame",
      u"Nothing precedes the first frame, so it has to be decodable alone, or the film begins with a damaged picture. "
      u"Frames without data at the beginning are passed over.",
      u"readers that look for a key frame before they show anything",
      u"Set AVIIF_KEYFRAME in the entry, if the payload is a key frame.", oldIndex},
     AviStage::Index,
     hasEntries,
     checkFirstNotKey},
    {{u"idx1-list-flag", Severity::Warning, Level::Default, Repair::Patch,
      u"Entries of idx1 for rec lists have AVIIF_LIST",
      u"Without the flag a reader takes the list for a chunk of data of a stream that does not exist.",
      u"readers of interleaved files with rec lists", u"Set AVIIF_LIST in these entries.", oldIndex},
     AviStage::Index,
     hasEntries,
     checkListFlag},
    {{u"idx1-empty-key-frame", Severity::Note, Level::Default, Repair::Patch, u"idx1 calls no empty frame a key frame",
      u"An empty chunk shows the frame before it again: a reader that seeks there has nothing to show.",
      u"readers that seek by idx1", u"Clear AVIIF_KEYFRAME in these entries.", practice},
     AviStage::Index,
     hasEntries,
     checkEmptyKeyFrame},
    {{u"idx1-audio-not-key", Severity::Note, Level::Default, Repair::Patch, u"idx1 calls all audio chunks key frames",
      u"Decoding of sound can begin anywhere. Several writers leave the flag out, and readers hardly look at it.",
      u"programs that count key frames of all streams", u"Set AVIIF_KEYFRAME, if anything asks for it.", oldIndex},
     AviStage::Index,
     hasEntries,
     checkAudioNotKey},
    {{u"idx1-beyond-first-riff", Severity::Warning, Level::Default, Repair::Append,
      u"idx1 has chunks of the first RIFF list alone",
      u"What follows the first RIFF list is for readers that know OpenDML indexes; others take such an entry for a "
      u"damage. The offsets of idx1 have 32 bits and cannot reach far behind it anyway.",
      u"readers of idx1 that hold it against the list", u"Write an idx1 of the first RIFF list's chunks.", practice},
     AviStage::Index,
     hasEntries,
     checkBeyondFirst},
};

} // namespace

AviRules legacyIndexRules()
{
    return rules;
}

} // namespace quenlofar

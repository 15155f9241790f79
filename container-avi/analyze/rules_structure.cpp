#include "avirules.h"
#include "avitexts.h"
#include "indexedsizes.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

namespace quenlofar {

namespace {

constexpr quint64 sectorSize = 512;
constexpr quint64 leastWrapped = 8; // bytes of a chunk's header, which foreign bytes need to become a JUNK chunk
/// Behind the end of every file: index entries may point there.
constexpr quint64 farAway = quint64(1) << 62;

/// All that lies behind `offset`, and would be elsewhere had nothing happened there.
ByteRange restFrom(quint64 offset)
{
    return {offset, farAway - offset};
}

bool hasSegments(const AviContext &context)
{
    return !context.file.segments.empty();
}

bool hasLaterSegments(const AviContext &context)
{
    return context.file.segments.size() > 1;
}

/// No chunk stands before the first RIFF list: its header was not lost.
bool beginsWithRiff(const AviContext &context)
{
    return hasSegments(context) && context.file.segments.front() == 0;
}

bool isWalked(const AviContext &context)
{
    return context.file.isWalked;
}

/// The element is inside of a list of data.
bool isInData(const AviLayout &file, quint32 element)
{
    if (element == AviLayout::none)
        return false;
    const quint32 form = file.elements[element].form;
    return form == fourCC("movi") || form == fourCC("rec ");
}

bool isRiff(const AviLayout &file, const AviDamage &damage)
{
    return damage.element != AviLayout::none && file.elements[damage.element].id == fourCC("RIFF");
}

/// The damage is that of a chunk among the data.
bool isData(const AviLayout &file, const AviDamage &damage)
{
    return damage.packet != AviLayout::none
        || (damage.element != AviLayout::none && isInData(file, file.elements[damage.element].parent));
}

/// The damages that begin in a range, which are a part of all: they stand in the order of their offsets.
std::pair<std::vector<AviDamage>::const_iterator, std::vector<AviDamage>::const_iterator>
damagesIn(const AviLayout &file, const ByteRange &range)
{
    const auto isBefore = [](const AviDamage &damage, quint64 offset) { return damage.offset < offset; };
    return {std::lower_bound(file.damages.begin(), file.damages.end(), range.offset, isBefore),
            std::lower_bound(file.damages.begin(), file.damages.end(), range.end(), isBefore)};
}

/// Says that the size of the damaged chunk or list is to be what the reading found, where its 32 bits can tell that.
void mendSize(FindingDraft &draft, const AviDamage &damage)
{
    if (damage.size >= 8 && damage.size - 8 <= 0xFFFFFFFF)
        draft.mend({damage.offset + 4, 4}, 4, damage.size - 8);
}

/// Bytes that are no chunk, within a range.
quint64 foreignBytesIn(const AviLayout &file, const ByteRange &range, quint64 *first)
{
    quint64 bytes = 0;
    const auto [begin, end] = damagesIn(file, range);
    for (auto damage = begin; damage != end; ++damage) {
        if (damage->kind != AviDamageKind::ForeignBytes && damage->kind != AviDamageKind::ZeroBytes)
            continue;
        if (bytes == 0)
            *first = damage->offset;
        bytes += damage->size;
    }
    return bytes;
}

/// Whether two sizes differ from the truth by the same, but for a byte of padding.
bool isSameDifference(quint64 a, quint64 b)
{
    return a <= b + 1 && b <= a + 1;
}

// The first twelve bytes, and form types

void checkRiffMissing(const AviContext &context, Findings &findings)
{
    constexpr quint64 headerSize = 12;
    const AviLayout &file = context.file;
    if (file.leading.size == 0 && file.fileSize >= headerSize && !file.segments.empty())
        return;
    QString actual = QStringLiteral("no RIFF list");
    if (file.leading.size == 0 && file.fileSize < headerSize)
        actual = bytesText(file.fileSize);
    else if (!file.segments.empty())
        actual = QStringLiteral("RIFF at offset %1").arg(file.elements[file.segments.front()].offset);
    findings.add(ByteRange{0, std::min(file.fileSize, headerSize)})
        .expected(QStringLiteral("RIFF, size, AVI "))
        .actual(actual)
        .message(QStringLiteral("The file does not begin with the header of a RIFF list."))
        .explains(restFrom(0));
}

void checkRiffFormUnusual(const AviContext &context, Findings &findings)
{
    // A line of cameras writes 19 hexadecimal instead of the blank; readers know it.
    const quint32 knownVariant = fourCC("AVI\x19");
    const AviElement &riff = context.file.elements[context.file.segments.front()];
    if (riff.form == fourCC("AVI "))
        return;
    findings.add(ByteRange{riff.offset + 8, 4})
        .severity(riff.form == knownVariant ? Severity::Note : Severity::Error)
        .expected(idText(fourCC("AVI ")))
        .actual(idText(riff.form))
        .mend({riff.offset + 8, riff.form == fourCC("AVIX") ? 0U : 4U}, 4, fourCC("AVI "))
        .message(riff.form == fourCC("AVIX")
                     ? QStringLiteral("The first RIFF list has the form type of a later one: the beginning of the file "
                                      "is missing, or four bytes are wrong.")
                     : QStringLiteral("The form type of the first RIFF list is \"%1\".").arg(idText(riff.form)));
}

void checkRiffLaterForm(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (size_t number = 1; number < file.segments.size(); ++number) {
        const AviElement &riff = file.elements[file.segments[number]];
        if (riff.form == fourCC("AVIX"))
            continue;
        const bool hasHeaders = file.child(file.segments[number], fourCC("LIST"), fourCC("hdrl")) != AviLayout::none;
        findings.add(Occurrence{{riff.offset + 8, 4}, -1, riff.range()})
            .repair(hasHeaders ? Repair::None : Repair::Patch)
            .expected(idText(fourCC("AVIX")))
            .mend({riff.offset + 8, hasHeaders ? 0U : 4U}, 4, fourCC("AVIX"))
            .actual(idText(riff.form))
            .message(hasHeaders
                         ? QStringLiteral("A second AVI file, with headers of its own, stands behind the first one.")
                         : QStringLiteral("A later RIFF list has the form type \"%1\".").arg(idText(riff.form)));
    }
}

// Sizes of RIFF lists

void checkSizeOpen(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const auto check = [&file, &findings](quint32 element) {
        const AviElement &list = file.elements[element];
        if (!AviLayout::hasOpenSize(list))
            return;
        findings.add(list.sizeField())
            .expected(list.end - list.offset - 8)
            .actual(list.size)
            .message(QStringLiteral("The file was never closed: sizes that are written at the end of the recording "
                                    "are missing (%1)."))
            .mend(list.sizeField(), AviLayout::isWrapped(list, list.end) ? 0 : 4, list.end - list.offset - 8)
            .explains(restFrom(list.offset));
    };
    for (const quint32 riff : file.segments)
        check(riff);
    for (const quint32 movi : file.moviLists)
        check(movi);
}

void checkSizeWrapped(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (const quint32 segment : file.segments) {
        const AviElement &riff = file.elements[segment];
        if (!AviLayout::isWrapped(riff, riff.end) || AviLayout::hasOpenSize(riff))
            continue;
        findings.add(riff.sizeField())
            .expected(QStringLiteral("RIFF lists below 4294967296 bytes"))
            .actual(QStringLiteral("%1 for %2").arg(riff.size).arg(riff.end - riff.offset - 8))
            .message(QStringLiteral("The RIFF list has more than 4 GiB, which its size cannot tell: readers see the "
                                    "first %2 of it.")
                         .arg(bytesText(riff.size)))
            .explains(restFrom(riff.offset));
    }
}

/// Whether a chunk or list in a RIFF list that lacks `missing` bytes lacks them too.
bool saysMore(const AviLayout &file, const AviDamage &damage, quint64 missing)
{
    if (isRiff(file, damage))
        return false;
    if (damage.kind == AviDamageKind::ListTooLong)
        return isSameDifference(damage.statedEnd - file.elements[damage.element].end, missing);
    return damage.kind == AviDamageKind::ListBeyondFile || damage.kind == AviDamageKind::ChunkCut;
}

void checkRiffBeyondFile(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (const AviDamage &damage : file.damages) {
        if (damage.kind != AviDamageKind::ListBeyondFile || !isRiff(file, damage))
            continue;
        const AviElement &riff = file.elements[damage.element];
        const quint64 missing = damage.statedEnd - file.fileSize;
        FindingDraft draft = findings.add(Occurrence{riff.sizeField(), -1, {file.fileSize, missing}});
        draft.expected(file.fileSize - riff.offset - 8)
            .actual(riff.size)
            .message(QStringLiteral("The RIFF list says %2 more than the file has.").arg(bytesText(missing)));
        // Where what is in it says so as well, bytes are missing indeed. Those behind them may have moved, and an index
        // that was cut off lacks entries for any place. Otherwise nothing but this size may be wrong.
        const auto [begin, end] = damagesIn(file, riff.range());
        const bool isMissing =
            std::any_of(begin, end, [&file, missing](const AviDamage &each) { return saysMore(file, each, missing); });
        if (isMissing)
            draft.explains(restFrom(riff.offset));
        else
            draft.explains(restFrom(file.fileSize));
        mendSize(draft, damage);
        // What is in it and ends with it is no finding of its own.
        for (auto each = begin; each != end; ++each) {
            const bool isList = each->kind == AviDamageKind::ListBeyondFile && !isRiff(file, *each);
            if (isList || (each->kind == AviDamageKind::ChunkCut && !isData(file, *each)))
                mendSize(draft, *each);
        }
    }
}

/// What `list` has to reach, and whether its size is explained by what was put into it.
void addTooShort(const AviLayout &file, const AviDamage &damage, Findings &findings)
{
    const AviElement &list = file.elements[damage.element];
    if (AviLayout::isWrapped(list, list.end))
        return;
    const quint64 lacking = list.end - std::min(damage.statedEnd, list.end);
    Occurrence occurrence{list.sizeField(), -1, {}};
    quint64 first = 0;
    if (isSameDifference(foreignBytesIn(file, list.range(), &first), lacking)) {
        occurrence.about = {first, 1};
    } else if (list.parent != AviLayout::none) {
        // The RIFF that holds it lacks the same.
        const AviElement &parent = file.elements[list.parent];
        const quint64 stated = AviLayout::statedEnd(parent);
        occurrence.about = list.sizeField();
        if (parent.id == fourCC("RIFF") && stated < parent.end && isSameDifference(parent.end - stated, lacking))
            occurrence.about = parent.sizeField();
    } else {
        occurrence.about = list.sizeField();
    }
    FindingDraft draft = findings.add(occurrence);
    draft.explains(list.content());
    mendSize(draft, damage);
    if (!draft.isNew())
        return;
    draft.expected(list.end - list.offset - 8)
        .actual(list.size)
        .message(QStringLiteral("%2 ends %3 before the last chunk that belongs to it.")
                     .arg(elementText(list.id, list.form), bytesText(lacking)));
}

void checkRiffTooShort(const AviContext &context, Findings &findings)
{
    for (const AviDamage &damage : context.file.damages) {
        if (damage.kind == AviDamageKind::ListTooShort && isRiff(context.file, damage))
            addTooShort(context.file, damage, findings);
    }
}

/// A chunk or list whose size leads behind what it is in.
void addBeyondParent(const AviLayout &file, const AviDamage &damage, Findings &findings)
{
    const quint64 trueEnd = damage.offset + damage.size;
    Occurrence occurrence{{damage.offset + 4, 4}, damage.packet == AviLayout::none ? -1 : damage.stream, {}};
    occurrence.about = occurrence.place;
    FindingDraft draft = findings.add(occurrence);
    draft.explains({damage.offset, std::max(damage.statedEnd, trueEnd) - damage.offset});
    mendSize(draft, damage);
    if (!draft.isNew())
        return;
    const QString name = damage.element == AviLayout::none
        ? QStringLiteral("A chunk of stream %1").arg(damage.stream)
        : elementText(file.elements[damage.element].id, file.elements[damage.element].form);
    const quint64 beyond = damage.statedEnd - std::min(trueEnd, damage.statedEnd);
    draft.expected(trueEnd - damage.offset - 8)
        .actual(damage.statedEnd - damage.offset - 8)
        .message(QStringLiteral("%2 leads %3 behind the end of what it is in.").arg(name, bytesText(beyond)));
}

/// Whether the size of the damaged chunk or list leads behind the end that its list states.
bool isBeyondStatedParent(const AviLayout &file, const AviDamage &damage, quint32 parent)
{
    if (parent == AviLayout::none)
        return true;
    const AviElement &list = file.elements[parent];
    return AviLayout::hasOpenSize(list) || AviLayout::isWrapped(list, list.end)
        || damage.statedEnd > AviLayout::statedEnd(list);
}

void checkChildBeyondParent(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (const AviDamage &damage : file.damages) {
        const quint32 parent =
            damage.element == AviLayout::none ? AviLayout::none : file.elements[damage.element].parent;
        switch (damage.kind) {
        case AviDamageKind::ChunkBeyondParent:
        case AviDamageKind::ListTooLong:
            addBeyondParent(file, damage, findings);
            break;
        case AviDamageKind::ListTooShort:
            if (!isRiff(file, damage))
                addTooShort(file, damage, findings);
            break;
        case AviDamageKind::ListBeyondFile: // where the RIFF ends there too, its own size is wrong, or the file was cut
            if (!isRiff(file, damage) && isBeyondStatedParent(file, damage, parent))
                addBeyondParent(file, damage, findings);
            break;
        case AviDamageKind::ChunkCut: // in `movi` that is a rule of its own
            if (damage.packet == AviLayout::none && !isInData(file, parent)
                && isBeyondStatedParent(file, damage, parent))
                addBeyondParent(file, damage, findings);
            break;
        default:
            break;
        }
    }
}

void checkLastChunkCut(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (const AviDamage &damage : file.damages) {
        if (damage.kind != AviDamageKind::ChunkCut || !isData(file, damage))
            continue;
        const quint64 missing = damage.statedEnd - damage.offset - damage.size;
        const int stream = damage.packet == AviLayout::none ? -1 : damage.stream;
        FindingDraft draft = findings.add(Occurrence{{damage.offset + 4, 4}, stream, {file.fileSize, missing}});
        draft.expected(damage.statedEnd - damage.offset - 8)
            .actual(damage.size - 8)
            .message(
                QStringLiteral("The file ends inside of the last chunk, %2 before its end.").arg(bytesText(missing)))
            .explains(restFrom(damage.offset));
        // Behind an odd size a byte of padding is due, which has to be added.
        if (damage.size % 2 == 0)
            mendSize(draft, damage);
    }
}

// Padding, and bytes that are no chunk

void checkPadMissing(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    std::array<ByteRange, Finding::mostPlaces> places = {};
    size_t count = 0;
    for (const AviDamage &damage : file.damages) {
        if (damage.kind == AviDamageKind::PadMissing && count < places.size())
            places[count++] = {damage.offset, 0};
    }
    if (count == 0)
        return;
    FindingDraft draft = findings.add(Occurrence{places[0], -1, {places[0].offset, 1}});
    draft.expected(QStringLiteral("a byte of padding"))
        .actual(QStringLiteral("none"))
        .message(QStringLiteral("Chunks of odd size without the byte of padding behind them: %1."))
        .explains(restFrom(places[0].offset));
    if (count == 1)
        draft.andMore(file.paddingMissing - 1);
    else if (count == 2)
        draft.andMore(file.paddingMissing - 1, {places[1]});
    else
        draft.andMore(file.paddingMissing - 1, {places[1], places[2]});
}

/// "whole sectors of 512 bytes" for the largest usual size that both ends are multiples of.
QString sectorsText(quint64 begin, quint64 end)
{
    for (const quint64 size : {quint64(4096), quint64(2048), sectorSize}) {
        if (begin % size == 0 && end % size == 0)
            return QStringLiteral("whole sectors of %1 bytes").arg(size);
    }
    for (const quint64 size : {quint64(4096), quint64(2048), sectorSize}) {
        if (end % size == 0)
            return QStringLiteral("up to the end of a sector of %1 bytes").arg(size);
    }
    return QStringLiteral("not on bounds of sectors");
}

/// Whether foreign bytes can become a chunk: its header needs room, and behind an odd size a byte of padding is due.
bool canBeWrapped(const AviDamage &damage)
{
    return damage.size >= leastWrapped && damage.size % 2 == 0;
}

/// What makes chunks of foreign bytes without moving any. They belong to the chunk before them where an index says that
/// it is longer than its own size does, and leads to their end; otherwise they become a JUNK chunk. Of no width where
/// neither is possible.
Mend mendOfForeign(const AviLayout &file, const IndexedSizes &indexed, const AviDamage &damage)
{
    const quint64 end = damage.offset + damage.size;
    const quint64 header = damage.packet == AviLayout::none ? 0 : file.packets.at(damage.packet).offset - 8;
    if (const auto size = header == 0 ? std::nullopt : indexed.sizeOf(header, end))
        return {header + 4, *size, ~quint64(0), 4};
    const quint8 width = canBeWrapped(damage) ? 8 : 0;
    return {damage.offset, fourCC("JUNK") | (damage.size - leastWrapped) << 32, ~quint64(0), width};
}

void addForeign(const AviContext &context, AviDamageKind kind, Findings &findings)
{
    const AviLayout &file = context.file;
    const IndexedSizes indexed(file);
    const bool isPatch =
        std::all_of(file.damages.begin(), file.damages.end(), [kind, &file, &indexed](const AviDamage &each) {
            return each.kind != kind || mendOfForeign(file, indexed, each).width > 0;
        });
    quint64 bytes = 0;
    quint64 places = 0;
    for (const AviDamage &damage : file.damages) {
        bytes += damage.kind == kind ? damage.size : 0;
        places += damage.kind == kind ? 1 : 0;
    }
    const bool isZero = kind == AviDamageKind::ZeroBytes;
    for (const AviDamage &damage : file.damages) {
        if (damage.kind != kind)
            continue;
        FindingDraft draft = findings.add(ByteRange{damage.offset, damage.size});
        if (isZero && !isInData(file, damage.element))
            draft.severity(Severity::Warning);
        if (!damage.isCertain)
            draft.confidence(Confidence::Likely);
        const Mend mend = mendOfForeign(file, indexed, damage);
        if (mend.width > 0)
            draft.mend({mend.offset, mend.width}, mend.width, mend.bytes);
        if (!draft.isNew())
            continue;
        draft.repair(isPatch ? Repair::Patch : Repair::Rewrite)
            .expected(QStringLiteral("a chunk, or the end of the list"))
            .actual(isZero ? QStringLiteral("%1 bytes that are 0").arg(damage.zeros) : bytesText(damage.size))
            .message(
                isZero ? QStringLiteral("Between chunks stand %2 that are no chunk, at %3; of the first ones %4 are 0, "
                                        "%5.")
                             .arg(bytesText(bytes), countText(places, "place"))
                             .arg(damage.zeros)
                             .arg(sectorsText(damage.offset, damage.offset + damage.zeros))
                       : QStringLiteral("Between chunks stand %2 that are no chunk, at %3.")
                             .arg(bytesText(bytes), countText(places, "place")));
        // Entries count from the list, or from the file: with the base that most of them hit, those before miss.
        const quint64 begin =
            damage.element == AviLayout::none ? damage.offset : file.elements[damage.element].content().offset;
        draft.explains(restFrom(begin));
    }
}

void checkForeignBytes(const AviContext &context, Findings &findings)
{
    addForeign(context, AviDamageKind::ForeignBytes, findings);
}

void checkZeroBytes(const AviContext &context, Findings &findings)
{
    addForeign(context, AviDamageKind::ZeroBytes, findings);
}
constexpr AviRule rules[] = {
    {{u"riff-missing", Severity::Error, Level::Quick, Repair::None,
      u"The file begins with RIFF, a size and a form type",
      u"The first twelve bytes say what the file is and how far it reaches. Where they are missing most readers refuse "
      u"the file.",
      u"all readers", u"Look for the right file, or for an undamaged copy of its beginning.",
      u"AVI RIFF File Reference"},
     AviStage::Structure,
     nullptr,
     checkRiffMissing},
    {{u"riff-form-unusual",
      {Severity::Error, Severity::Note},
      Level::Quick,
      Repair::Patch,
      u"The form type of the first RIFF list is AVI and a blank",
      u"Readers tell the kind of a file by its form type, and most of them know one spelling only. A few cameras write "
      u"another last byte, which is a note.",
      u"readers that compare all four characters",
      u"Write \"AVI \" there; behind AVIX look for the beginning of the file first.",
      u"practice"},
     AviStage::Structure,
     beginsWithRiff,
     checkRiffFormUnusual},
    {{u"riff-later-form", Severity::Error, Level::Quick, Repair::Patch, u"The form type of later RIFF lists is AVIX",
      u"A reader that finishes the first RIFF list looks for one of the form AVIX. Another form ends the file for it, "
      u"or begins a second film.",
      u"readers of OpenDML files", u"Write AVIX there; take files that were joined end to end apart.",
      u"OpenDML AVI File Format Extensions"},
     AviStage::Structure,
     hasLaterSegments,
     checkRiffLaterForm},
    {{u"size-open", Severity::Error, Level::Quick, Repair::Patch, u"The sizes of RIFF and movi were written",
      u"Writers leave 0 or the largest number in these sizes until the recording ends. Where they are still there it "
      u"never did, or the file went through a pipe: counts, lengths and index are not to be trusted.",
      u"readers that go by sizes; all that need an index", u"Write the sizes that the chunks have, then the index.",
      u"practice"},
     AviStage::Structure,
     hasSegments,
     checkSizeOpen},
    {{u"size-wrapped", Severity::Error, Level::Quick, Repair::Rewrite, u"No list is larger than its size can tell",
      u"Sizes have 32 bits. A writer that goes on behind 4 GiB without OpenDML leaves the rest of a division there; "
      u"offsets in the index start again from 0.",
      u"all readers: they see a fraction of the file", u"Write the file again with OpenDML segments.",
      u"AVI RIFF File Reference"},
     AviStage::Structure,
     hasSegments,
     checkSizeWrapped},
    {{u"riff-beyond-file", Severity::Error, Level::Quick, Repair::Patch, u"RIFF lists end inside of the file",
      u"The file ends before the list does: it was cut off, not copied to its end, or bytes were lost in it.",
      u"readers that check the size; what is missing is missing for all",
      u"Look for a complete copy. Otherwise the size can be set to what is there.", u"AVI RIFF File Reference"},
     AviStage::Structure,
     hasSegments,
     checkRiffBeyondFile},
    {{u"foreign-bytes", Severity::Error, Level::Default, Repair::Patch, u"Between chunks stands nothing else",
      u"Readers go from chunk to chunk by their sizes. Bytes that are no chunk make them stop there, or search for the "
      u"next one.",
      u"readers without a search for the next chunk; those that count from such bytes on",
      u"Give the bytes to the chunk before them where an index says that they are its own. Otherwise wrap them up as a "
      u"JUNK chunk, or write the file again without them.",
      u"AVI RIFF File Reference"},
     AviStage::Structure,
     nullptr,
     checkForeignBytes},
    {{u"zero-bytes",
      {Severity::Error, Severity::Warning},
      Level::Default,
      Repair::Patch,
      u"Between chunks stand no zero bytes",
      u"Zero bytes where a chunk should begin are as a rule sectors that were never written, or could not be read: "
      u"what stood there is lost.",
      u"readers without a search for the next chunk; in movi data is missing for all",
      u"Read the medium again. Otherwise wrap the bytes up as a JUNK chunk.",
      u"AVI RIFF File Reference"},
     AviStage::Structure,
     nullptr,
     checkZeroBytes},
    {{u"riff-too-short", Severity::Error, Level::Quick, Repair::Patch, u"RIFF lists reach the end of their last chunk",
      u"What stands behind the end of its RIFF list is not there for readers that go by its size.",
      u"readers that stop at the end of the list", u"Write the size up to the last chunk.", u"AVI RIFF File Reference"},
     AviStage::Structure,
     hasSegments,
     checkRiffTooShort},
    {{u"child-beyond-parent", Severity::Error, Level::Quick, Repair::Patch,
      u"Chunks and lists end inside of the list that they are in",
      u"Two sizes contradict one another. Readers that trust the wrong one lose the way.",
      u"readers that go by the inner size, or by the outer one", u"Write the size that the chunks have.",
      u"AVI RIFF File Reference"},
     AviStage::Structure,
     nullptr,
     checkChildBeyondParent},
    {{u"last-chunk-cut", Severity::Error, Level::Default, Repair::Patch, u"The last chunk of movi is whole",
      u"The file ends inside of a chunk: its picture or sound is incomplete.",
      u"decoders of the last chunk; readers that ask for all of it",
      u"Look for a complete copy. Otherwise the size of the chunk can be set to what is there.",
      u"AVI RIFF File Reference"},
     AviStage::Structure,
     isWalked,
     checkLastChunkCut},
    {{u"pad-missing", Severity::Error, Level::Default, Repair::Rewrite,
      u"A byte of padding follows each chunk of odd size",
      u"The next chunk is expected at an even distance. Where the byte is missing, readers look one byte too far on.",
      u"readers that do not try both places", u"Write the file again with the padding.", u"AVI RIFF File Reference"},
     AviStage::Structure,
     nullptr,
     checkPadMissing},
};

} // namespace

AviRules structureRules()
{
    return rules;
}

} // namespace quenlofar

#include "avirules.h"
#include "avitexts.h"
#include "filedevice.h"

#include <algorithm>
#include <map>
#include <vector>

namespace quenlofar {

namespace {

constexpr quint64 farAway = quint64(1) << 62; // behind the end of every file

/// Entries of an index that are looked at where the chunks were not read.
constexpr quint32 sampleSize = 64;
constexpr quint32 legacyEntrySize = 16;

bool hasLaterSegments(const AviContext &context)
{
    return context.file.segments.size() > 1;
}

/// The file, or what is left of it, was read to its end: what was not found is missing.
bool isRead(const AviContext &context)
{
    return !context.file.isCutShort && context.file.elements.size() > 0;
}

/// The RIFF lists; where the file begins without one, the place of its children.
std::vector<quint32> segmentsOf(const AviLayout &file)
{
    return file.segments.empty() ? std::vector<quint32>{AviLayout::none} : file.segments;
}

/// The header of a list; for the place of lists whose RIFF is lost, where that should be.
ByteRange headerOf(const AviLayout &file, quint32 element)
{
    return element == AviLayout::none ? ByteRange{0, 0} : file.elements[element].header();
}

/// The list of headers that was read; none without one.
quint32 headerList(const AviLayout &file)
{
    const quint32 riff = file.segments.empty() ? AviLayout::none : file.segments.front();
    const quint32 headers = file.child(riff, fourCC("LIST"), fourCC("hdrl"));
    return headers == AviLayout::none ? file.child(AviLayout::none, fourCC("LIST"), fourCC("hdrl")) : headers;
}

bool hasHeaderList(const AviContext &context)
{
    return headerList(context.file) != AviLayout::none;
}

/// The children of an element, in the order of the file.
std::vector<quint32> childrenOf(const AviLayout &file, quint32 parent)
{
    std::vector<quint32> all;
    const quint32 first = parent == AviLayout::none ? 0 : parent + 1;
    if (first < file.elements.size() && file.elements[first].parent == parent) {
        for (quint32 each = first; each != AviLayout::none; each = file.nextSibling(each))
            all.push_back(each);
    }
    return all;
}

QString nameOf(const AviLayout &file, quint32 element)
{
    return elementText(file.elements[element].id, file.elements[element].form);
}

void checkRiffLaterContent(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (size_t number = 1; number < file.segments.size(); ++number) {
        for (const quint32 child : childrenOf(file, file.segments[number])) {
            const AviElement &element = file.elements[child];
            const bool isData = element.id == fourCC("LIST") && element.form == fourCC("movi");
            const bool isPadding =
                element.id == fourCC("JUNK") || element.id == fourCC("junk") || element.id == fourCC("PAD ");
            // Index chunks beside `movi` are what ix-outside-movi is about.
            if (isData || isPadding || indexStream(element.id) >= 0)
                continue;
            FindingDraft draft = findings.add(Occurrence{element.header(), -1, element.range()});
            if (!draft.isNew())
                continue;
            const QString name = nameOf(file, child);
            draft.expected(QStringLiteral("LIST movi, JUNK"))
                .actual(name)
                .message(
                    QStringLiteral("A later RIFF list has %2 in it, where readers look for data alone.").arg(name));
        }
    }
}

void checkHdrlMissing(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const quint32 headers = headerList(file);
    QString missing;
    if (headers == AviLayout::none)
        missing = QStringLiteral("LIST hdrl");
    else if (!file.mainHeader.exists())
        missing = QStringLiteral("avih");
    else if (file.streamListCount == 0)
        missing = QStringLiteral("LIST strl");
    else
        return;
    const quint32 riff = file.segments.empty() ? AviLayout::none : file.segments.front();
    // Without data they may have stood behind the end of the file.
    const ByteRange place = headerOf(file, headers == AviLayout::none ? riff : headers);
    const ByteRange about = file.moviLists.empty() ? ByteRange{file.fileSize, 1} : place;
    findings.add(Occurrence{place, -1, about})
        .expected(missing)
        .actual(QStringLiteral("no %1").arg(missing))
        .message(QStringLiteral("The file has no %2: nobody can tell what its data is.").arg(missing))
        .explains({0, farAway});
}

void checkListOrder(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const quint32 riff = file.segments.empty() ? AviLayout::none : file.segments.front();
    const quint32 headers = file.child(riff, fourCC("LIST"), fourCC("hdrl"));
    const quint32 movi = file.child(riff, fourCC("LIST"), fourCC("movi"));
    const quint32 index = file.child(riff, fourCC("idx1"));
    const auto check = [&file, &findings](quint32 first, quint32 second) {
        if (first == AviLayout::none || second == AviLayout::none || first < second)
            return;
        findings.add(file.elements[first].header())
            .expected(QStringLiteral("%1 before %2").arg(nameOf(file, first), nameOf(file, second)))
            .actual(QStringLiteral("%1 before %2").arg(nameOf(file, second), nameOf(file, first)))
            .message(QStringLiteral("%2 stands behind %3.").arg(nameOf(file, first), nameOf(file, second)));
    };
    check(headers, movi);
    check(movi, index);
    if (movi == AviLayout::none)
        check(headers, index);
}

/// The ordinal in AviLayout::moviLists of the list that holds `offset`; their number where none does.
size_t moviAt(const AviLayout &file, quint64 offset)
{
    const std::vector<quint32> &lists = file.moviLists;
    const auto behind = std::upper_bound(lists.begin(), lists.end(), offset, [&file](quint64 wanted, quint32 each) {
        return wanted < file.elements[each].offset;
    });
    if (behind == lists.begin() || file.elements[*std::prev(behind)].end <= offset)
        return lists.size();
    return size_t(std::prev(behind) - lists.begin());
}

/// Which of the `movi` lists an index knows chunks of: by the packets, or by a sample of entries where these were not
/// read.
std::vector<bool> knownLists(const AviContext &context)
{
    const AviLayout &file = context.file;
    std::vector<bool> known(file.moviLists.size() + 1, false); // the last one for places outside of all
    if (file.isWalked) {
        for (size_t list = 0; list < file.moviLists.size(); ++list) {
            const auto inside = file.packetsIn(file.moviLists[list]);
            for (quint64 packet = inside.first; packet < inside.second && !known[list]; ++packet)
                known[list] = (file.packets.at(packet).knownBy & (KnownFromLegacyIndex | KnownFromPartIndex)) != 0;
        }
        return known;
    }
    for (const AviSuperEntry &entry : file.superEntries)
        known[moviAt(file, entry.offset)] = true;
    if (file.legacyIndexes.empty() || file.legacyFacts.base == AviIndexBase::Unknown)
        return known;
    const AviIndex &index = file.indexes[file.legacyIndexes.front()];
    const quint32 count = std::min(sampleSize, index.entryCount);
    for (quint32 i = 0; i < count; ++i) {
        char bytes[legacyEntrySize] = {};
        const ByteRange place = AviLayout::entryPlace(index, quint64(i) * index.entryCount / count);
        context.bytes.seek(qint64(place.offset));
        if (context.bytes.read(bytes, legacyEntrySize) < qint64(legacyEntrySize))
            break;
        const RecordView entry(bytes, sizeof bytes);
        const qint64 at = file.legacyFacts.baseOffset + qint64(entry.read<quint32>(8));
        if (at >= 0 && dataStream(entry.read<quint32>(0)) >= 0)
            known[moviAt(file, quint64(at) + 8)] = true;
    }
    return known;
}

bool hasSeveralLists(const AviContext &context)
{
    return context.file.moviLists.size() > 1;
}

void checkMoviStale(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const std::vector<bool> known = knownLists(context);
    std::vector<quint32> knownParents; // RIFF lists with a list that is known
    for (size_t list = 0; list < file.moviLists.size(); ++list) {
        if (known[list])
            knownParents.push_back(file.elements[file.moviLists[list]].parent);
    }
    std::sort(knownParents.begin(), knownParents.end());
    for (size_t list = 0; list < file.moviLists.size(); ++list) {
        const AviElement &movi = file.elements[file.moviLists[list]];
        if (known[list] || !std::binary_search(knownParents.begin(), knownParents.end(), movi.parent))
            continue;
        FindingDraft draft = findings.add(Occurrence{movi.header(), -1, movi.range()});
        draft.mend({movi.offset, 4}, 4, fourCC("JUNK"));
        if (!draft.isNew())
            continue;
        draft.expected(QStringLiteral("one LIST movi, which the index knows"))
            .actual(QStringLiteral("another one at offset %1").arg(movi.offset))
            .message(QStringLiteral("No index knows the LIST movi at offset %2: it is left over from an earlier try.")
                         .arg(movi.offset));
    }
}

void checkMoviCount(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    std::map<quint32, std::vector<quint32>> lists; // by RIFF
    for (const quint32 riff : segmentsOf(file))
        lists[riff] = {};
    for (const quint32 movi : file.moviLists)
        lists[file.elements[movi].parent].push_back(movi);
    for (const auto &[riff, all] : lists) {
        if (all.size() == 1)
            continue;
        Occurrence occurrence{headerOf(file, riff), -1, {file.fileSize, 1}}; // behind which it may have stood
        if (!all.empty()) {
            const quint64 begin = file.elements[all.front()].offset;
            occurrence = {file.elements[all[1]].header(), -1, {begin, file.elements[all.back()].end - begin}};
        }
        FindingDraft draft = findings.add(occurrence);
        if (all.empty())
            draft.explains({0, farAway});
        if (!draft.isNew())
            continue;
        draft.expected(1).actual(quint64(all.size()));
        draft.message(all.empty() ? QStringLiteral("A RIFF list has no LIST movi: there is no data in it.")
                                  : QStringLiteral("A RIFF list has %2 LIST movi instead of one.").arg(all.size()));
    }
}

void checkDuplicateChunk(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const auto check = [&file, &findings](quint32 parent, quint32 id, quint32 form, Severity severity) {
        const std::vector<quint32> all = file.children(parent, id, form);
        for (size_t number = 1; number < all.size(); ++number) {
            FindingDraft draft = findings.add(file.elements[all[number]].header());
            draft.severity(severity);
            if (!draft.isNew())
                continue;
            draft.expected(QStringLiteral("%1 once").arg(elementText(id, form)))
                .actual(QStringLiteral("%1 times").arg(all.size()))
                .message(QStringLiteral("%2 is there %3 times.").arg(elementText(id, form)).arg(all.size()));
        }
    };
    for (const quint32 riff : segmentsOf(file)) {
        check(riff, fourCC("LIST"), fourCC("hdrl"), Severity::Error);
        check(riff, fourCC("idx1"), 0, Severity::Warning);
    }
    const quint32 headers = headerList(file);
    if (headers != AviLayout::none)
        check(headers, fourCC("avih"), 0, Severity::Error);
    for (const AviStream &stream : file.streams) {
        check(stream.list, fourCC("strh"), 0, Severity::Error);
        check(stream.list, fourCC("strf"), 0, Severity::Error);
    }
}

void checkAvihNotFirst(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const quint32 first = headerList(file) + 1;
    if (!file.mainHeader.exists() || file.mainHeader.element == first)
        return;
    findings.add(file.elements[file.mainHeader.element].header())
        .expected(QStringLiteral("avih"))
        .actual(nameOf(file, first))
        .message(QStringLiteral("The header list begins with %2, not with the main header.").arg(nameOf(file, first)));
}

constexpr AviRule rules[] = {
    {{u"riff-later-content", Severity::Warning, Level::Quick, Repair::None,
      u"Later RIFF lists have data and its indexes alone",
      u"All headers stand in the first RIFF list. Headers or an idx1 in a later one are read by nobody, or taken for "
      u"another film.",
      u"readers of OpenDML files", u"Look what joined the parts of the file.", u"OpenDML AVI File Format Extensions"},
     AviStage::Structure,
     hasLaterSegments,
     checkRiffLaterContent},
    {{u"hdrl-missing", Severity::Error, Level::Quick, Repair::Rewrite,
      u"The file has LIST hdrl with avih and a strl list",
      u"Without these headers nobody knows what streams there are and how their data is coded.", u"all readers",
      u"Put the headers of a file of the same recorder and settings before the data.", u"AVI RIFF File Reference"},
     AviStage::Structure,
     isRead,
     checkHdrlMissing},
    {{u"list-order", Severity::Error, Level::Quick, Repair::Rewrite, u"hdrl stands before movi, and movi before idx1",
      u"Readers that never go back need the headers before the data, and look for the index behind it.",
      u"readers of streams, and those that expect the order", u"Write the lists in their order.",
      u"AVI RIFF File Reference"},
     AviStage::Structure,
     nullptr,
     checkListOrder},
    {{u"movi-stale", Severity::Error, Level::Quick, Repair::Patch, u"No LIST movi is left over",
      u"A recorder that started again, or a repair, left data behind that no index knows. Readers that go from chunk "
      u"to chunk play it.",
      u"readers without an index; programs that make one", u"Rename the list that is left over to JUNK.", u"practice"},
     AviStage::Structure,
     hasSeveralLists,
     checkMoviStale},
    {{u"movi-count", Severity::Error, Level::Quick, Repair::None, u"Each RIFF list has one LIST movi",
      u"Readers look for one list of data. Without it there is nothing to play; of several most see one only.",
      u"all readers", u"Look for the missing list, or join the data by writing the file again.",
      u"AVI RIFF File Reference"},
     AviStage::Structure,
     isRead,
     checkMoviCount},
    {{u"duplicate-chunk",
      {Severity::Error, Severity::Warning},
      Level::Quick,
      Repair::None,
      u"hdrl, avih, strh, strf and idx1 are there once",
      u"Some readers take the first of two, others the last.",
      u"readers differ from one another",
      u"Find out which one is true.",
      u"AVI RIFF File Reference"},
     AviStage::Structure,
     nullptr,
     checkDuplicateChunk},
    {{u"avih-not-first", Severity::Error, Level::Quick, Repair::Rewrite, u"The header list begins with avih",
      u"Readers that expect the main header there take another chunk for it, or refuse the file.",
      u"readers that read the header list without a search", u"Write avih first.", u"AVI RIFF File Reference"},
     AviStage::Structure,
     hasHeaderList,
     checkAvihNotFirst},
};

} // namespace

AviRules structureListRules()
{
    return rules;
}

} // namespace quenlofar

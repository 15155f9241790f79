#include "avirules.h"
#include "avitexts.h"

#include <algorithm>

namespace quenlofar {

namespace {

constexpr quint64 gibibyte = quint64(1) << 30;
constexpr quint64 sectorSize = 512;

bool hasSegments(const AviContext &context)
{
    return !context.file.segments.empty();
}

// Small things that readers pass over

void addTally(const AviTally &tally, const QString &expected, const QString &actual, const QString &message,
              Findings &findings)
{
    if (tally.count == 0)
        return;
    FindingDraft draft = findings.add(tally.places[0]);
    draft.expected(expected).actual(actual).message(message);
    if (tally.count == 2)
        draft.andMore(1, {tally.places[1]});
    else if (tally.count > 2)
        draft.andMore(tally.count - 1, {tally.places[1], tally.places[2]});
}

void checkPadNotZero(const AviContext &context, Findings &findings)
{
    addTally(context.file.paddingNotZero, QStringLiteral("0"), QStringLiteral("another value"),
             QStringLiteral("Bytes of padding that are not 0: %1."), findings);
}

void checkListStrayEnd(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (const AviDamage &damage : file.damages) {
        if (damage.kind != AviDamageKind::StrayEnd)
            continue;
        const QString list = damage.element == AviLayout::none
            ? QStringLiteral("the file")
            : elementText(file.elements[damage.element].id, file.elements[damage.element].form);
        findings.add(ByteRange{damage.offset, damage.size})
            .expected(QStringLiteral("none"))
            .actual(bytesText(damage.size))
            .message(QStringLiteral("Before the end of %2 stand %3, too few for a chunk.")
                         .arg(list, bytesText(damage.size)));
    }
}

// What stands behind the lists

void checkTrailingZeros(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    if (file.trailing.size == 0 || file.trailingZeros < file.trailing.size)
        return;
    findings.add(file.trailing)
        .severity(file.trailing.size < sectorSize ? Severity::Note : Severity::Warning)
        .expected(QStringLiteral("the end of the file"))
        .actual(QStringLiteral("%1 bytes that are 0").arg(file.trailing.size))
        .message(QStringLiteral("Behind the last RIFF list stand %2 that are 0.").arg(bytesText(file.trailing.size)));
}

void checkTrailingBytes(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    if (file.trailing.size == 0 || file.trailingZeros == file.trailing.size)
        return;
    findings.add(file.trailing)
        .expected(QStringLiteral("the end of the file"))
        .actual(bytesText(file.trailing.size))
        .message(QStringLiteral("Behind the last RIFF list stand %2 that belong to nothing.")
                     .arg(bytesText(file.trailing.size)));
}

// Large files, and ids

bool isOpenDml(const AviContext &context)
{
    const AviLayout &file = context.file;
    const bool hasSuperIndex = std::any_of(file.indexes.begin(), file.indexes.end(),
                                           [](const AviIndex &index) { return index.id == fourCC("indx"); });
    return hasSegments(context) && (file.segments.size() > 1 || hasSuperIndex);
}

void checkFirstRiffOver1GiB(const AviContext &context, Findings &findings)
{
    const AviElement &riff = context.file.elements[context.file.segments.front()];
    if (riff.end - riff.offset <= gibibyte)
        return;
    findings.add(riff.sizeField())
        .expected(QStringLiteral("at most %1 bytes").arg(gibibyte))
        .actual(bytesText(riff.end - riff.offset))
        .message(QStringLiteral("The first RIFF list of an OpenDML file has more than 1 GiB."));
}

void checkRiffOver2GiB(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (const quint32 segment : file.segments) {
        const AviElement &riff = file.elements[segment];
        if (riff.end - riff.offset < 2 * gibibyte)
            continue;
        findings.add(Occurrence{riff.sizeField(), -1, riff.range()})
            .expected(QStringLiteral("below %1 bytes").arg(2 * gibibyte))
            .actual(bytesText(riff.end - riff.offset))
            .message(QStringLiteral(
                "Readers that take sizes for signed see a negative number. RIFF lists of 2 GiB or more: %1."));
    }
}

void checkFourccNotAscii(const AviContext &context, Findings &findings)
{
    addTally(context.file.idsNotAscii, QStringLiteral("four printable ASCII characters"), QStringLiteral("other bytes"),
             QStringLiteral("Ids or form types with bytes that are no printable ASCII: %1."), findings);
}

constexpr AviRule rules[] = {
    {{u"pad-not-zero", Severity::Note, Level::Default, Repair::Patch, u"Padding is 0",
      u"Nobody reads the byte of padding behind a chunk of odd size, so any value does; other values than 0 come from "
      u"memory that the writer did not clear.",
      u"nobody", u"Nothing has to be done.", u"practice"},
     AviStage::Structure,
     nullptr,
     checkPadNotZero},
    {{u"list-stray-end", Severity::Warning, Level::Default, Repair::None, u"Lists end with their last chunk",
      u"Up to seven bytes before the end of a list are too few for a chunk. The size of the list or of its last chunk "
      u"is wrong.",
      u"readers that expect another chunk there", u"Compare the size of the list with the chunks in it.",
      u"AVI RIFF File Reference"},
     AviStage::Structure,
     nullptr,
     checkListStrayEnd},
    {{u"trailing-zeros",
      {Severity::Warning, Severity::Note},
      Level::Quick,
      Repair::None,
      u"The file ends with its last RIFF list",
      u"Zero bytes behind the last list were reserved and not given back, or belong to a part that was never written. "
      u"Less than a sector is usual filling.",
      u"programs that append to the file",
      u"Compare the length with that of another copy; nothing is cut unasked.",
      u"practice"},
     AviStage::Structure,
     hasSegments,
     checkTrailingZeros},
    {{u"trailing-bytes", Severity::Warning, Level::Quick, Repair::None,
      u"No other bytes stand behind the last RIFF list",
      u"What stands behind the last list belongs to nothing: tags of another kind, rests of an older file, or a part "
      u"of the film whose header is damaged.",
      u"programs that append to the file; whoever misses data", u"Look what the bytes are before anything is cut.",
      u"practice"},
     AviStage::Structure,
     hasSegments,
     checkTrailingBytes},
    {{u"first-riff-over-1gib", Severity::Note, Level::Quick, Repair::Rewrite,
      u"The first RIFF list of an OpenDML file has at most 1 GiB",
      u"Readers without OpenDML play the first list alone, and the older ones of them no more than 1 GiB.",
      u"readers of the time before OpenDML", u"Nothing has to be done.", u"practice"},
     AviStage::Structure,
     isOpenDml,
     checkFirstRiffOver1GiB},
    {{u"riff-over-2gib", Severity::Warning, Level::Quick, Repair::Rewrite, u"RIFF lists are smaller than 2 GiB",
      u"Readers that keep sizes as signed numbers of 32 bits see a negative one.", u"readers with signed sizes",
      u"Write the file again with OpenDML segments below 2 GiB.", u"practice"},
     AviStage::Structure,
     hasSegments,
     checkRiffOver2GiB},
    {{u"fourcc-not-ascii", Severity::Warning, Level::Default, Repair::None, u"Ids and form types are printable ASCII",
      u"An id with other bytes names nothing that a reader knows: it was damaged, and what it names is passed over.",
      u"all readers: they pass the chunk over", u"Compare the id with those of its neighbours.",
      u"AVI RIFF File Reference"},
     AviStage::Structure,
     nullptr,
     checkFourccNotAscii},
};

} // namespace

AviRules structureExtentRules()
{
    return rules;
}

} // namespace quenlofar

#include "avirules.h"

namespace quenlofar {

namespace {

bool hasData(const AviContext &context)
{
    return !context.file.moviLists.empty();
}

void checkIndexMissing(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    if (!file.indexes.empty())
        return;
    findings.add(file.elements[file.moviLists.front()].header())
        .expected(QStringLiteral("idx1 or indx"))
        .actual(QStringLiteral("no index"))
        .message(QStringLiteral("The file has no index: readers have to search it from the beginning."));
}

constexpr AviRule rules[] = {
    {{u"index-missing", Severity::Warning, Level::Quick, Repair::Append, u"The file has an index",
      u"Without an index nobody knows where frames are and which of them are key frames without reading the whole "
      u"file.",
      u"readers that seek; some refuse to", u"Append an index of the chunks that are there.",
      u"AVI RIFF File Reference"},
     AviStage::Index,
     hasData,
     checkIndexMissing},
};

} // namespace

AviRules legacyIndexRules()
{
    return rules;
}

} // namespace quenlofar

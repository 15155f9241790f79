#include "avirules.h"

namespace quenlofar {

namespace {

constexpr quint32 streamsOffset = 24; // of dwStreams in avih

bool hasMainHeader(const AviContext &context)
{
    return context.file.mainHeader.exists();
}

void checkStreamCount(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const quint32 stated = file.mainHeader.u32(streamsOffset);
    if (stated == file.streamListCount)
        return;
    findings.add(file.mainHeader.field(streamsOffset, 4))
        .expected(file.streamListCount)
        .actual(stated)
        .message(QStringLiteral("The main header announces %1 streams, the file describes %2.")
                     .arg(stated)
                     .arg(file.streamListCount));
}

constexpr AviRule rules[] = {
    {{u"stream-count", Severity::Error, Level::Quick, Repair::Patch, u"dwStreams is the number of strl lists",
      u"Readers that trust the main header look for streams that are not there, or leave out those that are.",
      u"readers that allocate their streams from the main header", u"Write the number of strl lists into dwStreams.",
      u"AVIMAINHEADER"},
     AviStage::Headers,
     hasMainHeader,
     checkStreamCount},
};

} // namespace

AviRules mainHeaderRules()
{
    return rules;
}

} // namespace quenlofar

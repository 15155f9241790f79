#include "avirules.h"

namespace quenlofar {

namespace {

void checkUndeclaredStream(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (const AviChunkKind &kind : file.chunkKinds) {
        if (kind.stream < file.streamListCount || kind.chunks.count == 0)
            continue;
        findings.add(kind.chunks.places[0], kind.stream)
            .andMore(kind.chunks.count - 1, {kind.chunks.places[1], kind.chunks.places[2]})
            .expected(QStringLiteral("a stream below %1").arg(file.streamListCount))
            .actual(kind.stream)
            .message(QStringLiteral("%1 chunks belong to a stream that the headers do not declare."));
    }
}

constexpr AviRule rules[] = {
    {{u"undeclared-stream", Severity::Error, Level::Default, Repair::None,
      u"Data chunks belong to streams that the headers declare",
      u"The two digits of a chunk id are the number of a stream. Data of a stream without headers cannot be played.",
      u"all readers; some stop at such a chunk", u"Look for what wrote or changed the file: its headers may be lost.",
      u"AVI RIFF File Reference"},
     AviStage::Chunks,
     nullptr,
     checkUndeclaredStream},
};

} // namespace

AviRules payloadRules()
{
    return rules;
}

} // namespace quenlofar

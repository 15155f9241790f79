#include "avirules.h"

namespace quenlofar {

namespace {

constexpr quint32 scaleOffset = 20; // of dwScale in strh
constexpr quint32 rateOffset = 24; // of dwRate

bool hasStreams(const AviContext &context)
{
    return !context.file.streams.empty();
}

void checkTimeBaseZero(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (size_t number = 0; number < file.streams.size(); ++number) {
        const AviStream &stream = file.streams[number];
        if (!stream.header.exists() || (stream.scale != 0 && stream.rate != 0))
            continue;
        const bool isScale = stream.scale == 0;
        findings.add(stream.header.field(isScale ? scaleOffset : rateOffset, 4), int(number))
            .expected(QStringLiteral("not 0"))
            .actual(0)
            .message(QStringLiteral("%1 is 0: the stream has no time base.")
                         .arg(isScale ? QStringLiteral("dwScale") : QStringLiteral("dwRate")));
    }
}

constexpr AviRule rules[] = {
    {{u"time-base-zero", Severity::Error, Level::Quick, Repair::Patch, u"dwScale and dwRate are not 0",
      u"A tick of the stream is dwScale / dwRate seconds. Without it nothing of the stream has a time; readers refuse "
      u"the stream, guess a rate or divide by zero.",
      u"all readers", u"Write the time base that a second source states: the main header, the format or the recorder.",
      u"AVISTREAMHEADER"},
     AviStage::Headers,
     hasStreams,
     checkTimeBaseZero},
};

} // namespace

AviRules streamRules()
{
    return rules;
}

} // namespace quenlofar

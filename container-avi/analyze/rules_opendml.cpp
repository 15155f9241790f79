#include "avirules.h"

namespace quenlofar {

namespace {

bool hasLaterSegments(const AviContext &context)
{
    return context.file.segments.size() > 1;
}

void checkExtendedHeaderMissing(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    if (file.extendedHeader.exists())
        return;
    const quint32 riff = file.segments.front();
    const quint32 headers = file.child(riff, fourCC("LIST"), fourCC("hdrl"));
    findings.add(file.elements[headers == AviLayout::none ? riff : headers].header())
        .expected(QStringLiteral("dmlh"))
        .actual(QStringLiteral("no dmlh"))
        .message(
            QStringLiteral("The file has several RIFF lists, and no extended header that counts all their frames."));
}

constexpr AviRule rules[] = {
    {{u"dmlh-missing", Severity::Error, Level::Quick, Repair::Append, u"A file of several RIFF lists has a dmlh chunk",
      u"The main header counts the frames of the first RIFF list alone; only the extended header counts all of them.",
      u"readers that take the length from the headers", u"Add a LIST odml with a dmlh chunk to the header list.",
      u"OpenDML AVI File Format Extensions"},
     AviStage::Structure,
     hasLaterSegments,
     checkExtendedHeaderMissing},
};

} // namespace

AviRules openDmlRules()
{
    return rules;
}

} // namespace quenlofar

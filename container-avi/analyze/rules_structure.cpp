#include "avirules.h"

namespace quenlofar {

namespace {

void checkRiffMissing(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    if (file.leading.size == 0 && file.fileSize > 0)
        return;
    findings.add(ByteRange{0, 12})
        .expected(QStringLiteral("RIFF, size, AVI "))
        .actual(file.segments.empty()
                    ? QStringLiteral("no RIFF list")
                    : QStringLiteral("RIFF at offset %1").arg(file.elements[file.segments.front()].offset))
        .message(QStringLiteral("The file does not begin with the header of a RIFF list."));
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
};

} // namespace

AviRules structureRules()
{
    return rules;
}

} // namespace quenlofar

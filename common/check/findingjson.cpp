#include "findingjson.h"

#include "jsonprinter.h"

namespace quenlofar {

void printFinding(JsonPrinter &json, const JudgedFinding &finding)
{
    const ByteRange place = finding.places.empty() ? ByteRange() : finding.places.front();
    json.beginObject().key(u"id").number(quint64(finding.id)).key(u"rule").text(finding.rule);
    json.key(u"severity").text(severityName(finding.severity));
    json.key(u"confidence").text(confidenceText(finding.confidence));
    json.key(u"offset").number(place.offset).key(u"size").number(place.size);
    if (!finding.path.isEmpty())
        json.key(u"path").text(finding.path);
    if (finding.stream >= 0)
        json.key(u"stream").number(quint64(finding.stream));
    json.key(u"expected").text(finding.expected).key(u"actual").text(finding.actual);
    json.key(u"message").text(finding.message).key(u"repair").text(repairText(finding.repair));
    if (finding.causedBy > 0)
        json.key(u"causedBy").number(quint64(finding.causedBy));
    json.key(u"count").number(finding.count).key(u"places").beginArray();
    for (const ByteRange &each : finding.places)
        json.beginArray().number(each.offset).number(each.size).endArray();
    json.endArray();
    if (!finding.suppressed.isEmpty())
        json.key(u"suppressed").text(finding.suppressed);
    if (!finding.severityReason.isEmpty())
        json.key(u"severityReason").text(finding.severityReason);
    json.endObject();
}

} // namespace quenlofar

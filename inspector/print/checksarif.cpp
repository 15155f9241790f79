// SARIF: Static Analysis Results Interchange Format (SARIF) Version 2.1.0, OASIS Standard.
#include "checkoutput.h"
#include "exitstatus.h"
#include "filepath.h"
#include "jsonprinter.h"

#include <QBuffer>

#include <algorithm>

namespace quenlofar {

namespace {

/// `path` as a URI reference: relative paths stay relative.
QString uriOf(const QString &path)
{
    const QByteArray bytes = pathToBytes(path);
    // A colon in the first component of a relative one would end a scheme.
    const QByteArray encoded = bytes.toPercentEncoding("/");
    return (bytes.startsWith('/') ? QStringLiteral("file://") : QString()) + QString::fromLatin1(encoded);
}

void printMessage(JsonPrinter &json, QStringView key, const QString &text)
{
    json.key(key).beginObject().key(u"text").text(text).endObject();
}

void printLocation(JsonPrinter &json, const FileCheck &check, const ByteRange &place)
{
    json.key(u"physicalLocation").beginObject().key(u"artifactLocation").beginObject();
    json.key(u"uri").text(uriOf(check.start.file)).endObject();
    json.key(u"region").beginObject().key(u"byteOffset").number(place.offset);
    json.key(u"byteLength").number(place.size).endObject().endObject();
}

void printResult(JsonPrinter &json, const FileCheck &check, const JudgedFinding &finding, qint64 ruleIndex)
{
    json.beginObject().key(u"ruleId").text(finding.rule);
    if (ruleIndex >= 0)
        json.key(u"ruleIndex").signedNumber(ruleIndex);
    json.key(u"level").text(severityName(finding.severity));
    printMessage(json, u"message",
                 QStringLiteral("%1 Expected %2, found %3.").arg(finding.message, finding.expected, finding.actual));
    json.key(u"locations").beginArray().beginObject();
    printLocation(json, check, finding.places.empty() ? ByteRange() : finding.places.front());
    if (!finding.path.isEmpty()) {
        json.key(u"logicalLocations").beginArray().beginObject();
        json.key(u"fullyQualifiedName").text(finding.path).key(u"kind").text(u"element").endObject().endArray();
    }
    json.endObject().endArray();
    if (finding.places.size() > 1) {
        json.key(u"relatedLocations").beginArray();
        for (size_t place = 1; place < finding.places.size(); ++place) {
            json.beginObject().key(u"id").number(place);
            printLocation(json, check, finding.places[place]);
            json.endObject();
        }
        json.endArray();
    }
    if (!finding.suppressed.isEmpty()) {
        json.key(u"suppressions").beginArray().beginObject().key(u"kind").text(u"external");
        json.key(u"justification").text(finding.suppressed).endObject().endArray();
    }
    json.key(u"properties").beginObject().key(u"id").number(quint64(finding.id));
    if (finding.causedBy > 0)
        json.key(u"causedBy").number(quint64(finding.causedBy));
    if (finding.stream >= 0)
        json.key(u"stream").number(quint64(finding.stream));
    json.key(u"confidence").text(confidenceText(finding.confidence)).key(u"repair").text(repairText(finding.repair));
    json.key(u"count").number(finding.count).endObject().endObject();
}

void printRule(JsonPrinter &json, const RuleCatalogue::Entry &entry)
{
    const Rule &rule = *entry.rule;
    json.beginObject().key(u"id").text(rule.name);
    printMessage(json, u"shortDescription", rule.title.toString() + QLatin1Char('.'));
    printMessage(json, u"fullDescription", rule.reason.toString());
    printMessage(json, u"help", rule.advice.toString());
    json.key(u"defaultConfiguration").beginObject();
    json.key(u"level").text(severityName(rule.severities.highest())).endObject();
    json.key(u"properties").beginObject().key(u"container").text(entry.container);
    json.key(u"source").text(rule.source).endObject().endObject();
}

} // namespace

QByteArray sarifHead(const RuleCatalogue &catalogue)
{
    QBuffer head;
    head.open(QIODevice::WriteOnly);
    head.write(
        "{\"$schema\":\"https://json.schemastore.org/sarif-2.1.0.json\",\"version\":\"2.1.0\",\"runs\":[{\"tool\":");
    JsonPrinter json(head);
    json.beginObject().key(u"driver").beginObject().key(u"name").text(u"quenlofar");
    json.key(u"version").text(QStringLiteral(QUENLOFAR_VERSION)).key(u"rules").beginArray();
    for (const RuleCatalogue::Entry &entry : catalogue.entries())
        printRule(json, entry);
    json.endArray().endObject().endObject();
    json.finish();
    head.write(",\"results\":[\n");
    return head.data();
}

QByteArray sarifTail(const QVector<FileReport> &reports)
{
    QBuffer tail;
    tail.open(QIODevice::WriteOnly);
    tail.write("],\"invocations\":");
    JsonPrinter json(tail);
    const bool readAll = std::none_of(reports.begin(), reports.end(),
                                      [](const FileReport &report) { return report.exitStatus >= ExitFailure; });
    json.beginArray().beginObject().key(u"executionSuccessful").boolean(readAll);
    json.key(u"toolExecutionNotifications").beginArray();
    for (const FileReport &report : reports) {
        for (const QString &message : report.messages) {
            json.beginObject().key(u"level").text(report.exitStatus >= ExitFailure ? u"error" : u"warning");
            printMessage(json, u"message", message);
            json.endObject();
        }
    }
    json.endArray().endObject().endArray();
    json.finish();
    tail.write("}]}\n");
    return tail.data();
}

QString printSarif(QIODevice &output, const FileCheck &check, const RuleCatalogue &catalogue)
{
    for (const JudgedFinding &finding : check.findings) {
        const auto &rules = catalogue.entries();
        const auto rule = std::find_if(rules.begin(), rules.end(), [&](const RuleCatalogue::Entry &entry) {
            return entry.container == check.start.container && entry.rule->name == finding.rule;
        });
        if (output.write(",") != 1)
            return output.errorString();
        JsonPrinter json(output);
        printResult(json, check, finding, rule == rules.end() ? -1 : qint64(rule - rules.begin()));
        if (!json.finish())
            return json.errorText();
    }
    return {};
}

} // namespace quenlofar

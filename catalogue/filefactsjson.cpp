#include "filefactsjson.h"

#include "jsonprinter.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <iterator>
#include <utility>

namespace quenlofar {

namespace {

constexpr std::pair<const char16_t *, StreamDescription::Kind> streamKinds[] = {
    {u"video", StreamDescription::Kind::Video},
    {u"audio", StreamDescription::Kind::Audio},
    {u"subtitles", StreamDescription::Kind::Text},
    {u"MIDI", StreamDescription::Kind::Midi},
};

void printText(JsonPrinter &json, QStringView key, const QString &text)
{
    if (!text.isEmpty())
        json.key(key).text(text);
}

void printStream(JsonPrinter &json, const StreamDescription &stream)
{
    json.beginObject().key(u"number").number(quint64(stream.ordinal)).key(u"kind").text(stream.kindText());
    printText(json, u"name", stream.name);
    printText(json, u"codec", stream.codecCode);
    printText(json, u"codecName", stream.codecName);
    const std::pair<QStringView, quint32> numbers[] = {
        {u"width", stream.width},
        {u"height", stream.height},
        {u"sampleRate", stream.sampleRate},
        {u"channels", stream.channels},
        {u"timeBaseNumerator", stream.timeBaseNumerator},
        {u"timeBaseDenominator", stream.timeBaseDenominator},
    };
    for (const auto &[key, number] : numbers) {
        if (number > 0)
            json.key(key).number(number);
    }
    if (stream.frameRate > 0.0)
        json.key(u"frameRate").real(stream.frameRate);
    if (stream.length >= 0)
        json.key(u"length").text(QString::number(stream.length));
    json.endObject();
}

/// A text, null where it is empty or not there.
QString textIn(const QJsonObject &object, const char *key)
{
    const QString text = object.value(QLatin1String(key)).toString();
    return text.isEmpty() ? QString() : text;
}

qint64 numberIn(const QJsonObject &object, const char *key)
{
    constexpr double most = 9007199254740992.0; // up to here all whole numbers are exact
    return qint64(std::clamp(object.value(QLatin1String(key)).toDouble(), 0.0, most));
}

/// A number that is written as text.
qint64 longNumberIn(const QJsonObject &object, const char *key, qint64 otherwise)
{
    bool isNumber = false;
    const qint64 number = object.value(QLatin1String(key)).toString().toLongLong(&isNumber);
    return isNumber ? number : otherwise;
}

quint32 shortNumberIn(const QJsonObject &object, const char *key)
{
    return quint32(std::min<qint64>(numberIn(object, key), 0xFFFFFFFF));
}

StreamDescription streamIn(const QJsonObject &object)
{
    StreamDescription stream;
    stream.ordinal = int(std::min<qint64>(numberIn(object, "number"), 0x7FFFFFFF));
    const QString kind = textIn(object, "kind");
    const auto *const known = std::find_if(std::begin(streamKinds), std::end(streamKinds),
                                           [&kind](const auto &row) { return kind == QStringView(row.first); });
    stream.kind = known == std::end(streamKinds) ? StreamDescription::Kind::Other : known->second;
    stream.name = textIn(object, "name");
    stream.codecCode = textIn(object, "codec");
    stream.codecName = textIn(object, "codecName");
    stream.width = shortNumberIn(object, "width");
    stream.height = shortNumberIn(object, "height");
    stream.frameRate = object.value(QLatin1String("frameRate")).toDouble();
    stream.sampleRate = shortNumberIn(object, "sampleRate");
    stream.channels = shortNumberIn(object, "channels");
    stream.length = longNumberIn(object, "length", -1);
    stream.timeBaseNumerator = shortNumberIn(object, "timeBaseNumerator");
    stream.timeBaseDenominator = shortNumberIn(object, "timeBaseDenominator");
    return stream;
}

JudgedFinding findingIn(const QJsonObject &object)
{
    JudgedFinding finding;
    finding.id = int(std::min<qint64>(numberIn(object, "id"), 0x7FFFFFFF));
    finding.causedBy = int(std::min<qint64>(numberIn(object, "causedBy"), 0x7FFFFFFF));
    finding.rule = textIn(object, "rule");
    severityFromText(textIn(object, "severity"), &finding.severity);
    finding.confidence =
        textIn(object, "confidence") == QLatin1String("likely") ? Confidence::Likely : Confidence::Certain;
    for (const Repair repair : {Repair::Patch, Repair::Append, Repair::Rewrite}) {
        if (textIn(object, "repair") == repairText(repair))
            finding.repair = repair;
    }
    if (object.contains(QLatin1String("stream")))
        finding.stream = int(std::min<qint64>(numberIn(object, "stream"), 0x7FFFFFFF));
    finding.count = quint64(numberIn(object, "count"));
    if (!object.value(QLatin1String("places")).toArray().isEmpty())
        finding.places.push_back({quint64(numberIn(object, "offset")), quint64(numberIn(object, "size"))});
    finding.message = object.value(QLatin1String("message")).toString();
    return finding;
}

Verdict verdictIn(const QJsonObject &object)
{
    for (const Verdict verdict : {Verdict::Conforms, Verdict::Warnings, Verdict::Damaged}) {
        if (textIn(object, "verdict") == verdictText(verdict))
            return verdict;
    }
    return Verdict::Unknown;
}

} // namespace

void printFileFacts(JsonPrinter &json, const FileRecord &record)
{
    json.beginObject().key(u"path").hexDigits(record.path.constData(), record.path.size());
    if (record.stamp.size >= 0) {
        json.key(u"size").text(QString::number(record.stamp.size));
        json.key(u"mtime").text(QString::number(record.stamp.mtime));
        json.key(u"device").text(QString::number(record.stamp.device));
        json.key(u"inode").text(QString::number(record.stamp.inode));
    }
    json.key(u"checked").text(QString::number(record.checked));
    json.key(u"program").text(record.program).key(u"rules").text(record.rules);
    json.key(u"status").text(record.status);
    printText(json, u"trouble", record.trouble);
    printText(json, u"writer", record.writer);
    if (!record.digest.isEmpty())
        json.key(u"digestKind").text(record.digestKind).key(u"digest").text(record.digest);
    json.key(u"streams").beginArray();
    for (const StreamDescription &stream : record.streams)
        printStream(json, stream);
    json.endArray().endObject();
}

std::optional<FileRecord> parseFileFacts(const QByteArray &json, QString *error)
{
    QJsonParseError failure;
    const QJsonObject document = QJsonDocument::fromJson(json, &failure).object();
    if (failure.error != QJsonParseError::NoError) {
        *error = failure.errorString();
        return std::nullopt;
    }
    const QJsonObject facts = document.value(QLatin1String("fileFacts")).toObject();
    FileRecord record;
    record.path = QByteArray::fromHex(textIn(facts, "path").toLatin1());
    record.status = textIn(facts, "status");
    record.checked = longNumberIn(facts, "checked", -1);
    if (!record.path.startsWith('/') || record.status.isNull() || record.checked < 0
        || !document.value(QLatin1String("findings")).isArray()) {
        *error = QStringLiteral("no document of check --format json --file-facts");
        return std::nullopt;
    }
    record.stamp.size = longNumberIn(facts, "size", -1);
    record.stamp.mtime = longNumberIn(facts, "mtime", 0);
    record.stamp.device = longNumberIn(facts, "device", 0);
    record.stamp.inode = longNumberIn(facts, "inode", 0);
    record.program = textIn(facts, "program");
    record.rules = textIn(facts, "rules");
    record.trouble = textIn(facts, "trouble");
    record.writer = textIn(facts, "writer");
    record.digestKind = textIn(facts, "digestKind");
    record.digest = textIn(facts, "digest");
    record.container = textIn(document, "container");
    levelFromText(textIn(document, "level"), &record.level);
    record.verdict = verdictIn(document);
    const QJsonObject counts = document.value(QLatin1String("counts")).toObject();
    record.counts.error = int(std::min<qint64>(numberIn(counts, "error"), 0x7FFFFFFF));
    record.counts.warning = int(std::min<qint64>(numberIn(counts, "warning"), 0x7FFFFFFF));
    record.counts.note = int(std::min<qint64>(numberIn(counts, "note"), 0x7FFFFFFF));
    const QJsonArray streams = facts.value(QLatin1String("streams")).toArray();
    for (const QJsonValue &stream : streams)
        record.streams.append(streamIn(stream.toObject()));
    const QJsonArray findings = document.value(QLatin1String("findings")).toArray();
    for (const QJsonValue &finding : findings)
        record.findings.push_back(findingIn(finding.toObject()));
    return record;
}

} // namespace quenlofar

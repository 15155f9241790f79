#include "jsonmembers_p.h"

namespace quenlofar {

namespace {

template <size_t Size> void memberOrNull(JsonStream &json, const char (&name)[Size], qint64 number)
{
    if (number >= 0) {
        json.member(name, quint64(number));
    } else {
        json.key(name);
        json.null();
    }
}

/// Empty where no limit was reached.
QStringView limitName(RunLimit limit)
{
    switch (limit) {
    case RunLimit::Items:
        return u"items";
    case RunLimit::Depth:
        return u"depth";
    case RunLimit::Work:
        return u"work";
    case RunLimit::Time:
        return u"time";
    case RunLimit::Structure:
        return u"structure";
    case RunLimit::None:
        break;
    }
    return {};
}

/// Empty where there was no error.
QStringView errorName(FileError::Kind kind)
{
    switch (kind) {
    case FileError::Open:
        return u"open";
    case FileError::Read:
        return u"read";
    case FileError::Memory:
        return u"memory";
    case FileError::Parser:
        return u"parser";
    case FileError::None:
        break;
    }
    return {};
}

} // namespace

void printFile(JsonStream &json, const DocumentStart &start)
{
    json.member("file", start.file);
    memberOrNull(json, "fileSize", start.fileSize);
    json.key("container");
    if (start.container.isNull())
        json.null();
    else
        json.text(start.container);
    if (start.parserName.isNull())
        return;
    json.key("parser");
    json.beginObject();
    json.member("name", start.parserName);
    if (!start.parserVersion.isNull())
        json.member("version", start.parserVersion);
    json.endObject();
}

void printStart(JsonStream &json, const DocumentStart &start)
{
    json.member("formatVersion", quint64(1));
    printFile(json, start);
}

void printOutcome(JsonStream &json, const RunResult &result)
{
    json.key("status");
    json.signedNumber(result.status);
    if (!result.ownStatusText.isNull())
        json.member("statusText", result.ownStatusText);
    if (result.problems.total() > 0) {
        json.key("problemCounts");
        json.beginObject();
        json.member("errors", result.problems.errors);
        json.member("warnings", result.problems.warnings);
        json.member("notes", result.problems.notes);
        json.endObject();
    }
    if (const QStringView limit = limitName(result.limit); !limit.isEmpty())
        json.member("limit", limit);
    if (result.cancelled) {
        json.key("cancelled");
        json.boolean(true);
    }
    const QStringView error = errorName(result.error.kind);
    if (error.isEmpty())
        return;
    json.key("error");
    json.beginObject();
    json.member("kind", error);
    memberOrNull(json, "offset", result.error.offset);
    json.member("message", result.error.message);
    json.endObject();
}

} // namespace quenlofar

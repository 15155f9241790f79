#pragma once

#include "require.h"

#include <QByteArray>
#include <QString>

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

namespace quenlofar {

using JsonText = rapidjson::UTF16<char16_t>;
using JsonDocument = rapidjson::GenericDocument<JsonText>;
using JsonValue = JsonDocument::ValueType;

/// Reads one JSON document; without recursion, since nodes may be nested deeply.
inline void parseJson(const QByteArray &json, JsonDocument *document)
{
    constexpr unsigned flags =
        rapidjson::kParseIterativeFlag | rapidjson::kParseFullPrecisionFlag | rapidjson::kParseValidateEncodingFlag;
    document->Parse<flags, rapidjson::UTF8<>>(json.constData(), size_t(json.size()));
    if (document->HasParseError())
        std::fprintf(stderr, "at byte %zu: %s\n", document->GetErrorOffset(),
                     rapidjson::GetParseError_En(document->GetParseError()));
    require(!document->HasParseError() && document->IsObject(), "what the JSON writer prints parses again");
    require(json.endsWith('\n'), "a JSON document ends with a line feed");
}

/// The member `name`, which has to be there.
inline const JsonValue &jsonMember(const JsonValue &object, const char16_t *name)
{
    const auto found = object.FindMember(name);
    require(found != object.MemberEnd(), "a member of the JSON document is there");
    return found->value;
}

} // namespace quenlofar

#include "rule.h"

#include <iterator>

namespace quenlofar {

namespace {

// By the numbers of the enumerations.
constexpr QStringView levelTexts[] = {u"quick", u"default", u"deep"};
constexpr QStringView repairTexts[] = {u"none", u"patch", u"append", u"rewrite"};
constexpr QStringView confidenceTexts[] = {u"likely", u"certain"};

/// Finds the ordinal of `text` among `texts`.
template <typename Value, size_t Count> bool fromText(QStringView text, const QStringView (&texts)[Count], Value *value)
{
    for (size_t ordinal = 0; ordinal < Count; ++ordinal) {
        if (texts[ordinal] == text) {
            *value = Value(ordinal);
            return true;
        }
    }
    return false;
}

} // namespace

QString levelText(Level level)
{
    return levelTexts[size_t(level)].toString();
}

QString repairText(Repair repair)
{
    return repairTexts[size_t(repair)].toString();
}

QString confidenceText(Confidence confidence)
{
    return confidenceTexts[size_t(confidence)].toString();
}

bool severityFromText(QStringView text, Severity *severity)
{
    for (const Severity each : {Severity::Note, Severity::Warning, Severity::Error}) {
        if (severityName(each) == text) {
            *severity = each;
            return true;
        }
    }
    return false;
}

bool levelFromText(QStringView text, Level *level)
{
    return fromText(text, levelTexts, level);
}

} // namespace quenlofar

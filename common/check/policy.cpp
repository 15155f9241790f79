#include "policy.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <algorithm>
#include <cmath>

namespace quenlofar {

namespace {

/// Says in `*error` what is wrong; false, to be returned.
bool refuse(QString *error, const QString &what)
{
    *error = what;
    return false;
}

/// A key of `object` that is not among `known`; null where there is none. A misspelt key would decide nothing.
QString unknownKey(const QJsonObject &object, std::initializer_list<QStringView> known)
{
    for (const QString &key : object.keys()) {
        if (std::find(known.begin(), known.end(), QStringView(key)) == known.end())
            return key;
    }
    return {};
}

bool readDecision(const QJsonValue &value, PolicyDecision *decision, QString *error)
{
    if (!value.isObject())
        return refuse(error, QStringLiteral("an entry of \"rules\" is no object"));
    const QJsonObject object = value.toObject();
    decision->rule = object.value(QLatin1String("rule")).toString();
    if (decision->rule.isEmpty())
        return refuse(error, QStringLiteral("an entry of \"rules\" has no \"rule\""));
    const QString of = QStringLiteral("rule %1: ").arg(decision->rule);
    const QString unknown = unknownKey(object, {u"rule", u"severity", u"reason"});
    if (!unknown.isNull())
        return refuse(error, of + QStringLiteral("there is no key \"%1\"").arg(unknown));
    decision->reason = object.value(QLatin1String("reason")).toString();
    if (decision->reason.trimmed().isEmpty())
        return refuse(error, of + QStringLiteral("it needs a \"reason\""));
    const QString severity = object.value(QLatin1String("severity")).toString();
    Severity changed = Severity::Note;
    if (severityFromText(severity, &changed))
        decision->severity = changed;
    else if (severity != QLatin1String("off"))
        return refuse(error, of + QStringLiteral("\"severity\" has to be error, warning, note or off"));
    return true;
}

bool readNumber(const QJsonObject &object, QLatin1String key, double least, double most, double *number, QString *error)
{
    const QJsonValue value = object.value(key);
    if (value.isUndefined())
        return true;
    const double given = value.toDouble(std::nan(""));
    if (!(given >= least && given <= most))
        return refuse(
            error, QStringLiteral("threshold %1: it has to be a number from %2 to %3").arg(key).arg(least).arg(most));
    *number = given;
    return true;
}

bool readThresholds(const QJsonValue &value, CheckThresholds *thresholds, QString *error)
{
    if (value.isUndefined())
        return true;
    if (!value.isObject())
        return refuse(error, QStringLiteral("\"thresholds\" is no object"));
    constexpr double longest = 1e9; // seconds
    constexpr double largest = 9e15; // bytes that a number of JSON holds exactly
    const QJsonObject object = value.toObject();
    const QString unknown = unknownKey(
        object,
        {u"interleaveSeconds", u"interleaveBytes", u"interleaveBytesFrom", u"durationSeconds", u"durationShare"});
    if (!unknown.isNull())
        return refuse(error, QStringLiteral("there is no threshold \"%1\"").arg(unknown));
    double bytes = double(thresholds->interleaveBytes);
    if (!readNumber(object, QLatin1String("interleaveSeconds"), 0, longest, &thresholds->interleaveSeconds, error)
        || !readNumber(object, QLatin1String("interleaveBytes"), 0, largest, &bytes, error)
        || !readNumber(object, QLatin1String("interleaveBytesFrom"), 0, longest, &thresholds->interleaveBytesFrom,
                       error)
        || !readNumber(object, QLatin1String("durationSeconds"), 0, longest, &thresholds->durationSeconds, error)
        || !readNumber(object, QLatin1String("durationShare"), 0, 1, &thresholds->durationShare, error))
        return false;
    thresholds->interleaveBytes = quint64(bytes);
    return true;
}

} // namespace

std::optional<Policy> Policy::parse(const QByteArray &json, QString *error)
{
    QJsonParseError trouble;
    const QJsonDocument document = QJsonDocument::fromJson(json, &trouble);
    if (trouble.error != QJsonParseError::NoError) {
        *error = QStringLiteral("no JSON, at byte %1: %2").arg(trouble.offset).arg(trouble.errorString());
        return std::nullopt;
    }
    if (!document.isObject()) {
        *error = QStringLiteral("it is no object");
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    const QString unknown = unknownKey(object, {u"$schema", u"formatVersion", u"rules", u"thresholds"});
    if (!unknown.isNull()) {
        *error = QStringLiteral("there is no key \"%1\"").arg(unknown);
        return std::nullopt;
    }
    if (object.value(QLatin1String("formatVersion")).toInt(1) != 1) {
        *error = QStringLiteral("its \"formatVersion\" is not 1");
        return std::nullopt;
    }
    Policy policy;
    const QJsonValue rules = object.value(QLatin1String("rules"));
    if (!rules.isUndefined() && !rules.isArray()) {
        *error = QStringLiteral("\"rules\" is no array");
        return std::nullopt;
    }
    const QJsonArray decisions = rules.toArray();
    for (const QJsonValue value : decisions) {
        PolicyDecision decision;
        if (!readDecision(value, &decision, error))
            return std::nullopt;
        if (policy.decisionOn(decision.rule)) {
            *error = QStringLiteral("rule %1: there are two decisions about it").arg(decision.rule);
            return std::nullopt;
        }
        policy.m_decisions.push_back(decision);
    }
    if (!readThresholds(object.value(QLatin1String("thresholds")), &policy.m_thresholds, error))
        return std::nullopt;
    return policy;
}

const PolicyDecision *Policy::decisionOn(QStringView rule) const
{
    const auto found = std::find_if(m_decisions.begin(), m_decisions.end(),
                                    [rule](const PolicyDecision &each) { return each.rule == rule; });
    return found == m_decisions.end() ? nullptr : &*found;
}

QStringList Policy::rules() const
{
    QStringList names;
    for (const PolicyDecision &decision : m_decisions)
        names.append(decision.rule);
    return names;
}

} // namespace quenlofar

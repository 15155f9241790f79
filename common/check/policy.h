#pragma once

#include "containeranalyzer.h"
#include "rule.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace quenlofar {

/// A decision about one rule, and its reason.
struct PolicyDecision
{
    QString rule; ///< its name
    std::optional<Severity> severity; ///< that its findings have from now on; nothing: they do not count
    QString reason; ///< for people; never empty
};

/**
 * What an archive decided about rules: a JSON document, because that is what everything else reads
 * and writes here, and because a schema of it can be had. See docs/check.md and docs/check-policy.schema.json.
 *
 * Nothing is hidden by it: findings of a rule that is switched off are shown with the reason, and do not count.
 */
class Policy
{
public:
    /// One that changes nothing.
    Policy() = default;
    /// Reads `json`; nothing, and `*error` says why, where it is no policy. Names of rules are not looked up.
    static std::optional<Policy> parse(const QByteArray &json, QString *error);

    /// The decision about the rule of this name; null where there is none.
    const PolicyDecision *decisionOn(QStringView rule) const;
    /// The rules that it names.
    QStringList rules() const;
    /// Numbers for rules; those that it does not name are the usual ones.
    const CheckThresholds &thresholds() const { return m_thresholds; }

private:
    std::vector<PolicyDecision> m_decisions;
    CheckThresholds m_thresholds;
};

} // namespace quenlofar

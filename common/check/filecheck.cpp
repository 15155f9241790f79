#include "filecheck.h"

#include <algorithm>
#include <utility>

namespace quenlofar {

namespace {

void appendCount(QString *text, int count, const QString &one, const QString &many)
{
    if (count == 0)
        return;
    if (!text->isEmpty())
        *text += QStringLiteral(", ");
    *text += QStringLiteral("%1 %2").arg(count).arg(count == 1 ? one : many);
}

bool isChosen(const CheckSettings &settings, const QString &rule)
{
    return (settings.only.isEmpty() || settings.only.contains(rule)) && !settings.except.contains(rule);
}

/// What a policy and a baseline say of a finding.
JudgedFinding judged(Finding finding, const QString &file, const CheckSettings &settings)
{
    JudgedFinding result{std::move(finding), {}};
    // Compared as it was found: a policy may have changed in between.
    if (settings.baseline.knows(file, result))
        result.suppressed = QStringLiteral("baseline");
    if (const PolicyDecision *const decision = settings.policy.decisionOn(result.rule)) {
        if (!decision->severity) {
            result.suppressed = decision->reason;
        } else if (*decision->severity != result.severity) {
            result.severity = *decision->severity;
            result.severityReason = decision->reason;
        }
    }
    return result;
}

/// Leaves out findings of rules that are not asked for; what is below one moves up.
std::vector<JudgedFinding> chosen(std::vector<Finding> found, const QString &file, const CheckSettings &settings)
{
    std::vector<JudgedFinding> kept;
    std::vector<int> newIds(found.size() + 1, 0); // of the finding, or of what it hung below
    for (Finding &finding : found) {
        const int parent = newIds[size_t(finding.causedBy)];
        const auto id = size_t(finding.id);
        if (!isChosen(settings, finding.rule)) {
            newIds[id] = parent;
            continue;
        }
        finding.causedBy = parent;
        finding.id = int(kept.size()) + 1;
        newIds[id] = finding.id;
        kept.push_back(judged(std::move(finding), file, settings));
    }
    return kept;
}

FindingCounts countsOf(const std::vector<JudgedFinding> &findings)
{
    FindingCounts counts;
    for (const JudgedFinding &finding : findings) {
        int *const count = !finding.suppressed.isEmpty() ? &counts.suppressed
            : finding.severity == Severity::Error        ? &counts.error
            : finding.severity == Severity::Warning      ? &counts.warning
                                                         : &counts.note;
        ++*count;
    }
    return counts;
}

Verdict verdictOf(const FindingCounts &counts, bool sawAll)
{
    if (counts.error > 0)
        return Verdict::Damaged;
    if (!sawAll)
        return Verdict::Unknown;
    return counts.warning > 0 ? Verdict::Warnings : Verdict::Conforms;
}

std::vector<RuleOutcome> outcomesOf(const RuleList &rules, const std::vector<RuleState> &states,
                                    const CheckSettings &settings)
{
    std::vector<RuleOutcome> outcomes;
    for (int ordinal = 0; ordinal < rules.size(); ++ordinal) {
        RuleOutcome outcome{rules[ordinal].name.toString(), RuleState::NotApplicable};
        const PolicyDecision *const decision = settings.policy.decisionOn(outcome.rule);
        if (!isChosen(settings, outcome.rule) || (decision && !decision->severity))
            outcome.state = RuleState::SwitchedOff;
        else if (size_t(ordinal) < states.size())
            outcome.state = states[size_t(ordinal)];
        outcomes.push_back(outcome);
    }
    return outcomes;
}

} // namespace

QString verdictText(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Conforms:
        return QStringLiteral("conforms");
    case Verdict::Warnings:
        return QStringLiteral("warnings");
    case Verdict::Damaged:
        return QStringLiteral("damaged");
    case Verdict::Unknown:
        break;
    }
    return QStringLiteral("unknown");
}

QString countsText(const FindingCounts &counts)
{
    QString text;
    appendCount(&text, counts.error, QStringLiteral("error"), QStringLiteral("errors"));
    appendCount(&text, counts.warning, QStringLiteral("warning"), QStringLiteral("warnings"));
    appendCount(&text, counts.note, QStringLiteral("note"), QStringLiteral("notes"));
    appendCount(&text, counts.suppressed, QStringLiteral("suppressed"), QStringLiteral("suppressed"));
    return text;
}

int FileCheck::ruleCount(RuleState state) const
{
    return int(std::count_if(rules.begin(), rules.end(),
                             [state](const RuleOutcome &outcome) { return outcome.state == state; }));
}

bool FileCheck::hasFinding(Severity severity) const
{
    return counts.error > 0 || (severity <= Severity::Warning && counts.warning > 0)
        || (severity == Severity::Note && counts.note > 0);
}

std::vector<const JudgedFinding *> FileCheck::causes(Severity least) const
{
    // Each finding stands behind its cause, so the worst of what is below is known when going backwards.
    std::vector<int> worst(findings.size(), -1);
    for (size_t i = findings.size(); i-- > 0;) {
        const JudgedFinding &finding = findings[i];
        if (finding.suppressed.isEmpty())
            worst[i] = std::max(worst[i], int(finding.severity));
        if (finding.causedBy > 0) {
            int &above = worst[size_t(finding.causedBy) - 1];
            above = std::max(above, worst[i]);
        }
    }
    std::vector<const JudgedFinding *> tops;
    for (const JudgedFinding &finding : findings) {
        if (finding.causedBy == 0 && worst[size_t(finding.id) - 1] >= int(least))
            tops.push_back(&finding);
    }
    std::stable_sort(tops.begin(), tops.end(), [&worst](const JudgedFinding *a, const JudgedFinding *b) {
        return worst[size_t(a->id) - 1] > worst[size_t(b->id) - 1];
    });
    return tops;
}

FileCheck judge(FileAnalysis &analysis, const CheckSettings &settings)
{
    FileCheck check;
    check.start = analysis.start();
    check.level = settings.level;
    if (ContainerAnalyzer *const analyzer = analysis.analyzer()) {
        CheckOptions options;
        options.level = settings.level;
        options.thresholds = settings.policy.thresholds();
        Findings findings;
        const bool sawAll = analysis.check(options, findings) && analysis.result().isClean();
        check.rules = outcomesOf(analyzer->rules(), findings.ruleStates(), settings);
        check.notChecked = findings.notChecked();
        check.findings = chosen(findings.takeList(), check.start.file, settings);
        check.counts = countsOf(check.findings);
        check.verdict = verdictOf(check.counts, sawAll);
    } else if (!check.start.container.isNull()) {
        check.notChecked.append(QStringLiteral("no rules for this container"));
    }
    check.result = analysis.result();
    return check;
}

} // namespace quenlofar

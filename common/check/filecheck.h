#pragma once

#include "baseline.h"
#include "fileanalysis.h"
#include "finding.h"
#include "policy.h"
#include "runresult.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace quenlofar {

/// What is to be said of a file in one word.
enum class Verdict : quint8 {
    Conforms, ///< there is no finding above a note
    Warnings,
    Damaged, ///< some finding is an error, at whatever depth
    Unknown, ///< nobody could judge it, or not all of it, and what was seen is not damaged
};

/// "conforms", "warnings", "damaged" or "unknown".
QString verdictText(Verdict verdict);

/// Findings that count, by severity, at whatever depth; and those that do not.
struct FindingCounts
{
    int error = 0;
    int warning = 0;
    int note = 0;
    int suppressed = 0;

    /// Findings of this severity that count.
    int of(Severity severity) const
    {
        return severity == Severity::Error ? error : severity == Severity::Warning ? warning : note;
    }
};

/// "2 errors, 1 warning"; with what does not count, "1 note, 3 suppressed"; null for nothing at all.
QString countsText(const FindingCounts &counts);

/// A finding with what a policy has made of it.
struct JudgedFinding : Finding
{
    QString severityReason; ///< why a policy has changed its severity; empty where it has not
};

/// What became of a rule, see RuleState.
struct RuleOutcome
{
    QString rule; ///< its name
    RuleState state = RuleState::NotApplicable;
};

/// What is asked for.
struct CheckSettings
{
    Level level = Level::Default;
    QStringList only; ///< names of rules; empty: all
    QStringList except; ///< names of rules
    Policy policy;
    Baseline baseline;
};

/// The judgement on one file. Its texts are copies: the plug-in may go.
struct FileCheck
{
    DocumentStart start; ///< null container where nothing has accepted the file
    RunResult result; ///< how reading went
    Level level = Level::Default;
    Verdict verdict = Verdict::Unknown;
    FindingCounts counts;
    std::vector<RuleOutcome> rules; ///< all of the container's; empty where it has none
    std::vector<JudgedFinding> findings; ///< causes before what they cause; ids are places in the list, from 1
    QStringList notChecked; ///< what was not looked at, and why

    /// Rules of this state.
    int ruleCount(RuleState state) const;
    /// Whether some finding that counts is as severe as `severity`.
    bool hasFinding(Severity severity) const;
    /// The findings that nothing else explains and that count, the worst first: of the worst findings below each.
    std::vector<const JudgedFinding *> causes(Severity least) const;
};

/**
 * Has what `analysis` has read judged. Decisions, filters and what is known come after causes, so they change none:
 * where a finding is left out, those below it move up. Paths are not looked up, see lookUpPaths. Without an analyzer
 * the verdict is unknown, and notChecked says why.
 */
FileCheck judge(FileAnalysis &analysis, const CheckSettings &settings);

} // namespace quenlofar

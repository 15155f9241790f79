#pragma once

#include "wavelayout.h"

#include "finding.h"

/// A rule of the table of WAVE rules.
struct WaveRule
{
    quenlofar::Rule rule;
    /// Whether the file has what the rule is held against; null for every file.
    bool (*applies)(const WaveLayout &file);
    /// Adds what breaks the rule, and nothing where all is well.
    void (*check)(const WaveLayout &file, quenlofar::Findings &findings);
};

/// All rules, in the order in which they are evaluated: causes before what they explain.
quenlofar::RuleList waveRules();
/// The row of a rule by its ordinal in waveRules().
const WaveRule &waveRule(int ordinal);
/// Which finding explains which.
quenlofar::CauseRows waveCauses();

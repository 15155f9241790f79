#pragma once

#include "avilayout.h"
#include "containeranalyzer.h"
#include "finding.h"
#include "rule.h"

#include <atomic>

namespace quenlofar {

class FileDevice;
class PayloadPass;

/// What a rule sees: the layout, the bytes, and what it is asked for. Nothing else.
struct AviContext
{
    const AviLayout &file;
    FileDevice &bytes; ///< the file; only deep rules read payload from it, others what an index entry says
    const CheckOptions &options; ///< level and thresholds
    const std::atomic<bool> *cancel = nullptr; ///< may be null
    PayloadPass *payload = nullptr; ///< reads all payload once, for the rules of rules_payload.cpp

    /// A rule that goes over packets or payload looks at this every few thousand, and returns when it is true.
    bool isCancelled() const { return cancel && cancel->load(std::memory_order_relaxed); }
};

/// In which order rules are evaluated: what is found at an earlier stage may explain what is found later.
enum class AviStage : quint8 {
    Structure, ///< lists, sizes, what stands where
    Headers, ///< numbers of headers
    Comparisons, ///< numbers of headers against others, which the stage before has judged
    Chunks, ///< data chunks
    Index, ///< entries against chunks
    Counts, ///< counts, lengths, durations, sizes of chunks
    Payload,
};

/// A rule of the table of AVI rules.
struct AviRule
{
    Rule rule;
    AviStage stage;
    /// Whether the file has what the rule is held against; null for every file. Findings are never added here.
    bool (*applies)(const AviContext &file);
    /// Adds what breaks the rule; nothing where all is well. See Findings::add.
    void (*check)(const AviContext &file, Findings &findings);
};

/// The rows of one group's table.
class AviRules
{
public:
    /// All rows of a table.
    template <size_t Count> constexpr AviRules(const AviRule (&rows)[Count]) : m_begin(rows), m_end(rows + Count) { }
    constexpr const AviRule *begin() const { return m_begin; }
    constexpr const AviRule *end() const { return m_end; }

private:
    const AviRule *m_begin;
    const AviRule *m_end;
};

// One group per file: rules_structure.cpp and so on, a table each.
AviRules structureRules();
AviRules structureListRules();
AviRules structureExtentRules();
AviRules mainHeaderRules();
AviRules streamRules();
AviRules formatRules();
AviRules legacyIndexRules(); // rules_index.cpp
AviRules openDmlRules();
AviRules chunkRules();
AviRules payloadRules();

/// The table of causes, in causes.cpp.
CauseRows aviCauses();

/// The rules of all groups, in the order of the groups: what AviAnalyzer::rules lists.
RuleList aviRules();
/// The row of a rule by its ordinal in aviRules().
const AviRule &aviRule(int ordinal);

} // namespace quenlofar

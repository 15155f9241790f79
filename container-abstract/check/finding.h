#pragma once

#include "byterange.h"
#include "containerabstract_export.h"
#include "rule.h"

#include <QString>
#include <QStringList>

#include <array>
#include <initializer_list>
#include <memory>
#include <vector>

namespace quenlofar {

/// What has to stand in a field for a finding to go away: as many bytes as stand there.
struct Mend
{
    quint64 offset = 0; ///< of the first byte, in the file
    quint64 bytes = 0; ///< what has to stand there; the first byte in the lowest eight bits
    quint64 mask = ~quint64(0); ///< the bits that change; the others stay as they are
    quint8 width = 0; ///< bytes, 1 to 8
};

/// A breach of a rule. Findings of one rule, one stream and one cause are one finding with a count.
struct Finding
{
    /// Places that are kept of a finding with a count.
    static constexpr size_t mostPlaces = 3;
    /// Mends that are kept of a finding with a count. The others are found again once these are done.
    static constexpr size_t mostMends = 65536;

    int id = 0; ///< from 1, in the order of the list
    QString rule; ///< its name
    Severity severity = Severity::Error; ///< the worst of what was counted
    Confidence confidence = Confidence::Certain; ///< the least of what was counted
    Repair repair = Repair::None; ///< what it takes to mend it
    int stream = -1; ///< among all streams, from 0; -1 where it is about the whole file
    int causedBy = 0; ///< the id of the finding that explains it, smaller than its own; 0 at the top
    quint64 count = 0; ///< how often it was found
    /// The first places, at least one and at most mostPlaces, as they were found. The place of a claim is the field
    /// that makes it; of something missing the header of the list that lacks it. Inside the file; sizes may be 0.
    std::vector<ByteRange> places;
    std::vector<Mend> mends; ///< what would mend it, at most mostMends; empty where the rule alone cannot say
    QString expected; ///< at the first place
    QString actual; ///< at the first place; differs from `expected`
    QString message; ///< a sentence for people, with a full stop
    QString path; ///< of the first place's element in the tree; empty until it is looked up
    QString suppressed; ///< why it does not count, as a policy or a baseline says; empty where it counts
};

/// What became of a rule.
enum class RuleState : quint8 {
    NotApplicable, ///< the file has nothing that it could be held against, or it belongs to a deeper level
    Passed,
    Failed, ///< it has findings
    SwitchedOff, ///< by an option or a policy
};

/// Something found, before it is known whether it is a finding of its own or counted with another.
struct Occurrence
{
    ByteRange place; ///< see Finding::places; clipped to the file
    int stream = -1; ///< see Finding::stream
    /// What of the file it is about, where that is not `place`: what an entry points at, the bytes that are missing.
    /// Causes are found by it. The end may lie behind that of the file. Empty for a matter of the whole stream.
    ByteRange about;
};

class Findings;

/**
 * Says more about what was just added to Findings. Where that is counted with an earlier finding most of it is passed
 * over, so making a text for it can be saved: see isNew(). Valid until the next call of the Findings.
 */
class CONTAINERABSTRACT_EXPORT FindingDraft
{
public:
    /// This is the first one of its rule, stream and cause.
    bool isNew() const { return m_isNew; }

    /// Instead of the rule's highest severity. Has to be one of the rule's; of several the worst counts.
    FindingDraft &severity(Severity severity);
    /// Instead of Certain; of several the least counts.
    FindingDraft &confidence(Confidence confidence);
    /// Instead of the rule's.
    FindingDraft &repair(Repair repair);
    /// What the rule asks for here; the first one counts.
    FindingDraft &expected(const QString &text);
    /// What stands here; the first one counts.
    FindingDraft &actual(const QString &text);
    /// Takes a number, shown in decimal.
    FindingDraft &expected(qint64 number);
    FindingDraft &expected(quint64 number); ///< Shown in decimal.
    FindingDraft &expected(int number) { return expected(qint64(number)); } ///< Shown in decimal.
    FindingDraft &expected(quint32 number) { return expected(quint64(number)); } ///< Shown in decimal.
    FindingDraft &actual(qint64 number); ///< Shown in decimal.
    FindingDraft &actual(quint64 number); ///< Shown in decimal.
    FindingDraft &actual(int number) { return actual(qint64(number)); } ///< Shown in decimal.
    FindingDraft &actual(quint32 number) { return actual(quint64(number)); } ///< Shown in decimal.
    /// A sentence for people; the first one counts. "%1" is the number of what is counted, once that is known.
    FindingDraft &message(const QString &text);
    /// What was just added goes away when `bytes`, the first one lowest, stand at `place`, of 1 to 8 bytes; of these
    /// only the bits of `mask` change. Nothing happens where `place` does not have `width` bytes.
    FindingDraft &mend(const ByteRange &place, quint8 width, quint64 bytes, quint64 mask = ~quint64(0));
    /// There are `more` of it than this one; `places` are those of the first of them, as far as there is room.
    FindingDraft &andMore(quint64 more, std::initializer_list<ByteRange> places = {});
    /// It explains what other findings are about within `range` too: the bytes that moved with it.
    FindingDraft &explains(const ByteRange &range);
    /// It explains findings of every stream, although it has a stream of its own.
    FindingDraft &explainsAllStreams();

private:
    friend class Findings;
    FindingDraft(Findings &findings, size_t ordinal, bool isNew)
        : m_findings(&findings), m_ordinal(ordinal), m_isNew(isNew)
    {
    }

    Findings *m_findings;
    size_t m_ordinal;
    bool m_isNew;
};

/**
 * Takes what rules find, finds its cause among what was found before, and counts the same with the same.
 *
 * The cause of a finding is the first earlier finding of which a row of the table of causes says that it explains it,
 * so there is one cause at most and never a circle; causes stand before what they cause. Adding costs no text where it
 * is counted with an earlier one. Throws std::bad_alloc where there is no memory.
 */
class CONTAINERABSTRACT_EXPORT Findings
{
public:
    Findings();
    ~Findings();
    Findings(const Findings &) = delete;
    Findings &operator=(const Findings &) = delete;

    // For analyzers

    /// Empty again; from now on for a file of `fileSize` bytes, judged by `rules` and `causes`, which outlive it.
    void begin(const RuleList &rules, const CauseRows &causes, quint64 fileSize);
    /// What is added from now on belongs to the rule number `ordinal`, which has run.
    void beginRule(int ordinal);
    /// Adds a breach of the current rule.
    FindingDraft add(const Occurrence &occurrence);
    /// Adds a breach of the current rule in `stream`, or in none.
    FindingDraft add(const ByteRange &place, int stream = -1) { return add(Occurrence{place, stream, {}}); }
    /// Whether a finding of this rule is there, in `stream` or, for -1, anywhere.
    bool has(QStringView rule, int stream = -1) const;
    /// Something that was not looked at, and why: "payload of XVID not checked at this level". Told once.
    void notChecked(const QString &what);

    // Texts are copies, which survive the analyzer

    /// In the order of ids; causes before what they cause. Made anew by each call: valid until the next one.
    const std::vector<Finding> &list() const;
    /// All findings, to look up paths, or to filter.
    std::vector<Finding> takeList();
    /// What became of each rule, by ordinal.
    const std::vector<RuleState> &ruleStates() const;
    /// What was not looked at.
    QStringList notChecked() const;

private:
    friend class FindingDraft;
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace quenlofar

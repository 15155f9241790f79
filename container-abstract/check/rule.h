#pragma once

#include "containerabstract_export.h"
#include "severity.h"

#include <QString>
#include <QStringView>

#include <cstddef>
#include <initializer_list>

namespace quenlofar {

/// How much is read to judge; a level includes those before it.
enum class Level : quint8 {
    Quick, ///< headers and sizes, the index against itself, a sample of entries
    Default, ///< every chunk header and every index entry, no payload
    Deep, ///< payload too
};

/// What it takes to mend what was found.
enum class Repair : quint8 {
    None, ///< nothing helps, or nothing has to
    Patch, ///< a change of the same length
    Append, ///< bytes added at the end or in reserved room
    Rewrite, ///< a new file with moved bytes
};

/// How sure a finding is.
enum class Confidence : quint8 {
    Likely, ///< another reading of the same bytes is possible
    Certain,
};

/// "quick", "default" or "deep".
CONTAINERABSTRACT_EXPORT QString levelText(Level level);
/// "none", "patch", "append" or "rewrite".
CONTAINERABSTRACT_EXPORT QString repairText(Repair repair);
/// "likely" or "certain".
CONTAINERABSTRACT_EXPORT QString confidenceText(Confidence confidence);
/// The severity of this text; false, and `*severity` as it was, for any other text.
CONTAINERABSTRACT_EXPORT bool severityFromText(QStringView text, Severity *severity);
/// The level of this text; false, and `*level` as it was, for any other text.
CONTAINERABSTRACT_EXPORT bool levelFromText(QStringView text, Level *level);

/// The severities that a rule's findings may have.
class Severities
{
public:
    /// One of them, for a rule that knows one only.
    constexpr Severities(Severity severity) : m_bits(bit(severity)) { }
    /// One or more.
    constexpr Severities(std::initializer_list<Severity> severities)
    {
        for (const Severity severity : severities)
            m_bits = quint8(m_bits | bit(severity));
    }

    /// Whether it is one of them.
    constexpr bool contains(Severity severity) const { return (m_bits & bit(severity)) != 0; }
    /// The worst of them.
    constexpr Severity highest() const
    {
        return contains(Severity::Error)  ? Severity::Error
            : contains(Severity::Warning) ? Severity::Warning
                                          : Severity::Note;
    }

private:
    static constexpr quint8 bit(Severity severity) { return quint8(1U << quint8(severity)); }

    quint8 m_bits = 0;
};

/**
 * What a file is held against: one row of a table of rules. The texts are literals in the memory of whoever has the
 * table, as a rule a plug-in: they are lent until it is unloaded.
 */
struct Rule
{
    QStringView name; ///< "stream-count": stable; scripts and policies use it, so no other rule ever gets it
    Severities severities; ///< of its findings
    Level level; ///< the first at which it is looked at
    Repair repair; ///< of its findings, where they do not say otherwise
    QStringView title; ///< what has to hold, in a short sentence without a full stop
    QStringView reason; ///< what is wrong where it does not hold, and why that matters
    QStringView affected; ///< who notices: which readers, which uses
    QStringView advice; ///< what to do
    QStringView source; ///< the document, by its title, or "practice"
};

/// The rows of a table of rules, or of several; a rule is named by its ordinal among them. Not copied: see Rule.
class RuleList
{
public:
    RuleList() = default;
    /// The `count` rules that `rules` points at.
    RuleList(const Rule *const *rules, int count) : m_rules(rules), m_count(count) { }

    /// Rules.
    int size() const { return m_count; }
    /// The rule number `ordinal`, from 0; there has to be one.
    const Rule &operator[](int ordinal) const { return *m_rules[ordinal]; }
    /// The ordinal of the rule of this name; -1 where there is none.
    int find(QStringView name) const
    {
        for (int ordinal = 0; ordinal < m_count; ++ordinal) {
            if (m_rules[ordinal]->name == name)
                return ordinal;
        }
        return -1;
    }

private:
    const Rule *const *m_rules = nullptr;
    int m_count = 0;
};

/// Where the cause of a finding has to be for a row of the table of causes to hold.
enum class CauseScope : quint8 {
    File, ///< anywhere
    Stream, ///< in the same stream
    Concerned, ///< its ranges hold what the finding is about; where that is no range, its streams hold the finding's
};

/// Names of rules, as a table has them. Not copied: the array is a constant.
class RuleNames
{
public:
    constexpr RuleNames() = default;
    /// All names of a table.
    template <size_t Count> constexpr RuleNames(const QStringView (&names)[Count])
        : m_begin(names), m_end(names + Count)
    {
    }
    /// The first name.
    constexpr const QStringView *begin() const { return m_begin; }
    /// Behind the last name.
    constexpr const QStringView *end() const { return m_end; }

private:
    const QStringView *m_begin = nullptr;
    const QStringView *m_end = nullptr;
};

/// A row of the table of causes: had a finding of one of `causes` not been there, one of `effects` would not either.
struct CauseRow
{
    RuleNames causes; ///< explain
    RuleNames effects; ///< are explained
    CauseScope scope; ///< where the cause has to be
};

/// The rows of a table of causes. Not copied: the array is a constant.
class CauseRows
{
public:
    constexpr CauseRows() = default;
    /// All rows of a table.
    template <size_t Count> constexpr CauseRows(const CauseRow (&rows)[Count]) : m_begin(rows), m_end(rows + Count) { }
    /// The first row.
    constexpr const CauseRow *begin() const { return m_begin; }
    /// Behind the last row.
    constexpr const CauseRow *end() const { return m_end; }

private:
    const CauseRow *m_begin = nullptr;
    const CauseRow *m_end = nullptr;
};

} // namespace quenlofar

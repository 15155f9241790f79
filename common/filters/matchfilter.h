#pragma once

#include "storeditem.h"
#include "treefilter.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>
#include <variant>
#include <vector>

namespace quenlofar {

/// A condition on leaves, such as "dwRate>=25" or "fccType=vid*".
class FieldCondition
{
public:
    /// An integer as such: not all 64-bit ones are a double.
    using Number = std::variant<quint64, qint64, double>;

    /// Nothing when `text` is no condition.
    static std::optional<FieldCondition> parse(const QString &text);

    bool holds(const Field &field) const;

private:
    enum class Comparison { Equal, NotEqual, Less, LessOrEqual, Greater, GreaterOrEqual };

    bool isEqual(const Field &field) const;

    QByteArray m_name; // with wildcards
    Comparison m_comparison = Comparison::Equal;
    QByteArray m_value; // with wildcards
    std::optional<Number> m_number; // the value, if it is one
};

/**
 * Lets through what was asked for, and the nodes it stands in: items whose title or name matches one of the patterns,
 * with everything inside; of leaves only those for which every condition holds. Without patterns all items count as
 * matching.
 */
class MatchFilter : public TreeFilter
{
public:
    MatchFilter(TreeWriter &next, const QStringList &patterns, const std::vector<FieldCondition> &conditions);

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool setElementSize(quint64 size) override { return !m_pending.empty() || m_next.setElementSize(size); }
    bool reportProblem(const ReportedProblem &problem) override
    {
        return !m_pending.empty() || m_next.reportProblem(problem);
    }
    void setNotes(const ItemNotes &notes) override { m_notes = notes; }

private:
    bool matches(QStringView name) const;
    bool showPending();

    std::vector<QByteArray> m_patterns;
    std::vector<FieldCondition> m_conditions;
    ItemNotes m_notes;
    std::vector<StoredItem> m_pending; // the innermost open nodes, as long as nothing in them was let through
    quint64 m_depth = 0; // open nodes
    quint64 m_hitDepth = 0; // of the node that matches and holds the current place; 0 for none
};

} // namespace quenlofar

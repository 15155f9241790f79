#pragma once

#include "fieldcondition.h"
#include "storeditem.h"
#include "treefilter.h"

#include <QStringList>

#include <vector>

namespace quenlofar {

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
    bool showPending();

    const ItemConditions m_conditions;
    ItemNotes m_notes;
    std::vector<StoredItem> m_pending; // the innermost open nodes, as long as nothing in them was let through
    quint64 m_depth = 0; // open nodes
    quint64 m_hitDepth = 0; // of the node that matches and holds the current place; 0 for none
};

} // namespace quenlofar

#include "matchfilter.h"

namespace quenlofar {

MatchFilter::MatchFilter(TreeWriter &next, const QStringList &patterns, const std::vector<FieldCondition> &conditions)
    : TreeFilter(next), m_conditions(patterns, conditions)
{
}

bool MatchFilter::beginDocument(const DocumentStart &start)
{
    m_pending.clear();
    m_depth = 0;
    m_hitDepth = 0;
    return m_next.beginDocument(start);
}

bool MatchFilter::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    ++m_depth;
    if (m_hitDepth == 0 && m_conditions.matchesName(title))
        m_hitDepth = m_depth;
    m_pending.emplace_back(offset, size, title, index, m_notes);
    // With conditions only a leaf can bring its nodes in.
    return m_hitDepth == 0 || m_conditions.areOnLeaves() || showPending();
}

bool MatchFilter::addField(const Field &field)
{
    const bool isShown =
        (m_hitDepth > 0 || m_conditions.matchesName(nameForConditions(field.name))) && m_conditions.hold(field);
    if (!isShown)
        return true;
    const ItemNotes notes = m_notes;
    const bool works = showPending();
    m_next.setNotes(notes);
    return m_next.addField(field) && works;
}

bool MatchFilter::endElement()
{
    if (m_hitDepth == m_depth)
        m_hitDepth = 0;
    --m_depth;
    if (m_pending.empty())
        return m_next.endElement();
    m_pending.pop_back();
    return true;
}

bool MatchFilter::showPending()
{
    bool works = true;
    for (const StoredItem &node : m_pending)
        works = node.writeTo(m_next) && works;
    m_pending.clear();
    return works;
}

} // namespace quenlofar

#include "filteredtree.h"

namespace quenlofar {

FilteredTree::FilteredTree(std::unique_ptr<TreeWriter> writer)
{
    m_stages.push_back(std::move(writer));
}

/// Hands a call to the outermost filter.
template <typename Call> bool FilteredTree::pass(Call call)
{
    m_isInCall = true;
    const bool isTaken = call(*m_stages.back());
    m_isInCall = false;
    return isTaken;
}

bool FilteredTree::beginDocument(const DocumentStart &start)
{
    return pass([&](TreeWriter &first) { return first.beginDocument(start); });
}

bool FilteredTree::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    return pass([&](TreeWriter &first) { return first.beginElement(offset, size, title, index); });
}

bool FilteredTree::addField(const Field &field)
{
    return pass([&](TreeWriter &first) { return first.addField(field); });
}

bool FilteredTree::endElement()
{
    return pass([](TreeWriter &first) { return first.endElement(); });
}

bool FilteredTree::reportFrame(const Frame &frame)
{
    return pass([&](TreeWriter &first) { return first.reportFrame(frame); });
}

bool FilteredTree::endDocument(const RunResult &result)
{
    if (m_isInCall)
        return m_stages.front()->endDocument(result);
    return pass([&](TreeWriter &first) { return first.endDocument(result); });
}

bool FilteredTree::setElementSize(quint64 size)
{
    return pass([&](TreeWriter &first) { return first.setElementSize(size); });
}

bool FilteredTree::reportProblem(const ReportedProblem &problem)
{
    return pass([&](TreeWriter &first) { return first.reportProblem(problem); });
}

QString FilteredTree::errorText() const
{
    return m_stages.front()->errorText();
}

} // namespace quenlofar

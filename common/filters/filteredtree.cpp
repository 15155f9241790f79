#include "filteredtree.h"

#include <new>

FilteredTree::FilteredTree(std::unique_ptr<TreeWriter> writer)
{
    auto counter = std::make_unique<NodeCounter>(*writer);
    m_counter = counter.get();
    m_stages.push_back(std::move(writer));
    m_stages.push_back(std::move(counter));
}

/// Hands a call to the outermost filter; false as well when memory has ended.
template <typename Call> bool FilteredTree::pass(Call call)
{
    if (m_memoryEnded)
        return false;
    try {
        return call(*m_stages.back());
    } catch (const std::bad_alloc &) {
        m_memoryEnded = true;
        return false;
    }
}

/// Once memory has ended: ends in the writer what is not open any more.
bool FilteredTree::endWhatIsClosed()
{
    while (m_counter->openNodes() > m_openNodes)
        m_counter->endElement();
    return false;
}

bool FilteredTree::beginDocument(const DocumentStart &start)
{
    m_memoryEnded = false;
    const bool isTaken = pass([&](TreeWriter &first) { return first.beginDocument(start); });
    return m_memoryEnded ? m_counter->beginDocument(start) && false : isTaken;
}

bool FilteredTree::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    ++m_openNodes;
    return pass([&](TreeWriter &first) { return first.beginElement(offset, size, title, index); });
}

bool FilteredTree::addField(const Field &field)
{
    return pass([&](TreeWriter &first) { return first.addField(field); });
}

bool FilteredTree::endElement()
{
    --m_openNodes;
    const bool isTaken = pass([](TreeWriter &first) { return first.endElement(); });
    return m_memoryEnded ? endWhatIsClosed() : isTaken;
}

bool FilteredTree::reportFrame(const Frame &frame)
{
    return pass([&](TreeWriter &first) { return first.reportFrame(frame); });
}

bool FilteredTree::endDocument(const RunResult &result)
{
    const bool isTaken = pass([&](TreeWriter &first) { return first.endDocument(result); });
    if (!m_memoryEnded)
        return isTaken;
    endWhatIsClosed();
    return m_counter->endDocument(result) && false;
}

QString FilteredTree::errorText() const
{
    return m_memoryEnded ? QStringLiteral("not enough memory for what is to be shown of the tree")
                         : m_stages.front()->errorText();
}

#pragma once

#include "treefilter.h"

#include <memory>
#include <utility>
#include <vector>

/// Counts the nodes that are open behind it.
class NodeCounter : public TreeFilter
{
public:
    using TreeFilter::TreeFilter;

    quint64 openNodes() const { return m_openNodes; }

    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        ++m_openNodes;
        return m_next.beginElement(offset, size, title, index);
    }
    bool endElement() override
    {
        --m_openNodes;
        return m_next.endElement();
    }

private:
    quint64 m_openNodes = 0;
};

/**
 * A writer with filters in front of it, as one sink. Filters keep things, and may throw std::bad_alloc from every call
 * before they hand that call on; nothing more is then asked of them. The nodes that have reached the writer are ended,
 * and errorText says what happened.
 */
class FilteredTree : public ElementSink
{
public:
    explicit FilteredTree(std::unique_ptr<TreeWriter> writer);

    /// Puts a filter in front of those that are there.
    template <typename Filter, typename... Arguments> void add(Arguments &&...arguments)
    {
        m_stages.push_back(std::make_unique<Filter>(*m_stages.back(), std::forward<Arguments>(arguments)...));
    }

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool reportFrame(const Frame &frame) override;
    bool endDocument(const RunResult &result) override;
    QString errorText() const override;

private:
    template <typename Call> bool pass(Call call);
    bool endWhatIsClosed();

    std::vector<std::unique_ptr<TreeWriter>> m_stages; // the writer first
    NodeCounter *m_counter; // in front of the writer
    quint64 m_openNodes = 0; // as the walk sees it: those in the writer are the outer ones of them
    bool m_memoryEnded = false;
};

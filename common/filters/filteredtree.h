#pragma once

#include "treefilter.h"

#include <memory>
#include <utility>
#include <vector>

namespace quenlofar {

/**
 * A writer with filters in front of it, as one sink. Filters keep things and may throw from every call, before or after
 * they hand it on: the document is then ended by the writer alone, which ends the nodes that have reached it.
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
    bool setElementSize(quint64 size) override;
    bool reportProblem(const ReportedProblem &problem) override;
    QString errorText() const override;

private:
    template <typename Call> bool pass(Call call);

    std::vector<std::unique_ptr<TreeWriter>> m_stages; // the writer first
    bool m_isInCall = false; // of a filter's, or one that it threw from
};

} // namespace quenlofar

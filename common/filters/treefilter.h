#pragma once

#include "treewriter.h"

#include <QString>

namespace quenlofar {

/// What stands between a walk and the writer of a tree: hands everything on as it is. One that keeps things may throw
/// std::bad_alloc; it hands beginDocument on before it may, so that there always is a document. See FilteredTree.
class TreeFilter : public TreeWriter
{
public:
    /// `next` outlives the filter.
    explicit TreeFilter(TreeWriter &next) : m_next(next) { }

    bool beginDocument(const DocumentStart &start) override { return m_next.beginDocument(start); }
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        return m_next.beginElement(offset, size, title, index);
    }
    bool addField(const Field &field) override { return m_next.addField(field); }
    bool endElement() override { return m_next.endElement(); }
    bool reportFrame(const Frame &frame) override { return m_next.reportFrame(frame); }
    bool endDocument(const RunResult &result) override { return m_next.endDocument(result); }
    bool setElementSize(quint64 size) override { return m_next.setElementSize(size); }
    bool reportProblem(const ReportedProblem &problem) override { return m_next.reportProblem(problem); }
    QString errorText() const override { return m_next.errorText(); }
    void setNotes(const ItemNotes &notes) override { m_next.setNotes(notes); }
    bool addOmission(quint64 count) override { return m_next.addOmission(count); }

protected:
    TreeWriter &m_next;
};

/// Leaves out what stands deeper than `levels` items.
class DepthFilter : public TreeFilter
{
public:
    DepthFilter(TreeWriter &next, quint64 levels) : TreeFilter(next), m_levels(levels) { }

    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        return m_depth++ >= m_levels || m_next.beginElement(offset, size, title, index);
    }
    bool addField(const Field &field) override { return m_depth >= m_levels || m_next.addField(field); }
    bool endElement() override { return --m_depth >= m_levels || m_next.endElement(); }
    bool setElementSize(quint64 size) override { return m_depth > m_levels || m_next.setElementSize(size); }
    bool reportProblem(const ReportedProblem &problem) override
    {
        return m_depth > m_levels || m_next.reportProblem(problem);
    }

private:
    const quint64 m_levels;
    quint64 m_depth = 0; // open nodes
};

} // namespace quenlofar

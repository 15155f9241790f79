#include "findingpaths.h"

#include <algorithm>

namespace quenlofar {

PlacePaths::PlacePaths(std::vector<ByteRange> places) : m_paths(places.size()), m_undecided(places.size())
{
    for (size_t ordinal = 0; ordinal < places.size(); ++ordinal)
        m_sought.push_back({places[ordinal], ordinal});
    std::sort(m_sought.begin(), m_sought.end(),
              [](const Sought &a, const Sought &b) { return a.place.offset < b.place.offset; });
}

PlacePaths::~PlacePaths() = default;

size_t PlacePaths::firstFrom(quint64 offset) const
{
    return size_t(std::lower_bound(m_sought.begin(), m_sought.end(), offset,
                                   [](const Sought &each, quint64 begin) { return each.place.offset < begin; })
                  - m_sought.begin());
}

bool PlacePaths::beginElement(quint64 offset, quint64 size, QStringView title, qint64)
{
    m_tracker.enter(title);
    ++m_depth;
    for (size_t i = firstFrom(offset); i < m_sought.size() && m_sought[i].place.offset - offset < size; ++i) {
        Sought &each = m_sought[i];
        // Of a list whose size is wrong not even the header may be in it.
        const bool holds = each.place.end() <= offset + size || each.place.offset == offset;
        if (each.isDecided || each.depth >= m_depth || !holds)
            continue;
        each.depth = m_depth;
        m_deepestFound = m_depth;
        m_paths[each.ordinal] = m_tracker.path().toString();
    }
    return m_undecided > 0;
}

bool PlacePaths::addField(const Field &field)
{
    m_tracker.leaf(field.name);
    for (size_t i = firstFrom(field.offset);
         i < m_sought.size() && m_sought[i].place.offset - field.offset < field.size; ++i) {
        Sought &each = m_sought[i];
        const bool holds = each.place.end() <= field.offset + field.size;
        if (each.isDecided || (!holds && !m_paths[each.ordinal].isNull()))
            continue;
        m_paths[each.ordinal] = m_tracker.path().toString();
        if (holds) {
            each.isDecided = true;
            --m_undecided;
        }
    }
    return m_undecided > 0;
}

bool PlacePaths::endElement()
{
    // What was not found in the node that held it is that node.
    if (m_depth == m_deepestFound) {
        m_deepestFound = 0;
        for (Sought &each : m_sought) {
            if (!each.isDecided && each.depth == m_depth) {
                each.isDecided = true;
                --m_undecided;
            } else if (!each.isDecided) {
                m_deepestFound = std::max(m_deepestFound, each.depth);
            }
        }
    }
    --m_depth;
    m_tracker.leave();
    return m_undecided > 0;
}

void lookUpPaths(FileCheck *check, const QVector<ParserFactory> &parsers, ContainerRun &run)
{
    std::vector<ByteRange> places;
    for (const JudgedFinding &finding : check->findings)
        places.push_back(finding.places.empty() ? ByteRange() : finding.places.front());
    if (places.empty())
        return;
    PlacePaths paths(std::move(places));
    // However the walk ends: what it did not find has no path.
    run.run(check->start.file, parsers, paths);
    for (size_t ordinal = 0; ordinal < check->findings.size(); ++ordinal)
        check->findings[ordinal].path = paths.path(ordinal);
}

} // namespace quenlofar

#include "collapsefilter.h"

#include <algorithm>
#include <iterator>

namespace quenlofar {

namespace {

// Of a node with more different names than these the names are forgotten: every one of them was shown.
constexpr size_t mostNames = 64;

} // namespace

bool CollapseFilter::Event::writeTo(TreeWriter &writer) const
{
    if (item)
        return item->writeTo(writer);
    if (problem)
        return writer.reportProblem(problem->lent());
    if (nodeSize)
        return writer.setElementSize(*nodeSize);
    return omitted > 0 ? writer.addOmission(omitted) : writer.endElement();
}

CollapseFilter::CollapseFilter(TreeWriter &next) : TreeFilter(next)
{
    m_levels.emplace_back(nullptr);
}

bool CollapseFilter::beginDocument(const DocumentStart &start)
{
    const bool isTaken = m_next.beginDocument(start);
    m_levels.clear();
    m_levels.emplace_back(nullptr);
    m_keptBytes = 0;
    return isTaken;
}

bool CollapseFilter::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    Recording *const target = startItem(title);
    m_levels.emplace_back(target);
    return write(target, {StoredItem(offset, size, title, index, m_notes), 0});
}

bool CollapseFilter::addField(const Field &field)
{
    return write(startItem(field.name), {StoredItem(field, m_notes), 0});
}

bool CollapseFilter::endElement()
{
    const bool works = release(&m_levels.back());
    Recording *const target = m_levels.back().target;
    m_levels.pop_back();
    return write(target, {std::nullopt, 0}) && works;
}

bool CollapseFilter::setElementSize(quint64 size)
{
    const bool works = release(&m_levels.back());
    return write(m_levels.back().target, {std::nullopt, 0, {}, size}) && works;
}

bool CollapseFilter::reportProblem(const ReportedProblem &problem)
{
    const bool works = release(&m_levels.back());
    return write(m_levels.back().target, {std::nullopt, 0, keptProblem(problem)}) && works;
}

bool CollapseFilter::endDocument(const RunResult &result)
{
    const bool works = release(&m_levels.back());
    return m_next.endDocument(result) && works;
}

/// Where the next item of the innermost level goes.
CollapseFilter::Recording *CollapseFilter::startItem(QStringView name)
{
    Level &level = m_levels.back();
    if (std::find(level.names.begin(), level.names.end(), name) == level.names.end()) {
        release(&level);
        if (level.names.size() == mostNames)
            level.names.clear();
        level.names.push_back(name.toString());
        return level.target;
    }
    if (level.kept.size() == shortRun) {
        forget(level.kept.front());
        level.kept.pop_front();
        ++level.omitted;
    }
    return &level.kept.emplace_back();
}

bool CollapseFilter::write(Recording *target, Event &&event)
{
    if (!target)
        return event.writeTo(m_next);
    record(target, std::move(event));
    return m_keptBytes <= mostKept || releaseMuch();
}

void CollapseFilter::record(Recording *target, Event &&event)
{
    const size_t bytes = event.bytes();
    target->bytes += bytes;
    m_keptBytes += bytes;
    target->events.push_back(std::move(event));
}

/// Hands on what is kept, from the outermost level inwards, until there is room again for half of what may be kept: so
/// this happens seldom. What still comes of a sibling that is handed on goes the same way.
bool CollapseFilter::releaseMuch()
{
    bool works = true;
    for (auto level = m_levels.begin(); level != m_levels.end() && m_keptBytes > mostKept / 2; ++level) {
        if (level->kept.empty())
            continue;
        const Recording *const last = &level->kept.back();
        for (auto inner = std::next(level); inner != m_levels.end() && inner->target == last; ++inner)
            inner->target = level->target;
        works = release(&*level) && works;
    }
    return works;
}

/// The run is over, or what is kept of it is too much: hands on what was kept.
bool CollapseFilter::release(Level *level)
{
    bool works = true;
    const auto handOn = [&](Event &&event) {
        if (level->target)
            record(level->target, std::move(event));
        else
            works = event.writeTo(m_next) && works;
    };
    if (level->omitted > 0) {
        handOn({std::nullopt, level->omitted + level->kept.size() - 1});
        for (; level->kept.size() > 1; level->kept.pop_front())
            forget(level->kept.front());
    }
    for (; !level->kept.empty(); level->kept.pop_front()) {
        for (Event &event : level->kept.front().events)
            handOn(std::move(event));
        forget(level->kept.front());
    }
    level->omitted = 0;
    return works;
}

} // namespace quenlofar

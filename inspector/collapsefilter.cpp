#include "collapsefilter.h"

#include <algorithm>

namespace {

// Of a node with more different names than these the names are forgotten: every one of them was shown.
constexpr size_t mostNames = 64;

} // namespace

bool CollapseFilter::Event::writeTo(TreeWriter &writer) const
{
    if (item)
        return item->writeTo(writer);
    return omitted > 0 ? writer.addOmission(omitted) : writer.endElement();
}

CollapseFilter::CollapseFilter(TreeWriter &next) : TreeFilter(next)
{
    m_levels.emplace_back(nullptr);
}

bool CollapseFilter::beginDocument(const DocumentStart &start)
{
    m_levels.clear();
    m_levels.emplace_back(nullptr);
    return m_next.beginDocument(start);
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
        level.kept.pop_front();
        ++level.omitted;
    }
    return &level.kept.emplace_back();
}

bool CollapseFilter::write(Recording *target, Event &&event)
{
    if (!target)
        return event.writeTo(m_next);
    target->push_back(std::move(event));
    return true;
}

/// The run is over: hands on what was kept of it.
bool CollapseFilter::release(Level *level)
{
    bool works = true;
    if (level->omitted > 0) {
        works = write(level->target, {std::nullopt, level->omitted + level->kept.size() - 1});
        level->kept.erase(level->kept.begin(), level->kept.end() - 1);
    }
    for (Recording &recording : level->kept) {
        for (Event &event : recording)
            works = write(level->target, std::move(event)) && works;
    }
    level->kept.clear();
    level->omitted = 0;
    return works;
}

#include "nameindex.h"

#include "elementpath.h"

#include <QHash>

#include <algorithm>
#include <array>

namespace quenlofar {

namespace {

quint32 hashOf(QStringView name)
{
    const auto hash = quint64(qHash(name, 0));
    return quint32(hash ^ hash >> 32);
}

/// The names that came last, so that most children need no look into the table.
class LatestNames
{
public:
    /// The number of the name; NameIndex::none where it is not one of them.
    quint32 find(QStringView name) const
    {
        for (const Known &known : m_known) {
            if (known.id != NameIndex::none && QStringView(known.name) == name)
                return known.id;
        }
        return NameIndex::none;
    }
    void insert(QStringView name, quint32 id)
    {
        m_known[m_next] = {name.toString(), id};
        m_next = (m_next + 1) % m_known.size();
    }

private:
    struct Known
    {
        QString name;
        quint32 id = NameIndex::none;
    };
    std::array<Known, 4> m_known;
    size_t m_next = 0;
};

} // namespace

NameIndex::NameIndex(const ElementTree &tree, ElementTree::Item node, quint32 skipped)
    : m_tree(&tree), m_node(node), m_skipped(skipped), m_rows(tree.childCount(node) - skipped), m_slots(64)
{
    struct Step
    {
        quint32 id;
        quint32 block;
        quint32 count;
    };
    std::vector<Step> steps; // as blocks come, one for each name of a block
    std::vector<quint32> latestStep; // of each name
    ElementTree::FieldReader reader(*m_tree);
    ElementTree::FieldReader otherReader(*m_tree);
    LatestNames latest;
    for (quint32 row = 0; row < m_rows; ++row) {
        const QStringView name = pathName(reader.name(childAt(row)));
        quint32 id = latest.find(name);
        if (id == none) {
            const quint32 hash = hashOf(name);
            id = find(name, hash, &otherReader);
            if (id == none) {
                id = add(row, hash);
                latestStep.push_back(none);
            }
            latest.insert(name, id);
        }
        ++m_names[id].count;
        const quint32 block = row / rowsOfBlock;
        quint32 &step = latestStep[id];
        if (step == none || steps[step].block != block) {
            step = quint32(steps.size());
            steps.push_back({id, block, 0});
        }
        ++steps[step].count;
    }
    // The entries of one name stand together: where they begin follows from how many each has.
    std::vector<quint32> counts(m_names.size());
    for (const Step &step : steps)
        ++counts[step.id];
    quint32 begin = 0;
    for (size_t id = 0; id < m_names.size(); ++id) {
        m_names[id].begin = begin;
        begin += counts[id];
    }
    m_entries.resize(steps.size());
    std::vector<quint32> filled(m_names.size());
    std::vector<quint32> before(m_names.size());
    for (const Step &step : steps) {
        m_entries[m_names[step.id].begin + filled[step.id]++] = {step.block, before[step.id]};
        before[step.id] += step.count;
    }
}

/// The number of the name, or none.
quint32 NameIndex::find(QStringView name, quint32 hash, ElementTree::FieldReader *reader) const
{
    const size_t mask = m_slots.size() - 1;
    for (size_t slot = hash & mask; m_slots[slot] != 0; slot = (slot + 1) & mask) {
        const quint32 id = m_slots[slot] - 1;
        if (m_names[id].hash == hash && pathName(reader->name(childAt(m_names[id].row))) == name)
            return id;
    }
    return none;
}

quint32 NameIndex::find(QStringView name) const
{
    ElementTree::FieldReader reader(*m_tree);
    return find(name, hashOf(name), &reader);
}

void NameIndex::place(quint32 id)
{
    const size_t mask = m_slots.size() - 1;
    size_t slot = m_names[id].hash & mask;
    while (m_slots[slot] != 0)
        slot = (slot + 1) & mask;
    m_slots[slot] = id + 1;
}

quint32 NameIndex::add(quint32 row, quint32 hash)
{
    const auto id = quint32(m_names.size());
    m_names.push_back({row, hash, 0, 0});
    if (m_names.size() * 2 <= m_slots.size()) {
        place(id);
        return id;
    }
    m_slots.assign(m_slots.size() * 2, 0);
    for (quint32 each = 0; each <= id; ++each)
        place(each);
    return id;
}

quint32 NameIndex::countBefore(QStringView name, quint32 row) const
{
    const quint32 id = find(name);
    if (id == none || row == 0)
        return 0;
    const quint32 block = row / rowsOfBlock;
    const auto begin = m_entries.begin() + m_names[id].begin;
    const auto end = m_entries.begin() + entryEnd(id);
    const auto at = std::lower_bound(begin, end, block, [](const Entry &each, quint32 b) { return each.block < b; });
    if (at == end)
        return m_names[id].count;
    quint32 count = at->before;
    if (at->block != block)
        return count;
    ElementTree::FieldReader reader(*m_tree);
    for (quint32 each = block * rowsOfBlock; each < row; ++each)
        count += pathName(reader.name(childAt(each))) == name ? 1U : 0U;
    return count;
}

quint32 NameIndex::count(QStringView name) const
{
    const quint32 id = find(name);
    return id == none ? 0 : m_names[id].count;
}

quint32 NameIndex::row(QStringView name, quint32 number) const
{
    const quint32 id = find(name);
    if (id == none || number >= m_names[id].count)
        return none;
    const auto begin = m_entries.begin() + m_names[id].begin;
    const auto end = m_entries.begin() + entryEnd(id);
    const auto behind =
        std::upper_bound(begin, end, number, [](quint32 wanted, const Entry &each) { return wanted < each.before; });
    const Entry &entry = *(behind - 1);
    ElementTree::FieldReader reader(*m_tree);
    quint32 left = number - entry.before;
    quint32 row = entry.block * rowsOfBlock;
    while (pathName(reader.name(childAt(row))) != name || left-- > 0)
        ++row;
    return row;
}

QStringList NameIndex::names(int most) const
{
    QStringList names;
    ElementTree::FieldReader reader(*m_tree);
    for (size_t id = 0; id < m_names.size() && int(names.size()) < most; ++id)
        names.append(pathName(reader.name(childAt(m_names[id].row))).toString());
    return names;
}

} // namespace quenlofar

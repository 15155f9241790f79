#include "referencetable.h"

#include "packettable.h"

#include <algorithm>

namespace quenlofar {

void ReferenceTable::clear()
{
    m_targets.clear();
    m_strays.clear();
    m_byTarget.clear();
    m_runs.clear();
    m_isSorted = m_isIdentity = false;
}

void ReferenceTable::beginRun(quint64 firstPlace, quint32 stride)
{
    if (!m_runs.empty() && m_runs.back().ordinal == m_targets.size())
        m_runs.pop_back(); // a run without entries, which nobody could ask for
    m_runs.push_back({firstPlace, m_targets.size(), stride});
}

void ReferenceTable::addRange(const ByteRange &target, bool isHit)
{
    if (m_strays.size() >= strayFlag - 1) {
        addFiller(); // more than a table of this kind can tell of
        return;
    }
    m_targets.append(strayFlag | quint32(m_strays.size()));
    m_strays.append({target, isHit});
}

ByteRange ReferenceTable::targetOf(quint64 ordinal) const
{
    const quint32 target = m_targets[size_t(ordinal)];
    if (target == filler)
        return {};
    return (target & strayFlag) != 0 ? m_strays[target & ~strayFlag].target : m_packets->at(target).range();
}

void ReferenceTable::finish()
{
    m_targets.squeeze();
    m_strays.squeeze();
    m_byTarget.clear();
    bool ascends = true;
    quint64 previous = 0;
    for (quint64 ordinal = 0; ordinal < size() && ascends; ++ordinal) {
        const quint64 target = targetOf(ordinal).offset;
        ascends = target >= previous && isReference(ordinal); // a filler has no target by which it could be found
        previous = target;
    }
    m_isSorted = m_isIdentity = ascends;
}

/// Judging a file asks for none of this, so it is made when it is asked for the first time.
void ReferenceTable::sortByTarget() const
{
    struct Target
    {
        quint64 offset;
        quint32 ordinal;
    };
    std::vector<Target> targets;
    targets.reserve(m_targets.size());
    for (quint64 ordinal = 0; ordinal < size(); ++ordinal) {
        if (isReference(ordinal))
            targets.push_back({targetOf(ordinal).offset, quint32(ordinal)});
    }
    std::sort(targets.begin(), targets.end(), [](const Target &a, const Target &b) {
        return a.offset != b.offset ? a.offset < b.offset : a.ordinal < b.ordinal;
    });
    m_byTarget.clear();
    for (const Target &target : targets)
        m_byTarget.append(target.ordinal);
    m_byTarget.squeeze();
    m_isSorted = true;
}

std::vector<quint64> ReferenceTable::ordinalsTo(const ByteRange &range, size_t limit) const
{
    if (!m_isSorted)
        sortByTarget();
    const size_t count = m_isIdentity ? m_targets.size() : m_byTarget.size();
    const auto ordinalOf = [this](size_t rank) { return m_isIdentity ? rank : m_byTarget[rank]; };
    size_t low = 0;
    size_t high = count;
    while (low < high) {
        const size_t middle = low + (high - low) / 2;
        if (targetOf(ordinalOf(middle)).offset < range.offset)
            low = middle + 1;
        else
            high = middle;
    }
    std::vector<quint64> ordinals;
    for (; low < count && ordinals.size() < limit && targetOf(ordinalOf(low)).offset < range.end(); ++low)
        ordinals.push_back(ordinalOf(low));
    return ordinals;
}

quint64 ReferenceTable::ordinalAt(quint64 offset) const
{
    const auto behind = std::upper_bound(m_runs.begin(), m_runs.end(), offset,
                                         [](quint64 wanted, const Run &each) { return wanted < each.place; });
    if (behind == m_runs.begin())
        return none;
    const Run &run = *std::prev(behind);
    const quint64 end = behind == m_runs.end() ? size() : behind->ordinal;
    const quint64 ordinal = run.ordinal + (offset - run.place) / run.stride;
    return ordinal < end ? ordinal : none;
}

Reference ReferenceTable::at(quint64 ordinal) const
{
    const auto behind = std::upper_bound(m_runs.begin(), m_runs.end(), ordinal,
                                         [](quint64 wanted, const Run &each) { return wanted < each.ordinal; });
    const Run &run = *std::prev(behind);
    Reference reference;
    reference.place = {run.place + (ordinal - run.ordinal) * run.stride, run.stride};
    reference.target = targetOf(ordinal);
    const quint32 target = m_targets[size_t(ordinal)];
    if (target != filler)
        reference.isHit = (target & strayFlag) == 0 || m_strays[target & ~strayFlag].isHit;
    return reference;
}

size_t ReferenceTable::memory() const
{
    return m_targets.memory() + m_strays.memory() + m_byTarget.memory() + m_runs.capacity() * sizeof(Run);
}

} // namespace quenlofar

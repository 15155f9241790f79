#include "patchset.h"

#include "bytesource.h"

#include <algorithm>
#include <iterator>

namespace quenlofar {

namespace {

/// Like bytes between two that differ are changed with them where there are no more than this.
constexpr int mostBetween = 8;
/// Patches up to this size are fields: they change as a whole.
constexpr int largestField = 8;

} // namespace

bool PatchSet::replace(quint64 offset, const QByteArray &bytes, quint32 step, ByteSource &current)
{
    QByteArray old(bytes.size(), '\0');
    if (current.readAt(qint64(offset), old.data(), old.size()) != old.size())
        return false;
    const int size = int(bytes.size());
    if (size <= largestField && old != bytes) {
        put(offset, bytes, step);
        return true;
    }
    for (int at = 0; at < size;) {
        if (old[at] == bytes[at]) {
            ++at;
            continue;
        }
        int end = at + 1; // behind the last byte that differs
        for (int next = end; next < size && next - end <= mostBetween; ++next) {
            if (old[next] != bytes[next])
                end = next + 1;
        }
        put(offset + quint64(at), bytes.mid(at, end - at), step);
        at = end;
    }
    return true;
}

void PatchSet::put(quint64 offset, const QByteArray &bytes, quint32 step)
{
    const quint64 end = offset + quint64(bytes.size());
    if (end > m_originalSize) {
        const int inside = int(std::max(offset, m_originalSize) - offset);
        m_tail.replace(int(offset + quint64(inside) - m_originalSize), int(bytes.size()) - inside, bytes.mid(inside));
        if (inside > 0)
            put(offset, bytes.left(inside), step);
        return;
    }
    auto next = m_patches.lower_bound(offset);
    if (next != m_patches.end() && next->first == offset && next->second.bytes.size() == bytes.size()) {
        next->second.bytes = bytes; // the step that changes the field first is the one that it belongs to
        return;
    }
    if (next != m_patches.begin()) {
        const auto before = std::prev(next);
        const quint64 beforeEnd = before->first + quint64(before->second.bytes.size());
        if (beforeEnd > end)
            m_patches.emplace(end, Patch{before->second.bytes.mid(int(end - before->first)), before->second.step});
        if (beforeEnd > offset)
            before->second.bytes.truncate(int(offset - before->first));
    }
    while (next != m_patches.end() && next->first < end) {
        const quint64 nextEnd = next->first + quint64(next->second.bytes.size());
        if (nextEnd > end)
            m_patches.emplace(end, Patch{next->second.bytes.mid(int(end - next->first)), next->second.step});
        next = m_patches.erase(next);
    }
    m_patches.emplace(offset, Patch{bytes, step});
}

void PatchSet::append(const QByteArray &bytes, quint32 step)
{
    if (bytes.isEmpty())
        return;
    m_tails.push_back({int(m_tail.size()), step});
    m_tail += bytes;
}

Recipe PatchSet::recipe(const std::vector<RecipeStep> &steps) const
{
    Recipe recipe(m_originalSize);
    for (const RecipeStep &step : steps)
        recipe.addStep(step);
    for (const auto &[offset, patch] : m_patches)
        recipe.replace(offset, patch.bytes, patch.step);
    for (size_t number = 0; number < m_tails.size(); ++number) {
        const int end = number + 1 < m_tails.size() ? m_tails[number + 1].begin : int(m_tail.size());
        recipe.insert(m_originalSize, m_tail.mid(m_tails[number].begin, end - m_tails[number].begin),
                      m_tails[number].step);
    }
    return recipe;
}

} // namespace quenlofar

#include "patchset.h"

#include "bytesource.h"
#include "repairplanner.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace quenlofar {

namespace {

/// Like bytes between two that differ are changed with them where there are no more than this.
constexpr int mostBetween = 8;
/// Patches up to this size are fields: they change as a whole.
constexpr int largestField = 8;

} // namespace

PatchSet::PatchSet(quint64 originalSize) : m_originalSize(originalSize), m_size(originalSize)
{
    if (originalSize > 0)
        m_pieces.emplace(0, Piece{originalSize, 0, Recipe::noStep, false});
}

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

/// A piece begins at `offset`, which lies in one or behind the last.
void PatchSet::split(quint64 offset)
{
    const auto behind = m_pieces.upper_bound(offset);
    if (behind == m_pieces.begin())
        return;
    const auto piece = std::prev(behind);
    const quint64 before = offset - piece->first;
    if (before == 0 || before >= piece->second.size)
        return;
    Piece rest = piece->second;
    rest.from += before;
    rest.size -= before;
    piece->second.size = before;
    m_pieces.emplace_hint(behind, offset, rest);
}

quint64 PatchSet::keep(const QByteArray &bytes)
{
    const auto at = quint64(m_newBytes.size());
    m_newBytes += bytes;
    return at;
}

void PatchSet::put(quint64 offset, const QByteArray &bytes, quint32 step)
{
    const quint64 end = offset + quint64(bytes.size());
    const quint64 from = keep(bytes);
    split(offset);
    split(end);
    for (auto piece = m_pieces.find(offset); piece != m_pieces.end() && piece->first < end; ++piece) {
        if (!piece->second.isNew) {
            m_superseded.push_back({piece->second.from, piece->second.size});
            piece->second.isNew = true;
            piece->second.step = step;
        }
        piece->second.from = from + (piece->first - offset);
    }
}

void PatchSet::append(const QByteArray &bytes, quint32 step)
{
    if (bytes.isEmpty())
        return;
    m_pieces.emplace_hint(m_pieces.end(), m_size, Piece{quint64(bytes.size()), keep(bytes), step, true});
    m_size += quint64(bytes.size());
}

/// The bytes of the original that stand in a range of the file as it is so far.
void PatchSet::addRemoved(const ByteRange &range, std::vector<ByteRange> *ranges) const
{
    auto piece = m_pieces.upper_bound(range.offset);
    for (piece = piece == m_pieces.begin() ? piece : std::prev(piece);
         piece != m_pieces.end() && piece->first < range.end(); ++piece) {
        const quint64 begin = std::max(range.offset, piece->first);
        const quint64 end = std::min(range.end(), piece->first + piece->second.size);
        if (!piece->second.isNew && begin < end)
            ranges->push_back({piece->second.from + (begin - piece->first), end - begin});
    }
}

bool PatchSet::rearrange(const FileLayout &layout, quint32 step)
{
    const auto isOutside = [this](const FileLayout::Piece &piece) {
        return !piece.isNew && (piece.from > m_size || piece.size > m_size - piece.from);
    };
    if (std::any_of(layout.pieces.begin(), layout.pieces.end(), isOutside))
        return false;
    for (const ByteRange &range : layout.superseded)
        addRemoved(range, &m_superseded);
    for (const ByteRange &range : layout.dropped)
        addRemoved(range, &m_dropped);
    const Pieces old = std::move(m_pieces);
    m_pieces.clear();
    m_size = 0;
    const auto append = [this](const Piece &piece) {
        m_pieces.emplace_hint(m_pieces.end(), m_size, piece);
        m_size += piece.size;
    };
    const quint64 base = keep(layout.newBytes);
    for (const FileLayout::Piece &piece : layout.pieces) {
        if (piece.isNew) {
            append({piece.size, base + piece.from, step, true});
            continue;
        }
        const quint64 end = piece.from + piece.size;
        auto part = std::prev(old.upper_bound(piece.from));
        for (quint64 at = piece.from; at < end; ++part) {
            const quint64 skipped = at - part->first;
            Piece slice = part->second;
            slice.from += skipped;
            slice.size = std::min(part->second.size - skipped, end - at);
            append(slice);
            at += slice.size;
        }
    }
    m_rearranging = step;
    return true;
}

Recipe PatchSet::recipe(const std::vector<RecipeStep> &steps) const
{
    Recipe recipe(m_originalSize);
    for (const RecipeStep &step : steps)
        recipe.addStep(step);
    const bool isMoved = m_rearranging != Recipe::noStep;
    for (const auto &[offset, piece] : m_pieces) {
        const QByteArray bytes = piece.isNew ? m_newBytes.mid(int(piece.from), int(piece.size)) : QByteArray();
        if (!piece.isNew) {
            if (isMoved)
                recipe.copy({piece.from, piece.size}, 0, m_rearranging);
        } else if (isMoved || offset >= m_originalSize) {
            recipe.insert(isMoved ? 0 : m_originalSize, bytes, piece.step);
        } else {
            recipe.replace(offset, bytes, piece.step);
        }
    }
    if (!isMoved)
        return recipe;
    // Nothing stays at its place: each byte of the original is copied, or left out for a reason.
    struct Reason
    {
        ByteRange range;
        Recipe::Removal why;
    };
    std::vector<Reason> reasons;
    for (const ByteRange &range : m_superseded)
        reasons.push_back({range, Recipe::Removal::Superseded});
    for (const ByteRange &range : m_dropped)
        reasons.push_back({range, Recipe::Removal::AskedFor});
    std::sort(reasons.begin(), reasons.end(),
              [](const Reason &a, const Reason &b) { return a.range.offset < b.range.offset; });
    quint64 at = 0;
    for (const Reason &reason : reasons) {
        const quint64 begin = std::max(reason.range.offset, at);
        if (begin >= reason.range.end())
            continue;
        recipe.remove({at, begin - at}, m_rearranging);
        recipe.remove({begin, reason.range.end() - begin}, m_rearranging, reason.why);
        at = reason.range.end();
    }
    recipe.remove({at, m_originalSize - at}, m_rearranging);
    return recipe;
}

} // namespace quenlofar

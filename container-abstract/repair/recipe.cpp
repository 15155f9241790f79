#include "recipe.h"

#include <algorithm>

namespace quenlofar {

namespace {

/// Joins ranges that touch or overlap; they come in the order of their offsets.
void appendRange(std::vector<ByteRange> *ranges, quint64 begin, quint64 end)
{
    if (begin >= end)
        return;
    if (!ranges->empty() && ranges->back().end() >= begin)
        ranges->back().size = std::max(ranges->back().end(), end) - ranges->back().offset;
    else
        ranges->push_back({begin, end - begin});
}

/// What is in `ranges` and not in `others`; both are in order, without overlaps.
std::vector<ByteRange> without(const std::vector<ByteRange> &ranges, const std::vector<ByteRange> &others)
{
    std::vector<ByteRange> rest;
    auto other = others.begin();
    for (const ByteRange &range : ranges) {
        quint64 at = range.offset;
        while (other != others.end() && other->end() <= at)
            ++other;
        for (auto each = other; each != others.end() && each->offset < range.end(); ++each) {
            appendRange(&rest, at, each->offset);
            at = std::max(at, each->end());
        }
        appendRange(&rest, at, range.end());
    }
    return rest;
}

} // namespace

Recipe::Recipe(quint64 originalSize) : m_originalSize(originalSize) { }

quint32 Recipe::addStep(const RecipeStep &step)
{
    m_steps.push_back(step);
    return quint32(m_steps.size() - 1);
}

/// Where `bytes` stand in newBytes().
quint64 Recipe::keep(const QByteArray &bytes)
{
    const auto at = quint64(m_newBytes.size());
    m_edits.reserve(m_edits.size() < m_edits.capacity() ? 0 : 2 * m_edits.size() + 1);
    m_newBytes += bytes;
    return at;
}

void Recipe::replace(quint64 offset, const QByteArray &bytes, quint32 step)
{
    const auto size = quint64(bytes.size());
    m_edits.push_back({offset, size, keep(bytes), size, step, true});
}

void Recipe::insert(quint64 offset, const QByteArray &bytes, quint32 step)
{
    if (!bytes.isEmpty())
        m_edits.push_back({offset, 0, keep(bytes), quint64(bytes.size()), step, true});
}

void Recipe::copy(const ByteRange &range, quint64 offset, quint32 step)
{
    if (range.size > 0)
        m_edits.push_back({offset, 0, range.offset, range.size, step, false});
}

void Recipe::remove(const ByteRange &range, quint32 step, Removal why)
{
    if (range.size > 0)
        m_edits.push_back({range.offset, range.size, 0, 0, step, false, why});
}

std::vector<Recipe::Edit> Recipe::ordered() const
{
    std::vector<Edit> edits = m_edits;
    // What is put in front of a byte comes before what happens to the byte.
    std::stable_sort(edits.begin(), edits.end(), [](const Edit &a, const Edit &b) {
        return a.at != b.at ? a.at < b.at : a.removed == 0 && b.removed > 0;
    });
    return edits;
}

QString Recipe::conflict() const
{
    const auto reachesOut = [this](quint64 offset, quint64 size) {
        return offset > m_originalSize || size > m_originalSize - offset;
    };
    quint64 taken = 0; // up to where bytes were replaced or removed
    for (const Edit &edit : ordered()) {
        if (reachesOut(edit.at, edit.removed))
            return QStringLiteral("byte %1 and %2 more from there on are not all in the original")
                .arg(edit.at)
                .arg(edit.removed);
        if (!edit.isNew && reachesOut(edit.from, edit.added))
            return QStringLiteral("%1 bytes from byte %2 on are to be copied, which are not all in the original")
                .arg(edit.added)
                .arg(edit.from);
        if (edit.at < taken)
            return QStringLiteral("byte %1 is changed twice").arg(edit.at);
        taken = std::max(taken, edit.at + edit.removed);
    }
    return {};
}

std::vector<Recipe::Piece> Recipe::pieces() const
{
    std::vector<Piece> pieces;
    quint64 end = 0; // of the new file so far
    const auto append = [&pieces, &end](quint64 from, quint64 size, quint32 step, bool isNew) {
        if (size == 0)
            return;
        pieces.push_back({end, size, from, step, isNew});
        end += size;
    };
    quint64 copied = 0; // of the original so far
    for (const Edit &edit : ordered()) {
        append(copied, edit.at - copied, noStep, false);
        append(edit.from, edit.added, edit.step, edit.isNew);
        copied = edit.at + edit.removed;
    }
    append(copied, m_originalSize - copied, noStep, false);
    return pieces;
}

quint64 Recipe::newSize() const
{
    quint64 size = m_originalSize;
    for (const Edit &edit : m_edits)
        size += edit.added - edit.removed;
    return size;
}

bool Recipe::movesNothing() const
{
    return std::all_of(m_edits.begin(), m_edits.end(), [this](const Edit &edit) {
        return edit.isNew && (edit.removed == edit.added || edit.at == m_originalSize);
    });
}

/// What edits copy, joined, in the order of the original.
std::vector<ByteRange> Recipe::copies() const
{
    std::vector<ByteRange> copies;
    for (const Edit &edit : m_edits) {
        if (!edit.isNew && edit.added > 0)
            copies.push_back({edit.from, edit.added});
    }
    std::sort(copies.begin(), copies.end(), [](const ByteRange &a, const ByteRange &b) { return a.offset < b.offset; });
    std::vector<ByteRange> joined;
    for (const ByteRange &range : copies)
        appendRange(&joined, range.offset, range.end());
    return joined;
}

std::vector<ByteRange> Recipe::removed(Removal why) const
{
    std::vector<ByteRange> removed;
    for (const Edit &edit : ordered()) {
        if (edit.added == 0 && edit.why == why)
            appendRange(&removed, edit.at, edit.at + edit.removed);
    }
    return removed;
}

std::vector<ByteRange> Recipe::lostBytes() const
{
    return without(removed(Removal::Moved), copies());
}

std::vector<ByteRange> Recipe::bytesNotCopied() const
{
    std::vector<ByteRange> removed;
    for (const Edit &edit : ordered())
        appendRange(&removed, edit.at, edit.at + edit.removed);
    return without(removed, copies());
}

} // namespace quenlofar

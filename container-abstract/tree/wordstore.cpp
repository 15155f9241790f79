#include "wordstore.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

#ifdef Q_OS_LINUX
#include <sys/mman.h>
#endif

namespace quenlofar {

ChunkPool::ChunkPool(quint64 maxBytes)
    : m_maxChunks(
        std::min(maxBytes / sizeof(WordChunk), quint64(std::numeric_limits<quint32>::max()) / WordChunk::wordCount))
{
}

void ChunkPool::provide(quint64 count)
{
    while (m_free < count)
        grow();
}

/// A large tree takes its chunks in slabs of huge pages: with small pages, most of its time would go into page faults.
void ChunkPool::grow()
{
    constexpr size_t hugePage = size_t(1) << 21;
    constexpr size_t slabBytes = 2 * hugePage;
    static_assert(chunksOfSlab == slabBytes / sizeof(WordChunk));
    constexpr quint64 chunksOfSmallTree = 128;

    if (isAtBound())
        throw std::length_error("the element tree is full");
    const bool isLarge = m_total >= chunksOfSmallTree && m_maxChunks - m_total >= chunksOfSlab;
    // Owned before the list grows: that may find no memory either.
    std::unique_ptr<void, FreeMemory> slab(isLarge ? std::aligned_alloc(hugePage, slabBytes)
                                                   : std::malloc(sizeof(WordChunk)));
    if (!slab)
        throw std::bad_alloc();
    m_slabs.push_back(std::move(slab));
#ifdef Q_OS_LINUX
    if (isLarge)
        madvise(m_slabs.back().get(), slabBytes, MADV_HUGEPAGE); // a wish: nothing depends on it
#endif
    const quint64 count = isLarge ? chunksOfSlab : 1;
    WordChunk *const chunks = new (m_slabs.back().get()) WordChunk[count];
    for (quint64 i = count; i-- > 0;)
        give(chunks + i);
    m_total += count;
}

WordChunk *ChunkPool::take() noexcept
{
    Q_ASSERT(m_firstFree);
    WordChunk *const chunk = m_firstFree;
    m_firstFree = chunk->nextFree;
    --m_free;
    std::fill(std::begin(chunk->marks), std::end(chunk->marks), 0);
    return chunk;
}

void ChunkPool::give(WordChunk *chunk) noexcept
{
    chunk->nextFree = m_firstFree;
    m_firstFree = chunk;
    ++m_free;
}

void WordStore::expectChunks(quint64 count)
{
    if (m_chunks.capacity() < count)
        m_chunks.reserve(std::max<size_t>(count, 2 * m_chunks.capacity()));
}

void WordStore::resizeDirectory(size_t chunks) noexcept
{
    for (size_t i = chunks; i < m_chunks.size(); ++i) {
        if (m_chunks[i])
            m_pool.give(m_chunks[i]);
    }
    m_chunks.resize(chunks); // within what expectChunks() reserved
}

void WordStore::moveTail(WordStore *from, quint32 position) noexcept
{
    // From the end to the begin: chunks come free on one side as they are needed on the other.
    const auto usedInChunk = [](quint32 end) { return ((end - 1) & WordChunk::wordMask) + 1; };
    for (quint32 end = m_size; end != position;) {
        const quint32 piece = std::min({end - position, usedInChunk(end), usedInChunk(from->m_size)});
        end -= piece;
        std::memcpy(write(end), from->write(from->m_size - piece), piece * sizeof(quint64));
        from->resize(from->m_size - piece);
    }
}

void WordStore::mark(quint32 position) noexcept
{
    constexpr quint32 groupSize = WordChunk::groupSize;
    const auto group = [](quint32 at) { return (at & WordChunk::wordMask) / groupSize; };
    m_chunks[position >> WordChunk::wordBits]->marks[group(position)] |= quint64(1) << position % groupSize;
    for (quint64 next = (quint64(position) / groupSize + 1) * groupSize; next < m_size; next += groupSize)
        m_chunks[next >> WordChunk::wordBits]->lastMarked[group(quint32(next))] = position;
}

quint32 WordStore::markedBefore(quint32 position) const
{
    const WordChunk &chunk = *m_chunks[position >> WordChunk::wordBits];
    const quint32 group = (position & WordChunk::wordMask) / WordChunk::groupSize;
    const quint32 bit = position % WordChunk::groupSize;
    const quint64 marks = chunk.marks[group] & ((quint64(1) << bit) - 1);
    return marks != 0 ? position - bit + quint32(std::bit_width(marks)) - 1 : chunk.lastMarked[group];
}

} // namespace quenlofar

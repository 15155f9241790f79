#pragma once

#include <QtGlobal>

#include <cstdlib>
#include <memory>
#include <vector>

namespace quenlofar {

/// The piece in which an element tree takes memory: pieces are never copied to grow, and go from one use to the next.
struct WordChunk
{
    static constexpr int wordBits = 14;
    static constexpr quint32 wordCount = 1U << wordBits;
    static constexpr quint32 wordMask = wordCount - 1;
    static constexpr quint32 groupSize = 64; ///< words that share one word of marks

    quint64 words[wordCount];
    quint64 marks[wordCount / groupSize]; ///< one bit per word, for the owner's use
    quint32 lastMarked[wordCount / groupSize]; ///< per group: the last marked position before it
    WordChunk *nextFree;
};

/// Owns the chunks of a tree and keeps the unused ones at hand, so that some steps need no memory and cannot fail.
class ChunkPool
{
public:
    /// Takes at most `maxBytes` from the system, and never more than 32-bit positions can address.
    explicit ChunkPool(quint64 maxBytes);

    /// Chunks that a large tree takes at once.
    static constexpr quint64 chunksOfSlab = (quint64(4) << 20) / sizeof(WordChunk);

    /// Makes sure that `count` chunks can be taken; throws std::bad_alloc, at the bound std::length_error.
    void provide(quint64 count);
    quint64 free() const { return m_free; }
    quint64 total() const { return m_total; }
    /// True when one more chunk would exceed the bound.
    bool isAtBound() const { return m_total >= m_maxChunks; }

    /// One of the chunks that provide() promised. Its marks are cleared.
    WordChunk *take() noexcept;
    void give(WordChunk *chunk) noexcept;

private:
    struct FreeMemory
    {
        void operator()(void *memory) const { std::free(memory); }
    };
    void grow();

    std::vector<std::unique_ptr<void, FreeMemory>> m_slabs; // of one or many chunks
    WordChunk *m_firstFree = nullptr;
    quint64 m_total = 0;
    quint64 m_free = 0;
    quint64 m_maxChunks;
};

/// A long row of 64-bit words, addressed by 32-bit positions.
class WordStore
{
public:
    explicit WordStore(ChunkPool &pool) : m_pool(pool) { }
    WordStore(const WordStore &) = delete;
    WordStore &operator=(const WordStore &) = delete;

    /// After this, resize() and write() take no memory but the pool's for as long as the pool has no more chunks than
    /// this. May throw std::bad_alloc.
    void expectChunks(quint64 count);

    quint32 size() const { return m_size; }
    /// Changes the number of words. New words are undefined; chunks that are no longer needed go back to the pool.
    void resize(quint32 size) noexcept
    {
        m_size = size;
        if (Q_UNLIKELY(chunksFor(size) != m_chunks.size()))
            resizeDirectory(chunksFor(size));
    }
    /// Where to write a word, and those behind it in the same chunk. The first use of a chunk takes it from the pool.
    quint64 *write(quint32 position) noexcept
    {
        WordChunk *&chunk = m_chunks[position >> WordChunk::wordBits];
        if (Q_UNLIKELY(!chunk))
            chunk = m_pool.take();
        return chunk->words + (position & WordChunk::wordMask);
    }
    quint64 operator[](quint32 position) const
    {
        return m_chunks[position >> WordChunk::wordBits]->words[position & WordChunk::wordMask];
    }

    /// Whether `count` words from `position` on lie in one chunk.
    static bool areInOneChunk(quint32 position, quint32 count)
    {
        return (position & WordChunk::wordMask) + quint64(count) <= WordChunk::wordCount;
    }
    /// The words from `position` on, `count` of them and at least one, where they lie in one chunk; otherwise null.
    const quint64 *inOneChunk(quint32 position, quint32 count) const
    {
        return areInOneChunk(position, count)
            ? m_chunks[position >> WordChunk::wordBits]->words + (position & WordChunk::wordMask)
            : nullptr;
    }

    /// Moves the last words of the store `from`, as many as this one has from `position` on, to that place.
    void moveTail(WordStore *from, quint32 position) noexcept;

    /// Marks the word at `position` as the last marked one up to the end of the store; all words were written before.
    void mark(quint32 position) noexcept;
    /// The last marked position before `position`; there has to be one.
    quint32 markedBefore(quint32 position) const;

private:
    static size_t chunksFor(quint32 words) { return (quint64(words) + WordChunk::wordMask) >> WordChunk::wordBits; }
    void resizeDirectory(size_t chunks) noexcept;

    ChunkPool &m_pool;
    std::vector<WordChunk *> m_chunks; // null where nothing was written yet
    quint32 m_size = 0;
};

} // namespace quenlofar

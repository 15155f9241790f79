#pragma once

#include <QtGlobal>

#include <cstddef>
#include <utility>
#include <vector>

namespace quenlofar {

/**
 * An array that only grows, in blocks of 65 536 entries: appending never copies more than one block, and at most one
 * block is partly unused, so its memory is close to what its entries take.
 *
 * append() may throw std::bad_alloc; the array is then as it was. Reading from several threads is safe.
 */
template <typename Entry> class BlockArray
{
public:
    /// Entries of one block.
    static constexpr size_t blockSize = size_t(1) << 16;

    /// Entries.
    size_t size() const { return m_size; }
    /// True without entries.
    bool isEmpty() const { return m_size == 0; }
    /// The entry number `index`, from 0; there has to be one.
    const Entry &operator[](size_t index) const { return m_blocks[index / blockSize][index % blockSize]; }
    /// The entry number `index`, to be changed.
    Entry &operator[](size_t index) { return m_blocks[index / blockSize][index % blockSize]; }
    /// The newest entry; there has to be one.
    Entry &last() { return m_blocks.back().back(); }
    /// The newest entry, to be read.
    const Entry &last() const { return m_blocks.back().back(); }

    /// Appends a copy.
    void append(const Entry &entry)
    {
        if (Q_UNLIKELY(m_size % blockSize == 0))
            addBlock();
        m_blocks.back().push_back(entry);
        ++m_size;
    }
    /// Removes all entries and their memory.
    void clear()
    {
        m_blocks.clear();
        m_size = 0;
    }
    /// Gives back the memory that the last block does not need.
    void squeeze()
    {
        if (!m_blocks.empty())
            m_blocks.back().shrink_to_fit();
    }
    /// Bytes that the entries take, with what is reserved for more.
    size_t memory() const
    {
        size_t bytes = m_blocks.capacity() * sizeof(std::vector<Entry>);
        for (const std::vector<Entry> &block : m_blocks)
            bytes += block.capacity() * sizeof(Entry);
        return bytes;
    }

private:
    void addBlock()
    {
        std::vector<Entry> block;
        if (m_size > 0) // the first block grows as it is needed: most files are small
            block.reserve(blockSize);
        m_blocks.push_back(std::move(block));
    }

    std::vector<std::vector<Entry>> m_blocks;
    size_t m_size = 0;
};

} // namespace quenlofar

#pragma once

#include "containerabstract_export.h"
#include "videostream.h"

#include <QtGlobal>

#include <deque>

namespace quenlofar {

/**
 * Reported frames, kept in little more than 12 bytes each: a frame whose numbers do not fit into those fields is kept
 * whole at the side. Grows without moving what it holds. Constant-time access.
 */
class CONTAINERABSTRACT_EXPORT FrameList
{
public:
    /// May throw std::bad_alloc; the list is then as it was.
    void append(const Frame &frame);
    void clear(); ///< drops all frames
    quint64 size() const { return m_size; } ///< frames
    bool isEmpty() const { return m_size == 0; } ///< no frame was appended
    /// `position` is below size().
    Frame at(quint64 position) const;

private:
    static constexpr int blockSize = 256;

    /// A stretch of one stream's frames inside one block: the packed frames refer to it and count from its number.
    struct Run
    {
        uint stream;
        quint64 firstNumber;
    };
    /// From the low end: offset 47 bits, key 1, run within the block 8, number within the run 8; then size 32.
    struct PackedFrame
    {
        quint32 words[3];
    };
    struct Block
    {
        quint64 firstRun; ///< in m_runs; a block has as many as it needs, never more than frames
        PackedFrame frames[blockSize];
    };

    quint64 runFor(const Frame &frame);

    std::deque<Block> m_blocks;
    std::deque<Run> m_runs;
    std::deque<Frame> m_unpackable;
    quint64 m_size = 0;
};

} // namespace quenlofar

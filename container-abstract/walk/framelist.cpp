#include "framelist.h"

namespace quenlofar {

namespace {

constexpr int offsetBits = 47;
constexpr int runShift = 48;
constexpr int numberShift = 56;
// Stands in place of a size: the frame is kept whole, and its offset field says where.
constexpr quint32 unpackableMark = 0xFFFFFFFF;

} // namespace

void FrameList::append(const Frame &frame)
{
    if (m_size == quint64(m_blocks.size()) * blockSize) {
        m_blocks.emplace_back();
        m_blocks.back().firstRun = m_runs.size();
    }
    Block &block = m_blocks.back();

    quint64 packed = 0;
    quint32 size = unpackableMark;
    if (frame.size < unpackableMark && frame.offset >> offsetBits == 0) {
        const quint64 run = runFor(frame);
        packed = frame.offset | quint64(frame.key) << offsetBits | (run - block.firstRun) << runShift
            | (frame.number - m_runs[run].firstNumber) << numberShift;
        size = quint32(frame.size);
    } else {
        packed = m_unpackable.size();
        m_unpackable.push_back(frame);
    }
    block.frames[m_size % blockSize] = {{quint32(packed), quint32(packed >> 32), size}};
    ++m_size;
}

void FrameList::clear()
{
    m_blocks.clear();
    m_runs.clear();
    m_unpackable.clear();
    m_size = 0;
}

/// The run of the last block that `frame` belongs to, made if there is none. Streams are few: the search is short.
quint64 FrameList::runFor(const Frame &frame)
{
    for (quint64 run = m_blocks.back().firstRun; run < m_runs.size(); ++run) {
        const Run &known = m_runs[run];
        if (known.stream == frame.stream && frame.number - known.firstNumber < blockSize)
            return run;
    }
    m_runs.push_back({frame.stream, frame.number});
    return m_runs.size() - 1;
}

Frame FrameList::at(quint64 position) const
{
    const Block &block = m_blocks[position / blockSize];
    const PackedFrame &frame = block.frames[position % blockSize];
    const quint64 packed = frame.words[0] | quint64(frame.words[1]) << 32;
    if (frame.words[2] == unpackableMark)
        return m_unpackable[packed];
    const Run &run = m_runs[block.firstRun + (packed >> runShift & 0xFF)];
    return {run.stream, run.firstNumber + (packed >> numberShift), packed & ((quint64(1) << offsetBits) - 1),
            frame.words[2], (packed >> offsetBits & 1) != 0};
}

} // namespace quenlofar

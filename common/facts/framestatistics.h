#pragma once

#include <QtGlobal>

#include <deque>
#include <map>

namespace quenlofar {

struct Frame;

/// The least, the middle and the greatest of some numbers; of an even count of them the lower of the two in the middle.
struct Spread
{
    quint64 least = 0;
    quint64 median = 0;
    quint64 greatest = 0;
};

/// Numbers that are kept until their spread is asked for, in 4 bytes each; in 8 where they need more than 32 bits.
class SpreadNumbers
{
public:
    /// May throw std::bad_alloc.
    void add(quint64 number);
    bool isEmpty() const { return m_narrow.empty() && m_wide.empty(); }
    /// There is at least one number. Changes their order.
    Spread spread();

private:
    // Deques do not move what they hold when they grow: that would take three times the room for a while.
    std::deque<quint32> m_narrow;
    std::deque<quint64> m_wide;
};

/// The frames of one video stream.
struct StreamFrames
{
    quint64 count = 0;
    quint64 keyFrames = 0;
    quint64 bytes = 0; ///< of all frames together
    quint64 lastKeyFrame = 0; ///< its place among the frames, from 1; 0 before the first
    SpreadNumbers sizes; ///< bytes
    SpreadNumbers keySpacings; ///< frames from one key frame to the next
};

/// Counts the frames that a walk reports, in at most 8 bytes per frame.
class FrameStatistics
{
public:
    /// May throw std::bad_alloc.
    void add(const Frame &frame);
    /// By video stream; one without frames has none.
    std::map<uint, StreamFrames> &streams() { return m_streams; }

private:
    std::map<uint, StreamFrames> m_streams;
    StreamFrames *m_latest = nullptr; // successive frames are mostly of one stream
    uint m_latestStream = 0;
};

} // namespace quenlofar

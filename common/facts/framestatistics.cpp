#include "framestatistics.h"

#include "videostream.h"

#include <algorithm>
#include <limits>

namespace quenlofar {

namespace {

/// The number that stands at `position` when all are sorted.
template <typename Number> Number selected(std::deque<Number> *numbers, size_t position)
{
    const auto place = numbers->begin() + std::ptrdiff_t(position);
    std::nth_element(numbers->begin(), place, numbers->end());
    return *place;
}

} // namespace

void SpreadNumbers::add(quint64 number)
{
    if (number <= std::numeric_limits<quint32>::max())
        m_narrow.push_back(quint32(number));
    else
        m_wide.push_back(number);
}

Spread SpreadNumbers::spread()
{
    // Every narrow number is less than every wide one.
    const size_t middle = (m_narrow.size() + m_wide.size() - 1) / 2;
    Spread spread;
    if (middle < m_narrow.size())
        spread.median = selected(&m_narrow, middle);
    else
        spread.median = selected(&m_wide, middle - m_narrow.size());
    spread.least = m_narrow.empty() ? *std::min_element(m_wide.begin(), m_wide.end())
                                    : *std::min_element(m_narrow.begin(), m_narrow.end());
    spread.greatest = m_wide.empty() ? *std::max_element(m_narrow.begin(), m_narrow.end())
                                     : *std::max_element(m_wide.begin(), m_wide.end());
    return spread;
}

void FrameStatistics::add(const Frame &frame)
{
    if (!m_latest || m_latestStream != frame.stream) {
        m_latest = &m_streams[frame.stream];
        m_latestStream = frame.stream;
    }
    StreamFrames &stream = *m_latest;
    stream.sizes.add(frame.size);
    ++stream.count;
    stream.bytes += frame.size;
    if (!frame.key)
        return;
    if (stream.keyFrames > 0)
        stream.keySpacings.add(stream.count - stream.lastKeyFrame);
    ++stream.keyFrames;
    stream.lastKeyFrame = stream.count;
}

} // namespace quenlofar

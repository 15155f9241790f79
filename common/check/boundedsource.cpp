#include "boundedsource.h"

#include <algorithm>

namespace quenlofar {

namespace {

using Clock = std::chrono::steady_clock;

Clock::time_point deadlineOf(const RunLimits &limits)
{
    constexpr quint64 longest = 1'000'000'000; // as good as never; the clock counts no further than some centuries
    if (limits.maxSeconds == 0)
        return Clock::time_point::max();
    return Clock::now() + std::chrono::seconds(std::min(limits.maxSeconds, longest));
}

} // namespace

BoundedSource::BoundedSource(std::unique_ptr<ByteSource> source, const RunLimits &limits)
    : m_source(std::move(source)), m_workLimit(limits.workFor(m_source->size())), m_secondsLimit(limits.maxSeconds),
      m_deadline(deadlineOf(limits))
{
}

qint64 BoundedSource::readAt(qint64 position, char *data, qint64 maxSize)
{
    if (m_limit == RunLimit::None && m_bytesRead > m_workLimit)
        m_limit = RunLimit::Work;
    else if (m_limit == RunLimit::None && m_secondsLimit != 0 && Clock::now() >= m_deadline)
        m_limit = RunLimit::Time;
    if (m_limit != RunLimit::None)
        return -1;
    const qint64 came = m_source->readAt(position, data, maxSize);
    if (came >= 0) {
        m_bytesRead += quint64(came);
    } else if (m_errorOffset < 0) {
        m_errorOffset = position;
        m_errorText = m_source->errorText();
    }
    return came;
}

QString BoundedSource::errorText() const
{
    return m_limit != RunLimit::None ? QStringLiteral("a limit was reached") : m_errorText;
}

} // namespace quenlofar

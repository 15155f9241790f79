#pragma once

#include "bytesource.h"
#include "containerrun.h"

#include <chrono>
#include <memory>

namespace quenlofar {

/**
 * The bytes of another source, as far as the limits of a run allow: reads that begin beyond a limit fail. Remembers
 * the first trouble, for every reader.
 */
class BoundedSource : public ByteSource
{
public:
    /// `limits` hold for what is read from now on: work and time.
    BoundedSource(std::unique_ptr<ByteSource> source, const RunLimits &limits);

    qint64 size() const override { return m_source->size(); }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override;
    QString errorText() const override;
    const char *memory() const override { return nullptr; } // what is read that way could not be counted
    qint64 holeEnd(qint64 position) override { return m_source->holeEnd(position); }

    /// The limit that was reached; None before that.
    RunLimit limit() const { return m_limit; }
    /// Its value, in bytes or seconds.
    quint64 limitValue() const { return m_limit == RunLimit::Time ? m_secondsLimit : m_workLimit; }
    /// Where reading failed first, in bytes from the start, limits not counted; -1 before that.
    qint64 errorOffset() const { return m_errorOffset; }
    /// Bytes that were read.
    quint64 bytesRead() const { return m_bytesRead; }

private:
    const std::unique_ptr<ByteSource> m_source;
    const quint64 m_workLimit;
    const quint64 m_secondsLimit;
    const std::chrono::steady_clock::time_point m_deadline;
    RunLimit m_limit = RunLimit::None;
    quint64 m_bytesRead = 0;
    qint64 m_errorOffset = -1;
    QString m_errorText;
};

} // namespace quenlofar

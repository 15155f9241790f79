#pragma once

#include "bytesource.h"

#include <QByteArray>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>

namespace quenlofar {

/// How a source in memory misbehaves; as it is made it does not.
struct SourceFaults
{
    static constexpr qint64 never = std::numeric_limits<qint64>::max();

    bool isPlainMemory = true; ///< gives its memory away, so that nothing else here is ever asked
    qint64 mostAtOnce = never; ///< a read gives no more than this
    qint64 damagedFrom = never; ///< reading these bytes fails,
    qint64 damagedTo = never; ///< up to this one
    qint64 endsAt = never; ///< the file has shrunk to this length since it was opened
};

/// A source that is read like a file, as two numbers of an input say it: `length` how many bytes come at once, both
/// which of them are damaged, `place` where the file ends.
inline SourceFaults faultsFrom(bool isDamaged, bool isShrunken, quint16 place, quint16 length)
{
    SourceFaults faults;
    faults.isPlainMemory = false;
    faults.mostAtOnce = (length % 8191) + 1;
    if (isDamaged) {
        faults.damagedFrom = place;
        faults.damagedTo = qint64(place) + length;
    }
    if (isShrunken)
        faults.endsAt = place;
    return faults;
}

/// Bytes in memory behind a source that behaves like a file, good or bad.
class FaultyMemory final : public ByteSource
{
public:
    /// `bytes` is shared as QByteArray does.
    FaultyMemory(const QByteArray &bytes, const SourceFaults &faults) : m_bytes(bytes), m_faults(faults) { }

    qint64 size() const override { return m_bytes.size(); }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        const qint64 end = std::min<qint64>(m_bytes.size(), m_faults.endsAt);
        qint64 count = std::min({maxSize, m_faults.mostAtOnce, end - position});
        if (position < 0 || count <= 0)
            return 0;
        if (position < m_faults.damagedTo && m_faults.damagedFrom - position < count) {
            if (position >= m_faults.damagedFrom)
                return -1;
            count = m_faults.damagedFrom - position;
        }
        std::memcpy(data, m_bytes.constData() + position, size_t(count));
        return count;
    }
    QString errorText() const override { return QStringLiteral("Input/output error"); }

private:
    const QByteArray m_bytes;
    const SourceFaults m_faults;
};

inline std::unique_ptr<ByteSource> sourceOf(const QByteArray &bytes, const SourceFaults &faults)
{
    if (faults.isPlainMemory)
        return memorySource(bytes);
    return std::make_unique<FaultyMemory>(bytes, faults);
}

/// The processor's time of this thread, in seconds.
inline double threadSeconds()
{
    std::timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

} // namespace quenlofar

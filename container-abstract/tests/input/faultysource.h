#pragma once

#include "filedevice.h"

#include <QTest>

#include <algorithm>
#include <limits>
#include <vector>

namespace quenlofar {

constexpr qint64 kib = 1024;
constexpr qint64 furthest = std::numeric_limits<qint64>::max();

/// Every byte tells where it stands.
inline char byteAt(qint64 position)
{
    return char(uchar((quint64(position) * 2654435761U) >> 13));
}

inline QByteArray bytesAt(qint64 position, qint64 count)
{
    QByteArray bytes(int(count), Qt::Uninitialized);
    char *const data = bytes.data();
    for (qint64 i = 0; i < count; ++i)
        data[i] = byteAt(position + i);
    return bytes;
}

struct Fetch
{
    qint64 position;
    qint64 size;
};

/// What a test learns of a source and does to it; the reader owns the source itself.
struct SourceState
{
    qint64 size = 0; ///< what the source claims
    qint64 end = furthest; ///< where the bytes end in fact
    qint64 damagedFrom = furthest; ///< reading these bytes fails,
    qint64 damagedTo = furthest; ///< up to this one
    bool allOrNothing = false; ///< a read that touches a damaged byte gives no bytes at all
    qint64 mostAtOnce = furthest; ///< a read gives no more than this
    QString error = QStringLiteral("Input/output error");
    std::vector<Fetch> fetches;
    bool isOpen = false;
};

/// A source of any size without a file, whose bytes are those of byteAt, that fails where its state says so.
class FaultySource final : public ByteSource
{
public:
    explicit FaultySource(SourceState *state) : m_state(state) { m_state->isOpen = true; }
    ~FaultySource() override { m_state->isOpen = false; }

    qint64 size() const override { return m_state->size; }

    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        m_state->fetches.push_back({position, maxSize});
        qint64 count = std::min({maxSize, m_state->mostAtOnce, std::max<qint64>(m_state->end - position, 0)});
        if (position < m_state->damagedTo && m_state->damagedFrom - position < count) {
            if (m_state->allOrNothing || position >= m_state->damagedFrom)
                return -1;
            count = m_state->damagedFrom - position;
        }
        for (qint64 i = 0; i < count; ++i)
            data[i] = byteAt(position + i);
        return count;
    }

    QString errorText() const override { return m_state->error; }

private:
    SourceState *const m_state;
};

inline void openFaulty(FileDevice *device, SourceState *state)
{
    QCOMPARE(device->open(std::make_unique<FaultySource>(state)), int(StatusOk));
}

/// The bytes that one read gives, through a buffer.
inline QByteArray readBytes(FileDevice *device, qint64 count)
{
    std::vector<char> buffer(size_t(count), '#');
    const qint64 came = device->read(buffer.data(), count);
    return QByteArray(buffer.data(), int(came));
}

} // namespace quenlofar

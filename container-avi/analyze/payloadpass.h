#pragma once

#include "filedevice.h"
#include "payloadstream.h"
#include "rule.h"

#include <QStringList>

#include <atomic>
#include <memory>
#include <vector>

namespace quenlofar {

/**
 * Reads the payload of a file once, in the order of the file, for all rules that look at payload.
 *
 * Bytes come in large pieces through one buffer; nothing of a packet is kept once it was read. Streams that no rule
 * reads are passed over.
 */
class PayloadPass
{
public:
    /// All of these outlive it; `cancel` may be null.
    PayloadPass(const AviLayout &layout, FileDevice &file, const std::atomic<bool> *cancel)
        : m_layout(layout), m_file(file), m_cancel(cancel)
    {
    }

    /// Reads all payload, unless that was done before.
    void read();
    /// What of a stream breaks a rule; read() comes first. Empty for a stream whose payload nobody reads.
    const PayloadHits &hits(PayloadCheck check, int stream) const;
    /// read() came to the last packet.
    bool isComplete() const { return m_isComplete; }
    /// Where reading ended early.
    quint64 readUpTo() const { return m_readUpTo; }
    /// read() was called.
    bool isStarted() const { return m_isStarted; }

private:
    /// Bytes of one piece; a multiple of PayloadHash::block. It still stays in the processor's cache.
    static constexpr size_t pieceSize = size_t(1) << 19;

    bool readPackets();
    quint32 sizeOfNext(quint64 index) const;
    bool readPacket(PayloadStream &stream, const Packet &packet, quint32 sizeOfNext);
    PayloadBytes bytesAt(quint64 offset, size_t wanted);
    quint64 zerosAt(quint64 offset, quint64 most) const;
    bool passZeros(quint64 offset, quint64 count);
    void fill(size_t wanted);
    bool findHole();

    const AviLayout &m_layout;
    FileDevice &m_file;
    const std::atomic<bool> *m_cancel;
    std::vector<std::unique_ptr<PayloadStream>> m_streams;
    bool m_isStarted = false;
    bool m_isComplete = false;
    quint64 m_readUpTo = 0;

    std::unique_ptr<char[]> m_buffer; // bytes of the file from m_begin on
    quint64 m_begin = 0;
    size_t m_held = 0; // bytes in it
    size_t m_fill = 0; // bytes that the latest fill asked for
    ByteRange m_hole; // that was found last
};

/// The name of the codec of each stream of which `level` reads no payload, or nobody does: as Findings::notChecked
/// tells it.
QStringList payloadNotChecked(const AviLayout &layout, Level level);

} // namespace quenlofar

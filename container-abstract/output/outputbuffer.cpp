#include "outputbuffer.h"

#include <QFileDevice>
#include <QIODevice>

#include <new>

namespace quenlofar {

OutputBuffer::OutputBuffer(QIODevice &device) : m_device(device) { }

/// Appends more bytes than the buffer has room for.
void OutputBuffer::appendPieces(std::string_view bytes)
{
    while (!bytes.empty()) {
        const std::string_view piece = bytes.substr(0, capacity);
        std::memcpy(reserve(std::ptrdiff_t(piece.size())), piece.data(), piece.size());
        m_at += piece.size();
        bytes.remove_prefix(piece.size());
    }
}

void OutputBuffer::fill(char byte, std::ptrdiff_t count)
{
    while (count > 0) {
        const std::ptrdiff_t piece = std::min(count, capacity);
        std::memset(reserve(piece), byte, size_t(piece));
        m_at += piece;
        count -= piece;
    }
}

bool OutputBuffer::flush()
{
    drain();
    if (!m_failed) {
        if (QFileDevice *const file = qobject_cast<QFileDevice *>(&m_device); file && !file->flush())
            fail(file->errorString());
    }
    return !m_failed;
}

void OutputBuffer::drain()
{
    const char *from = m_bytes;
    while (!m_failed && from != m_at) {
        try {
            const qint64 written = m_device.write(from, m_at - from);
            if (written > 0)
                from += written;
            else
                fail(m_device.errorString());
        } catch (const std::bad_alloc &) { // a device in memory
            fail(QStringLiteral("not enough memory for the output"));
        }
    }
    m_at = m_bytes;
}

void OutputBuffer::fail(const QString &reason)
{
    m_failed = true;
    m_errorText = reason; // a device that has none says "Unknown error"
}

} // namespace quenlofar

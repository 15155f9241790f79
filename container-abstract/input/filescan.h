#pragma once

#include "filedevice.h"

#include <QtEndian>

#include <string_view>

namespace quenlofar {

/**
 * The seek() and read() of a FileDevice for loops that look at a 32-bit word at every byte. For the life of the scan it
 * holds the device's position, window and count of bytes, so that a compiler can keep them in registers; the device
 * itself must not be used meanwhile, and is up to date again when the scan is gone.
 */
class FileScan
{
public:
    /// Begins at the position of `file`, which outlives the scan.
    explicit FileScan(FileDevice &file) : m_file(file) { load(); }
    ~FileScan() { store(); }
    FileScan(const FileScan &) = delete;
    FileScan &operator=(const FileScan &) = delete;

    /// See FileDevice::seek.
    bool seek(qint64 position)
    {
        if (Q_UNLIKELY(position < 0))
            return false;
        m_position = position;
        return true;
    }
    /// Reads a little-endian word and moves on behind it. Where fewer than four bytes came the others are zero, and the
    /// result is false.
    bool read(quint32 *word) { return readInWindow(quint64(m_position), word) || readThroughDevice(word); }
    /// Reads at `position`: seek() and read() in one.
    bool readAt(quint64 position, quint32 *word)
    {
        if (Q_LIKELY(readInWindow(position, word)))
            return true;
        seek(qint64(position));
        return readThroughDevice(word);
    }

    /// What the window has from `position` on, for a loop that looks at many words at once; empty where that lies
    /// outside of it. Valid until the next read.
    std::string_view ahead(quint64 position) const
    {
        const quint64 at = position - quint64(m_windowBegin);
        return at < m_windowSize ? std::string_view(m_window + at, size_t(m_windowSize - at)) : std::string_view();
    }
    /// Counts `bytes` of what ahead() gave as read, and moves to `position`.
    void accountFor(quint64 bytes, quint64 position)
    {
        m_bytesRead += bytes;
        m_position = qint64(position);
    }
    /// See FileDevice::passHole, for a loop that reads the word at every byte: moves on by at most `most` bytes.
    qint64 passHole(qint64 most)
    {
        store();
        const qint64 passed = m_file.passHole(1, most, sizeof(quint32));
        load();
        return passed;
    }

private:
    bool readInWindow(quint64 position, quint32 *word)
    {
        // Unsigned on purpose: a position before the window, and one that no seek accepts, is a huge distance.
        const quint64 at = position - quint64(m_windowBegin);
        if (Q_UNLIKELY(at >= m_wordsInWindow))
            return false;
        *word = qFromLittleEndian<quint32>(m_window + at);
        m_position = qint64(position + sizeof *word);
        m_bytesRead += sizeof *word;
        return true;
    }
    bool readThroughDevice(quint32 *word)
    {
        store();
        char bytes[sizeof *word] = {};
        const bool complete = m_file.read(bytes, qint64(sizeof bytes)) == qint64(sizeof bytes);
        *word = qFromLittleEndian<quint32>(bytes);
        load();
        return complete;
    }
    void load()
    {
        m_window = m_file.m_window;
        m_windowBegin = m_file.m_windowBegin;
        m_windowSize = m_file.m_windowSize;
        m_wordsInWindow = m_windowSize < sizeof(quint32) ? 0 : m_windowSize - sizeof(quint32) + 1;
        m_position = m_file.m_position;
        m_bytesRead = m_file.m_bytesRead;
    }
    void store()
    {
        m_file.m_position = m_position;
        m_file.m_bytesRead = m_bytesRead;
    }

    FileDevice &m_file;
    const char *m_window;
    qint64 m_windowBegin;
    quint64 m_windowSize;
    quint64 m_wordsInWindow; // places at which a whole word begins
    qint64 m_position;
    quint64 m_bytesRead;
};

} // namespace quenlofar

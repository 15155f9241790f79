#pragma once

#include "filedevice.h"

/**
 * The seek() and read() of a FileDevice for loops that look at every byte. For the life of the scan it holds the
 * device's position, window and count of bytes, so that a compiler can keep them in registers; the device itself must
 * not be used meanwhile, and is up to date again when the scan is gone.
 */
class FileScan
{
public:
    explicit FileScan(FileDevice &file)
        : m_file(file)
    {
        load();
    }
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
    /// Reads a whole `Value` and moves on behind it. Where fewer bytes came they are kept, the others are zero, and the
    /// result is false.
    template<typename Value> bool read(Value *value)
    {
        const quint64 at = quint64(m_position) - quint64(m_windowBegin);
        if (Q_LIKELY(at <= m_windowSize && sizeof(Value) <= m_windowSize - at)) {
            std::memcpy(value, m_window + at, sizeof(Value));
            m_position += qint64(sizeof(Value));
            m_bytesRead += sizeof(Value);
            return true;
        }
        store();
        char bytes[sizeof(Value)] = {};
        const bool complete = m_file.read(bytes, qint64(sizeof(Value))) == qint64(sizeof(Value));
        std::memcpy(value, bytes, sizeof(Value));
        load();
        return complete;
    }

private:
    void load()
    {
        m_window = m_file.m_window;
        m_windowBegin = m_file.m_windowBegin;
        m_windowSize = m_file.m_windowSize;
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
    qint64 m_position;
    quint64 m_bytesRead;
};

#pragma once

#include "bytesource.h"

#include <QByteArray>

#include <algorithm>
#include <cstring>
#include <map>

namespace quenlofar {

/// A file of zeros with some islands of other bytes, of any size without taking room.
struct SparseFile
{
    qint64 size = 0;
    std::map<qint64, QByteArray> islands; ///< by where they begin; they do not overlap
    bool tellsHoles = true; ///< all but the islands is a hole; otherwise the zeros are written ones
    bool lies = false; ///< what is told of holes: all of the file is one
    qint64 end = -1; ///< where reading ends by now, less than the size for a file that has shrunk
    int reads = 0; ///< how often something was read
};

/// The file has to outlive the source.
class SparseSource final : public ByteSource
{
public:
    explicit SparseSource(SparseFile *file) : m_file(*file) { }

    qint64 size() const override { return m_file.size; }

    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        ++m_file.reads;
        const qint64 end = m_file.end < 0 ? m_file.size : m_file.end;
        const qint64 count = std::clamp<qint64>(end - position, 0, maxSize);
        std::memset(data, 0, size_t(count));
        for (const auto &[begin, bytes] : m_file.islands) {
            const qint64 from = std::max(begin, position);
            const qint64 to = std::min(begin + qint64(bytes.size()), position + count);
            if (from < to)
                std::memcpy(data + (from - position), bytes.constData() + (from - begin), size_t(to - from));
        }
        return count;
    }

    qint64 holeEnd(qint64 position) override
    {
        if (m_file.lies)
            return m_file.size;
        if (!m_file.tellsHoles)
            return ByteSource::holeEnd(position);
        qint64 end = m_file.size;
        for (const auto &[begin, bytes] : m_file.islands) {
            if (begin + qint64(bytes.size()) > position)
                end = std::min(end, std::max(begin, position));
        }
        return end;
    }

private:
    SparseFile &m_file;
};

} // namespace quenlofar

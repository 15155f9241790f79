#pragma once

#include "containerabstract_export.h"

#include <QByteArray>
#include <QString>

#include <memory>

namespace quenlofar {

/// Bytes that can be read at any position: a file, memory, or what a test puts in its place.
class CONTAINERABSTRACT_EXPORT ByteSource
{
public:
    ByteSource() = default;
    ByteSource(const ByteSource &) = delete;
    ByteSource &operator=(const ByteSource &) = delete;
    virtual ~ByteSource();

    /// Length in bytes when the source was opened; never negative.
    virtual qint64 size() const = 0;
    /// Reads up to `maxSize` bytes at `position`: the count that came (0 at or past the end), or -1 on an error.
    virtual qint64 readAt(qint64 position, char *data, qint64 maxSize) = 0;
    /// Why the last readAt returned -1, in the operating system's words.
    virtual QString errorText() const;
    /// All bytes, where they stand in memory for the life of the source; otherwise null.
    virtual const char *memory() const;
    /**
     * Where the hole around `position` ends, in bytes from the start and at most size(): up to there every byte is
     * known to be zero without being read, as in a sparse file. `position` itself where there is none, and by default.
     */
    virtual qint64 holeEnd(qint64 position);
};

/**
 * Opens the regular file `path` (see pathFromBytes) for reading. On failure the result is null and `*error` says why.
 * Never blocks: a pipe or a device is refused, not waited for.
 */
CONTAINERABSTRACT_EXPORT std::unique_ptr<ByteSource> openFileSource(const QString &path, QString *error);
/// A source over `bytes`, which it shares or copies as QByteArray does.
CONTAINERABSTRACT_EXPORT std::unique_ptr<ByteSource> memorySource(const QByteArray &bytes);

} // namespace quenlofar

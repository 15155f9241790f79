#pragma once

#include "bytesource.h"
#include "containerabstract_export.h"
#include "statuscodes.h"

#include <QByteArray>
#include <QString>

#include <atomic>
#include <chrono>
#include <cstring>
#include <limits>
#include <memory>

namespace quenlofar {

/// Where a walk is; another thread may read it.
struct WalkProgress
{
    std::atomic<qint64> position{0}; ///< what was read or found last, in bytes from the start of the file
    std::atomic<bool> isReading{false}; ///< the walk waits for bytes of the source
};

/**
 * The input of a parser: positioned reads over a file or over memory, through one read-ahead window.
 *
 * seek() is an assignment and a read inside the window a copy, both inline, so a parser may jump about byte by byte.
 * A read that starts elsewhere fills the window anew: 4 KiB after a jump, more while reading goes on forwards.
 * A read error looks like the end of the file to the parser; the first one is remembered for the host.
 * Not thread-safe, except that the stop flag may be set from anywhere.
 */
class CONTAINERABSTRACT_EXPORT FileDevice
{
public:
    FileDevice();
    ~FileDevice();
    FileDevice(const FileDevice &) = delete;
    FileDevice &operator=(const FileDevice &) = delete;

    /// Opens the regular file `path`, positioned at 0: StatusOk or StatusCannotOpen (errorText() says why). Whatever
    /// was open is closed, its error forgotten; byte counts, read limit and stop flag stay.
    int open(const QString &path);
    /// Opens `source`; null means that it could not be opened, for the reason `error`.
    int open(std::unique_ptr<ByteSource> source, const QString &error = {});
    /// Closes the input. The remembered read error and the count of bytes stay for the host to ask.
    void close();
    bool isOpen() const { return m_source != nullptr; } ///< an open succeeded, and no close came since

    /// Length in bytes when it was opened; 0 when closed.
    qint64 size() const { return m_size; }
    /// Where the next read begins, in bytes from the start.
    qint64 pos() const { return m_position; }
    /// Moves to `position`, also beyond the end. A negative one is refused: false, and the position stays.
    bool seek(qint64 position)
    {
        if (Q_UNLIKELY(position < 0))
            return false;
        m_position = position;
        return true;
    }
    /// Reads up to `maxSize` bytes into `data` and moves on by the count that came; fewer mean that the file ended.
    /// Never negative: 0 also for a negative `maxSize` and for a closed device.
    qint64 read(char *data, qint64 maxSize)
    {
        // Unsigned on purpose: a position before the window is a huge distance, and a size of 0 or less is a huge size.
        const quint64 at = quint64(m_position) - quint64(m_windowBegin);
        if (Q_LIKELY(at <= m_windowSize && quint64(maxSize) - 1 < m_windowSize - at)) {
            std::memcpy(data, m_window + at, size_t(maxSize));
            m_position += maxSize;
            m_bytesRead += quint64(maxSize);
            return maxSize;
        }
        return readOutsideWindow(data, maxSize);
    }
    /// Reads into a new array, never larger than what the file can still give, and never 2 GiB or more.
    QByteArray read(qint64 maxSize);
    /**
     * Passes over a hole of a sparse file, for a loop that reads forwards, every byte `readsPerByte` times, and finds
     * zeros of no interest. Moves on by a multiple of `step` bytes, at most `most`, to where position, window and
     * bytesRead() are what they would be had all of it been read; a limit strikes where it would have.
     *
     * @return by how many bytes it moved on; 0 where there is no hole or it is not worth while. Cheap: the source is
     *         asked once for each window, so this may be called after every read.
     */
    qint64 passHole(qint64 step, qint64 most, quint64 readsPerByte);
    /// How many bytes from the position on are zero for certain, because they are a hole of a sparse file; 0 where
    /// there is none. The source is asked each time, so call it where zeros are likely.
    qint64 holeSize();
    /// Moves on by `count` bytes of a hole as if they had been read. False, and the position stays, where a read would
    /// come back empty.
    bool passZeros(qint64 count);

    /// Bytes that read() has handed out since the device was made.
    quint64 bytesRead() const { return m_bytesRead; }
    /// Bytes taken from the source, as a rule from the operating system; none where the source is memory.
    quint64 bytesFetched() const { return m_bytesFetched; }
    /// Since the file was opened the source failed to give bytes that it has.
    bool hasReadError() const { return m_readErrorOffset >= 0; }
    /// Where the first read error came, in bytes from the start; -1 when there was none.
    qint64 readErrorOffset() const { return m_readErrorOffset; }
    /// The first error in words: why the file could not be opened, or why it could not be read.
    QString errorText() const { return m_errorText; }

    /// From now on, once bytesRead() exceeds `bytes`, reads that leave the window come back empty.
    void setReadLimit(quint64 bytes) { m_readLimit = bytes; }
    /// While `*flag` is true, reads that leave the window come back empty. The flag outlives the device's use.
    void setStopFlag(const std::atomic<bool> *flag) { m_stop = flag; }
    /// From now on reads that leave the window come back empty once this time has come.
    void setDeadline(std::chrono::steady_clock::time_point deadline) { m_deadline = deadline; }
    /// From now on `*progress` says where the window was filled last. It outlives the use.
    void setProgress(WalkProgress *progress) { m_progress = progress; }
    /// Since the file was opened a read came back empty, or short, because of the limit, the flag or the deadline.
    bool wasInterrupted() const { return m_interrupted; }

private:
    friend class FileScan; // the inline paths, for tight loops

    qint64 readOutsideWindow(char *data, qint64 maxSize);
    void chooseFillSize();
    bool fillWindow(qint64 wanted);
    qint64 fetch(char *data, qint64 size, qint64 wanted);
    void dropWindow();
    bool isStopped();
    qint64 holeBehindWindow() const;
    bool moveWindow(qint64 distance);
    void rememberReadError(qint64 offset);

    const char *m_window = ""; // never null; bytes m_windowBegin .. m_windowBegin + m_windowSize of the source
    qint64 m_windowBegin = 0;
    quint64 m_windowSize = 0;
    qint64 m_position = 0;
    quint64 m_bytesRead = 0;

    std::unique_ptr<ByteSource> m_source;
    std::unique_ptr<char[]> m_buffer;
    qint64 m_fillSize = 0; // bytes that the latest fill asked for; 0 before the first
    qint64 m_size = 0;
    quint64 m_bytesFetched = 0;
    quint64 m_readLimit = std::numeric_limits<quint64>::max();
    const std::atomic<bool> *m_stop = nullptr;
    std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::time_point::max();
    WalkProgress *m_progress = nullptr;
    bool m_interrupted = false;
    bool m_mayBeInHole = false; // the window may lie in a hole: the source was not asked yet
    bool m_trustsHoles = true; // what the source says of holes was true so far
    qint64 m_readErrorOffset = -1;
    QString m_errorText;
};

} // namespace quenlofar
